// The matcher's walk over the library, exposed for the hook, the tests and the benchmark.
// Hook thread only: it reads the key buffer and the main list.
#pragma once

#include <string>

#include "monitor/mon.h"
#include "util/plist.h"

// Candidates whose text ends the key buffer under its within-words rule and case mode.
// Lists of abbrev_match* owned by the list (abbrev_match_free), in walk order.
plist* mon_walk_through_abbrevs_get_potential_matches(plist* abbrevs);
plist* mon_walk_through_abbrevs_in_all_folders_get_potential_matches(abbr_folder* folder);
// Longest text first; equal lengths keep their order; a null text sorts last.
plist* mon_abbrev_match_plist_sort_ascending_by_strlen(plist* list);
// 1 when the tree holds a candidate; *out is then the chosen one (owned by the caller).
int mon_walk_through_abbrevs_in_all_folders_check_typed(abbr_folder* folder, abbrev_match** out);
bool mon_text_matches_buffer_tail(const abbr_abbrev* a, const std::string& s);
// Sorts the candidates, picks one (variations in turn) and frees the list.
abbrev_match* mon_choose_candidate(plist* candidates);
// The match for the key buffer as it stands: the first top-level tree with a candidate wins.
abbrev_match* mon_find_typed_abbrev();

// ---- Tail index ----
// The linear walk compares every abbreviation with the buffer on every key. The index files
// each text under its last characters (lower-cased), so a key looks only at the texts that
// can end the buffer, and yields the same candidates in the same order as the walk.
// Rebuilt with the key buffer size whenever the main list changes.
void mon_matcher_index_build();
void mon_matcher_index_free();
// Off: the linear walk is used (tests compare the two; on by default).
void mon_matcher_set_index_enabled(bool on);
bool mon_matcher_index_ready();
// The candidates of the first top-level tree that has any, in walk order (owned list).
plist* mon_matcher_index_candidates();
// The same from the linear walk.
plist* mon_matcher_linear_candidates();
