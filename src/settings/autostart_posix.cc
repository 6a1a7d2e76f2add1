// The XDG autostart entry: a desktop file in $XDG_CONFIG_HOME/autostart that session managers
// run at log-in.
#include <cerrno>
#include <cstdio>

#include "core/gvar_platform.h"
#include "settings/autostart.h"
#include "util/atomic_save.h"
#include "util/strutil.h"

namespace {

std::optional<std::string> entry_path() {
  std::optional<std::string> config = gvar_platform_roaming_data_dir();
  if (!config) return std::nullopt;
  return path_join(path_join(*config, "autostart"), "quiverex.desktop");
}

// The Exec value for a command line. Inside double quotes a desktop file wants '$', '`' and '\'
// escaped with a backslash; then the whole value goes through the string escaping of desktop
// files (a backslash is written twice), and a '%' is doubled so that it is not a field code.
std::string exec_value(const std::string& command_line) {
  std::string quoted;
  bool in_quotes = false;
  for (char c : command_line) {
    if (c == '"') in_quotes = !in_quotes;
    if (in_quotes && (c == '$' || c == '`' || c == '\\')) quoted.push_back('\\');
    quoted.push_back(c);
  }
  std::string out;
  for (char c : quoted) {
    switch (c) {
      case '\\': out += "\\\\"; break;
      case '%': out += "%%"; break;
      case '\n': out += "\\n"; break;
      case '\t': out += "\\t"; break;
      case '\r': out += "\\r"; break;
      default: out.push_back(c);
    }
  }
  return out;
}

}  // namespace

bool autostart_entry_exists() {
  std::optional<std::string> path = entry_path();
  return path && file_exists(*path);
}

bool autostart_entry_set(const std::string& command_line) {
  std::optional<std::string> path = entry_path();
  if (!path) return false;
  std::string text =
      "[Desktop Entry]\n"
      "Type=Application\n"
      "Name=Quiverex\n"
      "Comment=Expands your abbreviations as you type\n"
      "Exec=" + exec_value(command_line) + "\n"
      "Terminal=false\n"
      "X-GNOME-Autostart-enabled=true\n";
  return save_file_atomically(*path, text);
}

bool autostart_entry_remove() {
  std::optional<std::string> path = entry_path();
  if (!path) return false;
  return remove(path->c_str()) == 0 || errno == ENOENT;
}
