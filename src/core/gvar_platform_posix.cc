#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <vector>

#include "core/gvar_platform.h"
#include "util/strutil.h"

namespace {

std::optional<std::string> home_dir() {
  const char* home = getenv("HOME");
  if (home && home[0] == '/') return std::string(home);
  const passwd* pw = getpwuid(getuid());
  if (pw && pw->pw_dir && pw->pw_dir[0] == '/') return std::string(pw->pw_dir);
  return std::nullopt;
}

// An XDG base folder: the variable when it holds an absolute path (relative values are to be
// ignored), otherwise the given folder below the home folder.
std::optional<std::string> xdg_dir(const char* variable, const char* below_home) {
  const char* v = getenv(variable);
  if (v && v[0] == '/') return std::string(v);
  std::optional<std::string> home = home_dir();
  if (!home) return std::nullopt;
  return path_join(*home, below_home);
}

}  // namespace

std::optional<std::string> gvar_platform_module_path() {
  std::vector<char> buf(1024);
  for (;;) {
    ssize_t n = readlink("/proc/self/exe", buf.data(), buf.size());
    if (n < 0) return std::nullopt;
    if (static_cast<size_t>(n) < buf.size()) return std::string(buf.data(), static_cast<size_t>(n));
    buf.resize(buf.size() + 1024);
  }
}

std::optional<std::string> gvar_platform_executable_path(int, const char* const*) {
  return gvar_platform_module_path();
}

std::optional<std::string> gvar_platform_roaming_data_dir() { return xdg_dir("XDG_CONFIG_HOME", ".config"); }

std::optional<std::string> gvar_platform_local_data_dir() { return xdg_dir("XDG_DATA_HOME", ".local/share"); }

std::optional<std::string> gvar_platform_windows_dir() { return std::nullopt; }

std::optional<std::string> gvar_platform_installed_dir() {
  std::optional<std::string> exe = gvar_platform_module_path();
  if (!exe) return std::nullopt;
  return path_dirname(*exe);
}

std::string gvar_platform_current_dir() {
  std::vector<char> buf(PATH_MAX);
  while (!getcwd(buf.data(), buf.size())) {
    if (errno != ERANGE) return std::string();
    buf.resize(buf.size() * 2);
  }
  return std::string(buf.data());
}

const char* gvar_platform_app_folder_name() { return "quiverex"; }

const char* gvar_platform_portable_launcher_name() { return "QuiverexPortable"; }
