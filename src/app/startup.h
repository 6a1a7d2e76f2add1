// The desktop program's start-up, written once for every system. app_start runs the steps in
// their fixed order; the few that differ between systems are the app_sys_* functions below,
// implemented once per system (main_posix.cc, main_win32.cc), each of which also holds the
// program's entry point.
//
// Threads: the UI thread, which the process starts on.
#pragma once

#include <string>
#include <vector>

#include "core/cmdline.h"

// Starts the program and runs its main loop, which it never leaves (the process ends in
// _quit_). Returns only when this start ends early, with the exit code: 0 after handing over to
// a running instance or to an elevated start, 1 when the window system cannot be used.
int app_start(int argc, char** argv);

// One iteration of the toolkit's main loop, for a system whose loop the program drives itself.
// `may_block`: wait for an event when none is pending.
void app_main_iteration(bool may_block);

// ---- Each system's own steps, in the order app_start calls them ----

// Whether this start hands over to an elevated start of the program (which the function has
// then asked for); the caller exits with 0. `args` is the UTF-8 command line, program first.
// Runs with the preferences loaded.
bool app_sys_elevate(const std::vector<std::string>& args);
// Lets a process of lower rights ask this one to show its main window.
void app_sys_admit_show_request();
// The single-instance rule: true when another instance runs and has been handed this start's
// request (the caller ends with 0). Otherwise this process becomes the running instance or, when
// restarting, waits for the old one to close first.
bool app_sys_hand_over_if_running(const core_cmdline& cmd);
// Connects the window-system backend and makes the windows the system needs before the toolkit
// starts (the hidden instance window on Windows). False when the display cannot be used (the
// user has been told); the caller ends with 1.
bool app_sys_open_windowing();
// Last things before the main loop (how the system asks the program to end).
void app_sys_before_main_loop();
// The main loop; never returns.
[[noreturn]] void app_sys_main_loop();
