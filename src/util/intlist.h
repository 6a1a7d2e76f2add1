// Int and char lists: plists whose data pointers carry a small number instead of an address.
//
// Int lists hold virtual-key codes, for instance the trigger keys parsed from a hotkey string
// such as "17 32". Char lists hold Unicode code points, for instance the word-ending characters
// of a delimiter string. Neither owns anything: the nodes have no free function, so plist_free
// and plist_free_all_but_data both release such a list, and every other plist operation
// (insert, get_nth, remove, sort with plist_int_compare) works on it unchanged.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "util/plist.h"

// ---- Int lists ----

plist* plist_append_int(plist* list, int value);
// The number held by a node of an int list.
int plist_int(const plist* node);
// The n-th number (plist_get_nth rules), or `fallback` when there is no such element.
int plist_get_nth_int(plist* list, int n, int fallback);
bool plist_contains_int(const plist* list, int value);
// Comparator for plist_sort: ascending numbers.
int plist_int_compare(const void* a, const void* b);
// Splits at every `separator` and reads each non-empty piece with atoi ("17 18 84" gives
// 17, 18, 84; "17 x" gives 17, 0). With first_only only the first piece is kept.
plist* plist_ints_from_string(std::string_view text, char separator, bool first_only);
// The numbers in decimal, joined by `separator` ("17 32").
std::string plist_ints_to_string(const plist* list, char separator);

// ---- Char lists ----

plist* plist_append_char(plist* list, uint32_t c);
// The code point held by a node of a char list.
uint32_t plist_char(const plist* node);
bool plist_contains_char(const plist* list, uint32_t c);
// The characters of a UTF-8 text, in order; bytes that do not start a valid character (and NUL
// bytes) are skipped.
plist* plist_chars_from_utf8(std::string_view text);
// The characters as UTF-8.
std::string plist_chars_to_utf8(const plist* list);
