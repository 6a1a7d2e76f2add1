// The main window: the library editor, the switch that turns expansion on and off, and the
// buttons that apply or throw away the editor's changes.
#include <gtk/gtk.h>

#include "core/app.h"
#include "core/cmdline.h"
#include "core/msgbox.h"
#include "core/support.h"
#include "library/abbr.h"
#include "settings/settings.h"
#include "ui/editor.h"
#include "ui/editor_pane.h"
#include "ui/search_box.h"
#include "ui/ui.h"

namespace {

// (owned by GTK once shown) UI thread only.
struct main_win {
  GtkWidget* window = nullptr;
  GtkWidget* state_switch = nullptr;
  gulong switch_handler = 0;
  GtkWidget* save_button = nullptr;
  GtkWidget* status = nullptr;
  GtkWidget* cancel_button = nullptr;
  GtkWidget* apply_button = nullptr;
  GtkWidget* bottom_buttons = nullptr;
  GtkWidget* normal_item = nullptr;
  GtkWidget* advanced_item = nullptr;
  bool unsaved = false;
};
main_win* mainWin = nullptr;

void on_switch(GObject* sw, GParamSpec*, gpointer) {
  int wanted = gtk_switch_get_active(GTK_SWITCH(sw)) ? 0 : 1;
  if (!tolmek_set_state(wanted)) main_win_update_ed(tolmek_get_state());
}

// The window's place and size and the editor's layout go into the preferences, which are
// saved when the program quits.
void store_geometry() {
  GtkWindow* w = GTK_WINDOW(mainWin->window);
  bool maximized = gtk_window_is_maximized(w);
  setting_set_int("win_maximized", maximized);
  if (!maximized) {
    int x, y, width, height;
    gtk_window_get_position(w, &x, &y);
    gtk_window_get_size(w, &width, &height);
    setting_set_int("win_x", x);
    setting_set_int("win_y", y);
    setting_set_int("win_width", width);
    setting_set_int("win_height", height);
  }
  editor_store_layout();
}

void restore_geometry() {
  GtkWindow* w = GTK_WINDOW(mainWin->window);
  int width = setting_get_int("win_width"), height = setting_get_int("win_height");
  gtk_window_set_default_size(w, width >= 400 ? width : 995, height >= 300 ? height : 617);
  if (setting_does_exist("win_x") && setting_does_exist("win_y"))
    gtk_window_move(w, setting_get_int("win_x"), setting_get_int("win_y"));
  if (setting_get_int("win_maximized")) gtk_window_maximize(w);
}

gboolean on_delete(GtkWidget* w, GdkEvent*, gpointer) {
  // Closing the window leaves the program running in the tray.
  store_geometry();
  gtk_widget_hide(w);
  return TRUE;
}

void on_save(GtkWidget*, gpointer) { main_window_apply_all_changes(); }

// Cancel throws the sandbox away and starts again from what was applied last, after asking:
// a stray click would otherwise lose every change made since the last Apply.
void on_cancel(GtkWidget*, gpointer) {
  if (!editor_confirm("dont_ask_cancel", "Throw away the changes you have not applied yet?")) return;
  abbr_create_sandbox();
  main_window_set_unsaved(false);
  main_window_reload();
}

void on_sandbox_changed() { main_window_set_unsaved(true); }
void on_restart(GtkWidget*, gpointer) { _quit_(CORE_QUIT_RESTART); }
void on_exit(GtkWidget*, gpointer) { _quit_(0); }

GtkWidget* add_menu_item(GtkWidget* menu, const char* label, GCallback cb, GtkAccelGroup* accel, guint key) {
  GtkWidget* item = gtk_menu_item_new_with_mnemonic(label);
  g_signal_connect(item, "activate", cb, nullptr);
  if (accel && key) gtk_widget_add_accelerator(item, "activate", accel, key, GDK_CONTROL_MASK, GTK_ACCEL_VISIBLE);
  gtk_menu_shell_append(GTK_MENU_SHELL(menu), item);
  return item;
}

// The two view items are one radio group: only the one that became active reports.
void on_view_chosen(GtkCheckMenuItem* item, gpointer) {
  if (!gtk_check_menu_item_get_active(item)) return;
  bool advanced = GTK_WIDGET(item) == mainWin->advanced_item;
  setting_set_int("adv_view", advanced);
  setting_set_int("norm_view", !advanced);
  editor_pane_set_advanced(advanced);
}

GtkWidget* build_view_menu() {
  GtkWidget* view = gtk_menu_item_new_with_mnemonic("_View");
  GtkWidget* menu = gtk_menu_new();
  gtk_menu_item_set_submenu(GTK_MENU_ITEM(view), menu);
  mainWin->normal_item = gtk_radio_menu_item_new_with_mnemonic(nullptr, "_Normal");
  mainWin->advanced_item = gtk_radio_menu_item_new_with_mnemonic_from_widget(
      GTK_RADIO_MENU_ITEM(mainWin->normal_item), "_Advanced");
  for (GtkWidget* item : {mainWin->normal_item, mainWin->advanced_item}) {
    gtk_menu_shell_append(GTK_MENU_SHELL(menu), item);
    g_signal_connect(item, "toggled", G_CALLBACK(on_view_chosen), nullptr);
  }
  return view;
}

// Colours the text of a button made with a mnemonic label.
void set_label_colour(GtkWidget* button, const char* colour) {
  PangoColor c;
  if (!pango_color_parse(&c, colour)) return;
  PangoAttrList* attrs = pango_attr_list_new();
  pango_attr_list_insert(attrs, pango_attr_foreground_new(c.red, c.green, c.blue));
  gtk_label_set_attributes(GTK_LABEL(gtk_bin_get_child(GTK_BIN(button))), attrs);
  pango_attr_list_unref(attrs);
}

void build() {
  mainWin = new main_win;
  GtkWidget* w = gtk_window_new(GTK_WINDOW_TOPLEVEL);
  mainWin->window = w;
  gtk_window_set_title(GTK_WINDOW(w), "Quiverex");
  restore_geometry();
  g_signal_connect(w, "delete-event", G_CALLBACK(on_delete), nullptr);

  GtkAccelGroup* accel = gtk_accel_group_new();
  gtk_window_add_accel_group(GTK_WINDOW(w), accel);
  GtkWidget* menubar = gtk_menu_bar_new();
  GtkWidget* file = gtk_menu_item_new_with_mnemonic("_File");
  GtkWidget* menu = gtk_menu_new();
  gtk_menu_item_set_submenu(GTK_MENU_ITEM(file), menu);
  add_menu_item(menu, "_Save", G_CALLBACK(on_save), accel, GDK_KEY_s);
  add_menu_item(menu, "_Preferences...", G_CALLBACK(+[](GtkWidget*, gpointer) { prefs_window_show(); }), accel,
                GDK_KEY_p);
  add_menu_item(menu, "_Launch Pad", G_CALLBACK(+[](GtkWidget*, gpointer) { launchpad_show(0); }), nullptr, 0);
  gtk_menu_shell_append(GTK_MENU_SHELL(menu), gtk_separator_menu_item_new());
  add_menu_item(menu, "_Restart", G_CALLBACK(on_restart), nullptr, 0);
  add_menu_item(menu, "E_xit", G_CALLBACK(on_exit), accel, GDK_KEY_q);
  gtk_menu_shell_append(GTK_MENU_SHELL(menubar), file);

  GtkWidget* bar = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 8);
  gtk_container_set_border_width(GTK_CONTAINER(bar), 6);
  GtkWidget* label = gtk_label_new_with_mnemonic("_Expand abbreviations");
  mainWin->state_switch = gtk_switch_new();
  gtk_label_set_mnemonic_widget(GTK_LABEL(label), mainWin->state_switch);
  mainWin->switch_handler =
      g_signal_connect(mainWin->state_switch, "notify::active", G_CALLBACK(on_switch), nullptr);
  mainWin->status = gtk_label_new("");
  mainWin->save_button = gtk_button_new_with_mnemonic("_Save");
  g_signal_connect(mainWin->save_button, "clicked", G_CALLBACK(on_save), nullptr);
  gtk_widget_set_sensitive(mainWin->save_button, FALSE);
  set_label_colour(mainWin->save_button, editor_theme_colour("o_color"));
  gtk_box_pack_start(GTK_BOX(bar), label, FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(bar), mainWin->state_switch, FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(bar), mainWin->status, TRUE, TRUE, 0);
  gtk_box_pack_end(GTK_BOX(bar), mainWin->save_button, FALSE, FALSE, 0);
  gtk_box_pack_end(GTK_BOX(bar), search_box_new(accel, editor_search), FALSE, FALSE, 0);

  GtkWidget* editor = editor_new(menubar, accel, on_sandbox_changed);
  gtk_menu_shell_append(GTK_MENU_SHELL(menubar), build_view_menu());
  GtkWidget* buttons = gtk_button_box_new(GTK_ORIENTATION_HORIZONTAL);
  mainWin->bottom_buttons = buttons;
  gtk_button_box_set_layout(GTK_BUTTON_BOX(buttons), GTK_BUTTONBOX_END);
  gtk_box_set_spacing(GTK_BOX(buttons), 6);
  gtk_container_set_border_width(GTK_CONTAINER(buttons), 6);
  mainWin->cancel_button = gtk_button_new_with_mnemonic("_Cancel");
  g_signal_connect(mainWin->cancel_button, "clicked", G_CALLBACK(on_cancel), nullptr);
  mainWin->apply_button = gtk_button_new_with_mnemonic("_Apply");
  g_signal_connect(mainWin->apply_button, "clicked", G_CALLBACK(on_save), nullptr);
  gtk_container_add(GTK_CONTAINER(buttons), mainWin->cancel_button);
  gtk_container_add(GTK_CONTAINER(buttons), mainWin->apply_button);
  gtk_widget_set_sensitive(mainWin->cancel_button, FALSE);
  gtk_widget_set_sensitive(mainWin->apply_button, FALSE);

  GtkWidget* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
  gtk_box_pack_start(GTK_BOX(box), menubar, FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(box), bar, FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(box), editor, TRUE, TRUE, 0);
  gtk_box_pack_start(GTK_BOX(box), buttons, FALSE, FALSE, 0);
  gtk_container_add(GTK_CONTAINER(w), box);
  gtk_widget_show_all(box);
  main_window_show_bottom_buttons();
  main_window_apply_view();
}

}  // namespace

GtkWidget* ui_main_window_widget() { return mainWin ? mainWin->window : nullptr; }

void main_window(int argc, char** argv) {
  if (!mainWin) build();
  main_window_reload();
  if (!should_start_in_systray(argc, argv)) main_window_show();

  const core_app_ops& ops = core_get_app_ops();
  unsigned hooks = ops.mon_installed_hooks ? ops.mon_installed_hooks() : 0;
  if (!hooks && (!ops.mon_start || !ops.mon_start())) {
    show_msgbox(MSGBOX_ERROR, MSGBOX_BUTTONS_OK,
                "Fatal error: Unable to initialize and install the backend. Please make sure that no other "
                "instances of Quiverex are running and try again.\n\nIf you continue to see this message, even "
                "after a reboot, please contact us at " QX_SUPPORT_EMAIL);
    _quit_(0);
    return;
  }
  tolmek_set_state(0);
}

void main_window_show() {
  if (!mainWin) return;
  gtk_widget_show(mainWin->window);
  gtk_window_present(GTK_WINDOW(mainWin->window));
}

void main_window_destroy() {
  if (!mainWin) return;
  if (gtk_widget_get_visible(mainWin->window)) store_geometry();
  gtk_widget_destroy(mainWin->window);
  delete mainWin;
  mainWin = nullptr;
}

bool main_window_is_visible() { return mainWin && gtk_widget_get_visible(mainWin->window); }

void main_win_update_ed(int state) {
  if (!mainWin) return;
  g_signal_handler_block(mainWin->state_switch, mainWin->switch_handler);
  gtk_switch_set_active(GTK_SWITCH(mainWin->state_switch), state == 0);
  g_signal_handler_unblock(mainWin->state_switch, mainWin->switch_handler);
  gtk_label_set_text(GTK_LABEL(mainWin->status), state == 0 ? "" : "Expansion is off");
}

void main_window_set_unsaved(bool unsaved) {
  if (!mainWin) return;
  mainWin->unsaved = unsaved;
  gtk_widget_set_sensitive(mainWin->save_button, unsaved);
  gtk_widget_set_sensitive(mainWin->cancel_button, unsaved);
  gtk_widget_set_sensitive(mainWin->apply_button, unsaved);
}

bool main_window_has_unsaved_changes() { return mainWin && mainWin->unsaved; }

void main_window_apply_all_changes() {
  if (core_apply_sandbox()) main_window_set_unsaved(false);
  main_window_reload();
}

void main_window_show_bottom_buttons() {
  if (mainWin) gtk_widget_set_visible(mainWin->bottom_buttons, setting_get_int("show_bottom_buttons") != 0);
}

void main_window_reload() { editor_reload(); }

void main_window_apply_view() {
  if (!mainWin) return;
  // The defaults leave exactly one of the two set; should a hand-edited file set both, the
  // view that shows everything wins.
  bool advanced = setting_get_int("adv_view") != 0 || setting_get_int("norm_view") == 0;
  GtkWidget* item = advanced ? mainWin->advanced_item : mainWin->normal_item;
  if (gtk_check_menu_item_get_active(GTK_CHECK_MENU_ITEM(item)))
    editor_pane_set_advanced(advanced);
  else
    gtk_check_menu_item_set_active(GTK_CHECK_MENU_ITEM(item), TRUE);
}

void expand_absolute_parent_folder_in_tv() { editor_expand_top_folder(); }
