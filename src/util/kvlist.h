// kvlist: an ordered key/value list with a type code per entry.
//
// It holds the property-list data that folders and abbreviations carry for TextExpander
// (dictionaries, arrays and scalars), so that it can be written back unchanged. Like plist, a
// list is identified by its first entry, the empty list is nullptr, and every operation that can
// change the first entry returns the new first entry. Keys are owned by their entry and compared
// ignoring ASCII case; several entries may share a key (arrays of scalars use empty keys).
// A value is owned by its entry exactly when the entry has a free function.
// Not thread-safe: each list belongs to one thread at a time.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "util/plist.h"

// Type codes. They double as the element codes of the property-list reader, which is why some
// of them (key, dict element, any) never label a stored value.
enum : uint32_t {
  KVLIST_TYPE_NONE = 0,             // no element
  KVLIST_TYPE_UNKNOWN = 1,          // unknown element name
  KVLIST_TYPE_KEY = 2,              // <key>
  KVLIST_TYPE_EMPTY_ARRAY = 3,      // <array> with no elements; the value is nullptr
  KVLIST_TYPE_STRING = 4,           // <string>: a heap std::string*, freed by plist_free_string
  KVLIST_TYPE_DATA = 5,             // <data>: base64 text, not decoded
  KVLIST_TYPE_DATE = 6,             // <date>
  KVLIST_TYPE_INTEGER = 7,          // <integer>
  KVLIST_TYPE_REAL = 8,             // <real>: kept as text
  KVLIST_TYPE_DICT = 9,             // nested dictionary: a kvlist*, freed by kvlist_free_value
  KVLIST_TYPE_DICT_ELEMENT = 10,    // <dict> as an element
  KVLIST_TYPE_TRUE = 11,            // <true/>
  KVLIST_TYPE_FALSE = 12,           // <false/>
  KVLIST_TYPE_DICT_ARRAY = 14,      // array of dictionaries: a plist* of kvlist*, freed by
                                    // kvlist_free_dict_array
  KVLIST_TYPE_ANY = 15,             // any element (search wildcard of the reader)
  KVLIST_TYPE_SCALAR_ARRAY = 16,    // array of scalars: a kvlist* whose keys are empty
};

struct kvlist {
  std::string key;            // (owned)
  void* value;                // (nullable) owned when free_func is set
  uint32_t type;              // one of KVLIST_TYPE_*
  plist_free_func free_func;  // (nullable) frees `value` together with the entry
  kvlist* next;
  kvlist* prev;
};

// Free functions for values that are themselves lists, usable as an entry's free_func:
// a nested kvlist, and a plist of kvlist (whatever the nodes' own free functions say).
void kvlist_free_value(void* list);
void kvlist_free_dict_array(void* list);

// Links a new entry at the end; the key is copied. Returns the first entry.
kvlist* kvlist_append(kvlist* list, std::string_view key, void* value, uint32_t type,
                      plist_free_func free_func);
// Appends a string value (a copy of `text`, owned by the entry).
kvlist* kvlist_append_string(kvlist* list, std::string_view key, std::string_view text);
// Replaces the value, type and free function of the first entry with that key, freeing the old
// value with the entry's old free function first (unless it is the very pointer being set);
// appends a new entry when no entry has the key. Returns the first entry.
kvlist* kvlist_set_value(kvlist* list, std::string_view key, void* value, uint32_t type,
                         plist_free_func free_func);
// Links list b after list a; returns the first entry.
kvlist* kvlist_append_kvlist(kvlist* a, kvlist* b);

// The first entry with that key; nullptr when absent.
kvlist* kvlist_get_from_key(kvlist* list, std::string_view key);
// The first entry with that key, only when its type is `type`.
kvlist* kvlist_get_from_key_type(kvlist* list, std::string_view key, uint32_t type);
// Value of the first entry with that key. *type_out (nullable) is its type, -1 when absent.
void* kvlist_lookup_value(kvlist* list, std::string_view key, int64_t* type_out);
// Value of the first entry with that key, only when its type is `type`.
void* kvlist_lookup_value_type(kvlist* list, std::string_view key, uint32_t type);
// The string of the first entry with that key when it is a string entry; nullptr otherwise.
// (borrowed)
const std::string* kvlist_lookup_string(kvlist* list, std::string_view key);
// The first string entry whose value equals `text` ignoring ASCII case.
kvlist* kvlist_lookup_by_string_value(kvlist* list, std::string_view text);

// n counts from 0; a negative n means the last entry; an n past the end gives nullptr.
kvlist* kvlist_get_nth(kvlist* list, int n);
int kvlist_get_n_elements(const kvlist* list);

// Unlinks the first entry with that key and frees the entry and its key, not its value.
kvlist* kvlist_remove_by_key(kvlist* list, std::string_view key);
// Unlinks `entry` (which must belong to `list`) and frees it with its value.
kvlist* kvlist_delete_element(kvlist* list, kvlist* entry);
// Unlinks the first entry with that key and frees it with its value.
kvlist* kvlist_delete_by_key(kvlist* list, std::string_view key);
// Unlinks the first entry whose value pointer is `value` (identity, not content) and frees it
// with its value.
kvlist* kvlist_delete_by_value(kvlist* list, const void* value);
// Frees every value with its free function, every key and every entry.
void kvlist_free(kvlist* list);

// Copies a value that is not one of the representations kvlist knows (see kvlist_duplicate).
// The copy gets the source entry's free function.
typedef void* (*kvlist_copy_func)(const void* value, uint32_t type);

// A deep copy. How a value is copied follows from its entry's free function, which says what
// the value is: no free function means a borrowed pointer or a number stored in the pointer, and
// the pointer is copied as it is; plist_free_string values are copied as strings;
// kvlist_free_value and kvlist_free_dict_array values are copied recursively. Any other free
// function (a date record, say) needs `copy`; meeting one without it is a programming error that
// aborts.
kvlist* kvlist_duplicate(const kvlist* list, kvlist_copy_func copy);
