// The path variables' questions answered by Windows: shell folders, the module file, the
// command line and the installer's registry value. The shell folders are created by the system
// when missing; nothing else here touches the disk.
#include "core/gvar_platform.h"
#include "platform/win32/paths.h"
#include "platform/win32/registry.h"
#include "platform/win32/text.h"

// After the backend's headers, which must declare the key vocabulary before <windows.h>.
#include <shlobj.h>

std::optional<std::string> gvar_platform_module_path() { return w32_module_file_name(); }

std::optional<std::string> gvar_platform_executable_path(int argc, const char* const* argv) {
  if (std::optional<std::string> wide = w32_command_line_argument0()) return wide;
  // The C runtime's narrow arguments are in the ANSI code page, not UTF-8.
  if (argc > 0 && argv && argv[0] && argv[0][0]) return w32_acp_to_utf8(argv[0]);
  return std::nullopt;
}

std::optional<std::string> gvar_platform_roaming_data_dir() { return w32_folder_path(CSIDL_APPDATA); }

std::optional<std::string> gvar_platform_local_data_dir() { return w32_folder_path(CSIDL_LOCAL_APPDATA); }

std::optional<std::string> gvar_platform_windows_dir() { return w32_folder_path(CSIDL_WINDOWS); }

std::optional<std::string> gvar_platform_installed_dir() {
  return reg_get_key_string_value(HKEY_LOCAL_MACHINE, "Software\\Quiverex", "path");
}

std::string gvar_platform_current_dir() { return w32_current_dir().value_or(std::string()); }

const char* gvar_platform_app_folder_name() { return "Quiverex"; }

const char* gvar_platform_portable_launcher_name() { return "QuiverexPortable.exe"; }
