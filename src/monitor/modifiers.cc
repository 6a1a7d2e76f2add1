// Modifier bookkeeping around an expansion: held modifiers are released before the expansion
// types (a held Shift would turn "abc" into "ABC") and pressed again afterwards if the user
// still holds them; Caps Lock is switched off for the typing and back on after it.
#include "monitor/mon_internal.h"

// Right Shift, and only right Shift, is marked extended: every key-up that this table drives
// for it is sent with the extended flag, which is what makes the system release it cleanly.
mon_modifier_row modifier_states[7] = {
    {VK_LSHIFT, 0, 0, false},   {VK_RSHIFT, 0, 1, false}, {VK_LCONTROL, 0, 0, false},
    {VK_RCONTROL, 0, 0, false}, {VK_LMENU, 0, 0, false},  {VK_RMENU, 0, 0, false},
    {0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, false},
};

std::atomic<int> g_caps_was_enabled{0};
std::atomic<int> g_caps_pressed_count{0};
uint32_t g_didwutshift = 0, g_didwutshiftsc = 0, g_didwutphysshift = 0;

namespace {
bool async_down(uint32_t vk) { return (plat()->get_async_key_state(vk) & 0x8000) != 0; }

uint32_t scan_of(uint32_t vk) { return plat()->map_virtual_key(vk, MAPVK_VK_TO_VSC, 0); }
}  // namespace

bool is_modifier_vk(uint32_t vk) {
  for (const mon_modifier_row* r = modifier_states; r->vk != 0xFFFFFFFFu; ++r)
    if (r->vk == vk) return true;
  return false;
}

void update_modifier_phys_state(uint32_t vk, bool down) {
  for (mon_modifier_row* r = modifier_states; r->vk != 0xFFFFFFFFu; ++r)
    if (r->vk == vk) r->down = down ? 1 : 0;
}

void mon_record_modifier_key_states() {
  // The dead-key replay may have pressed a Shift on the user's behalf; if the system now thinks
  // Shift is down while neither Shift key is, that press was lost on the way and is made again
  // when it belongs to the user's own Shift or to the trigger key.
  if (g_didwutshift && async_down(VK_SHIFT)) {
    uint32_t other = g_didwutshift == VK_RSHIFT ? VK_LSHIFT : VK_RSHIFT;
    if (!async_down(g_didwutshift) && !async_down(other)) {
      uint32_t trigger = g_trigger_vk_pressed.load();
      if ((trigger == 0 && g_didwutphysshift == g_didwutshift) || trigger == g_didwutshift) {
        uint32_t sc = g_didwutshiftsc ? g_didwutshiftsc : scan_of(g_didwutshift);
        plat()->send_key(g_didwutshift, sc, g_didwutshift == VK_RSHIFT ? KEYEVENTF_EXTENDEDKEY : 0);
      }
    }
  }
  g_didwutshift = g_didwutshiftsc = g_didwutphysshift = 0;
  for (mon_modifier_row* r = modifier_states; r->vk != 0xFFFFFFFFu; ++r) r->down = async_down(r->vk) ? 1 : 0;
}

void mon_keyup_all_keydownd_modifiers() {
  bool alt = false;
  for (mon_modifier_row* r = modifier_states; r->vk != 0xFFFFFFFFu; ++r) {
    if (!r->down) continue;
    plat()->send_key(r->vk, scan_of(r->vk), KEYEVENTF_KEYUP | (r->extended ? KEYEVENTF_EXTENDEDKEY : 0));
    if (r->vk == VK_LMENU || r->vk == VK_RMENU || r->vk == VK_MENU) alt = true;
  }
  // A lone Alt release opens the menu bar of many applications; a tap of Alt in between makes
  // the release part of a key combination instead.
  if (alt) {
    plat()->send_key(VK_MENU, scan_of(VK_MENU), KEYEVENTF_EXTENDEDKEY);
    plat()->send_key(VK_MENU, scan_of(VK_MENU), KEYEVENTF_EXTENDEDKEY | KEYEVENTF_KEYUP);
  }
}

void mon_restore_all_keyupd_modifiers() {
  for (mon_modifier_row* r = modifier_states; r->vk != 0xFFFFFFFFu; ++r) {
    r->restored = false;
    // Right Alt is AltGr on many layouts: pressing it again would turn the user's next letter
    // into a third-level character, so it is never restored.
    if (!r->down || r->vk == VK_RMENU) continue;
    if (async_down(r->vk)) continue;
    plat()->send_key(r->vk, scan_of(r->vk), r->extended ? KEYEVENTF_EXTENDEDKEY : 0);
    r->restored = true;
  }
}

void mon_release_restored_modifiers_let_go() {
  for (mon_modifier_row* r = modifier_states; r->vk != 0xFFFFFFFFu; ++r) {
    bool ours = r->restored;
    r->restored = false;
    if (ours && !r->down && async_down(r->vk))
      plat()->send_key(r->vk, scan_of(r->vk), KEYEVENTF_KEYUP | (r->extended ? KEYEVENTF_EXTENDEDKEY : 0));
  }
}

void mon_caps_lock_preppy() {
  g_caps_was_enabled = 0;
  g_caps_pressed_count = 0;
  g_trigger_vk_pressed = 0;
  if (plat()->get_key_state(VK_CAPITAL) & 0xFF) {
    g_caps_was_enabled = 1;
    // The two events injected here are counted too while the hook is temp-disabled, so the
    // count is back at 0 only when the user pressed nothing.
    g_caps_pressed_count = -2;
    plat()->send_key(VK_CAPITAL, 69, KEYEVENTF_EXTENDEDKEY);
    plat()->send_key(VK_CAPITAL, 69, KEYEVENTF_EXTENDEDKEY | KEYEVENTF_KEYUP);
  }
}

void mon_restore_caps_lock_if_needed() {
  if (g_caps_was_enabled == 1 && g_caps_pressed_count == 0 && !(plat()->get_key_state(VK_CAPITAL) & 0xFF)) {
    plat()->send_key(VK_CAPITAL, 69, KEYEVENTF_EXTENDEDKEY);
    plat()->send_key(VK_CAPITAL, 69, KEYEVENTF_EXTENDEDKEY | KEYEVENTF_KEYUP);
  }
}

void mon_do_before_replace_preppy() {
  mon_hook_set_temp_disable(1);
  mon_record_modifier_key_states();
  mon_keyup_all_keydownd_modifiers();
}
