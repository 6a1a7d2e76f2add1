// String helpers shared by every module (the file helpers are in util/fileutil.h).
//
// Strings are UTF-8 std::string values; helpers return new values and never modify their input.
#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "util/fileutil.h"
#include "util/plist.h"

// Replaces every occurrence of `from` by `to`, scanning left to right and resuming right after
// the inserted text, so inserted text is never rescanned ("a"->"aa" in "aaa" gives "aaaaaa").
// With case_sensitive false the search ignores ASCII case (the replacement is inserted as
// given). With honour_backslash, an occurrence directly preceded by a backslash (and not at the
// very start) is left in place. An empty `from` returns the text unchanged.
std::string substitute_str(std::string_view text, std::string_view from, std::string_view to,
                           bool case_sensitive, bool honour_backslash);

// One (from, to) pair of a conversion table; a table ends with an entry whose `from` is null.
struct conversion_pair {
  const char* from;
  const char* to;
};
// Applies substitute_str for each pair in table order, each over the whole previous result.
std::string substitute_str_using_conversion_table(std::string_view text, const conversion_pair* table,
                                                  bool case_sensitive);

// Puts a backslash before every occurrence of c. The search ignores case, so escaping a letter
// also escapes its other case and writes it in the given case (kept deliberately).
std::string escape_string(std::string_view text, char c);
// Turns every backslash followed by c back into c.
std::string unescape_string(std::string_view text, char c);

// Splits at every occurrence of `separator` into a list of new strings (plist_free_string).
// An empty text gives no pieces; an empty separator gives the whole text as one piece.
plist* strsplit(std::string_view text, std::string_view separator);
// Splits at every single separator but not at a doubled one; the doubled separator stays in
// the piece (the caller undoes the doubling). A run of three splits after the doubled pair.
// An empty text gives no pieces.
plist* strsplit_no_double(std::string_view text, char separator);

// Everything before the last separator ('/' or '\\'); "" when there is none.
std::string path_dirname(std::string_view path);
// Everything after the last separator.
std::string path_basename(std::string_view path);
// Joins with the platform separator, without doubling one that is already there.
std::string path_join(std::string_view a, std::string_view b);

// ASCII case-insensitive comparison (_stricmp), and equality.
int str_casecmp(std::string_view a, std::string_view b);
bool str_caseeq(std::string_view a, std::string_view b);
bool str_ends_with_case(std::string_view s, std::string_view suffix);

// printf into a std::string.
std::string strprintf(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

// Duplicates a C string with malloc (die() on failure); nullptr stays nullptr.
char* copy_string(const char* s);
// Replaces a malloc'd string variable by a copy of `value`, freeing the old one.
void replace_string(char** var, const char* value);

// Resizes a byte buffer whose content is kept right-aligned (the newest byte last): growing adds
// NUL bytes on the left, shrinking drops the oldest bytes on the left. Consumes `buffer` (which
// may be nullptr when old_size is 0) and returns the new malloc'd buffer (caller frees).
char* resize_back_buffer(char* buffer, size_t old_size, size_t new_size);

// Compares at most n bytes of two UTF-8 texts ignoring case, character by character
// (g_unichar_tolower), stopping at a NUL like strncmp. A byte that does not start a valid
// character within the n bytes is compared as it is. GLib has no such function; this is ours.
int g_utf8_strncasecmp(const char* a, const char* b, size_t n);
