#include "expand/keysim_insert.h"

#include <glib.h>

#include <cctype>
#include <cstring>

#include "expand/clipboard_output.h"
#include "expand/keysim.h"
#include "library/abbr.h"
#include "util/strutil.h"

namespace {

#define SEPARATOR(group) {group, "__SEPARATOR__", "", ""}
// In the order of the editor's date/time menu, related forms grouped between separators.
const insert_date_macro date_macros[] = {
    {0, "WeekdayName", "%A", "_Weekday name (Sunday, Monday...)"},
    {0, "WeekdayNameShort", "%a", "Abbreviated w_eekday name (Sun, Mon...)"},
    SEPARATOR(0),
    {0, "MonthName", "%B", "_Month name (January, February...)"},
    {0, "MonthNameShort", "%b", "Abbreviated m_onth name (Jan, Feb...)"},
    SEPARATOR(0),
    {0, "Month", "%m", "Mont_h number (01, 02, ...)"},
    {0, "#Month", "%#m", "Month n_umber, no leading zeroes (1, 2...)"},
    SEPARATOR(0),
    {0, "Day", "%d", "_Day of the month (01, 02, ...)"},
    {0, "#Day", "%#d", "D_ay of the month, no leading zeroes (1, 2, ...)"},
    SEPARATOR(0),
    {0, "Year", "%Y", "_Year (2008, 2009)"},
    {0, "YearShort", "%y", "Year, no _century (08, 09)"},
    SEPARATOR(0),
    {0, "#DayOfYear", "%#j", "Day of _the year (361, 362)"},
    SEPARATOR(0),
    {0, "#DayOfWeek", "%#w", "Day of _the week (1, 2) first day is Sunday"},
    {0, "#DayOfWeekMon", "%#w", "Day of _the week (1, 2) first day is Monday"},
    SEPARATOR(0),
    {0, "#WeekOfYear", "%#U", "Wee_k of the year (48, 49)"},
    SEPARATOR(1),
    {1, "Hour", "%I", "_Hour"},
    {1, "#Hour", "%#I", "Hour, _no leading zeroes"},
    SEPARATOR(1),
    {1, "Hour24", "%H", "Hour, _24-hour format"},
    {1, "#Hour24", "%#H", "Hour, 2_4-hour format, no leading zeroes"},
    SEPARATOR(1),
    {1, "Minute", "%M", "_Minute"},
    {1, "#Minute", "%#M", "M_inute, no leading zeroes"},
    SEPARATOR(1),
    {1, "Second", "%S", "_Second"},
    {1, "#Second", "%#S", "S_econd, no leading zeroes"},
    SEPARATOR(1),
    {1, "AMorPM", "%p", "AM/PM indicato_r (AM, PM)"},
};
#undef SEPARATOR
constexpr int date_macro_count = sizeof(date_macros) / sizeof(date_macros[0]);
static_assert(date_macro_count == 35, "23 macros and 12 separators");

struct tm real_now() {
  time_t now = time(nullptr);
  struct tm t {};
  localtime_r(&now, &t);
  return t;
}
insert_now_func now_func = real_now;

// Nested embedded abbreviations other than the typed one are not guarded; this depth ends a
// chain that embeds itself instead of overflowing the stack.
constexpr int EMBED_MAX_DEPTH = 16;
thread_local int embed_depth = 0;  // the tooltip expands on the hook thread as well

bool at_case(const std::string& text, size_t pos, const char* needle) {
  size_t n = strlen(needle);
  return pos + n <= text.size() && g_ascii_strncasecmp(text.c_str() + pos, needle, n) == 0;
}

bool at_exact(const std::string& text, size_t pos, const char* needle) {
  size_t n = strlen(needle);
  return pos + n <= text.size() && text.compare(pos, n, needle) == 0;
}

bool unescaped_at(const std::string& text, size_t pos) { return !keysim_is_escaped_at(text, pos); }

// Replaces every unescaped occurrence of `macro` (without case) by `value`, never rescanning
// inserted text.
std::string replace_unescaped(const std::string& text, const char* macro, const std::string& value) {
  std::string out;
  size_t n = strlen(macro);
  for (size_t i = 0; i < text.size();) {
    if (at_case(text, i, macro) && unescaped_at(text, i)) {
      out += value;
      i += n;
    } else {
      out += text[i++];
    }
  }
  return out;
}

bool has_unescaped(const std::string& text, const char* macro) {
  for (size_t i = 0; i < text.size(); i++)
    if (at_case(text, i, macro) && unescaped_at(text, i)) return true;
  return false;
}

std::string strip_leading_zeros(const std::string& s) {
  size_t i = 0;
  while (i + 1 < s.size() && s[i] == '0') i++;
  return s.substr(i);
}

// Formats one date macro. The "#" flag (no leading zeroes) is not portable, so the number is
// formatted in full and its zeroes dropped here.
bool format_date_macro(const insert_date_macro& m, const struct tm& t, std::string* out) {
  std::string fmt = m.format;
  bool no_zeroes = fmt.size() == 3 && fmt[1] == '#';
  if (no_zeroes) fmt.erase(1, 1);
  char buf[522 * 4];
  size_t n = strftime(buf, sizeof(buf), fmt.c_str(), &t);
  std::string value(buf, n);
  if (fmt == "%p" && value.empty()) value = t.tm_hour < 12 ? "AM" : "PM";
  if (n == 0 && fmt != "%p") return false;
  if (no_zeroes) value = strip_leading_zeros(value);
  if (strcmp(m.name, "#DayOfWeek") == 0 || strcmp(m.name, "#WeekOfYear") == 0)
    value = std::to_string(atoi(value.c_str()) + 1);
  else if (strcmp(m.name, "#DayOfWeekMon") == 0 && value == "0")
    value = "7";
  *out = value;
  return true;
}

enum { UNIT_YEARS, UNIT_MONTHS, UNIT_DAYS, UNIT_HOURS, UNIT_MINUTES, UNIT_SECONDS, UNIT_COUNT };
const char* const unit_names[UNIT_COUNT] = {"Years", "Months", "Days", "Hours", "Minutes", "Seconds"};

// Parses %(AddDays 3), %(SubDays 3), %(SubtractDays 3) ... at pos: its length, or 0.
size_t parse_date_math(const std::string& text, size_t pos, int* unit, int* amount) {
  if (!at_exact(text, pos, "%(")) return 0;
  size_t p = pos + 2;
  int sign;
  if (at_case(text, p, "Add")) {
    sign = 1;
    p += 3;
  } else if (at_case(text, p, "Subtract")) {
    sign = -1;
    p += 8;
  } else if (at_case(text, p, "Sub")) {
    sign = -1;
    p += 3;
  } else {
    return 0;
  }
  int u = 0;
  while (u < UNIT_COUNT && !at_case(text, p, unit_names[u])) u++;
  if (u == UNIT_COUNT) return 0;
  p += strlen(unit_names[u]);
  while (p < text.size() && text[p] == ' ') p++;
  size_t digits = p;
  long value = 0;
  while (p < text.size() && isdigit(static_cast<unsigned char>(text[p])) && value < 100000000)
    value = value * 10 + (text[p++] - '0');
  if (p == digits || p >= text.size() || text[p] != ')') return 0;
  *unit = u;
  *amount = sign * static_cast<int>(value);
  return p + 1 - pos;
}

bool utf8_caseeq(const std::string& a, const std::string& b) {
  gchar* fa = g_utf8_casefold(a.c_str(), -1);
  gchar* fb = g_utf8_casefold(b.c_str(), -1);
  bool eq = strcmp(fa, fb) == 0;
  g_free(fa);
  g_free(fb);
  return eq;
}

// The first abbreviation of the main list with that name: exactly as written for a
// case-sensitive abbreviation, in any case for the others (typing it that way would expand it).
const abbr_abbrev* find_abbrev_by_name(const std::string& name) {
  ABBR_LOCK_MAIN_LIST();
  plist* abbrevs = nullptr;
  abbr_get_all_folders_and_abbrevs_from_folder_list(abbr_folder_list(ABBR_MAIN_LIST), nullptr, &abbrevs);
  const abbr_abbrev* found = nullptr;
  for (abbr_abbrev* a : plist_range<abbr_abbrev>(abbrevs)) {
    for (plist* n = a->abbrevs; n && !found; n = n->next) {
      const std::string& s = plist_str(n);
      if (a->case_mode == ABBR_CASE_SENSITIVE ? s == name : utf8_caseeq(s, name)) found = a;
    }
    if (found) break;
  }
  plist_free_all_but_data(abbrevs);
  ABBR_UNLOCK_MAIN_LIST();
  return found;
}

long utf8_len(const std::string& s) { return g_utf8_strlen(s.c_str(), static_cast<gssize>(s.size())); }

}  // namespace

std::string keysim_upcase_first_char(const std::string& text) {
  if (text.empty()) return text;
  gunichar ch = g_utf8_get_char_validated(text.c_str(), static_cast<gssize>(text.size()));
  if (ch == static_cast<gunichar>(-1) || ch == static_cast<gunichar>(-2)) return text;
  char buf[6];
  int n = g_unichar_to_utf8(g_unichar_toupper(ch), buf);
  size_t first = g_utf8_next_char(text.c_str()) - text.c_str();
  return std::string(buf, n) + text.substr(first);
}

int insert_date_macro_count() { return date_macro_count; }
const insert_date_macro& insert_date_macro_row(int i) { return date_macros[i]; }

void insert_set_now_func(insert_now_func fn) { now_func = fn ? fn : real_now; }

void adjust_tm(struct tm* t, int years, int months, int days, int hours, int minutes, int seconds) {
  struct tm n = *t;
  n.tm_year += years;
  n.tm_mon += months;
  n.tm_mday += days;
  n.tm_hour += hours;
  n.tm_min += minutes;
  n.tm_sec += seconds;
  n.tm_isdst = -1;
  if (mktime(&n) == static_cast<time_t>(-1)) return;
  *t = n;
}

std::string date_time_insertion_macros_execute(const std::string& input) {
  std::string text = input;
  const struct tm now = now_func();
  struct tm working = now;
  int pending[UNIT_COUNT] = {};
  size_t pos = 0;
  while (pos < text.size()) {
    int unit, amount;
    size_t len = unescaped_at(text, pos) ? parse_date_math(text, pos, &unit, &amount) : 0;
    if (len) {
      // A later arithmetic macro starts again from the current time; consecutive ones add up.
      working = now;
      pending[unit] += amount;
      text.erase(pos, len);
      continue;
    }
    bool any = false;
    for (int p : pending) any = any || p != 0;
    if (any) {
      adjust_tm(&working, pending[0], pending[1], pending[2], pending[3], pending[4], pending[5]);
      for (int& p : pending) p = 0;
    }
    bool replaced = false;
    if (at_exact(text, pos, "%(") && unescaped_at(text, pos)) {
      for (const insert_date_macro& m : date_macros) {
        if (strcmp(m.name, "__SEPARATOR__") == 0) continue;
        std::string macro = std::string("%(") + m.name + ")";
        if (!at_case(text, pos, macro.c_str())) continue;
        std::string value;
        if (!format_date_macro(m, working, &value)) value.clear();
        text.replace(pos, macro.size(), value);
        text = substitute_str(text, "%" + macro, macro, false, false);
        replaced = true;
        break;
      }
    }
    pos = replaced ? 0 : pos + 1;
  }
  return text;
}

std::string clipboard_insertion_macro_execute(const std::string& text) {
  if (!has_unescaped(text, "%(clipboard)")) return text;
  std::string clip = clipboard_get_text_contents().value_or("");
  clip = substitute_str(clip, "\r\n", "\n", true, false);
  std::string out = replace_unescaped(text, "%(clipboard)", clip);
  return substitute_str(out, "%%(clipboard)", "%(clipboard)", false, false);
}

std::string launcher_insertion_macros_execute(const std::string& text) {
  return clipboard_insertion_macro_execute(date_time_insertion_macros_execute(text));
}

std::string embed_insertion_macros_execute(const std::string& input, plist* guard) {
  std::string text = input;
  for (size_t i = 0; i < text.size();) {
    std::string name;
    int len = 0;
    if (!at_case(text, i, "%(Abbrev") || !unescaped_at(text, i) ||
        !keysim_parse_valid_macro(text.c_str() + i, nullptr, &name, &len, nullptr, 1) ||
        plist_search_for(guard, &name, plist_search_func_strcasecmp, nullptr) || embed_depth >= EMBED_MAX_DEPTH) {
      i++;
      continue;
    }
    const abbr_abbrev* a = find_abbrev_by_name(name);
    if (!a || abbr_is_launcher(a)) {
      i++;
      continue;
    }
    plist* guard_copy = plist_duplicate_data_too(guard, [](const void* s) -> void* {
      return new std::string(*static_cast<const std::string*>(s));
    });
    int capitalise = 0;
    embed_depth++;
    std::string value = keysim_get_text_to_type(nullptr, a, name.c_str(), 1, nullptr, &capitalise, guard_copy);
    embed_depth--;
    plist_free(guard_copy);
    if (capitalise) value = keysim_upcase_first_char(value);
    text.replace(i, len, value);
    // The inserted text was expanded already; what is left of macros in it (guarded, unknown,
    // or cut off by the depth limit) must stay as it is.
    i += value.size();
  }
  return text;
}

std::string insertion_macros_execute(const std::string& input, int no_cursor, int* cursor_back,
                                     plist* guard) {
  std::string text = te_macros_to_tolmek_macros(input);
  text = embed_insertion_macros_execute(text, guard);
  text = date_time_insertion_macros_execute(text);
  text = clipboard_insertion_macro_execute(text);
  text = replace_unescaped(text, "%(B)", "%(Key Ctrl+B)");
  text = replace_unescaped(text, "%(I)", "%(Key Ctrl+I)");
  text = replace_unescaped(text, "%(U)", "%(Key Ctrl+U)");
  if (no_cursor) return text;

  static const char cursor[] = "%(cursor)";
  long last = -1;
  for (size_t i = 0; i < text.size(); i++)
    if (at_case(text, i, cursor) && unescaped_at(text, i)) last = static_cast<long>(i);
  int back = 0;
  if (last >= 0) {
    long before = g_utf8_strlen(text.c_str(), last);
    back = static_cast<int>(utf8_len(text) - before - 9);
  }
  text = replace_unescaped(text, cursor, "");
  // An escaped marker loses its extra "%" below; inside the tail that shortens the tail.
  long total = utf8_len(text);
  for (size_t i = 0; back > 0 && i < text.size(); i++) {
    if (at_case(text, i, "%%(cursor)") && g_utf8_strlen(text.c_str(), i) >= total - back) back--;
  }
  text = substitute_str(text, "%%(cursor)", cursor, false, false);
  if (cursor_back) *cursor_back = back;
  return text;
}

// ---- TextExpander forms ----

namespace {

struct te_pair {
  const char* te;
  const char* ours;
  bool case_sensitive;
};

// Searched in order; where several rows share a form, the first in the direction of the
// conversion wins.
const te_pair te_table[] = {
    {"%fill%", "%(Fill)", false},
    {"%fill:%", "%(Fill)", false},
    {"%fill%", "%(Input)", false},
    {"%fill:%", "%(Input)", false},
    {"%snippet%", "%(Abbreviation)", false},
    {"%snippet%", "%(Abbrev)", false},
    {"%key:tab%", "%(Key Tab)", false},
    {"%key:return%", "%(Key Enter)", false},
    {"%key:enter%", "%(Key Enter)", false},
    {"%key:esc%", "%(Key Escape)", false},
    {"%key:escape%", "%(Key Escape)", false},
    {"%clipboard", "%(clipboard)", false},
    {"%\\", "%(Key Home)%(Key Shift+End)", false},
    {"%e", "%(#Day)", true},
    {"%d", "%(Day)", true},
    {"%a", "%(WeekdayNameShort)", true},
    {"%A", "%(WeekdayName)", true},
    {"%1m", "%(#Month)", true},
    {"%m", "%(Month)", true},
    {"%b", "%(MonthNameShort)", true},
    {"%B", "%(MonthName)", true},
    {"%y", "%(YearShort)", true},
    {"%Y", "%(Year)", true},
    {"%p", "%(AMorPM)", true},
    {"%1S", "%(#Second)", true},
    {"%S", "%(Second)", true},
    {"%1M", "%(#Minute)", true},
    {"%M", "%(Minute)", true},
    {"%1I", "%(#Hour)", true},
    {"%1H", "%(#Hour24)", true},
    {"%I", "%(Hour)", true},
    {"%H", "%(Hour24)", true},
    {"%w", "%(#DayOfWeekMon)", true},
    {"%|", "%(cursor)", false},
    {"%<", "%(Key Left)", false},
    {"%>", "%(Key Right)", false},
    {"%^", "%(Key Up)", false},
    {"%v", "%(Key Down)", false},
};
static_assert(sizeof(te_table) / sizeof(te_table[0]) == 38, "38 fixed TextExpander forms");

struct te_open_form {
  const char* te_prefix;
  const char* te_suffix;
  const char* our_prefix;  // a date form is followed by a blank and the number
  const char* our_suffix;
  bool date_math;
  bool subtract;  // our side is also written %(Sub<Unit> n)
};

const te_open_form te_open_forms[] = {
    {"%fill:", "%", "%(Fill", ")", false, false},
    {"%fill:", "%", "%(Input", ")", false, false},
    {"%snippet:", "%", "%(Abbreviation", ")", false, false},
    {"%snippet:", "%", "%(Abbrev", ")", false, false},
    {"%@+", "Y", "%(AddYears", ")", true, false},
    {"%@+", "M", "%(AddMonths", ")", true, false},
    {"%@+", "D", "%(AddDays", ")", true, false},
    {"%@+", "h", "%(AddHours", ")", true, false},
    {"%@+", "m", "%(AddMinutes", ")", true, false},
    {"%@+", "s", "%(AddSeconds", ")", true, false},
    {"%@-", "Y", "%(SubtractYears", ")", true, true},
    {"%@-", "M", "%(SubtractMonths", ")", true, true},
    {"%@-", "D", "%(SubtractDays", ")", true, true},
    {"%@-", "h", "%(SubtractHours", ")", true, true},
    {"%@-", "m", "%(SubtractMinutes", ")", true, true},
    {"%@-", "s", "%(SubtractSeconds", ")", true, true},
};
static_assert(sizeof(te_open_forms) / sizeof(te_open_forms[0]) == 16, "16 open-ended forms");

bool at_cs(const std::string& text, size_t pos, const char* needle, bool case_sensitive) {
  return case_sensitive ? at_exact(text, pos, needle) : at_case(text, pos, needle);
}

// Replaces every prefix NAME suffix (NAME not empty and free of the suffix) by
// new_prefix NAME new_suffix.
std::string convert_named_form(const std::string& text, const char* prefix, const char* suffix,
                               const std::string& new_prefix, const char* new_suffix) {
  std::string out;
  size_t plen = strlen(prefix);
  for (size_t i = 0; i < text.size();) {
    if (at_case(text, i, prefix)) {
      size_t end = text.find(suffix, i + plen);
      if (end != std::string::npos && end > i + plen) {
        out += new_prefix + text.substr(i + plen, end - i - plen) + new_suffix;
        i = end + strlen(suffix);
        continue;
      }
    }
    out += text[i++];
  }
  return out;
}

std::string convert_date_form(const std::string& text, const char* prefix, const char* suffix,
                              bool case_sensitive, const std::string& new_prefix, const char* new_suffix) {
  std::vector<insert_date_math_match> found = date_math_string_extract(text, prefix, suffix, case_sensitive);
  std::string out;
  size_t at = 0;
  for (const insert_date_math_match& m : found) {
    out += text.substr(at, m.offset - at) + new_prefix + m.number + new_suffix;
    at = m.offset + m.length;
  }
  return out + text.substr(at);
}

}  // namespace

std::vector<insert_date_math_match> date_math_string_extract(const std::string& text, const char* prefix,
                                                             const char* suffix, bool case_sensitive) {
  std::vector<insert_date_math_match> found;
  size_t plen = strlen(prefix), slen = strlen(suffix);
  bool blanks = strncmp(prefix, "%(", 2) == 0;
  for (size_t i = 0; i < text.size(); i++) {
    if (!at_cs(text, i, prefix, case_sensitive)) continue;
    size_t p = i + plen;
    if (blanks)
      while (p < text.size() && text[p] == ' ') p++;
    size_t digits = p;
    while (p < text.size() && isdigit(static_cast<unsigned char>(text[p]))) p++;
    if (p == digits || !at_cs(text, p, suffix, case_sensitive)) continue;
    found.push_back({i, p + slen - i, text.substr(digits, p - digits)});
    i = p + slen - 1;
  }
  return found;
}

std::string convert_open_ended_macros_from_to_te(const std::string& input, int direction) {
  std::string text = input;
  for (const te_open_form& f : te_open_forms) {
    if (direction == 1) {
      std::string ours = std::string(f.our_prefix) + " ";
      if (f.date_math)
        text = convert_date_form(text, f.te_prefix, f.te_suffix, true, ours, f.our_suffix);
      else
        text = convert_named_form(text, f.te_prefix, f.te_suffix, ours, f.our_suffix);
    } else if (f.date_math) {
      text = convert_date_form(text, f.our_prefix, f.our_suffix, false, f.te_prefix, f.te_suffix);
      if (f.subtract) {
        std::string sub = std::string("%(Sub") + (f.our_prefix + strlen("%(Subtract"));
        text = convert_date_form(text, sub.c_str(), f.our_suffix, false, f.te_prefix, f.te_suffix);
      }
    } else {
      std::string ours = std::string(f.our_prefix) + " ";
      text = convert_named_form(text, ours.c_str(), f.our_suffix, f.te_prefix, f.te_suffix);
    }
  }
  return text;
}

std::string te_macros_to_tolmek_macros(const std::string& input) {
  std::string text = convert_open_ended_macros_from_to_te(input, 1);
  for (const te_pair& row : te_table) text = substitute_str(text, row.te, row.ours, row.case_sensitive, false);
  return text;
}

std::string tolmek_macros_to_te_macros(const std::string& input) {
  std::string text = convert_open_ended_macros_from_to_te(input, 0);
  for (const te_pair& row : te_table) text = substitute_str(text, row.ours, row.te, row.case_sensitive, false);
  return text;
}
