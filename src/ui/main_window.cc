// The main window: the folder tree and the abbreviation list of the library (read-only here),
// the switch that turns expansion on and off, and Save. The library editor grows from this.
#include <gtk/gtk.h>

#include "core/app.h"
#include "core/cmdline.h"
#include "core/msgbox.h"
#include "core/support.h"
#include "library/abbr.h"
#include "settings/settings.h"
#include "ui/ui.h"

namespace {

enum { FOLDER_COL_NAME, FOLDER_COL_UID, FOLDER_N_COLS };
enum { ABBREV_COL_TEXT, ABBREV_COL_TRIGGER, ABBREV_COL_PREVIEW, ABBREV_N_COLS };

// (owned by GTK once shown) UI thread only.
struct main_win {
  GtkWidget* window = nullptr;
  GtkWidget* state_switch = nullptr;
  gulong switch_handler = 0;
  GtkWidget* save_button = nullptr;
  GtkWidget* status = nullptr;
  GtkTreeStore* folders = nullptr;
  GtkListStore* abbrevs = nullptr;
  GtkWidget* folder_view = nullptr;
  bool unsaved = false;
};
main_win* mainWin = nullptr;

void add_folder(GtkTreeIter* parent, abbr_folder* f) {
  GtkTreeIter it;
  gtk_tree_store_append(mainWin->folders, &it, parent);
  gtk_tree_store_set(mainWin->folders, &it, FOLDER_COL_NAME, f->name.c_str(), FOLDER_COL_UID, f->uid, -1);
  for (abbr_folder* sub : plist_range<abbr_folder>(f->subfolders)) add_folder(&it, sub);
}

std::string preview(const abbr_abbrev* a) {
  std::string s = abbr_abbrev_exp_to_display_string(a);
  for (char& c : s)
    if (c == '\n' || c == '\r' || c == '\t') c = ' ';
  if (s.size() > 120) {
    size_t cut = 120;
    while (cut > 0 && (static_cast<unsigned char>(s[cut]) & 0xC0) == 0x80) cut--;
    s = s.substr(0, cut) + "...";
  }
  return s;
}

void show_folder(uint32_t uid) {
  gtk_list_store_clear(mainWin->abbrevs);
  abbr_folder* f = abbr_folder_from_uid(abbr_folder_list(ABBR_SANDBOX_LIST), uid, nullptr);
  if (!f) return;
  for (abbr_abbrev* a : plist_range<abbr_abbrev>(f->abbrevs)) {
    GtkTreeIter it;
    gtk_list_store_append(mainWin->abbrevs, &it);
    std::string text = abbr_abbrev_lst_to_string(a->abbrevs);
    gtk_list_store_set(mainWin->abbrevs, &it, ABBREV_COL_TEXT, text.c_str(), ABBREV_COL_TRIGGER,
                       abbr_trigger_mode_menu_text(a->trigger_mode), ABBREV_COL_PREVIEW, preview(a).c_str(), -1);
  }
}

void on_folder_selected(GtkTreeSelection* sel, gpointer) {
  GtkTreeModel* model;
  GtkTreeIter it;
  if (!gtk_tree_selection_get_selected(sel, &model, &it)) {
    gtk_list_store_clear(mainWin->abbrevs);
    return;
  }
  guint uid = 0;
  gtk_tree_model_get(model, &it, FOLDER_COL_UID, &uid, -1);
  show_folder(uid);
}

void on_switch(GObject* sw, GParamSpec*, gpointer) {
  int wanted = gtk_switch_get_active(GTK_SWITCH(sw)) ? 0 : 1;
  if (!tolmek_set_state(wanted)) main_win_update_ed(tolmek_get_state());
}

gboolean on_delete(GtkWidget* w, GdkEvent*, gpointer) {
  // Closing the window leaves the program running in the tray.
  gtk_widget_hide(w);
  return TRUE;
}

void on_save(GtkWidget*, gpointer) { main_window_apply_all_changes(); }
void on_restart(GtkWidget*, gpointer) { _quit_(CORE_QUIT_RESTART); }
void on_exit(GtkWidget*, gpointer) { _quit_(0); }

GtkWidget* add_menu_item(GtkWidget* menu, const char* label, GCallback cb, GtkAccelGroup* accel, guint key) {
  GtkWidget* item = gtk_menu_item_new_with_mnemonic(label);
  g_signal_connect(item, "activate", cb, nullptr);
  if (accel && key) gtk_widget_add_accelerator(item, "activate", accel, key, GDK_CONTROL_MASK, GTK_ACCEL_VISIBLE);
  gtk_menu_shell_append(GTK_MENU_SHELL(menu), item);
  return item;
}

GtkWidget* build_view_column(GtkWidget* view, const char* title, int col, bool expand) {
  GtkCellRenderer* r = gtk_cell_renderer_text_new();
  if (expand) g_object_set(r, "ellipsize", PANGO_ELLIPSIZE_END, nullptr);
  GtkTreeViewColumn* c = gtk_tree_view_column_new_with_attributes(title, r, "text", col, nullptr);
  gtk_tree_view_column_set_resizable(c, TRUE);
  gtk_tree_view_column_set_expand(c, expand);
  gtk_tree_view_append_column(GTK_TREE_VIEW(view), c);
  return view;
}

GtkWidget* scrolled(GtkWidget* child) {
  GtkWidget* s = gtk_scrolled_window_new(nullptr, nullptr);
  gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(s), GTK_POLICY_AUTOMATIC, GTK_POLICY_AUTOMATIC);
  gtk_container_add(GTK_CONTAINER(s), child);
  return s;
}

void build() {
  mainWin = new main_win;
  GtkWidget* w = gtk_window_new(GTK_WINDOW_TOPLEVEL);
  mainWin->window = w;
  gtk_window_set_title(GTK_WINDOW(w), "Quiverex");
  gtk_window_set_default_size(GTK_WINDOW(w), 760, 480);
  g_signal_connect(w, "delete-event", G_CALLBACK(on_delete), nullptr);

  GtkAccelGroup* accel = gtk_accel_group_new();
  gtk_window_add_accel_group(GTK_WINDOW(w), accel);
  GtkWidget* menubar = gtk_menu_bar_new();
  GtkWidget* file = gtk_menu_item_new_with_mnemonic("_File");
  GtkWidget* menu = gtk_menu_new();
  gtk_menu_item_set_submenu(GTK_MENU_ITEM(file), menu);
  add_menu_item(menu, "_Save", G_CALLBACK(on_save), accel, GDK_KEY_s);
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
  gtk_box_pack_start(GTK_BOX(bar), label, FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(bar), mainWin->state_switch, FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(bar), mainWin->status, TRUE, TRUE, 0);
  gtk_box_pack_end(GTK_BOX(bar), mainWin->save_button, FALSE, FALSE, 0);

  mainWin->folders = gtk_tree_store_new(FOLDER_N_COLS, G_TYPE_STRING, G_TYPE_UINT);
  mainWin->folder_view = gtk_tree_view_new_with_model(GTK_TREE_MODEL(mainWin->folders));
  g_object_unref(mainWin->folders);
  build_view_column(mainWin->folder_view, "Folders", FOLDER_COL_NAME, true);
  g_signal_connect(gtk_tree_view_get_selection(GTK_TREE_VIEW(mainWin->folder_view)), "changed",
                   G_CALLBACK(on_folder_selected), nullptr);

  mainWin->abbrevs = gtk_list_store_new(ABBREV_N_COLS, G_TYPE_STRING, G_TYPE_STRING, G_TYPE_STRING);
  GtkWidget* list = gtk_tree_view_new_with_model(GTK_TREE_MODEL(mainWin->abbrevs));
  g_object_unref(mainWin->abbrevs);
  build_view_column(list, "Quiverextion", ABBREV_COL_TEXT, false);
  build_view_column(list, "Trigger", ABBREV_COL_TRIGGER, false);
  build_view_column(list, "Replacement", ABBREV_COL_PREVIEW, true);

  GtkWidget* paned = gtk_paned_new(GTK_ORIENTATION_HORIZONTAL);
  gtk_paned_pack1(GTK_PANED(paned), scrolled(mainWin->folder_view), FALSE, TRUE);
  gtk_paned_pack2(GTK_PANED(paned), scrolled(list), TRUE, TRUE);
  gtk_paned_set_position(GTK_PANED(paned), 220);

  GtkWidget* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
  gtk_box_pack_start(GTK_BOX(box), menubar, FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(box), bar, FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(box), paned, TRUE, TRUE, 0);
  gtk_container_add(GTK_CONTAINER(w), box);
  gtk_widget_show_all(box);
}

// The folder whose abbreviations the list shows, to keep it across a reload.
uint32_t selected_folder_uid() {
  GtkTreeModel* model;
  GtkTreeIter it;
  guint uid = 0;
  if (gtk_tree_selection_get_selected(gtk_tree_view_get_selection(GTK_TREE_VIEW(mainWin->folder_view)), &model, &it))
    gtk_tree_model_get(model, &it, FOLDER_COL_UID, &uid, -1);
  return uid;
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
}

bool main_window_has_unsaved_changes() { return mainWin && mainWin->unsaved; }

void main_window_apply_all_changes() {
  if (core_apply_sandbox()) main_window_set_unsaved(false);
  main_window_reload();
}

void main_window_reload() {
  if (!mainWin) return;
  uint32_t keep = selected_folder_uid();
  gtk_tree_store_clear(mainWin->folders);
  gtk_list_store_clear(mainWin->abbrevs);
  for (abbr_folder* f : plist_range<abbr_folder>(abbr_folder_list(ABBR_SANDBOX_LIST))) add_folder(nullptr, f);
  std::string expanded = setting_get("expanded_folders");
  if (expanded != "0") gtk_tree_view_expand_all(GTK_TREE_VIEW(mainWin->folder_view));
  else expand_absolute_parent_folder_in_tv();
  GtkTreeSelection* sel = gtk_tree_view_get_selection(GTK_TREE_VIEW(mainWin->folder_view));
  GtkTreeIter it;
  if (keep && abbr_folder_from_uid(abbr_folder_list(ABBR_SANDBOX_LIST), keep, nullptr)) {
    show_folder(keep);
  } else if (gtk_tree_model_get_iter_first(GTK_TREE_MODEL(mainWin->folders), &it)) {
    // An empty top folder with folders below it (the example set on first run): show the
    // first of those, so that there is something to see.
    abbr_folder* top = abbr_get_absolute_parent_folder(ABBR_SANDBOX_LIST);
    GtkTreeIter child;
    if (top && !top->abbrevs && gtk_tree_model_iter_children(GTK_TREE_MODEL(mainWin->folders), &child, &it))
      it = child;
    gtk_tree_selection_select_iter(sel, &it);
  }
}

void expand_absolute_parent_folder_in_tv() {
  if (!mainWin) return;
  GtkTreePath* p = gtk_tree_path_new_first();
  gtk_tree_view_expand_row(GTK_TREE_VIEW(mainWin->folder_view), p, FALSE);
  gtk_tree_path_free(p);
}
