// The settings list: named string values in insertion order, and the text file that stores
// such a list (one quoted name and one quoted value per line).
//
// A list is a pointer to its first entry; the empty list is nullptr. Operations that may change
// the first entry return the new head, which the caller stores back. Names are compared with an
// ASCII case-insensitive comparison and the set operations never create a second entry with an
// equal name. Values are always strings: integers are stored as "%d" text and read back with
// atoi semantics. No locks: a list belongs to the thread that changes it (the UI thread for
// both global lists).
#pragma once

#include <ctime>
#include <optional>
#include <string>

struct setting {
  char* name;   // (owned) never null in a list
  char* value;  // (owned) never null; an absent value is ""
  setting* next;
  setting* prev;
};

// The user's preferences (UI thread), loaded and saved by settings/prefs.h; nullptr before the
// first load and after prefs_free.
extern setting* prefs_lst;

// Value of the first entry named `name`, or a static "" when the list or name is null or no
// entry matches. Never null. The pointer stays valid until that setting changes.
const char* __setting_get(const setting* list, const char* name);
int __setting_get_int(const setting* list, const char* name);
int __setting_does_exist(const setting* list, const char* name);
setting* __setting_get_loc_by_name(setting* list, const char* name);
// Zero-based position of the entry, -1 when absent.
int __setting_get_offset_by_name(const setting* list, const char* name);
unsigned __setting_get_count(const setting* list);

// Copies name and value (a null value becomes ""). An existing name keeps its position and gets
// the new value; a new name is appended. A null name changes nothing.
setting* __setting_set(setting* list, const char* name, const char* value);
// As __setting_set, but takes ownership of `name` (malloc'd) unless copy_name is non-zero and of
// `value` unless copy_value is non-zero. A null value always becomes a fresh "".
setting* __setting_set_choose_copy(setting* list, char* name, int copy_name, char* value, int copy_value);
setting* __setting_set_int(setting* list, const char* name, int value);
// Appends without looking for the name and without copying: the list takes ownership of both
// malloc'd strings.
setting* __setting_append(setting* list, char* name, char* value);
// Unlinks and frees the first entry named `name`; an absent name leaves the list unchanged.
setting* __setting_delete(setting* list, const char* name);
void __setting_list_free(setting* list);
// Deep copy in order; a name that occurs twice keeps the later value at the earlier position.
setting* __setting_list_copy(const setting* list);
// Byte-wise, case-sensitive ordering of two `const setting*` (for qsort over an array of entry
// pointers), deliberately unlike the case-insensitive lookups.
int __setting_qsort_compare_asc_func(const void* a, const void* b);

// The two texts the reader reports.
extern const char SETTINGS_ERR_CANNOT_OPEN[];  // "Unable to open setting file for reading."
extern const char SETTINGS_ERR_INVALID[];      // "Invalid setting file."

// Reads a settings file. On failure returns nullptr and, when error_out is given, stores one of
// the two texts above. An empty file gives nullptr without an error.
setting* __settings_load_from_file(const char* path, std::optional<std::string>* error_out);
// As above, first storing the file's modification time (0 when it cannot be examined).
setting* __settings_load_from_file_mtime(const char* path, std::optional<std::string>* error_out,
                                         time_t* mtime_out);
// The common reader: entries are set into `list` (existing names are overwritten in place).
// A file is all or nothing: when it is invalid, `list` itself is freed too and nullptr returned.
// A file that cannot be opened gives `list` back unchanged (nullptr for the two wrappers).
setting* __settings_load_from_file_lst_given(const char* path, setting* list,
                                             std::optional<std::string>* error_out, time_t* mtime_out);
// Writes the list through a temporary file in the target's folder that is flushed to disk and
// then renamed over the target, so the target is always the whole old or the whole new file.
// Returns 0 on success, 1 on any failure.
int __settings_dump_to_file(const setting* list, const char* path);
// 1 when an error is present and is not the cannot-open text (the file existed but was bad).
int __setting_get_file_existed_from_err_msg(const std::optional<std::string>& error);

// The reader on text already in memory: the entries are set into `list`; invalid text frees
// `list` and gives nullptr with SETTINGS_ERR_INVALID.
setting* settings_parse(const std::string& text, setting* list, std::optional<std::string>* error_out);
// The list in file format, one entry per line: what the file would hold.
std::string settings_format(const setting* list);
// The file format's escaping of a name or value, and its exact inverse.
std::string settings_escape(const std::string& text);
std::string settings_unescape(const std::string& text);

// Shorthands on prefs_lst, which they keep up to date.
const char* setting_get(const char* name);
int setting_get_int(const char* name);
int setting_does_exist(const char* name);
void setting_set(const char* name, const char* value);
void setting_set_int(const char* name, int value);
void setting_delete(const char* name);
