#include "ui/search_box.h"

#include "library/search.h"

namespace {

void (*g_search)(const char*) = nullptr;  // UI thread only

void on_changed(GtkEntry* e, gpointer) {
  if (g_search) g_search(gtk_entry_get_text(e));
}

void on_option_toggled(GtkCheckMenuItem* item, gpointer index) {
  search_menu_item_set_active(search_menu_items[GPOINTER_TO_INT(index)], gtk_check_menu_item_get_active(item));
  GtkWidget* entry = GTK_WIDGET(g_object_get_data(G_OBJECT(item), "qx-entry"));
  on_changed(GTK_ENTRY(entry), nullptr);
}

// The menu is built afresh at each click so that its checks show the preferences as they are.
void on_icon(GtkEntry* e, GtkEntryIconPosition pos, GdkEvent* ev, gpointer) {
  if (pos != GTK_ENTRY_ICON_PRIMARY) return;
  GtkWidget* menu = gtk_menu_new();
  for (int i = 0; i < SEARCH_N_MENU_ITEMS; i++) {
    GtkWidget* item = gtk_check_menu_item_new_with_mnemonic(search_menu_items[i].label);
    gtk_check_menu_item_set_active(GTK_CHECK_MENU_ITEM(item), search_menu_item_is_active(search_menu_items[i]));
    g_object_set_data(G_OBJECT(item), "qx-entry", e);
    g_signal_connect(item, "toggled", G_CALLBACK(on_option_toggled), GINT_TO_POINTER(i));
    gtk_menu_shell_append(GTK_MENU_SHELL(menu), item);
  }
  gtk_widget_show_all(menu);
  gtk_menu_attach_to_widget(GTK_MENU(menu), GTK_WIDGET(e), nullptr);
  g_signal_connect(menu, "deactivate", G_CALLBACK(+[](GtkMenuShell* m, gpointer) {
                     // Destroyed after the item's activation has run.
                     g_idle_add(+[](gpointer w) -> gboolean {
                       gtk_widget_destroy(GTK_WIDGET(w));
                       return G_SOURCE_REMOVE;
                     }, m);
                   }),
                   nullptr);
  gtk_menu_popup_at_pointer(GTK_MENU(menu), ev);
}

}  // namespace

GtkWidget* search_box_new(GtkAccelGroup* accel, void (*search)(const char*)) {
  g_search = search;
  GtkWidget* e = gtk_search_entry_new();
  gtk_entry_set_placeholder_text(GTK_ENTRY(e), SEARCH_PLACEHOLDER);
  gtk_widget_set_tooltip_text(e, SEARCH_TOOLTIP);
  gtk_entry_set_width_chars(GTK_ENTRY(e), 28);
  gtk_entry_set_icon_activatable(GTK_ENTRY(e), GTK_ENTRY_ICON_PRIMARY, TRUE);
  gtk_entry_set_icon_tooltip_text(GTK_ENTRY(e), GTK_ENTRY_ICON_PRIMARY, "Search options");
  g_signal_connect(e, "search-changed", G_CALLBACK(on_changed), nullptr);
  g_signal_connect(e, "icon-press", G_CALLBACK(on_icon), nullptr);
  GClosure* focus = g_cclosure_new_swap(G_CALLBACK(+[](GtkWidget* w) -> gboolean {
                                          gtk_widget_grab_focus(w);
                                          return TRUE;
                                        }),
                                        e, nullptr);
  gtk_accel_group_connect(accel, GDK_KEY_f, GDK_CONTROL_MASK, GTK_ACCEL_VISIBLE, focus);
  return e;
}
