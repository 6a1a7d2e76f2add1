#include <atomic>
#include <gtk/gtk.h>

#include "core/app.h"
#include "core/gvar.h"
#include "ui/systray_backend.h"
#include "ui/ui.h"
#include "util/strutil.h"


namespace {
GtkWidget* g_menu = nullptr;  // (owned, a floating reference sunk here) UI thread
GtkWidget* g_enabled_item = nullptr;
gulong g_enabled_handler = 0;
std::string g_tooltip;
std::atomic<bool> g_in_menu{false};

void on_enabled_toggled(GtkCheckMenuItem* item, gpointer) {
  int wanted = gtk_check_menu_item_get_active(item) ? 0 : 1;
  if (!tolmek_set_state(wanted)) systray_app_state_changed(tolmek_get_state());
}
void on_show(GtkMenuItem*, gpointer) { main_window_show(); }
void on_restart(GtkMenuItem*, gpointer) { _quit_(CORE_QUIT_RESTART); }
void on_exit(GtkMenuItem*, gpointer) { _quit_(0); }
void on_menu_shown(GtkWidget*, gpointer) { g_in_menu = true; }
void on_menu_hidden(GtkWidget*, gpointer) { g_in_menu = false; }

void append(GtkWidget* item) { gtk_menu_shell_append(GTK_MENU_SHELL(g_menu), item); }

GtkWidget* item(const char* label, GCallback cb) {
  GtkWidget* i = gtk_menu_item_new_with_mnemonic(label);
  g_signal_connect(i, "activate", cb, nullptr);
  append(i);
  return i;
}

void build() {
  g_menu = gtk_menu_new();
  g_object_ref_sink(g_menu);
  g_enabled_item = gtk_check_menu_item_new_with_mnemonic("_Enabled");
  g_enabled_handler = g_signal_connect(g_enabled_item, "toggled", G_CALLBACK(on_enabled_toggled), nullptr);
  append(g_enabled_item);
  item("_Show Quiverex", G_CALLBACK(on_show));
  item("_Launch Pad", G_CALLBACK(+[](GtkMenuItem*, gpointer) { launchpad_show(0); }));
  item("_Preferences...", G_CALLBACK(+[](GtkMenuItem*, gpointer) { prefs_window_show(); }));
  append(gtk_separator_menu_item_new());
  item("_Restart", G_CALLBACK(on_restart));
  item("E_xit", G_CALLBACK(on_exit));
  g_signal_connect(g_menu, "show", G_CALLBACK(on_menu_shown), nullptr);
  g_signal_connect(g_menu, "hide", G_CALLBACK(on_menu_hidden), nullptr);
  gtk_widget_show_all(g_menu);

  std::string dir = core_find_data_file("quiverex.svg");
  systray_backend_create(g_menu, dir.empty() ? std::string("input-keyboard") : path_join(dir, "quiverex.svg"));
  systray_app_state_changed(tolmek_get_state());
}
}  // namespace

void systray_icon_set_visible(bool visible) {
  if (!g_menu) {
    if (!visible) return;
    build();
  }
  systray_backend_set_visible(visible);
}

void systray_app_state_changed(int state) {
  g_tooltip = core_state_tooltip(state);
  if (!g_menu) return;
  systray_backend_set_tooltip(g_tooltip);
  g_signal_handler_block(g_enabled_item, g_enabled_handler);
  gtk_check_menu_item_set_active(GTK_CHECK_MENU_ITEM(g_enabled_item), state == 0);
  g_signal_handler_unblock(g_enabled_item, g_enabled_handler);
}

void systray_destroy() {
  if (!g_menu) return;
  systray_backend_destroy();
  gtk_widget_destroy(g_menu);
  g_object_unref(g_menu);
  g_menu = nullptr;
  g_enabled_item = nullptr;
}

bool systray_in_menu() { return g_in_menu; }

std::string systray_tooltip() { return g_tooltip; }
