#include "util/strutil.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>

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

char* resize_back_buffer(char* buffer, size_t old_size, size_t new_size) {
  char* out = static_cast<char*>(xmalloc(new_size));
  size_t keep = old_size < new_size ? old_size : new_size;
  memset(out, 0, new_size - keep);
  if (keep) memcpy(out + new_size - keep, buffer + old_size - keep, keep);
  free(buffer);
  return out;
}
