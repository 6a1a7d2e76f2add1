// The editing pane below the abbreviation list: the fields of one record of the sandbox.
// UI thread only.
#pragma once

#include <gtk/gtk.h>

#include "library/abbr.h"

// Builds the pane (owned by the container it is packed into). `changed` runs after every
// edit that changed the record.
GtkWidget* editor_pane_new(void (*changed)(abbr_abbrev* a));
// Shows the record's fields (borrowed; nullptr empties and disables the pane).
void editor_pane_show(abbr_abbrev* a);
// Shows every option (true) or only those of the Normal view; never changes the record.
void editor_pane_set_advanced(bool advanced);
// Puts the keyboard focus on the abbreviation field.
void editor_pane_focus_abbreviation();
