// A stand-in for the keyboard monitor's side of the hand-off, scripted by the tests.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/platform.h"

struct fake_monitor {
  plat_thread_id hook_tid = 0;
  plat_window typed_hwnd = 0;
  int caps_preppy_calls = 0;
  // Interactive input: what the user does once a field opens (runs inside mon_enable_ii_mode),
  // and what the monitor reports afterwards.
  std::function<void()> on_field_open;
  int continue_pressed = 0;
  int ended_abruptly = 0;
  int n_chars = 0;
  int unselect_first = 0;
  std::vector<std::string> calls;  // "enable_ii", "disable_ii", "caps"
};

// The state the monitor functions use; reset by fake_monitor_reset().
fake_monitor& fake_mon();
void fake_monitor_reset();
