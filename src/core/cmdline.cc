#include "core/cmdline.h"

#include "core/gvar_platform.h"
#include "util/strutil.h"

core_cmdline core_parse_cmdline(int argc, const char* const* argv, const std::string& current_dir) {
  core_cmdline c;
  for (int i = 1; i < argc; i++) {
    const char* a = argv[i];
    if (!a) continue;
    if (str_caseeq(a, "--restarting")) {
      c.restarting = true;
    } else if (str_caseeq(a, "--admin")) {
      c.admin = true;
    } else if (str_caseeq(a, "--systray")) {
      c.systray = true;
    } else if (str_caseeq(a, "--portable")) {
      c.portable = true;
    } else if (str_caseeq(a, "--help") || str_caseeq(a, "-h")) {
      c.help = true;
    } else if (str_caseeq(a, "--version")) {
      c.version = true;
    } else if (str_caseeq(a, "--import")) {
      // The argument after it is taken as the path but is still looked at as an option.
      if (i + 1 < argc && argv[i + 1]) c.import_path = core_complete_import_path(argv[i + 1], current_dir);
    } else if (!(i > 1 && argv[i - 1] && str_caseeq(argv[i - 1], "--import"))) {
      c.unknown.push_back(a);
    }
  }
  return c;
}

core_cmdline core_parse_program_cmdline(const std::vector<std::string>& args) {
  std::vector<const char*> argv;
  argv.reserve(args.size());
  for (const std::string& a : args) argv.push_back(a.c_str());
  return core_parse_cmdline(static_cast<int>(argv.size()), argv.data(), gvar_platform_current_dir());
}

bool should_start_in_systray(int argc, const char* const* argv) {
  for (int i = 0; i < argc; i++)
    if (argv[i] && str_caseeq(argv[i], "--systray")) return true;
  return false;
}

std::string core_complete_import_path_windows(const std::string& path, const std::string& current_dir) {
  std::string cur = current_dir;
  if (!cur.empty() && cur.back() == '\\') cur.pop_back();
  if (!cur.empty() && cur.back() == '\\') cur.pop_back();
  size_t last = path.rfind('\\');
  std::string folder = last == std::string::npos ? path : path.substr(0, last);
  if (str_caseeq(folder.c_str(), cur.c_str())) return path;
  return cur + "\\" + path;
}

std::string core_complete_import_path_posix(const std::string& path, const std::string& current_dir) {
  if (path.empty() || path[0] == '/' || current_dir.empty()) return path;
  std::string cur = current_dir;
  while (cur.size() > 1 && cur.back() == '/') cur.pop_back();
  if (cur == "/") return "/" + path;
  return cur + "/" + path;
}

std::string core_cmdline_usage(const char* program) {
  return strprintf(
      "Usage: %s [OPTION...]\n"
      "Quiverex expands abbreviations as you type them in any application.\n"
      "\n"
      "  --systray        start with the main window hidden (only the tray icon shows)\n"
      "  --import FILE    import an abbreviation file; handed to the running Quiverex if there is one\n"
      "  --portable       keep all data next to the program (must come first)\n"
      "  --restarting     used by Restart: wait for the old process instead of handing over\n"
      "  --admin          record that Quiverex should run elevated (Windows)\n"
      "  --help           show this help and exit\n"
      "  --version        show the version and exit\n"
      "\n"
      "A second start shows the running Quiverex's window and exits.\n",
      program);
}
