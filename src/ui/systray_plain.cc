#include "ui/systray_backend.h"

void systray_backend_create(GtkWidget* menu, const std::string& icon) { statusicon_create(menu, icon); }
void systray_backend_set_tooltip(const std::string& text) { statusicon_set_tooltip(text); }
void systray_backend_set_visible(bool visible) { statusicon_set_visible(visible); }
void systray_backend_destroy() { statusicon_destroy(); }
