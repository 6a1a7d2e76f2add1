// The per-user entry that starts the program when the user logs in (Windows: the Run value
// "Quiverex"; Linux: $XDG_CONFIG_HOME/autostart/quiverex.desktop).
#pragma once

#include <string>

bool autostart_entry_exists();
// Creates or replaces the entry so that it runs `command_line` (a quoted program path followed by
// its arguments). True on success.
bool autostart_entry_set(const std::string& command_line);
// True when the entry is gone afterwards (an entry that did not exist counts as removed).
bool autostart_entry_remove();
