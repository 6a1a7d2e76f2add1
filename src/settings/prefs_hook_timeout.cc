// The hook time-out decision stands apart from the rest of the preferences: it needs nothing
// but the registry interface, so the Windows build of the program and its Wine tests can link it
// on its own.
#include "settings/prefs.h"

std::optional<int> prefs_hook_timeout_apply(std::optional<prefs_os_version> version, bool lt_exists,
                                            prefs_hook_timeout_registry& reg) {
  if (!version && lt_exists) return std::nullopt;
  // Windows 8 (6.2) and later drop a hook after at most one second anyway.
  const bool modern = version && (version->major > 6 || (version->major == 6 && version->minor >= 2));
  const uint32_t target = modern ? 1000 : 5000;
  if (!reg.open()) return std::nullopt;
  std::optional<int> lt;
  std::optional<uint32_t> current = reg.read_dword("LowLevelHooksTimeout");
  if (current.value_or(0) < target) {
    if (reg.read_dword("LowLevelHooksTimeoutBackup")) {
      if (version && reg.write_dword("LowLevelHooksTimeout", target)) lt = 2;
    } else if (reg.write_dword("LowLevelHooksTimeout", target)) {
      lt = version ? 2 : 1;
      // The user's own value is kept once and never overwritten by a later run.
      if (current) reg.write_dword("LowLevelHooksTimeoutBackup", *current);
    }
  }
  reg.close();
  return lt;
}
