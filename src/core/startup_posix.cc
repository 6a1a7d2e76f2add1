#include <glib.h>

#include "core/app.h"
#include "util/strutil.h"

// GTK reads the user's CSS from its configuration folder: $XDG_CONFIG_HOME/gtk-3.0.
std::string core_gtk_css_folder() { return path_join(g_get_user_config_dir(), "gtk-3.0"); }
