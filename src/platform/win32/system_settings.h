// The two places where the program changes the user's Windows settings: the entry that starts
// it with Windows, and the time-out after which Windows drops a slow low-level hook.
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

// Makes "LowLevelHooksTimeout" under `root`\`key` (HKEY_CURRENT_USER "Control Panel\Desktop"
// for the real thing) at least the target for this Windows version: 1000 ms from Windows 8
// on, 5000 ms before. A value below the target is raised; the user's own earlier value is kept
// once in "LowLevelHooksTimeoutBackup" and never overwritten by a later run.
//
// `version_known` false means the version query failed (then the target is 5000 and, with the
// marker present, nothing happens). Returns what the "lt" marker becomes: 2 after a write, 1
// after a write without a known version, or -1 for "leave it as it is".
int w32_raise_hooks_timeout(HKEY root, const std::string& key, bool version_known,
                            unsigned major, unsigned minor, bool lt_exists);
// The same for the running system.
int w32_raise_hooks_timeout_for_this_system(bool lt_exists);
