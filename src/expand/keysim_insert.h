// Insertion macros: the macros that are replaced by text before an expansion is typed
// (TextExpander forms, embedded abbreviations, date and time with arithmetic, the clipboard,
// the B/I/U shorthands and the cursor marker), and the conversion between this program's macro
// language and TextExpander's.
//
// Every function returns a new string owned by the caller. Threads: any; the embedded lookup
// reads the main list the way the hook and keysim threads do.
#pragma once

#include <ctime>
#include <string>
#include <vector>

#include "util/plist.h"

// The text with its first character in Unicode upper case (a text that does not start with a
// valid character comes back as it is).
std::string keysim_upcase_first_char(const std::string& text);

// One row of the date and time table (also the editor's date/time menu).
struct insert_date_macro {
  int group;           // 0 date, 1 time
  const char* name;    // without "%(" and ")"; "__SEPARATOR__" rows only separate the menu
  const char* format;  // strftime format; "#" is the no-leading-zeroes flag
  const char* label;   // menu label, "_" marks the mnemonic
};
int insert_date_macro_count();
const insert_date_macro& insert_date_macro_row(int i);

// The local time the date macros start from; tests install a fixed clock. Null restores the
// real one.
typedef struct tm (*insert_now_func)();
void insert_set_now_func(insert_now_func fn);

// All insertion macros in order. `cursor_back` (nullable) receives the number of characters
// after the cursor marker; with no_cursor the marker is left in place. `guard` (nullable) holds
// names that are not embedded.
std::string insertion_macros_execute(const std::string& text, int no_cursor, int* cursor_back,
                                     plist* guard);
std::string embed_insertion_macros_execute(const std::string& text, plist* guard);
std::string date_time_insertion_macros_execute(const std::string& text);
std::string clipboard_insertion_macro_execute(const std::string& text);
// Date and time, then clipboard: what launcher targets and parameters may contain.
std::string launcher_insertion_macros_execute(const std::string& text);

// Adds to a broken-down local time and normalises it; left unchanged when that fails.
void adjust_tm(struct tm* t, int years, int months, int days, int hours, int minutes, int seconds);

// One occurrence of a date-arithmetic form: where it is and its number.
struct insert_date_math_match {
  size_t offset;
  size_t length;
  std::string number;
};
// Occurrences of prefix, optional blanks (only when the prefix starts with "%("), digits and
// suffix. Prefix and suffix are compared with or without case.
std::vector<insert_date_math_match> date_math_string_extract(const std::string& text, const char* prefix,
                                                             const char* suffix, bool case_sensitive);
// direction 1: TextExpander's open-ended forms (%fill:NAME%, %@+5D ...) to this program's;
// 0: the other way.
std::string convert_open_ended_macros_from_to_te(const std::string& text, int direction);
std::string tolmek_macros_to_te_macros(const std::string& text);
std::string te_macros_to_tolmek_macros(const std::string& text);
