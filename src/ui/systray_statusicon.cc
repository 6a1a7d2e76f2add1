// GtkStatusIcon is deprecated but is what XEmbed system trays understand.
#define GDK_DISABLE_DEPRECATION_WARNINGS
#include "ui/systray_backend.h"

#include "ui/ui.h"

namespace {
GtkStatusIcon* g_icon = nullptr;  // (owned) UI thread
GtkWidget* g_menu = nullptr;      // (not owned)

void on_activate(GtkStatusIcon*, gpointer) { main_window_show(); }
void on_popup(GtkStatusIcon* icon, guint button, guint time, gpointer) {
  gtk_menu_popup(GTK_MENU(g_menu), nullptr, nullptr, gtk_status_icon_position_menu, icon, button, time);
}
}  // namespace

void statusicon_create(GtkWidget* menu, const std::string& icon) {
  g_menu = menu;
  g_icon = icon.find('/') != std::string::npos ? gtk_status_icon_new_from_file(icon.c_str())
                                               : gtk_status_icon_new_from_icon_name(icon.c_str());
  gtk_status_icon_set_title(g_icon, "Quiverex");
  g_signal_connect(g_icon, "activate", G_CALLBACK(on_activate), nullptr);
  g_signal_connect(g_icon, "popup-menu", G_CALLBACK(on_popup), nullptr);
}

void statusicon_set_tooltip(const std::string& text) {
  if (!g_icon) return;
  gtk_status_icon_set_tooltip_text(g_icon, text.c_str());
  // The title names the icon's window for the tray and for accessibility tools: the state too.
  gtk_status_icon_set_title(g_icon, text.c_str());
}

void statusicon_set_visible(bool visible) {
  if (g_icon) gtk_status_icon_set_visible(g_icon, visible);
}

void statusicon_destroy() {
  if (!g_icon) return;
  g_object_unref(g_icon);
  g_icon = nullptr;
}
