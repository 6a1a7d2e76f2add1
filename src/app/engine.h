// Connects the engine's modules to each other and to the window system for the desktop
// program: the system's backend (X11 on Linux, Win32 on Windows; engine_x11.cc and
// engine_win32.cc open it), the keyboard monitor, the replacement thread, the preview tooltip,
// and the operations core/app.h calls.
#pragma once

#include <string>
#include <vector>

#include "core/app.h"

// Opens the display's backend and installs it (plat_set). False when the display cannot be
// used; then nothing else here may be called. Must come before any other Xlib or GTK call.
bool app_engine_open_platform();
// Fills the engine's hook tables and `ops` with the monitor's and windows' functions.
void app_engine_wire(core_app_ops* ops);
// Ends the backend after the monitor has stopped.
void app_engine_close_platform();
// Starts `exe` with `args` detached from this process (the restart); false when it could not.
bool app_engine_spawn_program(const std::string& exe, const std::vector<std::string>& args);
