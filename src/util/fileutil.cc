#include "util/fileutil.h"

#include <cstdlib>
#include <random>

#include "util/die.h"

bool read_entire_file(FILE* stream, char** buffer_out, size_t element_size, size_t* length_out) {
  const size_t block = 524288;
  if (element_size == 0) element_size = 1;
  char* buf = static_cast<char*>(xmalloc(1));
  size_t total = 0;
  for (;;) {
    buf = static_cast<char*>(xrealloc(buf, (total + block) * element_size + 1));
    size_t got = fread(buf + total * element_size, element_size, block, stream);
    total += got;
    buf = static_cast<char*>(xrealloc(buf, total * element_size + 1));
    if (got < block) break;
  }
  bool ok = !ferror(stream);
  *buffer_out = buf;
  if (length_out) *length_out = total;
  return ok;
}

std::optional<std::string> read_file_to_string(const std::string& path) {
  FILE* f = file_open(path, "rb");
  if (!f) return std::nullopt;
  char* buf = nullptr;
  size_t len = 0;
  bool ok = read_entire_file(f, &buf, 1, &len);
  fclose(f);
  std::optional<std::string> out;
  if (ok) out = std::string(buf, len);
  free(buf);
  return out;
}

bool read_whole_line(FILE* stream, std::string* line_out) {
  line_out->clear();
  char chunk[8192];
  while (fgets(chunk, sizeof chunk, stream)) {
    line_out->append(chunk);
    if (!line_out->empty() && line_out->back() == '\n') return true;
  }
  return !ferror(stream) && !line_out->empty();
}

bool dump_data_to_file(const std::string& path, const void* data, size_t length) {
  FILE* f = file_open(path, "wb");
  if (!f) return false;
  size_t written = length ? fwrite(data, 1, length, f) : 0;
  bool ok = written == length;
  if (fclose(f) != 0) ok = false;
  return ok;
}

FILE* secure_open_temp_file(std::string* path_out, const std::string& folder, int tries) {
  static const char alphabet[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
  if (path_out) path_out->clear();
  std::random_device rd;
  std::mt19937 rng(rd());
  std::uniform_int_distribution<int> pick(0, static_cast<int>(sizeof alphabet) - 2);
  for (int t = 0; t < tries; t++) {
    std::string name;
    for (int i = 0; i < 8; i++) name.push_back(alphabet[pick(rng)]);
    std::string path = (folder.empty() ? std::string(".") : folder) + path_separator() + name;
    bool name_taken = false;
    FILE* f = fileutil_create_new(path, &name_taken);
    if (!f) {
      if (name_taken) continue;
      return nullptr;  // the folder itself is unusable; more names will not help
    }
    if (path_out) *path_out = path;
    return f;
  }
  return nullptr;
}

bool mkdir_p(const std::string& path, char separator) {
  if (path.empty()) return false;
  size_t i = 0;
  while (i <= path.size()) {
    size_t next = path.find(separator, i);
    if (next == std::string::npos) next = path.size();
    std::string cur = path.substr(0, next);
    // A prefix that cannot be created (the "\\server" of a share) may still hold the rest: the
    // final check decides.
    if (!cur.empty() && !dir_exists(cur)) fileutil_make_dir(cur);
    i = next + 1;
  }
  return dir_exists(path);
}
