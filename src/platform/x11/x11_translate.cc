#include "platform/x11/x11_translate.h"

#include <glib.h>

#include <cstdlib>
#include <vector>

#include "platform/keytables.h"
#include "platform/vk.h"
#include "util/die.h"

namespace {

// evdev codes from 96 on that sit at extended (0xE0) positions, or at positions above 0x58.
const struct {
  uint32_t evdev, scan;
  bool extended;
} k_evdev_extra[] = {
    {96, 0x1C, true},  {97, 0x1D, true},  {98, 0x35, true},  {99, 0x37, true},
    {100, 0x38, true}, {102, 0x47, true}, {103, 0x48, true}, {104, 0x49, true},
    {105, 0x4B, true}, {106, 0x4D, true}, {107, 0x4F, true}, {108, 0x50, true},
    {109, 0x51, true}, {110, 0x52, true}, {111, 0x53, true}, {119, 0x45, false},
    {125, 0x5B, true}, {126, 0x5C, true}, {127, 0x5D, true}, {183, 0x64, false},
    {184, 0x65, false}, {185, 0x66, false}, {186, 0x67, false}, {187, 0x68, false},
    {188, 0x69, false}, {189, 0x6A, false}, {190, 0x6B, false}, {191, 0x6C, false},
    {192, 0x6D, false}, {193, 0x6E, false}, {194, 0x76, false},
};

// evdev 69 is Num Lock, which Windows reports at the extended position of 0x45 (the plain one
// is Pause).
constexpr uint32_t EVDEV_NUMLOCK = 69;

bool down(const uint8_t* state, uint32_t vk) { return state[vk] & 0x80; }

// The locale whose compose table applies: the first of LC_ALL, LC_CTYPE and LANG that is set.
const char* locale_name() {
  for (const char* var : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char* v = getenv(var);
    if (v && *v) return v;
  }
  return "C";
}

}  // namespace

uint32_t x11_keycode_to_scan(uint32_t keycode, bool* extended) {
  *extended = false;
  if (keycode < 8) return 0;
  uint32_t evdev = keycode - 8;
  if (evdev == EVDEV_NUMLOCK) {
    *extended = true;
    return 0x45;
  }
  if (evdev >= 1 && evdev <= 88) return evdev;
  for (const auto& e : k_evdev_extra) {
    if (e.evdev == evdev) {
      *extended = e.extended;
      return e.scan;
    }
  }
  return 0;
}

uint32_t x11_scan_to_keycode(uint32_t scan, bool extended) {
  if (scan == 0x45 && extended) return EVDEV_NUMLOCK + 8;
  if (!extended && scan >= 1 && scan <= 88 && scan != 0x45) return scan + 8;
  for (const auto& e : k_evdev_extra)
    if (e.scan == scan && e.extended == extended) return e.evdev + 8;
  return 0;
}

uint32_t x11_keycode_to_vk(xkb_keymap* keymap, xkb_layout_index_t group, uint32_t keycode,
                           const std::string& layout_name, bool numlock) {
  const xkb_keysym_t* syms = nullptr;
  int n = xkb_keymap_key_get_syms_by_level(keymap, keycode, group, 0, &syms);
  if (n == 1 && syms[0] >= XKB_KEY_a && syms[0] <= XKB_KEY_z) return syms[0] - XKB_KEY_a + 'A';
  bool extended = false;
  uint32_t scan = x11_keycode_to_scan(keycode, &extended);
  if (scan) {
    if (uint32_t vk = plat_scan_to_vk(layout_name, scan, extended, numlock)) return vk;
  }
  // Keymaps also put modifiers on keycodes no keyboard has (the level-3 shift, for one);
  // tools that look keys up by symbol press those.
  if (n != 1) return 0;
  switch (syms[0]) {
    case XKB_KEY_ISO_Level3_Shift: return VK_RMENU;
    case XKB_KEY_Shift_L: return VK_LSHIFT;
    case XKB_KEY_Shift_R: return VK_RSHIFT;
    case XKB_KEY_Control_L: return VK_LCONTROL;
    case XKB_KEY_Control_R: return VK_RCONTROL;
    case XKB_KEY_Alt_L: return VK_LMENU;
    case XKB_KEY_Alt_R: return VK_RMENU;
    case XKB_KEY_Super_L: return VK_LWIN;
    case XKB_KEY_Super_R: return VK_RWIN;
    default: return 0;
  }
}

std::string x11_layout_name(const std::string& layouts, const std::string& variants,
                            xkb_layout_index_t group) {
  auto nth = [](const std::string& list, xkb_layout_index_t i) {
    size_t start = 0;
    for (xkb_layout_index_t k = 0; k < i; ++k) {
      size_t comma = list.find(',', start);
      if (comma == std::string::npos) return std::string();
      start = comma + 1;
    }
    return list.substr(start, list.find(',', start) - start);
  };
  std::string layout = nth(layouts, group);
  std::string variant = nth(variants, group);
  if (layout.empty()) layout = nth(layouts, 0);
  return variant.empty() ? layout : layout + "(" + variant + ")";
}

x11_translator::x11_translator(xkb_keymap* keymap)
    : ctx_(xkb_context_new(XKB_CONTEXT_NO_FLAGS)),
      keymap_(xkb_keymap_ref(keymap)),
      state_(xkb_state_new(keymap)) {
  if (!ctx_ || !state_) die();
  compose_table_ =
      xkb_compose_table_new_from_locale(ctx_, locale_name(), XKB_COMPOSE_COMPILE_NO_FLAGS);
  // "C" and "C.UTF-8" have no table of their own on many systems; applications fall back
  // to the UTF-8 table in that case, and so do we.
  if (!compose_table_)
    compose_table_ =
        xkb_compose_table_new_from_locale(ctx_, "en_US.UTF-8", XKB_COMPOSE_COMPILE_NO_FLAGS);
  compose_state_ =
      compose_table_ ? xkb_compose_state_new(compose_table_, XKB_COMPOSE_STATE_NO_FLAGS) : nullptr;
}

x11_translator::~x11_translator() {
  xkb_compose_state_unref(compose_state_);
  xkb_compose_table_unref(compose_table_);
  xkb_state_unref(state_);
  xkb_keymap_unref(keymap_);
  xkb_context_unref(ctx_);
}

void x11_translator::set_keymap(xkb_keymap* keymap) {
  xkb_state* s = xkb_state_new(keymap);
  if (!s) die();
  xkb_state_unref(state_);
  xkb_keymap_unref(keymap_);
  keymap_ = xkb_keymap_ref(keymap);
  state_ = s;
  if (compose_state_) xkb_compose_state_reset(compose_state_);
}

xkb_mod_mask_t x11_translator::mask_for(const uint8_t* st, uint32_t keycode) {
  (void)keycode;
  auto bit = [this](const char* name) -> xkb_mod_mask_t {
    xkb_mod_index_t i = xkb_keymap_mod_get_index(keymap_, name);
    return i == XKB_MOD_INVALID ? 0 : (1u << i);
  };
  bool shift = down(st, VK_SHIFT) || down(st, VK_LSHIFT) || down(st, VK_RSHIFT);
  bool lctrl = down(st, VK_LCONTROL), rctrl = down(st, VK_RCONTROL);
  bool ctrl = down(st, VK_CONTROL) || lctrl || rctrl;
  bool lalt = down(st, VK_LMENU), ralt = down(st, VK_RMENU);
  bool alt = down(st, VK_MENU) || lalt || ralt;
  // Right Alt is AltGr where the layout has one; Windows also types AltGr characters for
  // Ctrl+Alt, and in that case neither Ctrl nor Alt counts on its own.
  bool altgr = ralt || (ctrl && alt);
  xkb_mod_mask_t m = 0;
  if (shift) m |= bit(XKB_MOD_NAME_SHIFT);
  if (st[VK_CAPITAL] & 1) m |= bit(XKB_MOD_NAME_CAPS);
  if (st[VK_NUMLOCK] & 1) m |= bit(XKB_MOD_NAME_NUM);
  if (altgr) {
    m |= bit("Mod5");
  } else {
    if (ctrl) m |= bit(XKB_MOD_NAME_CTRL);
    if (alt) m |= bit(XKB_MOD_NAME_ALT);
  }
  return m;
}

int x11_translator::translate(uint32_t keycode, const uint8_t st[256], xkb_layout_index_t group,
                              std::string* utf8_out) {
  utf8_out->clear();
  xkb_mod_mask_t m = mask_for(st, keycode);
  xkb_state_update_mask(state_, m, 0, 0, 0, 0, group);
  xkb_keysym_t sym = xkb_state_key_get_one_sym(state_, keycode);
  if (sym == XKB_KEY_NoSymbol) return 0;
  if (compose_state_ && xkb_compose_state_feed(compose_state_, sym) == XKB_COMPOSE_FEED_ACCEPTED) {
    switch (xkb_compose_state_get_status(compose_state_)) {
      case XKB_COMPOSE_COMPOSING:
        return -1;
      case XKB_COMPOSE_COMPOSED: {
        char buf[64];
        int n = xkb_compose_state_get_utf8(compose_state_, buf, sizeof buf);
        xkb_compose_state_reset(compose_state_);
        if (n <= 0) return 0;
        utf8_out->assign(buf, n);
        return static_cast<int>(g_utf8_strlen(buf, n));
      }
      case XKB_COMPOSE_CANCELLED:
        // Applications drop the dead key and type this key as usual.
        xkb_compose_state_reset(compose_state_);
        break;
      case XKB_COMPOSE_NOTHING:
        break;
    }
  }
  char buf[64];
  int n = xkb_state_key_get_utf8(state_, keycode, buf, sizeof buf);
  if (n <= 0) return 0;
  if (n >= static_cast<int>(sizeof buf)) n = sizeof buf - 1;
  utf8_out->assign(buf, n);
  return static_cast<int>(g_utf8_strlen(buf, n));
}

bool x11_translator::find_char(char32_t ch, xkb_layout_index_t group, uint32_t* keycode,
                               int* shift_state) {
  auto bit = [this](const char* name) -> xkb_mod_mask_t {
    xkb_mod_index_t i = xkb_keymap_mod_get_index(keymap_, name);
    return i == XKB_MOD_INVALID ? 0 : (1u << i);
  };
  xkb_mod_mask_t shift = bit(XKB_MOD_NAME_SHIFT), level3 = bit("Mod5");
  // Characters typed by a key with one of these are not reachable by Shift and AltGr alone.
  xkb_mod_mask_t other = bit(XKB_MOD_NAME_CTRL) | bit(XKB_MOD_NAME_ALT) | bit(XKB_MOD_NAME_NUM) |
                         bit(XKB_MOD_NAME_CAPS) | bit(XKB_MOD_NAME_LOGO);
  int best_cost = 99;
  xkb_keycode_t min = xkb_keymap_min_keycode(keymap_), max = xkb_keymap_max_keycode(keymap_);
  for (xkb_keycode_t kc = min; kc <= max; ++kc) {
    bool ext = false;
    if (x11_keycode_to_scan(kc, &ext) == 0) continue;  // no virtual key to report
    xkb_level_index_t levels = xkb_keymap_num_levels_for_key(keymap_, kc, group);
    for (xkb_level_index_t lv = 0; lv < levels && lv < 4; ++lv) {
      const xkb_keysym_t* syms = nullptr;
      if (xkb_keymap_key_get_syms_by_level(keymap_, kc, group, lv, &syms) != 1) continue;
      if (xkb_keysym_to_utf32(syms[0]) != ch) continue;
      // Keypad keys type digits only with Num Lock; the main block never depends on it.
      if (syms[0] >= XKB_KEY_KP_Space && syms[0] <= XKB_KEY_KP_9) continue;
      xkb_mod_mask_t masks[8];
      size_t n = xkb_keymap_key_get_mods_for_level(keymap_, kc, group, lv, masks, 8);
      for (size_t i = 0; i < n; ++i) {
        if (masks[i] & other) continue;
        int state = ((masks[i] & shift) ? 1 : 0) | ((masks[i] & level3) ? 6 : 0);
        int cost = (state & 1) + ((state & 6) ? 2 : 0);
        if (cost < best_cost) {
          best_cost = cost;
          *keycode = kc;
          *shift_state = state;
        }
      }
    }
  }
  return best_cost != 99;
}
