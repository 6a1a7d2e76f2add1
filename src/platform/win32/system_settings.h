// The user's Windows settings the program touches: the entry that starts it with Windows, and
// the system version, which decides how long the low-level hook time-out must be.
#pragma once

#include <string>

#include "platform/win32/w32.h"

// The Run key and the program's value in it, below HKEY_CURRENT_USER.
constexpr char W32_RUN_KEY[] = "Software\\Microsoft\\Windows\\CurrentVersion\\Run";
constexpr char W32_RUN_VALUE[] = "Quiverex";

// 4 when the start entry exists (can be read as a string), else 0.
int w32_get_start_with_windows();
// Writes `command` as the start entry, or removes the entry (a missing one counts as removed).
// 0 on success, 4 when the key could not be opened or written.
int w32_set_start_with_windows(bool start, const std::string& command);

// The running system's version as GetVersionExA reports it (what decides the hook time-out
// the program sets); false when the query fails.
bool w32_os_version(unsigned* major, unsigned* minor);
