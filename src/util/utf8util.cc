#include <glib.h>

#include "util/strutil.h"

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
