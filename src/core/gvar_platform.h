// What the path variables need to know from the operating system. Each system has its own
// implementation file (gvar_platform_posix.cc, gvar_platform_win32.cc). None of these functions
// creates anything on disk, except that Windows itself creates a missing shell folder when
// asked for it.
#pragma once

#include <optional>
#include <string>

// The running program's own file, absolute, UTF-8; nullopt when the system cannot say.
std::optional<std::string> gvar_platform_module_path();
// The program's path as started (argument 0 on Windows, the module file on Linux).
std::optional<std::string> gvar_platform_executable_path(int argc, const char* const* argv);
// The user's folder for settings that follow the user (Windows: the roaming application-data
// folder; Linux: $XDG_CONFIG_HOME, by default ~/.config).
std::optional<std::string> gvar_platform_roaming_data_dir();
// The user's folder for machine-local data (Windows: the local application-data folder;
// Linux: $XDG_DATA_HOME, by default ~/.local/share).
std::optional<std::string> gvar_platform_local_data_dir();
// The Windows folder; nullopt where there is none.
std::optional<std::string> gvar_platform_windows_dir();
// Where the installer put the program (Windows: the registry value "path" of
// HKEY_LOCAL_MACHINE "Software\Quiverex"; Linux: the program's own folder).
std::optional<std::string> gvar_platform_installed_dir();
// The current working folder ("" when unknown).
std::string gvar_platform_current_dir();
// The program's folder below the roaming data folder.
const char* gvar_platform_app_folder_name();
// The file name of the portable launcher in the portable layout's top folder.
const char* gvar_platform_portable_launcher_name();
