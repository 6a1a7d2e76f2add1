#include "util/atomic_save.h"

#include <cstdio>

#include "util/strutil.h"

namespace {

// Everything before the last separator, "/" for a file in the root folder, "" for a bare name.
std::string folder_of(const std::string& path) {
  size_t p = path.find_last_of("/\\");
  if (p == std::string::npos) return std::string();
  if (p == 0) return path.substr(0, 1);
  return path.substr(0, p);
}

}  // namespace

bool save_file_atomically(const std::string& path, const std::string& data) {
  std::string folder = folder_of(path);
  if (!folder.empty()) mkdir_p(folder, path_separator());
  std::string temp;
  FILE* f = secure_open_temp_file(&temp, folder, 512);
  if (!f) return false;
  bool ok = data.empty() || fwrite(data.data(), 1, data.size(), f) == data.size();
  if (ferror(f)) ok = false;
  if (!fsync_and_close(f)) ok = false;
  if (ok && rename_durable(temp, path)) return true;
  file_remove(temp);
  return false;
}
