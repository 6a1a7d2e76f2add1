// The start entry on Windows: the value "Quiverex" under the user's Run key.
#include "platform/win32/system_settings.h"
#include "settings/autostart.h"

bool autostart_entry_exists() { return w32_get_start_with_windows() != 0; }

bool autostart_entry_set(const std::string& command_line) {
  return w32_set_start_with_windows(true, command_line) == 0;
}

bool autostart_entry_remove() { return w32_set_start_with_windows(false, std::string()) == 0; }
