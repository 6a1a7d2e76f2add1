#include "platform/fake/fake_platform.h"

#include <glib.h>
#include <poll.h>

#include "platform/keytables.h"
#include "platform/thread_queue.h"

namespace {

// Shift levels of the fake layouts.
constexpr int LV_BASE = 0, LV_SHIFT = 1, LV_ALTGR = 2, LV_SHIFT_ALTGR = 3;

bool is_down(const uint8_t* state, uint32_t vk) { return state[vk] & 0x80; }

// The combining mark a spacing accent stands for as a dead key.
char32_t combining_for(char32_t accent) {
  switch (accent) {
    case U'\u00B4': return U'\u0301';
    case U'`': return U'\u0300';
    case U'^': return U'\u0302';
    case U'~': return U'\u0303';
    case U'\u00A8': return U'\u0308';
    default: return 0;
  }
}

// What a dead key followed by `ch` gives, like Windows: the composed letter, the accent
// alone for Space or the same dead key, else the accent followed by the character.
std::u32string compose(char32_t accent, char32_t ch) {
  if (ch == U' ' || ch == accent) return std::u32string(1, accent);
  gunichar out = 0;
  if (char32_t mark = combining_for(accent); mark && g_unichar_compose(ch, mark, &out))
    return std::u32string(1, out);
  return std::u32string{accent, ch};
}

std::string to_utf8(const std::u32string& s) {
  std::string out;
  for (char32_t c : s) {
    char buf[8];
    int n = g_unichar_to_utf8(c, buf);
    out.append(buf, n);
  }
  return out;
}

std::u32string from_utf8(const std::string& s) {
  std::u32string out;
  for (const char* p = s.c_str(); *p; p = g_utf8_next_char(p)) out += g_utf8_get_char(p);
  return out;
}

fake_record make_record(fake_record::kind_t kind) {
  fake_record r;
  r.kind = kind;
  return r;
}

class fake_backup : public plat_clipboard_backup {
 public:
  std::vector<std::pair<std::string, std::string>> data;
  std::vector<std::string> formats() const override {
    std::vector<std::string> names;
    for (const auto& f : data) names.push_back(f.first);
    return names;
  }
};

}  // namespace

fake_platform::fake_platform() { set_layout("us"); }

void fake_platform::set_layout(const std::string& name) {
  std::lock_guard<std::mutex> g(lock_);
  keys_.clear();
  dead_translate_ = dead_app_ = 0;
  layout_ = (name == "de" || name == "us(intl)") ? name : "us";
  auto put = [this](uint32_t vk, int level, char32_t ch, bool dead = false) {
    keys_[{vk, level}] = layout_key{ch, dead};
  };
  for (char c = 'a'; c <= 'z'; ++c) {
    put(c - 'a' + 'A', LV_BASE, c);
    put(c - 'a' + 'A', LV_SHIFT, c - 'a' + 'A');
  }
  for (uint32_t vk : {VK_SPACE}) {
    put(vk, LV_BASE, U' ');
    put(vk, LV_SHIFT, U' ');
  }
  put(VK_RETURN, LV_BASE, U'\r');
  put(VK_TAB, LV_BASE, U'\t');
  put(VK_BACK, LV_BASE, U'\b');
  put(VK_ESCAPE, LV_BASE, U'\x1b');
  const char* shifted_digits = layout_ == "de" ? "=!\"\u00a7$%&/()" : ")!@#$%^&*(";
  std::u32string sd = from_utf8(shifted_digits);
  for (int d = 0; d <= 9; ++d) {
    put('0' + d, LV_BASE, U'0' + d);
    put('0' + d, LV_SHIFT, sd[d]);
  }
  if (layout_ == "de") {
    put(VK_OEM_4, LV_BASE, U'ß');
    put(VK_OEM_4, LV_SHIFT, U'?');
    put(VK_OEM_4, LV_ALTGR, U'\\');
    put(VK_OEM_6, LV_BASE, U'\u00B4', true);
    put(VK_OEM_6, LV_SHIFT, U'`', true);
    put(VK_OEM_5, LV_BASE, U'^', true);
    put(VK_OEM_5, LV_SHIFT, U'°');
    put(VK_OEM_1, LV_BASE, U'ü');
    put(VK_OEM_1, LV_SHIFT, U'Ü');
    put(VK_OEM_PLUS, LV_BASE, U'+');
    put(VK_OEM_PLUS, LV_SHIFT, U'*');
    put(VK_OEM_PLUS, LV_ALTGR, U'~');
    put(VK_OEM_3, LV_BASE, U'ö');
    put(VK_OEM_3, LV_SHIFT, U'Ö');
    put(VK_OEM_7, LV_BASE, U'ä');
    put(VK_OEM_7, LV_SHIFT, U'Ä');
    put(VK_OEM_2, LV_BASE, U'#');
    put(VK_OEM_2, LV_SHIFT, U'\'');
    put(VK_OEM_COMMA, LV_BASE, U',');
    put(VK_OEM_COMMA, LV_SHIFT, U';');
    put(VK_OEM_PERIOD, LV_BASE, U'.');
    put(VK_OEM_PERIOD, LV_SHIFT, U':');
    put(VK_OEM_MINUS, LV_BASE, U'-');
    put(VK_OEM_MINUS, LV_SHIFT, U'_');
    put(VK_OEM_102, LV_BASE, U'<');
    put(VK_OEM_102, LV_SHIFT, U'>');
    put(VK_OEM_102, LV_ALTGR, U'|');
    put('Q', LV_ALTGR, U'@');
    put('E', LV_ALTGR, U'€');
    put('7', LV_ALTGR, U'{');
    put('8', LV_ALTGR, U'[');
    put('9', LV_ALTGR, U']');
    put('0', LV_ALTGR, U'}');
    put('M', LV_ALTGR, U'µ');
    return;
  }
  const struct {
    uint32_t vk;
    char32_t base, shift;
  } us_punct[] = {{VK_OEM_MINUS, U'-', U'_'}, {VK_OEM_PLUS, U'=', U'+'},
                  {VK_OEM_4, U'[', U'{'},     {VK_OEM_6, U']', U'}'},
                  {VK_OEM_5, U'\\', U'|'},    {VK_OEM_1, U';', U':'},
                  {VK_OEM_7, U'\'', U'"'},    {VK_OEM_3, U'`', U'~'},
                  {VK_OEM_COMMA, U',', U'<'}, {VK_OEM_PERIOD, U'.', U'>'},
                  {VK_OEM_2, U'/', U'?'}};
  for (const auto& p : us_punct) {
    put(p.vk, LV_BASE, p.base);
    put(p.vk, LV_SHIFT, p.shift);
  }
  if (layout_ == "us(intl)") {
    put(VK_OEM_7, LV_BASE, U'\u00B4', true);
    put(VK_OEM_7, LV_SHIFT, U'\u00A8', true);
    put(VK_OEM_3, LV_BASE, U'`', true);
    put(VK_OEM_3, LV_SHIFT, U'~', true);
    put('6', LV_SHIFT, U'^', true);
    put('5', LV_ALTGR, U'€');
    put('E', LV_ALTGR, U'é');
  }
}

// ---- Events ----

plat_key_event fake_platform::make_event(uint32_t vk, bool down, uint32_t scan, uint32_t flags) {
  bool ext = flags & LLKHF_EXTENDED;
  if (scan == 0) scan = plat_vk_to_scan(layout_, vk, &ext);
  vk = plat_sided_vk(vk, ext);
  if (ext) flags |= LLKHF_EXTENDED;
  if (!down) flags |= LLKHF_UP;
  bool alt = is_down(state_, VK_LMENU) || is_down(state_, VK_RMENU) || vk == VK_LMENU ||
             vk == VK_RMENU;
  bool ctrl = is_down(state_, VK_LCONTROL) || is_down(state_, VK_RCONTROL);
  // Windows reports keys typed with Alt (and without Ctrl) as system keys.
  bool sys = alt && !ctrl;
  uint32_t msg = down ? (sys ? WM_SYSKEYDOWN : WM_KEYDOWN) : (sys ? WM_SYSKEYUP : WM_KEYUP);
  return plat_key_event{msg, vk, scan, flags, ++time_};
}

void fake_platform::update_state(uint8_t state[256], const plat_key_event& ev) {
  uint32_t vk = ev.vk;
  bool down = ev.down();
  if (down && !(state[vk] & 0x80)) state[vk] ^= 0x01;  // toggles flip on each press
  state[vk] = down ? (state[vk] | 0x80) : (state[vk] & 0x7F);
  auto either = [state](uint32_t generic, uint32_t l, uint32_t r) {
    bool d = is_down(state, l) || is_down(state, r);
    state[generic] = d ? (state[generic] | 0x80) : (state[generic] & 0x7F);
  };
  either(VK_SHIFT, VK_LSHIFT, VK_RSHIFT);
  either(VK_CONTROL, VK_LCONTROL, VK_RCONTROL);
  either(VK_MENU, VK_LMENU, VK_RMENU);
}

void fake_platform::app_receive(const plat_key_event& ev) {
  // Alt combinations are menu accelerators, not text.
  if (ev.msg != WM_KEYDOWN) return;
  if (ev.vk == VK_PACKET) {
    char32_t unit = ev.scan;
    if (unit >= 0xD800 && unit < 0xDC00) {
      app_high_surrogate_ = unit;
      return;
    }
    if (unit >= 0xDC00 && unit < 0xE000 && app_high_surrogate_)
      unit = 0x10000 + ((app_high_surrogate_ - 0xD800) << 10) + (unit - 0xDC00);
    app_high_surrogate_ = 0;
    app_text_.insert(app_caret_++, 1, unit);
    return;
  }
  if (ev.vk == VK_BACK) {
    if (app_caret_ > 0) app_text_.erase(--app_caret_, 1);
    return;
  }
  if (ev.vk == VK_LEFT) {
    if (app_caret_ > 0) --app_caret_;
    return;
  }
  if (ev.vk == VK_RIGHT) {
    if (app_caret_ < app_text_.size()) ++app_caret_;
    return;
  }
  int level = level_of(state_, ev.vk);
  if (level < 0) return;  // Ctrl shortcuts type nothing
  const layout_key* k = lookup(ev.vk, level);
  if (!k || k->ch == U'\b' || k->ch == U'\x1b') return;
  if (k->dead && !dead_app_) {
    dead_app_ = k->ch;
    return;
  }
  std::u32string out = dead_app_ ? compose(dead_app_, k->ch) : std::u32string(1, k->ch);
  dead_app_ = 0;
  for (char32_t& c : out)
    if (c == U'\r') c = U'\n';
  app_text_.insert(app_caret_, out);
  app_caret_ += out.size();
}

void fake_platform::deliver_locked(const pending_event& ev) {
  if (ev.is_key) {
    update_state(state_, ev.key);
    app_receive(ev.key);
  }
}

void fake_platform::queue_key_locked(pending_event ev) {
  if (!kb_hook_) {
    deliver_locked(ev);
    return;
  }
  if (late_hooks_) update_state(late_async_, ev.key);
  pending_.push_back(ev);
  plat_queue_wake(kb_hook_tid_);
}

// Runs the pending hook calls of the calling thread, unlocking around each callback so the
// hook may call back into the backend.
std::unique_lock<std::mutex> fake_platform::deliver_pending(std::unique_lock<std::mutex> g) {
  plat_thread_id me = plat_queue_thread_id();
  for (;;) {
    if (pending_.empty()) return g;
    pending_event ev = pending_.front();
    bool mine = ev.is_key ? (kb_hook_ && kb_hook_tid_ == me)
                          : (mouse_hook_ && mouse_hook_tid_ == me);
    if (!mine) {
      // A hook of another thread delivers it there; with no hook at all it goes straight on.
      bool other = ev.is_key ? (kb_hook_ != nullptr) : (mouse_hook_ != nullptr);
      if (other) return g;
      pending_.erase(pending_.begin());
      deliver_locked(ev);
      continue;
    }
    pending_.erase(pending_.begin());
    plat_verdict v;
    if (ev.is_key) {
      plat_key_hook fn = kb_hook_;
      void* user = kb_user_;
      g.unlock();
      v = fn(ev.key, user);
      g.lock();
    } else {
      plat_mouse_hook fn = mouse_hook_;
      void* user = mouse_user_;
      g.unlock();
      v = fn(ev.mouse, user);
      g.lock();
    }
    if (ev.is_key && v == PLAT_SWALLOW) {
      // The application never sees it, but the key is still physically where it is.
      update_state(state_, ev.key);
    } else {
      deliver_locked(ev);
    }
  }
}

void fake_platform::push_key(uint32_t vk, bool down, uint32_t scan, uint32_t extra_flags) {
  std::lock_guard<std::mutex> g(lock_);
  queue_key_locked(pending_event{true, make_event(vk, down, scan, extra_flags), {}});
}

void fake_platform::tap_key(uint32_t vk, const std::vector<uint32_t>& held) {
  for (uint32_t m : held) push_key(m, true);
  push_key(vk, true);
  push_key(vk, false);
  for (auto it = held.rbegin(); it != held.rend(); ++it) push_key(*it, false);
}

bool fake_platform::type_text(const std::string& utf8) {
  // Presses a key code as vk_key_scan gives it, with its modifiers held around it. AltGr is
  // Left Ctrl + Right Alt, as Windows sees it.
  auto press = [this](int16_t code) {
    std::vector<uint32_t> held;
    int hi = (code >> 8) & 0xFF;
    if (hi == 6 || hi == 7) held = {VK_LCONTROL, VK_RMENU};
    if (hi & 1) held.push_back(VK_LSHIFT);
    tap_key(code & 0xFF, held);
  };
  for (char32_t ch : from_utf8(utf8)) {
    if (ch == U'\n') ch = U'\r';
    int16_t code = vk_key_scan(ch, 0);
    if (code != -1) {
      press(code);
      continue;
    }
    // Not on a key: look for a dead key and a base character that compose to it.
    int16_t dead_code = -1, base_code = -1;
    {
      std::lock_guard<std::mutex> g(lock_);
      for (const auto& [dpos, dkey] : keys_) {
        if (!dkey.dead) continue;
        for (const auto& [bpos, bkey] : keys_) {
          if (bkey.dead || bpos.second > LV_SHIFT) continue;
          if (compose(dkey.ch, bkey.ch) != std::u32string(1, ch)) continue;
          static const int shift_state[] = {0, 1, 6, 7};
          dead_code = static_cast<int16_t>((shift_state[dpos.second] << 8) | dpos.first);
          base_code = static_cast<int16_t>((shift_state[bpos.second] << 8) | bpos.first);
          break;
        }
        if (dead_code != -1) break;
      }
    }
    if (dead_code == -1) return false;
    press(dead_code);
    press(base_code);
  }
  return true;
}

plat_verdict fake_platform::feed_key(uint32_t vk, bool down, uint32_t scan, uint32_t extra_flags) {
  std::unique_lock<std::mutex> g(lock_);
  pending_event ev{true, make_event(vk, down, scan, extra_flags), {}};
  plat_key_hook fn = kb_hook_;
  void* user = kb_user_;
  plat_verdict v = PLAT_PASS;
  if (fn) {
    g.unlock();
    v = fn(ev.key, user);
    g.lock();
  }
  if (v == PLAT_SWALLOW)
    update_state(state_, ev.key);
  else
    deliver_locked(ev);
  return v;
}

void fake_platform::push_mouse(uint32_t msg, int x, int y) {
  std::lock_guard<std::mutex> g(lock_);
  if (!mouse_hook_) return;
  pending_.push_back(pending_event{false, {}, plat_mouse_event{msg, x, y}});
  plat_queue_wake(mouse_hook_tid_);
}

// ---- Scripted state ----

void fake_platform::add_window(plat_window w, const std::string& cls, const std::string& title,
                               const std::string& process, plat_window parent) {
  std::lock_guard<std::mutex> g(lock_);
  windows_[w] = window_info{cls, title, process, parent};
}

void fake_platform::set_foreground(plat_window w) {
  std::lock_guard<std::mutex> g(lock_);
  foreground_ = w;
}

void fake_platform::set_caret(bool known, plat_rect r) {
  std::lock_guard<std::mutex> g(lock_);
  caret_known_ = known;
  caret_ = r;
}

std::string fake_platform::app_text() {
  std::lock_guard<std::mutex> g(lock_);
  return to_utf8(app_text_);
}

void fake_platform::set_app_text(const std::string& utf8) {
  std::lock_guard<std::mutex> g(lock_);
  app_text_ = from_utf8(utf8);
  app_caret_ = app_text_.size();
  dead_app_ = 0;
}

void fake_platform::set_clipboard_formats(
    const std::vector<std::pair<std::string, std::string>>& formats) {
  std::lock_guard<std::mutex> g(lock_);
  clipboard_ = formats;
}

std::vector<std::pair<std::string, std::string>> fake_platform::clipboard_formats() {
  std::lock_guard<std::mutex> g(lock_);
  return clipboard_;
}

void fake_platform::lock_clipboard_for(int n_attempts) {
  std::lock_guard<std::mutex> g(lock_);
  clipboard_locked_ = n_attempts;
}

void fake_platform::fetch_clipboard() {
  std::lock_guard<std::mutex> g(lock_);
  clipboard_fetched_ = true;
}

void fake_platform::take_hotkey(unsigned modifiers, uint32_t vk) {
  std::lock_guard<std::mutex> g(lock_);
  taken_.insert({modifiers, vk});
}

bool fake_platform::press_hotkey(unsigned modifiers, uint32_t vk) {
  std::unique_lock<std::mutex> g(lock_);
  for (const auto& [id, combo] : hotkeys_) {
    if (combo != std::make_pair(modifiers, vk)) continue;
    hotkey_func fn = hotkey_fn_;
    void* user = hotkey_user_;
    int hit = id;
    g.unlock();
    if (fn) fn(hit, user);
    return true;
  }
  return false;
}

void fake_platform::set_browsers(const std::vector<plat_browser>& b) {
  std::lock_guard<std::mutex> g(lock_);
  browsers_ = b;
}

void fake_platform::set_launch_result(bool ok) {
  std::lock_guard<std::mutex> g(lock_);
  launch_result_ = ok;
}

std::vector<fake_record> fake_platform::records() {
  std::lock_guard<std::mutex> g(lock_);
  return records_;
}

void fake_platform::clear_records() {
  std::lock_guard<std::mutex> g(lock_);
  records_.clear();
}

std::vector<plat_input> fake_platform::injected() {
  std::lock_guard<std::mutex> g(lock_);
  std::vector<plat_input> out;
  for (const fake_record& r : records_)
    if (r.kind == fake_record::INPUT) out.push_back(r.input);
  return out;
}

// ---- Contract: threads ----

unsigned fake_platform::capabilities() {
  std::lock_guard<std::mutex> g(lock_);
  return caps_;
}



int fake_platform::get_message(plat_msg* out, uint32_t msg_min, uint32_t msg_max) {
  plat_queue_create();
  for (;;) {
    // Hook calls come before posted messages, as on Windows; late hooks come after them.
    bool late;
    {
      std::lock_guard<std::mutex> g(lock_);
      late = late_hooks_;
    }
    if (late && plat_queue_take(out, msg_min, msg_max)) return out->message == WM_QUIT ? 0 : 1;
    deliver_pending(std::unique_lock<std::mutex>(lock_));
    if (plat_queue_take(out, msg_min, msg_max)) return out->message == WM_QUIT ? 0 : 1;
    pollfd p{plat_queue_fd(), POLLIN, 0};
    poll(&p, 1, -1);
    plat_queue_drain_wake();
  }
}

void fake_platform::set_late_hooks(bool late) {
  std::lock_guard<std::mutex> g(lock_);
  late_hooks_ = late;
  std::copy(state_, state_ + 256, late_async_);
}

void fake_platform::flush_hook_events() { deliver_pending(std::unique_lock<std::mutex>(lock_)); }

bool fake_platform::install_keyboard_hook(plat_key_hook fn, void* user) {
  std::lock_guard<std::mutex> g(lock_);
  kb_hook_ = fn;
  kb_user_ = user;
  kb_hook_tid_ = plat_queue_thread_id();
  return true;
}

bool fake_platform::uninstall_keyboard_hook() {
  std::lock_guard<std::mutex> g(lock_);
  kb_hook_ = nullptr;
  kb_hook_tid_ = 0;
  return true;
}

bool fake_platform::install_mouse_hook(plat_mouse_hook fn, void* user) {
  std::lock_guard<std::mutex> g(lock_);
  mouse_hook_ = fn;
  mouse_user_ = user;
  mouse_hook_tid_ = plat_queue_thread_id();
  return true;
}

bool fake_platform::uninstall_mouse_hook() {
  std::lock_guard<std::mutex> g(lock_);
  mouse_hook_ = nullptr;
  mouse_hook_tid_ = 0;
  return true;
}

// ---- Contract: keyboard ----

bool fake_platform::get_keyboard_state(uint8_t state[256]) {
  std::lock_guard<std::mutex> g(lock_);
  for (int i = 0; i < 256; ++i) state[i] = state_[i];
  return true;
}

int16_t fake_platform::get_key_state(uint32_t vk) {
  std::lock_guard<std::mutex> g(lock_);
  if (vk > 255) return 0;
  return static_cast<int16_t>(((state_[vk] & 0x80) ? 0x8000 : 0) | (state_[vk] & 1));
}

int16_t fake_platform::get_async_key_state(uint32_t vk) {
  std::lock_guard<std::mutex> g(lock_);
  if (vk > 255) return 0;
  const uint8_t* state = late_hooks_ ? late_async_ : state_;
  return static_cast<int16_t>((state[vk] & 0x80) ? 0x8000 : 0);
}

plat_layout fake_platform::window_layout(plat_window) { return 1; }

uint16_t fake_platform::layout_language(plat_layout) {
  std::lock_guard<std::mutex> g(lock_);
  return plat_layout_language_id(layout_);
}

std::string fake_platform::layout_name(plat_layout) {
  std::lock_guard<std::mutex> g(lock_);
  return layout_;
}

const fake_platform::layout_key* fake_platform::lookup(uint32_t vk, int level) const {
  auto it = keys_.find({vk, level});
  return it == keys_.end() ? nullptr : &it->second;
}

// The shift level the state selects for the key; -1 for a Ctrl shortcut (no character).
int fake_platform::level_of(const uint8_t* state, uint32_t vk) const {
  bool shift = is_down(state, VK_SHIFT) || is_down(state, VK_LSHIFT) || is_down(state, VK_RSHIFT);
  bool ctrl =
      is_down(state, VK_CONTROL) || is_down(state, VK_LCONTROL) || is_down(state, VK_RCONTROL);
  bool alt = is_down(state, VK_MENU) || is_down(state, VK_LMENU) || is_down(state, VK_RMENU);
  // Windows types AltGr characters for Ctrl+Alt; Ctrl alone makes a shortcut.
  bool altgr = ctrl && alt;
  if (ctrl && !alt) return -1;
  // Caps Lock shifts letters only.
  if (state[VK_CAPITAL] & 1) {
    const layout_key* k = lookup(vk, LV_BASE);
    if (k && g_unichar_isalpha(k->ch) && g_unichar_toupper(k->ch) != k->ch) shift = !shift;
  }
  return altgr ? (shift ? LV_SHIFT_ALTGR : LV_ALTGR) : (shift ? LV_SHIFT : LV_BASE);
}

int fake_platform::to_unicode(uint32_t vk, uint32_t, const uint8_t state[256],
                              std::string* utf8_out, plat_layout) {
  std::lock_guard<std::mutex> g(lock_);
  utf8_out->clear();
  int level = level_of(state, vk);
  const layout_key* k = level < 0 ? nullptr : lookup(vk, level);
  if (!k) return 0;
  if (k->dead && !dead_translate_) {
    dead_translate_ = k->ch;
    return -1;
  }
  std::u32string out = dead_translate_ ? compose(dead_translate_, k->ch) : std::u32string(1, k->ch);
  dead_translate_ = 0;
  *utf8_out = to_utf8(out);
  return static_cast<int>(out.size());
}

int16_t fake_platform::vk_key_scan(char32_t ch, plat_layout) {
  std::lock_guard<std::mutex> g(lock_);
  static const int shift_state[] = {0, 1, 6, 7};
  for (int level = LV_BASE; level <= LV_SHIFT_ALTGR; ++level) {
    for (const auto& [pos, key] : keys_) {
      if (pos.second == level && key.ch == ch && !key.dead)
        return static_cast<int16_t>((shift_state[level] << 8) | pos.first);
    }
  }
  return -1;
}

uint32_t fake_platform::map_virtual_key(uint32_t code, unsigned map_type, plat_layout) {
  std::lock_guard<std::mutex> g(lock_);
  bool ext = false;
  switch (map_type) {
    case MAPVK_VK_TO_VSC:
      return plat_vk_to_scan(layout_, code, &ext);
    case MAPVK_VSC_TO_VK:
    case MAPVK_VSC_TO_VK_EX: {
      uint32_t vk = plat_scan_to_vk(layout_, code & 0xFF, (code & 0xFF00) == 0xE000, true);
      return map_type == MAPVK_VSC_TO_VK ? plat_generic_vk(vk) : vk;
    }
    case MAPVK_VK_TO_CHAR: {
      const layout_key* k = lookup(code, LV_BASE);
      if (!k) return 0;
      return k->dead ? (0x80000000u | k->ch) : g_unichar_toupper(k->ch);
    }
    default:
      return 0;
  }
}

// ---- Contract: injection ----

void fake_platform::inject(const plat_input& in) {
  fake_record r = make_record(fake_record::INPUT);
  r.input = in;
  records_.push_back(r);
  bool down = !(in.flags & KEYEVENTF_KEYUP);
  uint32_t flags = LLKHF_INJECTED | ((in.flags & KEYEVENTF_EXTENDEDKEY) ? LLKHF_EXTENDED : 0);
  pending_event ev{true, {}, {}};
  if (in.flags & KEYEVENTF_UNICODE) {
    // The hook sees VK_PACKET with the UTF-16 unit as scan code.
    ev.key = plat_key_event{down ? WM_KEYDOWN : WM_KEYUP, VK_PACKET, in.scan,
                            flags | (down ? 0 : LLKHF_UP), ++time_};
  } else {
    ev.key = make_event(in.vk, down, in.scan, flags);
  }
  queue_key_locked(ev);
}

void fake_platform::before_next_injection(std::function<void()> fn) {
  std::lock_guard<std::mutex> g(lock_);
  before_injection_ = std::move(fn);
}

void fake_platform::run_before_injection() {
  std::function<void()> fn;
  {
    std::lock_guard<std::mutex> g(lock_);
    fn.swap(before_injection_);
  }
  if (fn) fn();
}

unsigned fake_platform::send_input(const plat_input* inputs, unsigned n) {
  run_before_injection();
  std::lock_guard<std::mutex> g(lock_);
  for (unsigned i = 0; i < n; ++i) inject(inputs[i]);
  return n;
}

void fake_platform::send_key(uint32_t vk, uint32_t scan, uint32_t flags) {
  run_before_injection();
  std::lock_guard<std::mutex> g(lock_);
  inject(plat_input{vk, scan, flags});
}

bool fake_platform::post_char(plat_window w, char32_t ch) {
  std::lock_guard<std::mutex> g(lock_);
  fake_record r = make_record(fake_record::POST_CHAR);
  r.window = w;
  r.ch = ch;
  records_.push_back(r);
  app_text_.insert(app_caret_++, 1, ch == U'\r' ? U'\n' : ch);
  return true;
}

// ---- Contract: windows ----

plat_window fake_platform::foreground_window() {
  std::lock_guard<std::mutex> g(lock_);
  return foreground_;
}

std::string fake_platform::window_class(plat_window w, size_t max_len) {
  std::lock_guard<std::mutex> g(lock_);
  auto it = windows_.find(w);
  return it == windows_.end() ? "" : it->second.cls.substr(0, max_len);
}

std::string fake_platform::window_title(plat_window w, size_t max_len) {
  std::lock_guard<std::mutex> g(lock_);
  auto it = windows_.find(w);
  return it == windows_.end() ? "" : it->second.title.substr(0, max_len);
}

plat_window fake_platform::window_parent(plat_window w) {
  std::lock_guard<std::mutex> g(lock_);
  auto it = windows_.find(w);
  return it == windows_.end() ? 0 : it->second.parent;
}

uint32_t fake_platform::window_process_id(plat_window w) {
  std::lock_guard<std::mutex> g(lock_);
  return windows_.count(w) ? static_cast<uint32_t>(1000 + w) : 0;
}

std::string fake_platform::window_process_name(plat_window w) {
  std::lock_guard<std::mutex> g(lock_);
  auto it = windows_.find(w);
  return it == windows_.end() ? "" : it->second.process;
}

plat_window fake_platform::find_top_level_window(const std::string& cls) {
  std::lock_guard<std::mutex> g(lock_);
  for (const auto& [w, info] : windows_)
    if (info.parent == 0 && info.cls == cls) return w;
  return 0;
}

bool fake_platform::window_rect(plat_window w, plat_rect* out) {
  std::lock_guard<std::mutex> g(lock_);
  if (!windows_.count(w)) return false;
  *out = plat_rect{100, 100, 740, 580};
  return true;
}

plat_window fake_platform::focus_window() { return foreground_window(); }

bool fake_platform::caret_rect(plat_rect* out) {
  std::lock_guard<std::mutex> g(lock_);
  if (!caret_known_) return false;
  *out = caret_;
  return true;
}

bool fake_platform::attach_thread_input(plat_window, bool) { return true; }

void fake_platform::move_pointer(int x, int y) {
  std::lock_guard<std::mutex> g(lock_);
  fake_record r = make_record(fake_record::POINTER_MOVE);
  r.x = x;
  r.y = y;
  records_.push_back(r);
}

// ---- Contract: clipboard ----

bool fake_platform::open_clipboard(int attempts) {
  for (int i = 0; i < attempts; ++i) {
    if (clipboard_locked_ == 0) return true;
    --clipboard_locked_;
  }
  return false;
}

std::optional<std::string> fake_platform::clipboard_get_text(unsigned selection) {
  std::lock_guard<std::mutex> g(lock_);
  if (selection == PLAT_SEL_PRIMARY) return primary_;
  if (!open_clipboard(1)) return std::nullopt;
  clipboard_fetched_ = true;
  for (const auto& f : clipboard_)
    if (f.first == "text") return f.second;
  return std::nullopt;
}

bool fake_platform::clipboard_set_text(const std::string& utf8, unsigned selections,
                                       int attempts, int) {
  std::lock_guard<std::mutex> g(lock_);
  if (selections & PLAT_SEL_CLIPBOARD) {
    if (!open_clipboard(attempts)) return false;
    clipboard_ = {{"text", utf8}};
  }
  if (selections & PLAT_SEL_PRIMARY) primary_ = utf8;
  clipboard_fetched_ = false;
  fake_record r = make_record(fake_record::CLIPBOARD_SET);
  r.text = utf8;
  r.selections = selections;
  records_.push_back(r);
  return true;
}

bool fake_platform::clipboard_wait_fetched(int) {
  std::lock_guard<std::mutex> g(lock_);
  return clipboard_fetched_;
}

std::unique_ptr<plat_clipboard_backup> fake_platform::clipboard_backup(int attempts, int) {
  std::lock_guard<std::mutex> g(lock_);
  if (!open_clipboard(attempts)) return nullptr;
  auto b = std::make_unique<fake_backup>();
  b->data = clipboard_;
  return b;
}

bool fake_platform::clipboard_restore(const plat_clipboard_backup& backup, int attempts, int) {
  std::lock_guard<std::mutex> g(lock_);
  const auto* b = dynamic_cast<const fake_backup*>(&backup);
  if (!b || !open_clipboard(attempts)) return false;
  clipboard_ = b->data;
  fake_record r = make_record(fake_record::CLIPBOARD_RESTORE);
  for (const auto& f : b->data) r.text += (r.text.empty() ? "" : ",") + f.first;
  records_.push_back(r);
  return true;
}

// ---- Contract: hotkeys, launching, sound ----

void fake_platform::set_hotkey_handler(hotkey_func fn, void* user) {
  std::lock_guard<std::mutex> g(lock_);
  hotkey_fn_ = fn;
  hotkey_user_ = user;
}

bool fake_platform::register_hotkey(int id, unsigned modifiers, uint32_t vk) {
  std::lock_guard<std::mutex> g(lock_);
  std::pair<unsigned, uint32_t> combo{modifiers, vk};
  if (taken_.count(combo) || hotkeys_.count(id)) return false;
  for (const auto& h : hotkeys_)
    if (h.second == combo) return false;
  hotkeys_[id] = combo;
  fake_record r = make_record(fake_record::HOTKEY_REGISTER);
  r.id = id;
  r.modifiers = modifiers;
  r.vk = vk;
  records_.push_back(r);
  return true;
}

bool fake_platform::unregister_hotkey(int id) {
  std::lock_guard<std::mutex> g(lock_);
  if (!hotkeys_.erase(id)) return false;
  fake_record r = make_record(fake_record::HOTKEY_UNREGISTER);
  r.id = id;
  records_.push_back(r);
  return true;
}

bool fake_platform::launch(const plat_launch& what) {
  std::lock_guard<std::mutex> g(lock_);
  fake_record r = make_record(fake_record::LAUNCH);
  r.launch = what;
  records_.push_back(r);
  return launch_result_;
}

std::vector<plat_browser> fake_platform::list_browsers() {
  std::lock_guard<std::mutex> g(lock_);
  return browsers_;
}

void fake_platform::play_expansion_sound() {
  std::lock_guard<std::mutex> g(lock_);
  records_.push_back(make_record(fake_record::SOUND));
}
