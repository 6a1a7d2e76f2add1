#include "platform/win32/system_settings.h"

#include "platform/win32/registry.h"

int w32_get_start_with_windows() {
  return reg_get_key_string_value(HKEY_CURRENT_USER, W32_RUN_KEY, W32_RUN_VALUE) ? 4 : 0;
}

int w32_set_start_with_windows(bool start, const std::string& command) {
  if (start)
    return reg_set_key_string_value(HKEY_CURRENT_USER, W32_RUN_KEY, W32_RUN_VALUE, command) ? 0 : 4;
  return reg_delete_value(HKEY_CURRENT_USER, W32_RUN_KEY, W32_RUN_VALUE) ? 0 : 4;
}

bool w32_os_version(unsigned* major, unsigned* minor) {
  // GetVersionEx reports what the program's manifest allows; without a manifest Windows 10
  // reports 6.2, which still falls on the right side of the Windows 8 line.
  OSVERSIONINFOA v;
  v.dwOSVersionInfoSize = sizeof v;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  if (!GetVersionExA(&v)) return false;
#pragma GCC diagnostic pop
  *major = v.dwMajorVersion;
  *minor = v.dwMinorVersion;
  return true;
}
