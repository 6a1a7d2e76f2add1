// The search box of the main window, with its magnifying-glass menu of search options.
// UI thread only.
#pragma once

#include <gtk/gtk.h>

// Builds the box (owned by its container); Ctrl+F in `accel`'s window focuses it. `search`
// runs with the box's text whenever the text or an option changes.
GtkWidget* search_box_new(GtkAccelGroup* accel, void (*search)(const char* text));
