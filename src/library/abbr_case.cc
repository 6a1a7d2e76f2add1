// Case adaptation: the replacement follows the case the user typed the abbreviation in.
#include <glib.h>

#include <cstring>

#include "library/abbr.h"

namespace {

// Decodes the character at `pos`; returns false for a byte that does not begin a valid UTF-8
// character.
bool char_at(const char* s, size_t len, size_t pos, gunichar* out, size_t* width) {
  gunichar c = g_utf8_get_char_validated(s + pos, static_cast<gssize>(len - pos));
  if (c == static_cast<gunichar>(-1) || c == static_cast<gunichar>(-2)) return false;
  *out = c;
  *width = static_cast<size_t>(g_utf8_skip[static_cast<unsigned char>(s[pos])]);
  return true;
}

}  // namespace

std::optional<std::string> abbr_convert_exp_to_correct_case(const char* replacement, const abbr_abbrev* a,
                                                            const char* typed, int* capitalise_first) {
  if (!a || !typed || !replacement || a->type != ABBR_TYPE_TEXT) return std::nullopt;
  if (a->case_mode != ABBR_CASE_ADAPT) return std::string(replacement);

  const size_t len = strlen(typed);
  gunichar c;
  size_t width;

  size_t lead = len;
  for (size_t i = 0; i < len;) {
    if (!char_at(typed, len, i, &c, &width)) {
      i++;
      continue;
    }
    if (g_unichar_isalnum(c)) {
      lead = i;
      break;
    }
    i += width;
  }

  bool first_letter = false;
  bool upper_seen = false;
  int counted = 0;
  int letters = 0;
  for (size_t i = 0; i < len;) {
    if (!char_at(typed, len, i, &c, &width)) {
      i++;
      continue;
    }
    i += width;
    counted++;
    if (g_unichar_isdigit(c)) {
      if (!upper_seen) {
        first_letter = true;
        break;
      }
    } else if (g_unichar_isalpha(c)) {
      letters++;
      if (!g_unichar_isupper(c)) {
        first_letter = true;
        break;
      }
      upper_seen = true;
    }
  }

  if (!first_letter && counted > 0 && letters > 1) {
    gchar* up = g_utf8_strup(replacement, -1);
    std::string out(up);
    g_free(up);
    return out;
  }
  if (capitalise_first && lead < len && char_at(typed, len, lead, &c, &width) && g_unichar_isupper(c))
    *capitalise_first = 1;
  return std::string(replacement);
}
