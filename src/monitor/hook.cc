// The keyboard and mouse hooks. Both run on the hook thread, called from inside its message
// loop, and must answer quickly: the system drops a low-level hook that is too slow.
//
// Backends differ in two ways that matter here (platform capabilities):
// - Without PLAT_CAP_SWALLOW (X11) the application receives every key whatever the hook
//   answers. A trigger key or word-ending character that completes an abbreviation has then
//   already been typed; the record says so (extra_erase) and the replacement erases it with the
//   abbreviation, and for word-end abbreviations types it again after the replacement as usual.
//   In interactive input the continue key (Tab) reaches the application too.
// - With PLAT_CAP_COMPOSES_DEAD_KEYS (and whenever keys cannot be swallowed) the application
//   gets the dead key itself and the backend reports the composed character with the next key,
//   so nothing is held back or replayed. Otherwise a dead key is swallowed, remembered, and
//   replayed in front of the next key once that key's character is known.
#include <glib.h>

#include <cstring>

#include "monitor/mon_internal.h"
#include "settings/settings.h"

std::deque<uint32_t> vk_ignore_next;
uint32_t pending_dead_vk = 0, pending_dead_sc = 0;
uint32_t pending_shift_vk = 0, pending_shift_sc = 0;
int shift_pressed_first = 0;
int pending_used_altgr = 0;
int g_dead_key_used = 0;
uint32_t alt_state = 0, ctrl_state = 0;
int tab_was_pressed_while_alt_pressed = 0;
plat_window last_focused_hwnd = 0;
typed_abbrev_info* tai = nullptr;

namespace {
plat_window typed_hwnd = 0;
plat_window g_typed_hwnd = 0;
std::mutex g_typed_hwnd_lock;
uint32_t last_typed_nth_abbrev = 0, last_typed_folder_uid = 0;
std::mutex last_typed_lock;

bool async_down(uint32_t vk) { return (plat()->get_async_key_state(vk) & 0x8000) != 0; }
bool is_shift(uint32_t vk) { return vk == VK_LSHIFT || vk == VK_RSHIFT || vk == VK_SHIFT; }
bool is_alt(uint32_t vk) { return vk == VK_LMENU || vk == VK_RMENU || vk == VK_MENU; }
bool msg_is_down(uint32_t msg) { return msg == WM_KEYDOWN || msg == WM_SYSKEYDOWN; }
uint32_t scan_or_map(uint32_t vk, uint32_t scan) {
  return scan ? scan : plat()->map_virtual_key(vk, MAPVK_VK_TO_VSC, 0);
}

// GetKeyState's answer in the form of a keyboard-state byte.
uint8_t state_byte(uint32_t vk) {
  int16_t s = plat()->get_key_state(vk);
  return static_cast<uint8_t>(((s & 0x8000) ? 0x80 : 0) | (s & 1));
}

void set_typed_hwnd(plat_window w) {
  std::lock_guard<std::mutex> g(g_typed_hwnd_lock);
  g_typed_hwnd = w;
}

void drop_buffer_and_waiting() {
  mon_clear_key_buffer();
  mon_set_abbrev_waiting_to_expand(nullptr);
}

// Tab in interactive input: the field is done. The Tab itself is not part of the field.
plat_verdict ii_continue_key() {
  mon_hide_tooltip_window();
  if (!pending_dead_vk && mon_get_n_chars_typed_in_ii_mode() > 0) mon_chars_typed_in_ii_mode(-1);
  mon_set_user_pressed_ii_continue_key(1);
  g_dead_key_used = 0;
  return PLAT_SWALLOW;
}

// Lets the next key-down of `vk` pass untouched: it is one we inject. After a match the hook
// is temp-disabled until the replacement ends, so everything we inject passes anyway and an
// entry would only be left behind to swallow one of the user's later keys.
void ignore_next(uint32_t vk, bool matched) {
  if (!matched && vk_ignore_next.size() < 16) vk_ignore_next.push_back(vk);
}

// Presses the dead key's Shift on the user's behalf and remembers that we did.
void press_pending_shift(bool matched) {
  uint32_t sc = scan_or_map(pending_shift_vk, pending_shift_sc);
  ignore_next(pending_shift_vk, matched);
  plat()->send_key(pending_shift_vk, sc, 0);
  g_didwutshift = pending_shift_vk;
  g_didwutshiftsc = sc;
}

// Replays a dead key that was held back, followed by the present key, so that the application
// composes the character itself. vk_ignore_next lets our own events through the hook.
void replay_dead_key(const plat_key_event& ev, bool matched) {
  platform* p = plat();
  uint32_t dvk = pending_dead_vk, dsc = pending_dead_sc;
  pending_dead_vk = 0;
  bool shift_pressed = false;
  if (shift_pressed_first == 1 && pending_shift_vk && !async_down(pending_shift_vk)) {
    press_pending_shift(matched);
    shift_pressed = true;
  }
  if (dvk == ev.vk) p->send_key(dvk, dsc, KEYEVENTF_EXTENDEDKEY | KEYEVENTF_KEYUP);
  if (pending_used_altgr) {
    ignore_next(VK_RMENU, matched);
    p->send_key(VK_RMENU, 0x38, KEYEVENTF_EXTENDEDKEY);
  }
  ignore_next(dvk, matched);
  p->send_key(dvk, dsc, KEYEVENTF_EXTENDEDKEY);
  if (shift_pressed_first == 0 && pending_shift_vk && !async_down(pending_shift_vk)) {
    press_pending_shift(matched);
    shift_pressed = true;
  } else if (shift_pressed_first == 1 && shift_pressed) {
    p->send_key(pending_shift_vk, scan_or_map(pending_shift_vk, pending_shift_sc), KEYEVENTF_KEYUP);
    pending_shift_vk = pending_shift_sc = 0;
  }
  p->send_key(dvk, dsc, KEYEVENTF_EXTENDEDKEY | KEYEVENTF_KEYUP);
  if (pending_used_altgr) {
    pending_used_altgr = 0;
    p->send_key(VK_RMENU, 0x38, KEYEVENTF_EXTENDEDKEY | KEYEVENTF_KEYUP);
  }
  // Its character is already in the key buffer and must not be added twice.
  ignore_next(ev.vk, matched);
  uint32_t sc = scan_or_map(ev.vk, ev.scan);
  p->send_key(ev.vk, sc, 0);
  p->send_key(ev.vk, sc, KEYEVENTF_KEYUP);
  if (shift_pressed_first == 0 && shift_pressed)
    p->send_key(pending_shift_vk, scan_or_map(pending_shift_vk, pending_shift_sc), KEYEVENTF_KEYUP);
  // The Shift belonged to this dead key only. Left set, it would shift the next dead key's
  // character although the user no longer holds Shift.
  pending_shift_vk = pending_shift_sc = 0;
}

// Builds the record for a typed match and hands it to the replacement thread.
void start_expansion(const plat_key_event& ev, abbrev_match* match, int n, const std::string& chars,
                     bool swallowed, bool can_swallow) {
  typed_abbrev_info_free(&tai);
  tai = new typed_abbrev_info;
  tai->abbrev = abbr_duplicate_abbrev(match->abbrev, match->abbrev->parent, true);
  tai->typed = mon_get_typed_abbrev(match);
  tai->target_window = typed_hwnd;
  set_typed_hwnd(typed_hwnd);
  uint32_t m = mon_effective_trigger_mode(match->abbrev);
  if (m == ABBR_TRIGGER_TRIGGER_KEY || m == ABBR_TRIGGER_WORD_END) {
    tai->trigger_vk = ev.vk;
    tai->shift_down = (async_down(VK_LSHIFT) || async_down(VK_RSHIFT)) ? 1 : 0;
    if (n != -1 && !chars.empty()) {
      gunichar c = g_utf8_get_char_validated(chars.c_str(), static_cast<gssize>(chars.size()));
      if (c == static_cast<gunichar>(-1) || c == static_cast<gunichar>(-2)) c = 0;
      tai->trigger_char = c == '\r' ? '\n' : c;
    }
    tai->dead_key_pending = pending_dead_vk ? 1 : 0;
  }
  // The application already has the trigger's character when the key could not be swallowed.
  if (swallowed && !can_swallow && tai->trigger_char) tai->extra_erase = 1;
  g_dead_key_used = 0;
  {
    std::lock_guard<std::mutex> g(last_typed_lock);
    last_typed_nth_abbrev = match->abbrev->uid;
    last_typed_folder_uid = match->abbrev->parent ? match->abbrev->parent->uid : 0;
  }
  abbrev_match_free(match);
  mon_do_before_replace_preppy();
  mon_hand_over_tai();
}

}  // namespace

plat_window mon_get_typed_hwnd() {
  std::lock_guard<std::mutex> g(g_typed_hwnd_lock);
  return g_typed_hwnd;
}

void mon_get_last_typed(uint32_t* abbrev_uid, uint32_t* folder_uid) {
  std::lock_guard<std::mutex> g(last_typed_lock);
  if (abbrev_uid) *abbrev_uid = last_typed_nth_abbrev;
  if (folder_uid) *folder_uid = last_typed_folder_uid;
}

void mon_hand_over_tai() {
  plat_thread_id keysim = mon_get_keysim_thread();
  if (tai && keysim &&
      plat()->post_thread_message(keysim, WM_KEYSIM_REPLACE, reinterpret_cast<uintptr_t>(&tai), 1))
    return;
  // Nobody will send the clean-up messages: undo the preparation here.
  typed_abbrev_info_free(&tai);
  mon_restore_all_keyupd_modifiers();
  mon_hook_set_temp_disable(0);
}

void mon_timeout_replace_typed_abbreviation() {
  mon_do_before_replace_preppy();
  mon_hand_over_tai();
}

void mon_expand_abbrev_from_menu(abbr_abbrev* a) {
  typed_abbrev_info_free(&tai);
  tai = new typed_abbrev_info;
  tai->abbrev = a;
  tai->typed = a && a->abbrevs ? plist_str(a->abbrevs) : std::string();
  tai->target_window = plat()->foreground_window();
  set_typed_hwnd(tai->target_window);
  tai->trigger_char = 0;
  tai->trigger_vk = TAI_TRIGGER_FROM_MENU;
  tai->dead_key_pending = 0;
  tai->from_menu = 1;
  mon_do_before_replace_preppy();
  mon_hand_over_tai();
}

void mon_reset_hook_state() {
  vk_ignore_next.clear();
  pending_dead_vk = pending_dead_sc = pending_shift_vk = pending_shift_sc = 0;
  shift_pressed_first = pending_used_altgr = g_dead_key_used = 0;
  alt_state = ctrl_state = 0;
  tab_was_pressed_while_alt_pressed = 0;
  last_focused_hwnd = typed_hwnd = 0;
  set_typed_hwnd(0);
  mon_set_abbrev_waiting_to_expand(nullptr);
  for (mon_modifier_row* r = modifier_states; r->vk != 0xFFFFFFFFu; ++r) r->down = 0;
}

namespace {
plat_verdict keyboard_hook(const plat_key_event& ev) {
  platform* p = plat();
  const unsigned caps = p->capabilities();
  const bool can_swallow = (caps & PLAT_CAP_SWALLOW) != 0;
  const bool holds_dead_keys = can_swallow && !(caps & PLAT_CAP_COMPOSES_DEAD_KEYS);
  const uint32_t vk = ev.vk;
  const bool down = ev.down();

  g_keyboard_hook_called = 1;

  // Alt+Tab and Escape bookkeeping.
  if (vk == VK_LMENU || vk == VK_RMENU) {
    alt_state = ev.msg;
  } else if (vk == VK_LCONTROL || vk == VK_RCONTROL) {
    ctrl_state = ev.msg;
  } else {
    if (vk == VK_TAB && alt_state == WM_SYSKEYDOWN && ev.msg == WM_SYSKEYDOWN && !msg_is_down(ctrl_state) &&
        !mon_hook_get_temp_disable())
      tab_was_pressed_while_alt_pressed = 1;
    if (vk == VK_ESCAPE && mon_cb().destroy_chooser_menu) mon_cb().destroy_chooser_menu();
  }
  if (vk == VK_LSHIFT || vk == VK_RSHIFT) g_didwutphysshift = vk;

  // While the replacement types, only the user's own modifier presses are recorded so they
  // can be restored afterwards.
  if (mon_hook_get_temp_disable()) {
    if (vk == VK_CAPITAL) g_caps_pressed_count++;
    else if (is_modifier_vk(vk) && !(ev.flags & LLKHF_INJECTED)) update_modifier_phys_state(vk, down);
    return PLAT_PASS;
  }

  const bool ii = mon_get_ii_mode_enabled() != 0;
  if (ii && mon_vk_will_unselect_selected_text(vk)) mon_set_unselect_key_pressed_first_in_ii_mode(1);

  if (pending_dead_vk) {
    if (down && is_shift(vk)) {
      shift_pressed_first = 0;
      pending_shift_sc = ev.scan;
      pending_shift_vk = vk;
      return PLAT_SWALLOW;
    }
    if (down && (async_down(VK_LCONTROL) || async_down(VK_RCONTROL)) &&
        (async_down(VK_LMENU) || async_down(VK_RMENU))) {
      pending_used_altgr = 1;
      return PLAT_SWALLOW;
    }
    if (!down && is_shift(vk) && shift_pressed_first != 1) pending_shift_vk = pending_shift_sc = 0;
  }

  if (down && !vk_ignore_next.empty() && vk_ignore_next.front() == vk) {
    vk_ignore_next.pop_front();
    return PLAT_PASS;
  }

  ABBR_LOCK_MAIN_LIST();
  uint8_t state[256];
  if (!p->get_keyboard_state(state)) {
    ABBR_UNLOCK_MAIN_LIST();
    return PLAT_PASS;
  }
  plat_window fg = p->foreground_window();
  plat_layout layout = p->window_layout(fg);

  // Focus tracking: a new window (or Alt+Tab in progress) means the caret is somewhere else,
  // so nothing typed so far can be part of an abbreviation.
  const bool alt_up = !down && is_alt(vk);
  const int focus_fix = g_focus_fix.load(std::memory_order_relaxed);
  bool changed = false;
  plat_window new_last = fg;
  if (tab_was_pressed_while_alt_pressed == 1) {
    if (alt_up) tab_was_pressed_while_alt_pressed = 0;
    if (last_focused_hwnd) {
      if (!focus_fix) p->attach_thread_input(last_focused_hwnd, false);
      last_focused_hwnd = 0;
    }
    if (fg) {
      changed = true;
      new_last = 0;
    }
  } else {
    std::string cls = p->window_class(fg, 63);
    if (alt_up) tab_was_pressed_while_alt_pressed = 0;
    if (cls == "#32770" && p->window_class(p->window_parent(fg), 63) == "VanDyke Software - SecureCRT") {
      // This terminal's dialogs stop taking input when another thread attaches to them.
      if (fg != last_focused_hwnd) changed = true;
    } else if (fg != last_focused_hwnd) {
      if (!(last_focused_hwnd && focus_fix)) {
        if (last_focused_hwnd) p->attach_thread_input(last_focused_hwnd, false);
        p->attach_thread_input(fg, true);
      }
      changed = true;
    }
  }
  if (changed) {
    last_focused_hwnd = new_last;
    drop_buffer_and_waiting();
    if (ii && setting_get_int("cont_window_changed") == 0) {
      mon_set_ii_ended_abruptly(1);
      ABBR_UNLOCK_MAIN_LIST();
      return PLAT_PASS;
    }
  }

  if (ii && vk == VK_ESCAPE) {
    mon_set_ii_ended_abruptly(1);
    ABBR_UNLOCK_MAIN_LIST();
    return PLAT_PASS;
  }

  typed_hwnd = fg;
  if (!down) {
    ABBR_UNLOCK_MAIN_LIST();
    return PLAT_PASS;
  }
  if ((state[VK_MENU] & 0x80) &&
      ((vk >= VK_PRIOR && vk <= VK_DOWN) || vk == VK_INSERT || vk == VK_DELETE)) {
    ABBR_UNLOCK_MAIN_LIST();
    return PLAT_PASS;
  }

  // The hook thread sees its own keyboard state, not the application's: take the modifiers
  // from the system.
  if (!pending_dead_vk) state[VK_SHIFT] = state_byte(VK_SHIFT);
  if (focus_fix == 1) state[VK_CAPITAL] = state_byte(VK_CAPITAL);
  if (focus_fix != 0) {
    state[VK_CONTROL] = state_byte(VK_CONTROL);
    state[VK_MENU] = state_byte(VK_MENU);
  }
  if (pending_dead_vk && pending_shift_vk) state[VK_SHIFT] = 0x80;

  std::string chars;
  int n = p->to_unicode(vk, ev.scan, state, &chars, layout);
  if (n > 0 && chars.size() > 63) {
    size_t cut = 63;
    while (cut > 0 && (static_cast<unsigned char>(chars[cut]) & 0xC0) == 0x80) --cut;
    chars.resize(cut);
  }
  // Backends that give no character for Backspace still mean it to remove one.
  if (n == 0 && vk == VK_BACK) {
    chars = "\b";
    n = 1;
  }
  if (n <= 0) chars.clear();

  if (n == -1) {
    g_dead_key_used = 1;
    if (!holds_dead_keys) {
      // The application got the dead key; the next key brings the composed character.
      ABBR_UNLOCK_MAIN_LIST();
      return PLAT_PASS;
    }
    if (!pending_dead_vk) {
      pending_dead_vk = vk;
      pending_dead_sc = ev.scan;
      if (pending_shift_vk == 0) {
        shift_pressed_first = 1;
        if (async_down(VK_LSHIFT)) {
          pending_shift_vk = VK_LSHIFT;
          pending_shift_sc = 0x2A;
        } else if (async_down(VK_RSHIFT)) {
          pending_shift_vk = VK_RSHIFT;
          pending_shift_sc = 0x136;
        }
      }
      bool lctrl = state[VK_LCONTROL] & 0x80, rctrl = state[VK_RCONTROL] & 0x80;
      bool lalt = state[VK_LMENU] & 0x80, ralt = state[VK_RMENU] & 0x80;
      pending_used_altgr = (!lctrl && (!rctrl || !lalt)) ? (ralt ? 1 : 0) : 1;
      ABBR_UNLOCK_MAIN_LIST();
      return PLAT_SWALLOW;
    }
  }
  const bool dead_pending_at_key = pending_dead_vk != 0;

  if (n > 0) {
    if (!ii) mon_key_pressed(chars, ev);
    else mon_chars_typed_in_ii_mode(static_cast<int>(g_utf8_strlen(chars.c_str(), -1)));
  }

  abbrev_match* match = nullptr;
  int r = 0;
  plat_verdict verdict = PLAT_PASS;
  if (ii && vk == VK_TAB) {
    ABBR_UNLOCK_MAIN_LIST();
    return ii_continue_key();
  }
  if (!ii) r = mon_was_abbrev_typed_by_user(ev, chars.c_str(), &match);
  if (r & 1) {
    mon_hide_tooltip_window();
    if (mon_get_ii_mode_enabled()) {
      // Interactive input began while this key was being matched: it ends the field instead.
      abbrev_match_free(match);
      ABBR_UNLOCK_MAIN_LIST();
      return ii_continue_key();
    }
    verdict = (r & 8) ? PLAT_SWALLOW : PLAT_PASS;
    start_expansion(ev, match, n, chars, (r & 8) != 0, can_swallow);
  } else {
    if (mon_clear_key_buffer_key_pressed(ev) == 1) {
      drop_buffer_and_waiting();
      mon_hide_tooltip_window();
    }
    if (!mon_get_abbrev_waiting_to_expand()) mon_hide_tooltip_window();
    if (ii) {
      if (vk == VK_BACK) {
        if (mon_cb().keysim_user_typed_backspace_in_ii) mon_cb().keysim_user_typed_backspace_in_ii();
      } else if (mon_cb().keysim_user_typed_char_in_ii) {
        mon_cb().keysim_user_typed_char_in_ii(chars.c_str());
      }
    }
  }

  if (dead_pending_at_key && holds_dead_keys) {
    replay_dead_key(ev, (r & 1) != 0);
    ABBR_UNLOCK_MAIN_LIST();
    return PLAT_SWALLOW;
  }
  ABBR_UNLOCK_MAIN_LIST();
  return verdict;
}

}  // namespace

plat_verdict mon_keyboard_LL_hook_func(const plat_key_event& ev, void*) {
  plat_verdict v = keyboard_hook(ev);
  // Where keys cannot be swallowed, say so: the key has reached the application anyway.
  return (plat()->capabilities() & PLAT_CAP_SWALLOW) ? v : PLAT_PASS;
}

plat_verdict mon_mouse_LL_hook_func(const plat_mouse_event& ev, void*) {
  if (ev.msg == WM_LBUTTONDOWN || ev.msg == WM_RBUTTONDOWN || ev.msg == WM_MBUTTONDOWN) {
    // A click moves the caret: what was typed before it is no longer in front of it.
    drop_buffer_and_waiting();
    mon_hide_tooltip_window();
    const mon_callbacks& cb = mon_cb();
    if (!(cb.in_tray_menu && cb.in_tray_menu()) && cb.destroy_chooser_menu) cb.destroy_chooser_menu();
  }
  return PLAT_PASS;
}
