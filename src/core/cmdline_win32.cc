#include "core/cmdline.h"
#include "platform/win32/startup.h"

std::string core_complete_import_path(const std::string& path, const std::string& current_dir) {
  return core_complete_import_path_windows(path, current_dir);
}

std::vector<std::string> core_program_arguments(int argc, const char* const* argv) {
  return w32_program_arguments(w32_command_line_arguments(), argc, argv);
}
