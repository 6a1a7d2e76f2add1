// The library editor inside the main window: the folder tree, the abbreviation list and the
// editing pane, and the commands that change the sandbox. UI thread only.
#pragma once

#include <gtk/gtk.h>

#include <string>

// Builds the editor (owned by the container it is packed into) and appends its Edit menu to
// `menubar`, with accelerators in `accel`. `changed` runs after every change of the sandbox.
GtkWidget* editor_new(GtkWidget* menubar, GtkAccelGroup* accel, void (*changed)());
// Rebuilds the tree and the list from the sandbox, keeping the selected folder when it still
// exists.
void editor_reload();
void editor_expand_top_folder();
// Shows what a search for `text` finds below the selected folder; empty text shows the folder.
void editor_search(const char* text);
// Remembers column widths, sort order and the divider in the preferences.
void editor_store_layout();
// Asks `question` over the main window with Yes/No and a "Don't ask me again" box; true for
// Yes. A ticked box answered Yes sets the preference `dsa_key`, which from then on answers Yes
// without asking.
bool editor_confirm(const char* dsa_key, const std::string& question);
// The colour for `key` ("a_color" abbreviations, "r_color" replacement text, "o_color" the
// rest), the theme's default when the preference is unset or too short to be "#rrggbb".
const char* editor_theme_colour(const char* key);
