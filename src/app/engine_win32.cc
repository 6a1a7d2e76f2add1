// The desktop program's backend on Windows: Win32. It lives for the whole process (its hook
// procedures refer to it), so closing only uninstalls it.
#include "app/engine.h"
#include "platform/win32/startup.h"
#include "platform/win32/win32_platform.h"

bool app_engine_open_platform() {
  plat_set(w32_platform());
  return true;
}

void app_engine_close_platform() { plat_set(nullptr); }

// Through the shell with its default verb, as the user would start it.
bool app_engine_spawn_program(const std::string& exe, const std::vector<std::string>& args) {
  return w32_shell_start(exe, nullptr, args);
}
