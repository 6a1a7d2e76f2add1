#include "ui/editor_pane.h"

#include <string>
#include <vector>

#include "library/abbr_edit.h"
#include "ui/ui.h"

namespace {

// (owned by GTK) UI thread only.
struct pane {
  GtkWidget* box = nullptr;
  GtkWidget* abbreviation = nullptr;
  GtkWidget* description = nullptr;
  GtkWidget* stack = nullptr;
  GtkTextBuffer* replacement = nullptr;
  GtkWidget* program_path = nullptr;
  GtkWidget* program_params = nullptr;
  GtkWidget* program_run_in = nullptr;
  GtkWidget* website_address = nullptr;
  GtkWidget* website_browser = nullptr;
  GtkWidget* case_combo = nullptr;
  GtkWidget* trigger_combo = nullptr;
  GtkWidget* anywhere = nullptr;
  // What the Normal view hides: the letter case, expansion within a word, a program's
  // working folder and a website's browser. Most abbreviations keep the defaults of all four;
  // their values stay in the record while hidden.
  std::vector<GtkWidget*> advanced;
  abbr_abbrev* shown = nullptr;  // borrowed from the sandbox
  bool filling = false;          // true while the fields are being set from the record
  void (*changed)(abbr_abbrev*) = nullptr;
};
pane* P = nullptr;

void report(bool changed) {
  if (changed && P->changed) P->changed(P->shown);
}

void on_entry_changed(GtkEditable* e, gpointer field) {
  if (P->filling || !P->shown) return;
  report(abbr_edit_set_text(P->shown, static_cast<abbr_edit_field>(GPOINTER_TO_INT(field)),
                            gtk_entry_get_text(GTK_ENTRY(e))));
}

void on_replacement_changed(GtkTextBuffer* b, gpointer) {
  if (P->filling || !P->shown) return;
  GtkTextIter s, e;
  gtk_text_buffer_get_bounds(b, &s, &e);
  char* text = gtk_text_buffer_get_text(b, &s, &e, FALSE);
  report(abbr_edit_set_text(P->shown, ABBR_EDIT_REPLACEMENT, text));
  g_free(text);
}

void on_case_changed(GtkComboBox* c, gpointer) {
  if (P->filling || !P->shown) return;
  int row = gtk_combo_box_get_active(c);
  if (row >= 0) report(abbr_edit_set_case_mode(P->shown, abbr_case_mode_menu_order[row]));
}

void on_trigger_changed(GtkComboBox* c, gpointer) {
  if (P->filling || !P->shown) return;
  int row = gtk_combo_box_get_active(c);
  if (row >= 0) report(abbr_edit_set_trigger_mode(P->shown, abbr_trigger_mode_menu_order[row]));
}

void on_anywhere_toggled(GtkToggleButton* b, gpointer) {
  if (P->filling || !P->shown) return;
  report(abbr_edit_set_anywhere(P->shown, gtk_toggle_button_get_active(b)));
}

GtkWidget* entry(abbr_edit_field field) {
  GtkWidget* e = gtk_entry_new();
  gtk_widget_set_hexpand(e, TRUE);
  g_signal_connect(e, "changed", G_CALLBACK(on_entry_changed), GINT_TO_POINTER(field));
  return e;
}

void attach_row(GtkWidget* grid, int row, const char* mnemonic, GtkWidget* field, bool advanced = false) {
  GtkWidget* label = gtk_label_new_with_mnemonic(mnemonic);
  gtk_label_set_xalign(GTK_LABEL(label), 1.0f);
  gtk_label_set_mnemonic_widget(GTK_LABEL(label), field);
  gtk_grid_attach(GTK_GRID(grid), label, 0, row, 1, 1);
  gtk_grid_attach(GTK_GRID(grid), field, 1, row, 1, 1);
  if (advanced) P->advanced.insert(P->advanced.end(), {label, field});
}

GtkWidget* grid() {
  GtkWidget* g = gtk_grid_new();
  gtk_grid_set_row_spacing(GTK_GRID(g), 6);
  gtk_grid_set_column_spacing(GTK_GRID(g), 8);
  return g;
}

GtkWidget* text_page() {
  GtkWidget* view = gtk_text_view_new();
  gtk_style_context_add_class(gtk_widget_get_style_context(view), UI_REPLEDITOR_CLASS);
  gtk_text_view_set_wrap_mode(GTK_TEXT_VIEW(view), GTK_WRAP_WORD_CHAR);
  P->replacement = gtk_text_view_get_buffer(GTK_TEXT_VIEW(view));
  g_signal_connect(P->replacement, "changed", G_CALLBACK(on_replacement_changed), nullptr);
  GtkWidget* scroll = gtk_scrolled_window_new(nullptr, nullptr);
  gtk_scrolled_window_set_shadow_type(GTK_SCROLLED_WINDOW(scroll), GTK_SHADOW_IN);
  gtk_widget_set_vexpand(scroll, TRUE);
  gtk_widget_set_hexpand(scroll, TRUE);
  gtk_container_add(GTK_CONTAINER(scroll), view);
  GtkWidget* g = grid();
  GtkWidget* label = gtk_label_new_with_mnemonic("_Replacement:");
  gtk_label_set_xalign(GTK_LABEL(label), 0.0f);
  gtk_label_set_mnemonic_widget(GTK_LABEL(label), view);
  gtk_grid_attach(GTK_GRID(g), label, 0, 0, 1, 1);
  gtk_grid_attach(GTK_GRID(g), scroll, 0, 1, 1, 1);
  return g;
}

GtkWidget* program_page() {
  GtkWidget* g = grid();
  attach_row(g, 0, "_Program:", P->program_path = entry(ABBR_EDIT_PROGRAM_PATH));
  attach_row(g, 1, "Para_meters:", P->program_params = entry(ABBR_EDIT_PROGRAM_PARAMS));
  attach_row(g, 2, "R_un in:", P->program_run_in = entry(ABBR_EDIT_PROGRAM_RUN_IN), true);
  return g;
}

GtkWidget* website_page() {
  GtkWidget* g = grid();
  attach_row(g, 0, "Address (_URL):", P->website_address = entry(ABBR_EDIT_WEBSITE_ADDRESS));
  attach_row(g, 1, "_Browser:", P->website_browser = entry(ABBR_EDIT_WEBSITE_BROWSER), true);
  return g;
}

GtkWidget* combo(const char* (*text)(uint32_t), const uint32_t* order, GCallback cb) {
  GtkWidget* c = gtk_combo_box_text_new();
  for (int i = 0; i < 3; i++) gtk_combo_box_text_append_text(GTK_COMBO_BOX_TEXT(c), text(order[i]));
  // The longest choice would otherwise set the pane's least width, which a large interface
  // font makes wider than the window.
  GList* cells = gtk_cell_layout_get_cells(GTK_CELL_LAYOUT(c));
  for (GList* l = cells; l; l = l->next) g_object_set(l->data, "ellipsize", PANGO_ELLIPSIZE_END, nullptr);
  g_list_free(cells);
  g_signal_connect(c, "changed", cb, nullptr);
  return c;
}

int row_of(const uint32_t* order, uint32_t mode) {
  for (int i = 0; i < 3; i++)
    if (order[i] == mode) return i;
  return -1;
}

void set_entry(GtkWidget* e, const std::string& s) { gtk_entry_set_text(GTK_ENTRY(e), s.c_str()); }

}  // namespace

GtkWidget* editor_pane_new(void (*changed)(abbr_abbrev*)) {
  P = new pane;
  P->changed = changed;
  GtkWidget* g = grid();
  gtk_container_set_border_width(GTK_CONTAINER(g), 6);
  // Alt+V belongs to the window's View menu.
  attach_row(g, 0, "Abbreviatio_n:", P->abbreviation = entry(ABBR_EDIT_ABBREVIATIONS));
  gtk_widget_set_tooltip_text(P->abbreviation, "Separate several abbreviations with |");
  attach_row(g, 1, "Descr_iption:", P->description = entry(ABBR_EDIT_DESCRIPTION));
  P->case_combo = combo(abbr_case_mode_menu_text, abbr_case_mode_menu_order, G_CALLBACK(on_case_changed));
  attach_row(g, 2, "_Letter case:", P->case_combo, true);
  P->trigger_combo =
      combo(abbr_trigger_mode_menu_text, abbr_trigger_mode_menu_order, G_CALLBACK(on_trigger_changed));
  attach_row(g, 3, "_Trigger:", P->trigger_combo);
  P->anywhere = gtk_check_button_new_with_mnemonic("Expand _within a word");
  g_signal_connect(P->anywhere, "toggled", G_CALLBACK(on_anywhere_toggled), nullptr);
  gtk_grid_attach(GTK_GRID(g), P->anywhere, 1, 4, 1, 1);
  P->advanced.push_back(P->anywhere);
  // Whoever shows the whole window must not show these as well: the view decides.
  for (GtkWidget* w : P->advanced) gtk_widget_set_no_show_all(w, TRUE);

  P->stack = gtk_stack_new();
  gtk_stack_add_named(GTK_STACK(P->stack), text_page(), "text");
  gtk_stack_add_named(GTK_STACK(P->stack), program_page(), "program");
  gtk_stack_add_named(GTK_STACK(P->stack), website_page(), "website");
  gtk_grid_attach(GTK_GRID(g), P->stack, 0, 5, 2, 1);
  P->box = g;
  g_signal_connect(g, "destroy", G_CALLBACK(+[](GtkWidget*, gpointer) {
                     delete P;
                     P = nullptr;
                   }),
                   nullptr);
  editor_pane_show(nullptr);
  return g;
}

void editor_pane_show(abbr_abbrev* a) {
  if (!P) return;
  P->filling = true;
  P->shown = a;
  abbr_abbrev empty;
  const abbr_abbrev* r = a ? a : &empty;
  set_entry(P->abbreviation, abbr_abbrev_lst_to_string(r->abbrevs));
  set_entry(P->description, r->description);
  gtk_text_buffer_set_text(P->replacement, r->replacement.c_str(), -1);
  set_entry(P->program_path, r->program.path);
  set_entry(P->program_params, r->program.params);
  set_entry(P->program_run_in, r->program.run_in);
  set_entry(P->website_address, r->website.address);
  set_entry(P->website_browser, r->website.browser);
  gtk_combo_box_set_active(GTK_COMBO_BOX(P->case_combo), a ? row_of(abbr_case_mode_menu_order, r->case_mode) : -1);
  gtk_combo_box_set_active(GTK_COMBO_BOX(P->trigger_combo),
                           a ? row_of(abbr_trigger_mode_menu_order, r->trigger_mode) : -1);
  gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(P->anywhere), r->anywhere != 0);
  const char* page = r->type == ABBR_TYPE_PROGRAM ? "program" : r->type == ABBR_TYPE_WEBSITE ? "website" : "text";
  gtk_stack_set_visible_child_name(GTK_STACK(P->stack), page);
  gtk_widget_set_sensitive(P->box, a != nullptr);
  P->filling = false;
}

void editor_pane_set_advanced(bool advanced) {
  if (!P) return;
  // Each is shown as a whole, its label and inner parts too: they were left out when the
  // window around them was shown, and showing a whole widget skips the ones marked so.
  for (GtkWidget* w : P->advanced) {
    if (advanced) {
      gtk_widget_set_no_show_all(w, FALSE);
      gtk_widget_show_all(w);
      gtk_widget_set_no_show_all(w, TRUE);
    } else {
      gtk_widget_hide(w);
    }
  }
}

void editor_pane_focus_abbreviation() {
  if (P) gtk_widget_grab_focus(P->abbreviation);
}
