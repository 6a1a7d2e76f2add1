#include "util/intlist.h"

#include <glib.h>

#include <cstdlib>

static void* int_to_ptr(intptr_t v) { return reinterpret_cast<void*>(v); }
static intptr_t ptr_to_int(const void* p) { return reinterpret_cast<intptr_t>(p); }

plist* plist_append_int(plist* list, int value) { return plist_append(list, int_to_ptr(value), nullptr); }

int plist_int(const plist* node) { return static_cast<int>(ptr_to_int(node->data)); }

int plist_get_nth_int(plist* list, int n, int fallback) {
  plist* node = plist_get_nth(list, n);
  return node ? plist_int(node) : fallback;
}

bool plist_contains_int(const plist* list, int value) {
  for (; list; list = list->next)
    if (plist_int(list) == value) return true;
  return false;
}

int plist_int_compare(const void* a, const void* b) {
  intptr_t x = ptr_to_int(a), y = ptr_to_int(b);
  return (x > y) - (x < y);
}

plist* plist_ints_from_string(std::string_view text, char separator, bool first_only) {
  plist* out = nullptr;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find(separator, start);
    if (end == std::string_view::npos) end = text.size();
    if (end > start) {
      std::string piece(text.substr(start, end - start));
      out = plist_append_int(out, atoi(piece.c_str()));
      if (first_only) break;
    }
    start = end + 1;
  }
  return out;
}

std::string plist_ints_to_string(const plist* list, char separator) {
  std::string out;
  for (const plist* n = list; n; n = n->next) {
    if (n != list) out.push_back(separator);
    out += std::to_string(plist_int(n));
  }
  return out;
}

plist* plist_append_char(plist* list, uint32_t c) { return plist_append(list, int_to_ptr(c), nullptr); }

uint32_t plist_char(const plist* node) { return static_cast<uint32_t>(ptr_to_int(node->data)); }

bool plist_contains_char(const plist* list, uint32_t c) {
  for (; list; list = list->next)
    if (plist_char(list) == c) return true;
  return false;
}

plist* plist_chars_from_utf8(std::string_view text) {
  plist* out = nullptr;
  size_t i = 0;
  while (i < text.size()) {
    gunichar c = g_utf8_get_char_validated(text.data() + i, static_cast<gssize>(text.size() - i));
    if (c == static_cast<gunichar>(-1) || c == static_cast<gunichar>(-2)) {
      i++;
      continue;
    }
    out = plist_append_char(out, c);
    i += static_cast<size_t>(g_utf8_next_char(text.data() + i) - (text.data() + i));
  }
  return out;
}

std::string plist_chars_to_utf8(const plist* list) {
  std::string out;
  for (const plist* n = list; n; n = n->next) {
    char buf[6];
    int len = g_unichar_to_utf8(plist_char(n), buf);
    out.append(buf, static_cast<size_t>(len));
  }
  return out;
}
