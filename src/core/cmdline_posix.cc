#include "core/cmdline.h"

std::string core_complete_import_path(const std::string& path, const std::string& current_dir) {
  return core_complete_import_path_posix(path, current_dir);
}
