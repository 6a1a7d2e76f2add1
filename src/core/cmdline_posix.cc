#include "core/cmdline.h"

std::string core_complete_import_path(const std::string& path, const std::string& current_dir) {
  return core_complete_import_path_posix(path, current_dir);
}

std::vector<std::string> core_program_arguments(int argc, const char* const* argv) {
  std::vector<std::string> out;
  for (int i = 0; i < argc; i++) out.push_back(argv && argv[i] ? argv[i] : "");
  return out;
}
