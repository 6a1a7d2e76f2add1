// Searching the library: the search over folders and abbreviations, the query language of the
// main window's search box (terms joined by AND, OR and NOT) and the search options that the
// box's magnifying-glass menu toggles.
//
// Nothing here needs a toolkit: the box only hands over its text and the selected folder.
// Threads: UI thread only (the search reads the sandbox, which the UI thread owns, and the
// options are preferences).
#pragma once

#include <string_view>

#include "library/abbr.h"
#include "util/plist.h"

// ---- Texts of the search box ----

extern const char SEARCH_PLACEHOLDER[];  // "Search..."
extern const char SEARCH_TOOLTIP[];

// ---- The search ----

// Flags of abbr_find_abbrevs_containing_string.
enum : unsigned {
  SEARCH_DESCRIPTION = 1,      // search the description
  SEARCH_ABBREVIATIONS = 2,    // search every text of the record's abbreviation list
  SEARCH_REPLACEMENT = 4,      // search the replacement (see below for launchers)
  SEARCH_SUBFOLDERS = 8,       // search the whole tree below the folder, not only its own records
  SEARCH_WHOLE_FIELD = 16,     // a term must equal the field; otherwise it must occur in it
  SEARCH_MATCH_CASE = 32,      // compare with regard to case
  SEARCH_CASE_OF_RECORD = 64,  // abbreviation texts only: with regard to case exactly when the
                               // record is case sensitive, whatever SEARCH_MATCH_CASE says
  SEARCH_FIRST_ONLY = 128,     // stop at the first record found
  SEARCH_SKIP_DISABLED = 256,  // skip records whose parent folder is disabled
};

// The records that match, in tree order (depth first, a folder's own records before those of
// its subfolders). `folder` nullptr means every top folder of the sandbox with everything
// below it, whatever SEARCH_SUBFOLDERS says. `excluded` (nullable) is never returned.
//
// A term matches a record when it matches one of the searched fields. With `and_terms`
// (nullable, a list of std::string*; null nodes are passed over) every one of them must match
// and `term` itself is not looked at; without, `term` must match. A record that any of
// `not_terms` (nullable, std::string*) matches is left out. Without regard to case, letters
// are compared by their Unicode lower case. The replacement of a program launcher is its path
// and parameters, that of a website launcher its address, as the abbreviation list shows them.
//
// Returns a new list (free with plist_free_all_but_data) of records it does not own; nullptr
// when nothing matches.
plist* abbr_find_abbrevs_containing_string(abbr_folder* folder, std::string_view term,
                                           const abbr_abbrev* excluded, unsigned flags, plist* and_terms,
                                           plist* not_terms);

// Splits a query of the search box. The keywords are upper case with one blank on each side;
// anything else is plain text. Every " NOT " takes the text up to the next " AND ", " OR ",
// " NOT " or the end as a NOT term (an empty one is dropped) and is cut out with it; the rest
// is split at " OR " into the OR groups, or is the one empty group when nothing is left. Each
// group is later split at " AND " into its AND terms. Both outputs are new lists of
// std::string* that own their strings (plist_free); `not_terms` is nullptr when there are none.
void search_get_OR_NOTs(std::string_view text, plist** or_groups, plist** not_terms);

// Runs a query as the search box does: each OR group in order, with its AND terms and the NOT
// terms, the results joined; with several groups a record found again keeps its first place.
// `folder` is the folder selected in the tree, nullptr for the "Everything" row. The list is
// new and does not own the records (plist_free_all_but_data).
plist* search_run_query(abbr_folder* folder, std::string_view text, unsigned flags);

// ---- Options ----

// The preferences that decide the box's flags, each 1 when set.
struct search_options {
  int dont_search_description = 0;
  int dont_search_abbreviation = 0;
  int dont_search_replacement = 0;
  int dont_search_disabled_folders = 0;
};

// Read from the preferences at the moment of the search.
search_options search_options_from_prefs();

// The flags the box searches with. Switching off both the abbreviation texts and the
// replacements leaves the description alone, and switching off all three fields searches all
// three. A box with text searches below the folder: "search_subfolders" is read by the menu
// but changes nothing here, on purpose. The box always looks for occurrences without regard
// to case.
unsigned search_flags_for_box(const search_options& options, bool text_empty);

// ---- The magnifying-glass menu ----

// One check item of the menu and the preference it toggles. `inverted`: the item shows the
// preference's opposite ("Search _Descriptions" is checked while "dont_search_description" is 0).
struct search_menu_item {
  const char* label;  // with the mnemonic underscore
  const char* pref;
  bool inverted;
};
enum { SEARCH_N_MENU_ITEMS = 5 };
extern const search_menu_item search_menu_items[SEARCH_N_MENU_ITEMS];

// Whether the item is checked, from the preferences.
bool search_menu_item_is_active(const search_menu_item& item);
// Stores the item's new check state in the preferences.
void search_menu_item_set_active(const search_menu_item& item, bool active);
