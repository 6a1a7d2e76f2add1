// The abbreviation file: writer, reader, numbered copies and the HTML export.
//
// The file is UTF-8 XML without declaration or line breaks: one element per folder (the first
// top folder as the root "Quiverex" with m="1") holding its subfolders and then its
// abbreviations as empty elements <a>, <p>, <w> and <u> by type. Everything here runs on the UI
// thread; message boxes go through core/msgbox.h.
#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "library/abbr.h"

// The file's name inside the abbreviations folder.
#define ABBR_FILE_NAME "abbreviations.tmk"

// ---- Writer ----

// Appends `text` to `out` escaped for an attribute value: & < > become entities, CR LF, LF and
// CR each become "&#10;" (so a CR LF line end is saved as one line feed), TAB "&#9;", the
// double quote "&quot;" and the escape character "&#33;". Bytes above 127 pass unchanged.
void abbr_append_escaped(std::string& out, std::string_view text);

// Writes the whole list to `path` through a temporary file in the same folder that is flushed
// to disk and renamed over the target, so a failed save leaves the old file untouched.
// On failure returns false and sets *error_out (nullable) to the message for the user.
bool abbr_dump_folder_list_to_file(plist* list, const std::string& path, std::string* error_out);
// List 0 or 1 to the configured file (see abbr_set_file_path).
bool abbr_dump_main_folder_list_to_file(std::string* error_out);
bool abbr_dump_sandbox_folder_list_to_file(std::string* error_out);
// The file that the two functions above write; set by start-up from the data paths.
void abbr_set_file_path(const std::string& path);
const std::string& abbr_get_file_path();

// The recursive writers. `is_root` writes the "Quiverex" tag, `mark_main` adds m="1",
// `with_read_only` writes the read-only flag and the subscription data (otherwise w="0").
// Return false on a write error with *error_out (nullable) set.
bool abbr_dump_all_subfolders_and_abbrevs_as_XML(const abbr_folder* f, FILE* stream, bool is_root,
                                                 bool mark_main, bool with_read_only, std::string* error_out);
bool abbr_dump_abbrev_to_fp(FILE* stream, const abbr_abbrev* a);
// The same into a string (the writers above use these); false only for a missing record.
bool abbr_dump_folder_to_string(std::string& out, const abbr_folder* f, bool is_root, bool mark_main,
                                bool with_read_only, std::string* error_out);
void abbr_dump_abbrev_to_string(std::string& out, const abbr_abbrev* a);
// The bytes the file would hold for this list.
bool abbr_dump_folder_list_to_string(plist* list, std::string& out, std::string* error_out);

// ---- Reader ----

// Hooks filled in by the TextExpander layer and start-up; any of them may be left unset.
struct abbrld_hooks {
  // Reads one collected TextExpander data element into the key/value lists of the enclosing
  // record: exactly one of `folder` and `abbrev` is set. Returns an error text or none.
  // Unset: the collected text is dropped.
  std::optional<std::string> (*te_data_reader)(const std::string& text, abbr_folder* folder,
                                               abbr_abbrev* abbrev);
  // Give a record that has no TextExpander identity yet a new one.
  void (*te_generate_new_uuid_for_folder)(abbr_folder* f);
  void (*te_generate_new_uuid_for_abbrev)(abbr_abbrev* a);
  // True when the user has numbered backups to restore (the "backups" preference is not empty).
  bool (*backups_available)();
};
void abbrld_set_hooks(const abbrld_hooks& hooks);

// Records built from an element's attributes (expat's name/value array, nullptr-terminated):
// names compared ignoring case, unknown ones ignored, missing ones left at the defaults (empty
// strings, case mode 2, trigger mode 3, times now), then validated: a case mode above 2 or a
// trigger mode outside 3-5 becomes the default for the type, a show mode of 3 or more becomes 0
// and launchers do not keep case mode 2. Every record gets a new uid; the parent is not set.
abbr_folder* abbr_create_folder_from_attribs(const char** attribs);
abbr_abbrev* abbr_create_abbrev_from_attribs(uint8_t type, const char** attribs);

// Prepares raw file bytes for the XML parser: every raw escape byte (0x1B) becomes "&#33;",
// invalid UTF-8 becomes U+FFFD, and characters outside the XML range that are followed by
// "/u" are removed.
std::string abbrld_get_buf_to_pass_to_parser(std::string_view raw);

// Replaces folder list 0 with the file's content, telling the user about every failure through
// message boxes. List 0 always ends with at least a top folder, and the hook thread is told
// about the new list. Returns true when the file was read and parsed without any error.
bool abbr_load_main_list_from_file(const std::string& path);
// Same, over bytes already in memory (`path` only names the file in messages).
bool abbr_load_main_list_from_buffer(std::string_view raw, const std::string& path);

// Loads a file in the same format below `into` for importing: the root becomes a folder built
// from its own attributes. On failure returns false with *error_out (nullable) set; what was
// built before a parse error stays.
bool abbr_load_abbreviations_from_file(const std::string& path, abbr_folder* into, std::string* error_out);

// ---- Numbered copies ----

// Moves "abbreviations.tmk" in `folder` to "abbreviations_backup<N><stamp>.tmk", where the stamp
// is the local time as "%b%d_%Y_%H_%M_%S" and N the first number from 0 whose name is free
// (at most 2500 tries). Returns whether the file was moved.
bool abbr_backup_abbrev_file_in_dir(const std::string& folder);

// ---- HTML export ----

// Replacements longer than this many bytes are cut (at a character boundary) and end in "...".
enum { ABBR_HTML_MAX_REPLACEMENT = 1000 };
// A page with one table row per abbreviation of `f` and of every folder below it (depth first,
// folder before its children).
void abbr_dump_folder_as_HTML(const abbr_folder* f, FILE* stream);
std::string abbr_folder_as_HTML(const abbr_folder* f);
