// The abbreviation library in memory: folder and abbreviation records, timestamps, unique ids,
// the main list and the sandbox, copying, sorting, flattening and case adaptation.
//
// Threads: everything here runs on the UI thread, except that the hook and replacement
// threads read the main list (folder list 0) between ABBR_LOCK_MAIN_LIST() and
// ABBR_UNLOCK_MAIN_LIST(). Those calls are deliberately empty: the UI thread replaces the main
// list only through a hand-over that the hook thread acknowledges between two hook calls, so
// readers never see a list being freed.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

#include "util/kvlist.h"
#include "util/plist.h"

// ---- Codes shared by the whole program ----

enum : uint8_t {
  ABBR_TYPE_TEXT = 0,
  ABBR_TYPE_PROGRAM = 1,
  ABBR_TYPE_WEBSITE = 2,
  ABBR_TYPE_FOURTH = 3,  // stored, copied and written as its own element; never matched
};

enum : uint32_t {
  ABBR_CASE_SENSITIVE = 0,
  ABBR_CASE_INSENSITIVE = 1,
  ABBR_CASE_ADAPT = 2,
};

enum : uint32_t {
  ABBR_TRIGGER_IMMEDIATELY = 3,
  ABBR_TRIGGER_TRIGGER_KEY = 4,
  ABBR_TRIGGER_WORD_END = 5,
};

// Menu texts of the case and trigger modes, and the order in which combo boxes list them.
const char* abbr_case_mode_menu_text(uint32_t case_mode);
const char* abbr_trigger_mode_menu_text(uint32_t trigger_mode);
extern const uint32_t abbr_case_mode_menu_order[3];     // 1, 0, 2
extern const uint32_t abbr_trigger_mode_menu_order[3];  // 3, 4, 5

// ---- Timestamps (local time) ----

struct abbrtime {
  uint8_t month;  // 1-12
  uint8_t day;
  uint16_t year;
  uint8_t hour;  // 0-23
  uint8_t minute;
  uint8_t second;
};

abbrtime abbr_time_now();
abbrtime abbr_time_from_tm(const struct tm& t);
struct tm abbr_time_to_tm(const abbrtime& t);
// Seconds since the epoch of a local time, and back.
int64_t abbr_time_to_epoch_seconds(const abbrtime& t);
abbrtime abbr_time_from_epoch_seconds(int64_t seconds);
abbrtime abbrtime_local_to_utc(const abbrtime& t);
abbrtime abbrtime_utc_to_local(const abbrtime& t);
abbrtime* abbr_dup_abbrtime(const abbrtime& t);
// Free function for an abbrtime* held in a key/value list (TextExpander dates).
void abbr_free_abbrtime(void* t);
// Copies the values of the key/value lists of records: dates are abbrtime* (abbr_free_abbrtime).
void* abbr_kvlist_copy_value(const void* value, uint32_t type);

// "%.2x%.2x%.4x%.2x%.2x%.2x": month, day, year, hour, minute, second (the file form).
std::string abbr_time_to_hex_string(const abbrtime& t);
// "%.4d%.2d%.2d%.2d%.2d%.2d": year first, for sorting.
std::string abbr_time_to_compare_string(const abbrtime& t);
// "3/5/2021 2:07:09PM". A missing time (nullptr) prints the current local time.
std::string abbr_time_to_display_string(const abbrtime* t);
// Accepts only exactly 14 characters read as 2, 2, 4, 2, 2, 2 hexadecimal digits; any other
// length yields the current local time.
abbrtime abbr_time_str_to_abbrtime(std::string_view s);

// ---- Records ----

struct abbr_folder;

// Type 1 data.
struct abbr_program {
  std::string path;
  std::string params;
  std::string run_in;         // working folder
  uint8_t show_mode = 0;      // 0 normal, 1 minimized, 2 maximized
  uint8_t run_as_admin = 0;
  uint32_t reserved = 0;      // always 0
};

// Type 2 data.
struct abbr_website {
  std::string address;
  std::string browser;  // empty = the default browser
};

struct abbr_abbrev {
  plist* abbrevs = nullptr;   // (owned) std::string* texts that trigger this entry
  // Type data: only the member matching `type` is meaningful.
  std::string replacement;    // type 0
  abbr_program program;       // type 1
  abbr_website website;       // type 2
  std::string description;
  uint32_t case_mode = ABBR_CASE_ADAPT;
  uint32_t trigger_mode = ABBR_TRIGGER_IMMEDIATELY;
  abbr_folder* parent = nullptr;  // not owned
  uint8_t type = ABBR_TYPE_TEXT;
  uint8_t anywhere = 0;  // 1 = may match right after a letter or digit
  abbrtime created{};
  abbrtime modified{};
  kvlist* extra_attribs = nullptr;        // (owned, nullable) TextExpander snippet data
  kvlist* extra_group_attribs = nullptr;  // (owned, nullable)
  uint32_t uid = 0;
};

struct abbr_folder {
  std::string name;
  abbr_folder* parent = nullptr;   // nullptr for a top folder
  plist* subfolders = nullptr;     // (owned) abbr_folder*, free function abbr_folder_free
  plist* abbrevs = nullptr;        // (owned) abbr_abbrev*, free function abbr_abbrev_free
  uint32_t uid = 0;
  kvlist* extra_attribs[3] = {nullptr, nullptr, nullptr};  // (owned, nullable) TextExpander group data
  uint8_t t = 0;
  uint8_t disabled = 0;   // the folder and everything below it do not expand
  uint8_t e = 0;
  uint8_t read_only = 0;  // 0 normal; 1 or 2 part of a subscribed read-only folder
  std::string chooser_hotkey;
  int32_t chooser_hotkey_id = 0;  // registered id at run time; not saved
  std::string source;             // where a read-only folder is fetched from
  int32_t update_setting = 0;
  abbrtime last_update{};
  abbrtime modified{};
  abbrtime last_check{};
  uint8_t f = 0;
};

inline bool abbr_is_launcher(const abbr_abbrev* a) {
  return a->type == ABBR_TYPE_PROGRAM || a->type == ABBR_TYPE_WEBSITE;
}
// Launchers never keep case mode 2: it becomes 1.
void abbr_abbrev_set_case_mode_to_valid_for_type(abbr_abbrev* a);

// ---- Defaults for new records ----
// The library does not read preferences itself; start-up installs the preference getters.
// Until then new records get case mode 2 (1 for launchers) and trigger mode 3.
typedef uint32_t (*abbr_default_case_mode_func)(int type);
typedef uint32_t (*abbr_default_trigger_mode_func)();
void abbr_set_default_mode_funcs(abbr_default_case_mode_func case_mode,
                                 abbr_default_trigger_mode_func trigger_mode);
uint32_t abbr_default_case_mode(int type);
uint32_t abbr_default_trigger_mode();

// ---- Unique ids (UI thread only) ----
uint32_t abbr_next_folder_uid();
uint32_t abbr_next_abbrev_uid();
void abbr_reset_uid_counter();
void abbr_reset_abbr_uid_counter();

// ---- Creation and freeing ----

// Defaults: preference case and trigger modes for the type, both times now, new uid,
// anywhere 0, description "New Quiverextion" / "New Launcher" / "New Website Launcher".
abbr_abbrev* abbr_create_new_abbrev(uint8_t type, abbr_folder* parent);
void abbr_create_new_abbrev_type_specific_data(abbr_abbrev* a, uint8_t type);
void abbr_abbrev_free_type_specific_data(abbr_abbrev* a);
void abbr_abbrev_free(void* abbrev);
// Name (or "New Folder" when empty), next folder uid, flag t 0, parent's disabled flag.
abbr_folder* abbr_new_subfolder_of(abbr_folder* parent, const std::string& name);
// "Everything" with every flag 0 and the next folder uid.
abbr_folder* abbr_create_absolute_parent_folder();
void abbr_folder_free(void* folder);  // recursive
void abbr_set_times_to_current_time(abbr_abbrev* a);

// ---- The two folder lists ----
enum { ABBR_MAIN_LIST = 0, ABBR_SANDBOX_LIST = 1 };
// Folder list 0 (main) or 1 (sandbox): a plist of top folders, in practice exactly one.
plist*& abbr_folder_list(int which);
void abbr_free_folder_list(int which);
void abbr_free_all_folder_lists();
// First folder of the list, or nullptr.
abbr_folder* abbr_get_absolute_parent_folder(int which);
abbr_folder* abbr_get_absolute_parent_folder_of(plist* list);

// ---- Linking ----
// No parent: appended to folder list `which`; otherwise appended to the parent's subfolders.
void abbr_add_subfolder_to_folder(int which, abbr_folder* parent, abbr_folder* folder);
// Negative position appends.
void abbr_add_abbrev_to_folder(abbr_folder* folder, abbr_abbrev* a, int position);
void abbr_insert_folder_in_list(int which, abbr_folder* folder, int position);
// Unlinks the folder from its parent (or from list `which` when it has none) without freeing.
void abbr_delete_subfolder_from_parent(int which, abbr_folder* folder);
// Unlink from the old parent, append to the new one, set the parent field.
void abbr_reparent_folder(int which, abbr_folder* folder, abbr_folder* new_parent);
void abbr_reparent_abbrev(abbr_abbrev* a, abbr_folder* new_parent);

// ---- Copying ----
abbr_abbrev* abbr_duplicate_abbrev(const abbr_abbrev* a, abbr_folder* new_parent, bool keep_uid);
// A new list of copies of every abbreviation of `list`, all with `new_parent`.
plist* abbr_duplicate_abbrev_lst(plist* list, abbr_folder* new_parent, bool keep_uid);
// Same uid and fields; subfolders copied recursively in order; abbreviations copied with
// their uids and inserted at the front, so the copy holds them in reverse order (every view
// sorts, so nothing relies on the order within a folder).
abbr_folder* abbr_duplicate_folder(const abbr_folder* f, abbr_folder* new_parent);
plist* abbr_folder_list_duplicate(plist* list);

// ---- Sandbox ----
// Replaces list 1 by a copy of list 0.
void abbr_create_sandbox();
// Replaces list 0 by a copy of list 1, then hands the new list to the hook thread and waits
// for its answer. Returns that answer, or 0 when it could not be handed over. Without an
// installed hand-over (no monitor running) it returns 1.
int abbr_flush_sandbox_to_main();
typedef int (*abbr_main_list_handover_func)();
void abbr_set_main_list_handover(abbr_main_list_handover_func func);
// Runs the installed hand-over (the loader calls this after replacing the main list).
int abbr_main_list_changed();

inline void ABBR_LOCK_MAIN_LIST() {}
inline void ABBR_UNLOCK_MAIN_LIST() {}

// ---- Lookup ----
// Depth first, folder before its children. Either output may be nullptr; the lists hold
// borrowed pointers (free them with plist_free_all_but_data).
void abbr_get_all_folders_and_abbrevs_from_folder_list(plist* list, plist** folders, plist** abbrevs);
void abbr_get_all_folders_and_abbrevs_from_folder(abbr_folder* f, plist** folders, plist** abbrevs);
void abbr_get_all_folders_and_abbrevs_from_folder_children(abbr_folder* f, plist** folders,
                                                          plist** abbrevs);
// The folder with that uid and its index in the flattened order (-1 when absent).
abbr_folder* abbr_folder_from_uid(plist* list, uint32_t uid, int* index_out);
abbr_abbrev* abbr_abbrev_from_uid(plist* list, uint32_t uid);
abbr_folder* abbr_get_folder_with_acm_hotkey_id(plist* list, int32_t id);
int abbr_get_n_abbrevs_in_folder(const abbr_folder* f, bool recursive);
// True when `f` lies somewhere below `ancestor`.
bool abbr_folder_is_child_of(const abbr_folder* f, const abbr_folder* ancestor);
// Follows a path of names separated by "\" below the list's top folder (names compared
// ignoring case); an empty path is the top folder.
abbr_folder* abbr_get_folder_in_list_from_path(plist* list, std::string_view path);

// ---- Text forms ----
// "Work\Email" (or "Work \ Email" when spaced); stops before a top folder, before `stop`, at a
// folder without a name or at one that is its own parent. A top folder yields its own name.
std::string abbr_get_full_folder_path_string(const abbr_folder* f, const abbr_folder* stop, bool spaced);
std::string abbr_get_containing_folder_string(const abbr_abbrev* a, bool full, bool spaced);
// The replacement as a list shows it: the text for type 0, the program or address for launchers.
std::string abbr_abbrev_exp_to_display_string(const abbr_abbrev* a);
// "ab|a||b" -> "ab", "a|b". An empty string gives no abbreviations.
plist* abbr_get_lst_of_abbrevs_from_string(std::string_view s);
std::string abbr_abbrev_lst_to_string(plist* abbrevs);

// Case adaptation of `replacement` to the text the user typed. None when an argument is
// missing or the record is not a text abbreviation. `capitalise_first` (nullable) is set to 1
// when the caller must capitalise the first letter of the output.
std::optional<std::string> abbr_convert_exp_to_correct_case(const char* replacement, const abbr_abbrev* a,
                                                            const char* typed, int* capitalise_first);

// ---- Sorting ----
// Column ids of the abbreviation list.
enum {
  ABBR_COL_DESCRIPTION = 1,
  ABBR_COL_ABBREVIATION = 2,
  ABBR_COL_CONTAINING_FOLDER = 4,
  ABBR_COL_CREATED = 5,
  ABBR_COL_MODIFIED = 6,
};
struct abbr_sort_info {
  int column;
  int descending;  // 1 = descending (GTK's sort type)
};
int abbr_abbrev_sort(const void* a, const void* b, void* sort_info);
int abbr_folder_sort(const void* a, const void* b, void* sort_info);
plist* abbr_sort_abbrev_lst(plist* list, int column, int descending);
plist* abbr_sort_folder_lst(plist* list, int descending);

// ---- Enabling ----
void abbr_set_folder_enabled(abbr_folder* f, bool enabled, bool recursive);

// ---- Flattening ----
// Hooks for the layers above (TextExpander data, the folder tree of the main window).
struct abbr_flatten_hooks {
  void (*folder_modified)(abbr_folder* f);               // te_folder_modified
  void (*folder_moved_to_end)(abbr_folder* f);           // tree row moved (sandbox only)
  void (*folder_removed)(uint32_t uid);                  // tree row removed (sandbox only)
  void (*remember_selection)();                          // sandbox only
  void (*restore_selection)();                           // sandbox only
};
void abbr_set_flatten_hooks(const abbr_flatten_hooks& hooks);
// "Work \ Email" for a folder Email inside Work below `top`.
std::string abbr_get_new_name_for_denestified_folder(const abbr_folder* f, const abbr_folder* top);
void abbr_denestify_folders_in_list(int which);
void abbr_denestify_folders_in_abs_parent(abbr_folder* top);
void abbr_consolidate_subfolders(int which, abbr_folder* f);
void abbr_consolidate_subfolders_in_abs_parent(abbr_folder* top);
bool abbr_folder_has_nested_folders(const abbr_folder* top);

// ---- HTML-safe text (the abbreviation file's escaping) ----
std::string abbr_htmlize(std::string_view text);
std::string abbr_htmlize_for_saving(std::string_view text);
