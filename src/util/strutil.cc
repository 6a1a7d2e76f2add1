#include "util/strutil.h"

#include <errno.h>
#include <fcntl.h>
#include <glib.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "util/die.h"

static char ascii_lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

static bool matches_at(std::string_view text, size_t pos, std::string_view what, bool case_sensitive) {
  if (pos + what.size() > text.size()) return false;
  if (case_sensitive) return text.compare(pos, what.size(), what) == 0;
  for (size_t i = 0; i < what.size(); i++)
    if (ascii_lower(text[pos + i]) != ascii_lower(what[i])) return false;
  return true;
}

std::string substitute_str(std::string_view text, std::string_view from, std::string_view to,
                           bool case_sensitive, bool honour_backslash) {
  if (from.empty()) return std::string(text);
  std::string out;
  out.reserve(text.size());
  size_t i = 0;
  while (i < text.size()) {
    if (matches_at(text, i, from, case_sensitive) && !(honour_backslash && i > 0 && text[i - 1] == '\\')) {
      out.append(to);
      i += from.size();
    } else {
      out.push_back(text[i]);
      i++;
    }
  }
  return out;
}

std::string substitute_str_using_conversion_table(std::string_view text, const conversion_pair* table,
                                                  bool case_sensitive) {
  std::string out(text);
  for (const conversion_pair* p = table; p && p->from; p++)
    out = substitute_str(out, p->from, p->to ? p->to : "", case_sensitive, false);
  return out;
}

std::string escape_string(std::string_view text, char c) {
  const char from[2] = {c, 0};
  const char to[3] = {'\\', c, 0};
  return substitute_str(text, from, to, false, false);
}

std::string unescape_string(std::string_view text, char c) {
  const char from[3] = {'\\', c, 0};
  const char to[2] = {c, 0};
  return substitute_str(text, from, to, true, false);
}

plist* strsplit(std::string_view text, std::string_view separator) {
  if (text.empty()) return nullptr;
  if (separator.empty()) return plist_append_string(nullptr, std::string(text));
  plist* out = nullptr;
  size_t start = 0;
  for (;;) {
    size_t pos = text.find(separator, start);
    if (pos == std::string_view::npos) {
      out = plist_append_string(out, std::string(text.substr(start)));
      return out;
    }
    out = plist_append_string(out, std::string(text.substr(start, pos - start)));
    start = pos + separator.size();
  }
}

plist* strsplit_no_double(std::string_view text, char separator) {
  if (text.empty()) return nullptr;
  plist* out = nullptr;
  std::string piece;
  for (size_t i = 0; i < text.size(); i++) {
    if (text[i] != separator) {
      piece.push_back(text[i]);
    } else if (i + 1 < text.size() && text[i + 1] == separator) {
      piece.push_back(separator);
      piece.push_back(separator);
      i++;
    } else {
      out = plist_append_string(out, piece);
      piece.clear();
    }
  }
  return plist_append_string(out, piece);
}

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
  FILE* f = fopen(path.c_str(), "rb");
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

bool dump_data_to_file(const std::string& path, const void* data, size_t length) {
  FILE* f = fopen(path.c_str(), "wb");
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
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0) {
      if (errno == EEXIST) continue;
      return nullptr;  // the folder itself is unusable; more names will not help
    }
    FILE* f = fdopen(fd, "wb");
    if (!f) {
      close(fd);
      unlink(path.c_str());
      return nullptr;
    }
    if (path_out) *path_out = path;
    return f;
  }
  return nullptr;
}

bool mkdir_p(const std::string& path, char separator) {
  if (path.empty()) return false;
  std::string cur;
  size_t i = 0;
  while (i <= path.size()) {
    size_t next = path.find(separator, i);
    if (next == std::string::npos) next = path.size();
    cur = path.substr(0, next);
    if (!cur.empty() && !dir_exists(cur)) {
      if (mkdir(cur.c_str(), 0700) != 0 && errno != EEXIST) return false;
    }
    i = next + 1;
  }
  return dir_exists(path);
}

bool fsync_and_close(FILE* stream) {
  bool ok = fflush(stream) == 0;
  if (ok && fsync(fileno(stream)) != 0) ok = false;
  if (fclose(stream) != 0) ok = false;
  return ok;
}

bool rename_durable(const std::string& temp, const std::string& target) {
  if (rename(temp.c_str(), target.c_str()) != 0) return false;
  std::string dir = path_dirname(target);
  int fd = open(dir.empty() ? "." : dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd >= 0) {
    fsync(fd);  // best effort: the rename itself already happened atomically
    close(fd);
  }
  return true;
}

char path_separator() { return '/'; }

static size_t last_separator(std::string_view path) { return path.find_last_of("/\\"); }

std::string path_dirname(std::string_view path) {
  size_t p = last_separator(path);
  return p == std::string_view::npos ? std::string() : std::string(path.substr(0, p));
}

std::string path_basename(std::string_view path) {
  size_t p = last_separator(path);
  return std::string(p == std::string_view::npos ? path : path.substr(p + 1));
}

std::string path_join(std::string_view a, std::string_view b) {
  std::string out(a);
  if (!out.empty() && out.back() != '/' && out.back() != '\\') out.push_back(path_separator());
  out.append(b);
  return out;
}

bool file_exists(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0;
}

bool dir_exists(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

int str_casecmp(std::string_view a, std::string_view b) {
  size_t n = a.size() < b.size() ? a.size() : b.size();
  for (size_t i = 0; i < n; i++) {
    int ca = static_cast<unsigned char>(ascii_lower(a[i]));
    int cb = static_cast<unsigned char>(ascii_lower(b[i]));
    if (ca != cb) return ca - cb;
  }
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}

bool str_caseeq(std::string_view a, std::string_view b) { return a.size() == b.size() && str_casecmp(a, b) == 0; }

bool str_ends_with_case(std::string_view s, std::string_view suffix) {
  return s.size() >= suffix.size() && str_caseeq(s.substr(s.size() - suffix.size()), suffix);
}

std::string strprintf(const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  va_list ap2;
  va_copy(ap2, ap);
  int n = vsnprintf(nullptr, 0, fmt, ap);
  va_end(ap);
  std::string out;
  if (n > 0) {
    out.resize(static_cast<size_t>(n));
    vsnprintf(&out[0], static_cast<size_t>(n) + 1, fmt, ap2);
  }
  va_end(ap2);
  return out;
}

char* copy_string(const char* s) {
  if (!s) return nullptr;
  size_t n = strlen(s) + 1;
  char* out = static_cast<char*>(xmalloc(n));
  memcpy(out, s, n);
  return out;
}

void replace_string(char** var, const char* value) {
  char* fresh = copy_string(value);
  free(*var);
  *var = fresh;
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

char* resize_back_buffer(char* buffer, size_t old_size, size_t new_size) {
  char* out = static_cast<char*>(xmalloc(new_size));
  size_t keep = old_size < new_size ? old_size : new_size;
  memset(out, 0, new_size - keep);
  if (keep) memcpy(out + new_size - keep, buffer + old_size - keep, keep);
  free(buffer);
  return out;
}

// Decodes the character at s (at most max bytes); a byte that starts no valid character stands
// for itself with length 1.
static gunichar utf8_char_or_byte(const char* s, size_t max, size_t* len) {
  gunichar c = g_utf8_get_char_validated(s, static_cast<gssize>(max));
  if (c == static_cast<gunichar>(-1) || c == static_cast<gunichar>(-2)) {
    *len = 1;
    return static_cast<unsigned char>(*s);
  }
  *len = static_cast<size_t>(g_utf8_next_char(s) - s);
  return c;
}

int g_utf8_strncasecmp(const char* a, const char* b, size_t n) {
  size_t i = 0, j = 0;
  while (i < n && j < n) {
    if (!a[i] || !b[j]) return static_cast<unsigned char>(a[i]) - static_cast<unsigned char>(b[j]);
    size_t la, lb;
    gunichar ca = g_unichar_tolower(utf8_char_or_byte(a + i, n - i, &la));
    gunichar cb = g_unichar_tolower(utf8_char_or_byte(b + j, n - j, &lb));
    if (ca != cb) return ca < cb ? -1 : 1;
    i += la;
    j += lb;
  }
  if (i < n && a[i]) return 1;
  if (j < n && b[j]) return -1;
  return 0;
}
