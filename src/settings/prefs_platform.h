// The system-specific steps of the preferences, one implementation file per system.
#pragma once

// Makes sure the system's low-level hook time-out is long enough for the keyboard hook
// (Windows); records what it did in the marker `lt`. Does nothing where no such time-out exists.
void prefs_platform_adjust_hook_timeout();
