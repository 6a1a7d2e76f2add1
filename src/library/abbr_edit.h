// The library editor's changes to the sandbox (folder list 1). Each call changes only the
// sandbox and reports whether anything changed, so that the window can tell when there is
// something to apply. UI thread only, like the sandbox itself.
#pragma once

#include <cstdint>
#include <string>

#include "library/abbr.h"

// The sandbox's top folder, created ("Everything") when the sandbox is empty.
abbr_folder* abbr_edit_top_folder();
// A new folder below `parent` (the top folder when nullptr), named `name` or "New Folder".
abbr_folder* abbr_edit_new_folder(abbr_folder* parent, const std::string& name);
// A new record of `type` in `folder`; a text abbreviation starts with an empty list of
// abbreviations so that it cannot expand before the user has typed one.
abbr_abbrev* abbr_edit_new_abbrev(abbr_folder* folder, uint8_t type);
// False for the top folder, which cannot be deleted; frees the folder and everything in it.
bool abbr_edit_delete_folder(abbr_folder* f);
void abbr_edit_delete_abbrev(abbr_abbrev* a);
// False (and no change) for an empty name or the same name.
bool abbr_edit_rename_folder(abbr_folder* f, const std::string& name);
// A copy with a new uid and current times, right after the original in the same folder.
abbr_abbrev* abbr_edit_duplicate_abbrev(const abbr_abbrev* a);
// A copy of the folder (new uids throughout) next to it, named "<name> (copy)".
abbr_folder* abbr_edit_duplicate_folder(const abbr_folder* f);
// False when nothing moves: same folder, or a folder into itself or below itself.
bool abbr_edit_move_abbrev(abbr_abbrev* a, abbr_folder* to);
bool abbr_edit_move_folder(abbr_folder* f, abbr_folder* to);

// Field edits. Each returns false when the value is already that, and otherwise stamps the
// record's modified time.
enum abbr_edit_field {
  ABBR_EDIT_ABBREVIATIONS,  // "ab|a||b" form
  ABBR_EDIT_DESCRIPTION,
  ABBR_EDIT_REPLACEMENT,
  ABBR_EDIT_PROGRAM_PATH,
  ABBR_EDIT_PROGRAM_PARAMS,
  ABBR_EDIT_PROGRAM_RUN_IN,
  ABBR_EDIT_WEBSITE_ADDRESS,
  ABBR_EDIT_WEBSITE_BROWSER,
};
bool abbr_edit_set_text(abbr_abbrev* a, abbr_edit_field field, const std::string& value);
// Case mode 2 is refused (false) for launchers.
bool abbr_edit_set_case_mode(abbr_abbrev* a, uint32_t case_mode);
bool abbr_edit_set_trigger_mode(abbr_abbrev* a, uint32_t trigger_mode);
bool abbr_edit_set_anywhere(abbr_abbrev* a, bool anywhere);
