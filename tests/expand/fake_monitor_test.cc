// The monitor stand-in linked into the expansion tests (the file name lets the test glob pick it
// up); it holds no tests of its own.
#include "fake_monitor.h"

#include "expand/keysim_monitor.h"

namespace {
fake_monitor state;
}

fake_monitor& fake_mon() { return state; }
void fake_monitor_reset() { state = fake_monitor{}; }

plat_thread_id mon_hook_thread_id() { return state.hook_tid; }
plat_window mon_get_typed_hwnd() { return state.typed_hwnd; }
void mon_caps_lock_preppy() {
  state.caps_preppy_calls++;
  state.calls.push_back("caps");
}
void mon_enable_ii_mode() {
  state.calls.push_back("enable_ii");
  state.continue_pressed = 0;
  state.ended_abruptly = 0;
  state.n_chars = 0;
  state.unselect_first = 0;
  if (state.on_field_open) state.on_field_open();
}
void mon_disable_ii_mode() { state.calls.push_back("disable_ii"); }
int mon_get_user_pressed_ii_continue_key() { return state.continue_pressed; }
int mon_get_ii_ended_abruptly() { return state.ended_abruptly; }
int mon_get_n_chars_typed_in_ii_mode() { return state.n_chars; }
int mon_was_unselect_key_pressed_first_in_ii_mode() { return state.unselect_first; }
