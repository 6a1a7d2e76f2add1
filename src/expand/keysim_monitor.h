// What the expansion engine needs from the keyboard monitor: the monitor's side of the
// hand-off between the hook thread and the keysim thread. The monitor module defines these.
//
// Threads: all of them are called on the keysim thread; each reads or writes monitor state
// under that value's own lock.
#pragma once

#include <cstdint>

#include "platform/platform.h"

// The hook thread's id, where the after-replacement messages go; 0 when none.
plat_thread_id mon_hook_thread_id();
// The window in which the abbreviation was typed (`g_typed_hwnd`, read under its lock).
plat_window mon_get_typed_hwnd();
// Before typing: if Caps Lock is on, remember that and switch it off with a Caps Lock press.
void mon_caps_lock_preppy();

// Interactive-input mode: switching it on lets the user type into the target while the hook
// counts characters; switching it off takes the keyboard back for the expansion.
void mon_enable_ii_mode();
void mon_disable_ii_mode();
int mon_get_user_pressed_ii_continue_key();
int mon_get_ii_ended_abruptly();
int mon_get_n_chars_typed_in_ii_mode();
// 1 when the user's first key in the field removed the selection without deleting it.
int mon_was_unselect_key_pressed_first_in_ii_mode();
