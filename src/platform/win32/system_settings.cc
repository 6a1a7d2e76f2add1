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

int w32_raise_hooks_timeout(HKEY root, const std::string& key, bool version_known,
                            unsigned major, unsigned minor, bool lt_exists) {
  if (!version_known && lt_exists) return -1;
  // Windows 8 drops hooks sooner but also caps the value at 1000 ms.
  bool win8_or_later = version_known && (major > 6 || (major == 6 && minor >= 2));
  uint32_t target = win8_or_later ? 1000 : 5000;

  std::optional<uint32_t> current = reg_get_key_dword_value(root, key, "LowLevelHooksTimeout");
  if (current.value_or(0) >= target) return -1;
  if (reg_get_key_dword_value(root, key, "LowLevelHooksTimeoutBackup")) {
    if (!version_known) return -1;
    return reg_set_key_dword_value(root, key, "LowLevelHooksTimeout", target) ? 2 : -1;
  }
  if (!reg_set_key_dword_value(root, key, "LowLevelHooksTimeout", target)) return -1;
  if (current) reg_set_key_dword_value(root, key, "LowLevelHooksTimeoutBackup", *current);
  return version_known ? 2 : 1;
}

int w32_raise_hooks_timeout_for_this_system(bool lt_exists) {
  // GetVersionEx reports what the program's manifest allows; without a manifest Windows 10
  // reports 6.2, which still falls on the right side of the Windows 8 line.
  OSVERSIONINFOA v;
  v.dwOSVersionInfoSize = sizeof v;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  bool known = GetVersionExA(&v) != 0;
#pragma GCC diagnostic pop
  return w32_raise_hooks_timeout(HKEY_CURRENT_USER, "Control Panel\\Desktop", known,
                                 known ? v.dwMajorVersion : 0, known ? v.dwMinorVersion : 0,
                                 lt_exists);
}
