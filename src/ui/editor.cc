#include "ui/editor.h"

#include <cstring>
#include <string>

#include "core/msgbox.h"
#include "library/abbr_edit.h"
#include "library/abbr_file.h"
#include "library/search.h"
#include "settings/settings.h"
#include "ui/editor_pane.h"
#include "util/atomic_save.h"
#include "util/strutil.h"

namespace {

enum { FOLDER_COL_NAME, FOLDER_COL_UID, FOLDER_COL_ENABLED, FOLDER_N_COLS };
enum {
  ABBREV_COL_TEXT,
  ABBREV_COL_PREVIEW,
  ABBREV_COL_DESCRIPTION,
  ABBREV_COL_CREATED,
  ABBREV_COL_MODIFIED,
  ABBREV_COL_FOLDER,
  ABBREV_COL_CREATED_KEY,
  ABBREV_COL_MODIFIED_KEY,
  ABBREV_COL_UID,
  ABBREV_N_COLS
};

// One list column: its title, the model columns it shows and sorts by, the sort id kept in the
// preferences, and the preferences of its width and visibility.
struct column_info {
  const char* title;
  int text_col;
  int sort_col;
  int pref_id;
  const char* width_key;
  const char* shown_key;  // nullptr: always shown
};
const column_info COLUMNS[] = {
    {"Abbreviation", ABBREV_COL_TEXT, ABBREV_COL_TEXT, ABBR_COL_ABBREVIATION, "a_abbrev_width", nullptr},
    {"Replacement", ABBREV_COL_PREVIEW, ABBREV_COL_PREVIEW, 3, "a_exp_width", nullptr},
    {"Description", ABBREV_COL_DESCRIPTION, ABBREV_COL_DESCRIPTION, ABBR_COL_DESCRIPTION, "a_desc_width", nullptr},
    {"Created", ABBREV_COL_CREATED, ABBREV_COL_CREATED_KEY, ABBR_COL_CREATED, "a_created_width", "created_col"},
    {"Last Modified", ABBREV_COL_MODIFIED, ABBREV_COL_MODIFIED_KEY, ABBR_COL_MODIFIED, "a_modified_width",
     "modified_col"},
    {"Containing Folder", ABBREV_COL_FOLDER, ABBREV_COL_FOLDER, ABBR_COL_CONTAINING_FOLDER, "a_contfol_width",
     "contfol_col"},
};
constexpr int N_COLUMNS = sizeof(COLUMNS) / sizeof(COLUMNS[0]);

// (owned by GTK once built) UI thread only.
struct editor {
  GtkTreeStore* folders = nullptr;
  GtkListStore* abbrevs = nullptr;
  GtkWidget* folder_view = nullptr;
  GtkWidget* list_view = nullptr;
  GtkWidget* paned = nullptr;
  GtkTreeViewColumn* columns[N_COLUMNS] = {};
  void (*changed)() = nullptr;
  bool filling = false;
  std::string search_text;
};
editor* E = nullptr;

plist* sandbox() { return abbr_folder_list(ABBR_SANDBOX_LIST); }

void changed() {
  if (E->changed) E->changed();
}

// ---- Folder tree ----

void add_folder(GtkTreeIter* parent, abbr_folder* f) {
  GtkTreeIter it;
  gtk_tree_store_append(E->folders, &it, parent);
  gtk_tree_store_set(E->folders, &it, FOLDER_COL_NAME, f->name.c_str(), FOLDER_COL_UID, f->uid,
                     FOLDER_COL_ENABLED, !f->disabled, -1);
  for (abbr_folder* sub : plist_range<abbr_folder>(f->subfolders)) add_folder(&it, sub);
}

bool find_folder_row(GtkTreeModel* m, GtkTreeIter* parent, uint32_t uid, GtkTreeIter* out) {
  GtkTreeIter it;
  if (!gtk_tree_model_iter_children(m, &it, parent)) return false;
  do {
    guint u = 0;
    gtk_tree_model_get(m, &it, FOLDER_COL_UID, &u, -1);
    if (u == uid) {
      *out = it;
      return true;
    }
    if (find_folder_row(m, &it, uid, out)) return true;
  } while (gtk_tree_model_iter_next(m, &it));
  return false;
}

abbr_folder* selected_folder() {
  GtkTreeModel* m;
  GtkTreeIter it;
  if (!gtk_tree_selection_get_selected(gtk_tree_view_get_selection(GTK_TREE_VIEW(E->folder_view)), &m, &it))
    return nullptr;
  guint uid = 0;
  gtk_tree_model_get(m, &it, FOLDER_COL_UID, &uid, -1);
  return abbr_folder_from_uid(sandbox(), uid, nullptr);
}

void select_folder(uint32_t uid, bool rename) {
  GtkTreeIter it;
  if (!find_folder_row(GTK_TREE_MODEL(E->folders), nullptr, uid, &it)) return;
  GtkTreePath* p = gtk_tree_model_get_path(GTK_TREE_MODEL(E->folders), &it);
  gtk_tree_view_expand_to_path(GTK_TREE_VIEW(E->folder_view), p);
  gtk_tree_view_set_cursor(GTK_TREE_VIEW(E->folder_view), p,
                           rename ? gtk_tree_view_get_column(GTK_TREE_VIEW(E->folder_view), 1) : nullptr, rename);
  gtk_tree_path_free(p);
}

// ---- Abbreviation list ----

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

void set_abbrev_row(GtkTreeIter* it, const abbr_abbrev* a) {
  gtk_list_store_set(E->abbrevs, it, ABBREV_COL_TEXT, abbr_abbrev_lst_to_string(a->abbrevs).c_str(),
                     ABBREV_COL_PREVIEW, preview(a).c_str(), ABBREV_COL_DESCRIPTION, a->description.c_str(),
                     ABBREV_COL_CREATED, abbr_time_to_display_string(&a->created).c_str(), ABBREV_COL_MODIFIED,
                     abbr_time_to_display_string(&a->modified).c_str(), ABBREV_COL_FOLDER,
                     abbr_get_containing_folder_string(a, true, true).c_str(), ABBREV_COL_CREATED_KEY,
                     abbr_time_to_compare_string(a->created).c_str(), ABBREV_COL_MODIFIED_KEY,
                     abbr_time_to_compare_string(a->modified).c_str(), ABBREV_COL_UID, a->uid, -1);
}

bool find_abbrev_row(uint32_t uid, GtkTreeIter* out) {
  GtkTreeModel* m = GTK_TREE_MODEL(E->abbrevs);
  if (!gtk_tree_model_get_iter_first(m, out)) return false;
  do {
    guint u = 0;
    gtk_tree_model_get(m, out, ABBREV_COL_UID, &u, -1);
    if (u == uid) return true;
  } while (gtk_tree_model_iter_next(m, out));
  return false;
}

abbr_abbrev* selected_abbrev() {
  GtkTreeModel* m;
  GtkTreeIter it;
  if (!gtk_tree_selection_get_selected(gtk_tree_view_get_selection(GTK_TREE_VIEW(E->list_view)), &m, &it))
    return nullptr;
  guint uid = 0;
  gtk_tree_model_get(m, &it, ABBREV_COL_UID, &uid, -1);
  return abbr_abbrev_from_uid(sandbox(), uid);
}

void select_abbrev(uint32_t uid) {
  GtkTreeIter it;
  if (!find_abbrev_row(uid, &it)) return;
  GtkTreePath* p = gtk_tree_model_get_path(GTK_TREE_MODEL(E->abbrevs), &it);
  gtk_tree_view_set_cursor(GTK_TREE_VIEW(E->list_view), p, nullptr, FALSE);
  gtk_tree_path_free(p);
}

void fill_list(plist* records) {
  for (abbr_abbrev* a : plist_range<abbr_abbrev>(records)) {
    GtkTreeIter it;
    gtk_list_store_append(E->abbrevs, &it);
    set_abbrev_row(&it, a);
  }
}

// The top folder lists everything below it; any other folder only its own records.
void show_folder(abbr_folder* f) {
  E->filling = true;
  gtk_list_store_clear(E->abbrevs);
  E->filling = false;
  editor_pane_show(nullptr);
  if (!f) return;
  plist* all = nullptr;
  if (!f->parent) abbr_get_all_folders_and_abbrevs_from_folder(f, nullptr, &all);
  fill_list(f->parent ? f->abbrevs : all);
  plist_free_all_but_data(all);
}

// With text in the search box the list shows what the search finds below the selected folder.
void show_search() {
  abbr_folder* f = selected_folder();
  E->filling = true;
  gtk_list_store_clear(E->abbrevs);
  E->filling = false;
  editor_pane_show(nullptr);
  plist* found = search_run_query(f && f->parent ? f : nullptr, E->search_text,
                                  search_flags_for_box(search_options_from_prefs(), false));
  fill_list(found);
  plist_free_all_but_data(found);
}

void show_selected() {
  if (E->search_text.empty()) show_folder(selected_folder());
  else show_search();
}

void on_folder_selected(GtkTreeSelection*, gpointer) {
  if (!E->filling) show_selected();
}

void on_abbrev_selected(GtkTreeSelection*, gpointer) {
  if (!E->filling) editor_pane_show(selected_abbrev());
}

// The pane changed the record: refresh its row.
void on_record_changed(abbr_abbrev* a) {
  GtkTreeIter it;
  if (find_abbrev_row(a->uid, &it)) set_abbrev_row(&it, a);
  changed();
}

// ---- Commands ----

abbr_folder* target_folder() {
  abbr_folder* f = selected_folder();
  return f ? f : abbr_edit_top_folder();
}

void new_folder() {
  abbr_folder* f = abbr_edit_new_folder(target_folder(), "");
  changed();
  editor_reload();
  select_folder(f->uid, true);
}

void new_abbrev(uint8_t type) {
  abbr_folder* f = selected_folder();
  // Records belong in a folder of their own, not loose below the top.
  if (!f || !f->parent) {
    abbr_folder* top = abbr_edit_top_folder();
    f = top->subfolders ? static_cast<abbr_folder*>(top->subfolders->data) : abbr_edit_new_folder(top, "");
    editor_reload();
    select_folder(f->uid, false);
  }
  abbr_abbrev* a = abbr_edit_new_abbrev(f, type);
  changed();
  GtkTreeIter it;
  gtk_list_store_append(E->abbrevs, &it);
  set_abbrev_row(&it, a);
  select_abbrev(a->uid);
  editor_pane_focus_abbreviation();
}

void on_new_folder(GtkWidget*, gpointer) { new_folder(); }
void on_new_text(GtkWidget*, gpointer) { new_abbrev(ABBR_TYPE_TEXT); }
void on_new_program(GtkWidget*, gpointer) { new_abbrev(ABBR_TYPE_PROGRAM); }
void on_new_website(GtkWidget*, gpointer) { new_abbrev(ABBR_TYPE_WEBSITE); }

void delete_selected_abbrev() {
  abbr_abbrev* a = selected_abbrev();
  if (!a || !editor_confirm("deleteabbrevwarning_dsa", "Are you sure you want to delete the selected Quiverextion?"))
    return;
  GtkTreeIter it;
  bool had_row = find_abbrev_row(a->uid, &it);
  editor_pane_show(nullptr);
  abbr_edit_delete_abbrev(a);
  if (had_row) gtk_list_store_remove(E->abbrevs, &it);
  changed();
}

void delete_selected_folder() {
  abbr_folder* f = selected_folder();
  if (!f) return;
  if (!f->parent) {
    show_msgbox(MSGBOX_INFO, MSGBOX_BUTTONS_OK, "\nThe top folder cannot be deleted.");
    return;
  }
  if (!editor_confirm("deletefolderwarning_dsa",
               "Are you sure you want to delete the folder \"" + f->name + "\" and everything in it?"))
    return;
  uint32_t parent = f->parent->uid;
  abbr_edit_delete_folder(f);
  changed();
  editor_reload();
  select_folder(parent, false);
}

void on_delete(GtkWidget*, gpointer) {
  if (gtk_widget_has_focus(E->folder_view)) delete_selected_folder();
  else delete_selected_abbrev();
}

void on_duplicate(GtkWidget*, gpointer) {
  if (gtk_widget_has_focus(E->folder_view)) {
    abbr_folder* f = selected_folder();
    if (!f || !f->parent) return;
    abbr_folder* c = abbr_edit_duplicate_folder(f);
    changed();
    editor_reload();
    select_folder(c->uid, false);
    return;
  }
  abbr_abbrev* a = selected_abbrev();
  if (!a) return;
  abbr_abbrev* c = abbr_edit_duplicate_abbrev(a);
  changed();
  GtkTreeIter it;
  gtk_list_store_append(E->abbrevs, &it);
  set_abbrev_row(&it, c);
  select_abbrev(c->uid);
}

void on_rename(GtkWidget*, gpointer) {
  if (abbr_folder* f = selected_folder()) select_folder(f->uid, true);
}

void on_folder_renamed(GtkCellRendererText*, gchar* path, gchar* text, gpointer) {
  GtkTreeIter it;
  if (!gtk_tree_model_get_iter_from_string(GTK_TREE_MODEL(E->folders), &it, path)) return;
  guint uid = 0;
  gtk_tree_model_get(GTK_TREE_MODEL(E->folders), &it, FOLDER_COL_UID, &uid, -1);
  abbr_folder* f = abbr_folder_from_uid(sandbox(), uid, nullptr);
  if (!f || !abbr_edit_rename_folder(f, text)) return;
  gtk_tree_store_set(E->folders, &it, FOLDER_COL_NAME, f->name.c_str(), -1);
  changed();
}

void on_folder_toggled(GtkCellRendererToggle*, gchar* path, gpointer) {
  GtkTreeIter it;
  if (!gtk_tree_model_get_iter_from_string(GTK_TREE_MODEL(E->folders), &it, path)) return;
  guint uid = 0;
  gtk_tree_model_get(GTK_TREE_MODEL(E->folders), &it, FOLDER_COL_UID, &uid, -1);
  abbr_folder* f = abbr_folder_from_uid(sandbox(), uid, nullptr);
  if (!f) return;
  abbr_set_folder_enabled(f, f->disabled, true);
  changed();
  editor_reload();
}

void on_export_html(GtkWidget*, gpointer) {
  abbr_folder* f = target_folder();
  GtkWidget* d = gtk_file_chooser_dialog_new("Export Folder as HTML",
                                             GTK_WINDOW(gtk_widget_get_toplevel(E->folder_view)),
                                             GTK_FILE_CHOOSER_ACTION_SAVE, "_Cancel", GTK_RESPONSE_CANCEL, "_Save",
                                             GTK_RESPONSE_ACCEPT, nullptr);
  gtk_file_chooser_set_do_overwrite_confirmation(GTK_FILE_CHOOSER(d), TRUE);
  gtk_file_chooser_set_current_name(GTK_FILE_CHOOSER(d), (f->name + ".html").c_str());
  if (gtk_dialog_run(GTK_DIALOG(d)) == GTK_RESPONSE_ACCEPT) {
    char* path = gtk_file_chooser_get_filename(GTK_FILE_CHOOSER(d));
    if (path && !save_file_atomically(path, abbr_folder_as_HTML(f)))
      show_msgbox(MSGBOX_ERROR, MSGBOX_BUTTONS_OK, std::string("\nCould not write ") + path + ".");
    g_free(path);
  }
  gtk_widget_destroy(d);
}

// ---- Drag and drop: records and folders onto a folder ----

const GtkTargetEntry DND_TARGETS[] = {{const_cast<char*>("application/x-quiverex-uid"), GTK_TARGET_SAME_APP, 0}};

void on_drag_data_get(GtkWidget* w, GdkDragContext*, GtkSelectionData* data, guint, guint, gpointer) {
  // "a<uid>" for a record, "f<uid>" for a folder.
  std::string what;
  if (w == E->list_view) {
    if (abbr_abbrev* a = selected_abbrev()) what = "a" + std::to_string(a->uid);
  } else if (abbr_folder* f = selected_folder()) {
    what = "f" + std::to_string(f->uid);
  }
  gtk_selection_data_set(data, gtk_selection_data_get_target(data), 8,
                         reinterpret_cast<const guchar*>(what.data()), static_cast<gint>(what.size()));
}

void on_drag_data_received(GtkWidget*, GdkDragContext* ctx, gint x, gint y, GtkSelectionData* data, guint,
                           guint time, gpointer) {
  bool moved = false;
  GtkTreePath* p = nullptr;
  const guchar* raw = gtk_selection_data_get_data(data);
  int len = gtk_selection_data_get_length(data);
  if (raw && len > 1 &&
      gtk_tree_view_get_dest_row_at_pos(GTK_TREE_VIEW(E->folder_view), x, y, &p, nullptr)) {
    GtkTreeIter it;
    gtk_tree_model_get_iter(GTK_TREE_MODEL(E->folders), &it, p);
    guint uid = 0;
    gtk_tree_model_get(GTK_TREE_MODEL(E->folders), &it, FOLDER_COL_UID, &uid, -1);
    abbr_folder* to = abbr_folder_from_uid(sandbox(), uid, nullptr);
    std::string what(reinterpret_cast<const char*>(raw), static_cast<size_t>(len));
    uint32_t id = static_cast<uint32_t>(std::stoul(what.substr(1)));
    if (what[0] == 'a') {
      abbr_abbrev* a = abbr_abbrev_from_uid(sandbox(), id);
      moved = a && to && to->parent && abbr_edit_move_abbrev(a, to);
    } else if (abbr_folder* f = abbr_folder_from_uid(sandbox(), id, nullptr)) {
      moved = abbr_edit_move_folder(f, to);
    }
    gtk_tree_path_free(p);
  }
  gtk_drag_finish(ctx, moved, FALSE, time);
  if (moved) {
    changed();
    editor_reload();
  }
}

// ---- Layout preferences ----

void on_sort_changed(GtkTreeSortable* s, gpointer) {
  gint col;
  GtkSortType order;
  if (!gtk_tree_sortable_get_sort_column_id(s, &col, &order)) return;
  for (const column_info& c : COLUMNS)
    if (c.sort_col == col) setting_set_int("a_sc", c.pref_id);
  setting_set("a_so", order == GTK_SORT_DESCENDING ? "desc" : "asc");
}

void apply_sort_preference() {
  int wanted = setting_does_exist("a_sc") ? setting_get_int("a_sc") : ABBR_COL_ABBREVIATION;
  int col = ABBREV_COL_TEXT;
  for (const column_info& c : COLUMNS)
    if (c.pref_id == wanted) col = c.sort_col;
  bool desc = str_caseeq(setting_get("a_so"), "desc");
  gtk_tree_sortable_set_sort_column_id(GTK_TREE_SORTABLE(E->abbrevs), col,
                                       desc ? GTK_SORT_DESCENDING : GTK_SORT_ASCENDING);
}

void add_list_columns() {
  for (int i = 0; i < N_COLUMNS; i++) {
    const column_info& c = COLUMNS[i];
    GtkCellRenderer* r = gtk_cell_renderer_text_new();
    g_object_set(r, "ellipsize", PANGO_ELLIPSIZE_END, nullptr);
    if (c.text_col == ABBREV_COL_TEXT) g_object_set(r, "foreground", editor_theme_colour("a_color"), nullptr);
    if (c.text_col == ABBREV_COL_PREVIEW)
      g_object_set(r, "foreground", editor_theme_colour("r_color"), nullptr);
    GtkTreeViewColumn* col = gtk_tree_view_column_new_with_attributes(c.title, r, "text", c.text_col, nullptr);
    gtk_tree_view_column_set_resizable(col, TRUE);
    gtk_tree_view_column_set_sizing(col, GTK_TREE_VIEW_COLUMN_FIXED);
    int width = setting_get_int(c.width_key);
    gtk_tree_view_column_set_fixed_width(col, width > 20 ? width : (i == 1 ? 260 : 130));
    gtk_tree_view_column_set_sort_column_id(col, c.sort_col);
    gtk_tree_view_column_set_visible(col, !c.shown_key || setting_get_int(c.shown_key));
    gtk_tree_view_append_column(GTK_TREE_VIEW(E->list_view), col);
    E->columns[i] = col;
  }
}

GtkWidget* scrolled(GtkWidget* child) {
  GtkWidget* s = gtk_scrolled_window_new(nullptr, nullptr);
  gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(s), GTK_POLICY_AUTOMATIC, GTK_POLICY_AUTOMATIC);
  gtk_scrolled_window_set_shadow_type(GTK_SCROLLED_WINDOW(s), GTK_SHADOW_IN);
  gtk_container_add(GTK_CONTAINER(s), child);
  return s;
}

GtkWidget* build_folder_view() {
  E->folders = gtk_tree_store_new(FOLDER_N_COLS, G_TYPE_STRING, G_TYPE_UINT, G_TYPE_BOOLEAN);
  GtkWidget* v = gtk_tree_view_new_with_model(GTK_TREE_MODEL(E->folders));
  g_object_unref(E->folders);
  GtkCellRenderer* t = gtk_cell_renderer_toggle_new();
  g_signal_connect(t, "toggled", G_CALLBACK(on_folder_toggled), nullptr);
  GtkTreeViewColumn* on = gtk_tree_view_column_new_with_attributes("On", t, "active", FOLDER_COL_ENABLED, nullptr);
  gtk_tree_view_append_column(GTK_TREE_VIEW(v), on);
  GtkCellRenderer* r = gtk_cell_renderer_text_new();
  g_object_set(r, "editable", TRUE, "ellipsize", PANGO_ELLIPSIZE_END, nullptr);
  g_signal_connect(r, "edited", G_CALLBACK(on_folder_renamed), nullptr);
  GtkTreeViewColumn* c = gtk_tree_view_column_new_with_attributes("Folders", r, "text", FOLDER_COL_NAME, nullptr);
  gtk_tree_view_column_set_expand(c, TRUE);
  gtk_tree_view_append_column(GTK_TREE_VIEW(v), c);
  g_signal_connect(gtk_tree_view_get_selection(GTK_TREE_VIEW(v)), "changed", G_CALLBACK(on_folder_selected), nullptr);
  gtk_tree_view_enable_model_drag_dest(GTK_TREE_VIEW(v), DND_TARGETS, 1, GDK_ACTION_MOVE);
  gtk_tree_view_enable_model_drag_source(GTK_TREE_VIEW(v), GDK_BUTTON1_MASK, DND_TARGETS, 1, GDK_ACTION_MOVE);
  g_signal_connect(v, "drag-data-get", G_CALLBACK(on_drag_data_get), nullptr);
  g_signal_connect(v, "drag-data-received", G_CALLBACK(on_drag_data_received), nullptr);
  // The tree must not reorder its own rows: the sandbox decides.
  g_signal_connect(v, "drag-drop", G_CALLBACK(+[](GtkWidget* w, GdkDragContext* ctx, gint, gint, guint time, gpointer) -> gboolean {
                     GdkAtom target = gtk_drag_dest_find_target(w, ctx, nullptr);
                     if (target == GDK_NONE) return FALSE;
                     gtk_drag_get_data(w, ctx, target, time);
                     g_signal_stop_emission_by_name(w, "drag-drop");
                     return TRUE;
                   }),
                   nullptr);
  return v;
}

GtkWidget* build_list_view() {
  E->abbrevs = gtk_list_store_new(ABBREV_N_COLS, G_TYPE_STRING, G_TYPE_STRING, G_TYPE_STRING, G_TYPE_STRING,
                                  G_TYPE_STRING, G_TYPE_STRING, G_TYPE_STRING, G_TYPE_STRING, G_TYPE_UINT);
  GtkWidget* v = gtk_tree_view_new_with_model(GTK_TREE_MODEL(E->abbrevs));
  E->list_view = v;
  g_object_unref(E->abbrevs);
  add_list_columns();
  apply_sort_preference();
  g_signal_connect(E->abbrevs, "sort-column-changed", G_CALLBACK(on_sort_changed), nullptr);
  g_signal_connect(gtk_tree_view_get_selection(GTK_TREE_VIEW(v)), "changed", G_CALLBACK(on_abbrev_selected), nullptr);
  gtk_tree_view_enable_model_drag_source(GTK_TREE_VIEW(v), GDK_BUTTON1_MASK, DND_TARGETS, 1, GDK_ACTION_MOVE);
  g_signal_connect(v, "drag-data-get", G_CALLBACK(on_drag_data_get), nullptr);
  return v;
}

GtkWidget* menu_item(GtkWidget* menu, const char* label, GCallback cb, GtkAccelGroup* accel, guint key,
                     GdkModifierType mods) {
  GtkWidget* item = gtk_menu_item_new_with_mnemonic(label);
  g_signal_connect(item, "activate", cb, nullptr);
  if (key) gtk_widget_add_accelerator(item, "activate", accel, key, mods, GTK_ACCEL_VISIBLE);
  gtk_menu_shell_append(GTK_MENU_SHELL(menu), item);
  return item;
}

void build_menu(GtkWidget* menubar, GtkAccelGroup* accel) {
  GtkWidget* edit = gtk_menu_item_new_with_mnemonic("E_dit");
  GtkWidget* m = gtk_menu_new();
  gtk_menu_item_set_submenu(GTK_MENU_ITEM(edit), m);
  auto ctrl = GDK_CONTROL_MASK;
  auto ctrl_shift = static_cast<GdkModifierType>(GDK_CONTROL_MASK | GDK_SHIFT_MASK);
  menu_item(m, "New _Quiverextion", G_CALLBACK(on_new_text), accel, GDK_KEY_n, ctrl);
  menu_item(m, "New _Launcher", G_CALLBACK(on_new_program), accel, 0, ctrl);
  menu_item(m, "New _Website Launcher", G_CALLBACK(on_new_website), accel, 0, ctrl);
  menu_item(m, "New _Folder", G_CALLBACK(on_new_folder), accel, GDK_KEY_N, ctrl_shift);
  gtk_menu_shell_append(GTK_MENU_SHELL(m), gtk_separator_menu_item_new());
  menu_item(m, "_Rename Folder", G_CALLBACK(on_rename), accel, GDK_KEY_F2, static_cast<GdkModifierType>(0));
  menu_item(m, "D_uplicate", G_CALLBACK(on_duplicate), accel, GDK_KEY_d, ctrl);
  menu_item(m, "_Delete", G_CALLBACK(on_delete), nullptr, 0, ctrl);
  gtk_menu_shell_append(GTK_MENU_SHELL(m), gtk_separator_menu_item_new());
  menu_item(m, "Export Folder as _HTML...", G_CALLBACK(on_export_html), nullptr, 0, ctrl);
  gtk_menu_shell_append(GTK_MENU_SHELL(menubar), edit);
}

gboolean on_view_key(GtkWidget*, GdkEventKey* ev, gpointer) {
  if (ev->keyval != GDK_KEY_Delete) return FALSE;
  on_delete(nullptr, nullptr);
  return TRUE;
}

}  // namespace

GtkWidget* editor_new(GtkWidget* menubar, GtkAccelGroup* accel, void (*on_changed)()) {
  E = new editor;
  E->changed = on_changed;
  E->folder_view = build_folder_view();
  build_list_view();
  g_signal_connect(E->folder_view, "key-press-event", G_CALLBACK(on_view_key), nullptr);
  g_signal_connect(E->list_view, "key-press-event", G_CALLBACK(on_view_key), nullptr);
  build_menu(menubar, accel);

  GtkWidget* right = gtk_paned_new(GTK_ORIENTATION_VERTICAL);
  gtk_paned_pack1(GTK_PANED(right), scrolled(E->list_view), TRUE, FALSE);
  gtk_paned_pack2(GTK_PANED(right), editor_pane_new(on_record_changed), FALSE, FALSE);

  E->paned = gtk_paned_new(GTK_ORIENTATION_HORIZONTAL);
  gtk_paned_pack1(GTK_PANED(E->paned), scrolled(E->folder_view), FALSE, TRUE);
  gtk_paned_pack2(GTK_PANED(E->paned), right, TRUE, TRUE);
  int pos = setting_get_int("f_pos");
  gtk_paned_set_position(GTK_PANED(E->paned), pos > 50 ? pos : 220);
  g_signal_connect(E->paned, "destroy", G_CALLBACK(+[](GtkWidget*, gpointer) {
                     delete E;
                     E = nullptr;
                   }),
                   nullptr);
  return E->paned;
}

void editor_reload() {
  if (!E) return;
  abbr_folder* keep = selected_folder();
  uint32_t keep_uid = keep ? keep->uid : 0;
  abbr_edit_top_folder();
  E->filling = true;
  gtk_tree_store_clear(E->folders);
  gtk_list_store_clear(E->abbrevs);
  for (abbr_folder* f : plist_range<abbr_folder>(sandbox())) add_folder(nullptr, f);
  E->filling = false;
  editor_pane_show(nullptr);
  std::string expanded = setting_get("expanded_folders");
  if (expanded != "0") gtk_tree_view_expand_all(GTK_TREE_VIEW(E->folder_view));
  else editor_expand_top_folder();
  if (keep_uid && abbr_folder_from_uid(sandbox(), keep_uid, nullptr)) {
    select_folder(keep_uid, false);
    return;
  }
  // An empty top folder with folders below it (the example set on first run): show the first
  // of those, so that there is something to see.
  abbr_folder* top = abbr_get_absolute_parent_folder(ABBR_SANDBOX_LIST);
  if (!top) return;
  abbr_folder* first = top->subfolders && !top->abbrevs ? static_cast<abbr_folder*>(top->subfolders->data) : top;
  select_folder(first->uid, false);
}

void editor_search(const char* text) {
  if (!E) return;
  E->search_text = text ? text : "";
  show_selected();
}

void editor_expand_top_folder() {
  if (!E) return;
  GtkTreePath* p = gtk_tree_path_new_first();
  gtk_tree_view_expand_row(GTK_TREE_VIEW(E->folder_view), p, FALSE);
  gtk_tree_path_free(p);
}

void editor_store_layout() {
  if (!E) return;
  setting_set_int("f_pos", gtk_paned_get_position(GTK_PANED(E->paned)));
  for (int i = 0; i < N_COLUMNS; i++)
    if (gtk_tree_view_column_get_visible(E->columns[i]))
      setting_set_int(COLUMNS[i].width_key, gtk_tree_view_column_get_width(E->columns[i]));
}

bool editor_confirm(const char* dsa_key, const std::string& question) {
  if (setting_get_int(dsa_key)) return true;
  GtkWidget* d = gtk_message_dialog_new(GTK_WINDOW(gtk_widget_get_toplevel(E->folder_view)), GTK_DIALOG_MODAL,
                                        GTK_MESSAGE_QUESTION, GTK_BUTTONS_YES_NO, "%s", question.c_str());
  GtkWidget* dsa = gtk_check_button_new_with_mnemonic("_Don't ask me again");
  gtk_box_pack_end(GTK_BOX(gtk_message_dialog_get_message_area(GTK_MESSAGE_DIALOG(d))), dsa, FALSE, FALSE, 0);
  gtk_widget_show(dsa);
  bool yes = gtk_dialog_run(GTK_DIALOG(d)) == GTK_RESPONSE_YES;
  if (yes && gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(dsa))) setting_set_int(dsa_key, 1);
  gtk_widget_destroy(d);
  return yes;
}

const char* editor_theme_colour(const char* key) {
  const char* v = setting_get(key);
  if (v && strlen(v) >= 7) return v;
  bool light = setting_get_int("lmode") == 1;
  if (!strcmp(key, "a_color")) return light ? "#323232" : "#3ad2fc";
  if (!strcmp(key, "r_color")) return light ? "#323232" : "#b09cf3";
  return light ? "#002c8c" : "#27d6b3";
}
