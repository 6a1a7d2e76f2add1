// Launchers: program and website abbreviations, and the Launch macro's argument splitting.
//
// Threads: the keysim thread (after the typed abbreviation has been erased).
#pragma once

#include <string>

#include "library/abbr.h"
#include "util/plist.h"

// Opens a program or website launcher; other kinds and empty targets do nothing. Failures are
// silent.
void launcher_launch_from_abbrev(const abbr_abbrev* a);

// Splits at `separator` except inside double quotes (where "" stands for one quote). A run of
// separators counts as one; each piece loses one leading and one trailing quote and has ""
// turned into ". A list of std::string* (plist_free), or nullptr for an empty text or separator.
plist* strsplit_not_inside_quotes(const std::string& text, const std::string& separator, bool case_sensitive);
