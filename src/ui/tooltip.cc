// The preview popup shown at the caret while an abbreviation waits for its trigger.
#include <gtk/gtk.h>

#include "ui/ui.h"

namespace {
GtkWidget* g_popup = nullptr;  // (owned) UI thread
GtkWidget* g_label = nullptr;

struct timer_req {
  unsigned id;
  void (*fire)(unsigned id);
};

gboolean on_timer(gpointer data) {
  timer_req* r = static_cast<timer_req*>(data);
  r->fire(r->id);
  return G_SOURCE_REMOVE;
}

void build() {
  g_popup = gtk_window_new(GTK_WINDOW_POPUP);
  // Never shown as a title; it names the window for accessibility tools and tests.
  gtk_window_set_title(GTK_WINDOW(g_popup), "Quiverex preview");
  gtk_window_set_type_hint(GTK_WINDOW(g_popup), GDK_WINDOW_TYPE_HINT_TOOLTIP);
  gtk_window_set_accept_focus(GTK_WINDOW(g_popup), FALSE);
  gtk_style_context_add_class(gtk_widget_get_style_context(g_popup), "tooltip");
  g_label = gtk_label_new("");
  gtk_label_set_line_wrap(GTK_LABEL(g_label), TRUE);
  gtk_label_set_max_width_chars(GTK_LABEL(g_label), 60);
  gtk_widget_set_margin_start(g_label, 6);
  gtk_widget_set_margin_end(g_label, 6);
  gtk_widget_set_margin_top(g_label, 4);
  gtk_widget_set_margin_bottom(g_label, 4);
  gtk_container_add(GTK_CONTAINER(g_popup), g_label);
  gtk_widget_show(g_label);
}
}  // namespace

void ui_tooltip_start_timer(unsigned id, unsigned ms, void (*fire)(unsigned id)) {
  // g_timeout_add_full attaches to the default context, whose loop runs on the UI thread,
  // whichever thread asks.
  g_timeout_add_full(G_PRIORITY_DEFAULT, ms, on_timer, new timer_req{id, fire},
                     [](gpointer p) { delete static_cast<timer_req*>(p); });
}

void ui_tooltip_show(const std::string& text, int x, int y) {
  if (!g_popup) build();
  gtk_label_set_text(GTK_LABEL(g_label), text.c_str());
  gtk_window_resize(GTK_WINDOW(g_popup), 1, 1);
  gtk_window_move(GTK_WINDOW(g_popup), x, y);
  gtk_widget_show(g_popup);
}

void ui_tooltip_hide() {
  if (g_popup) gtk_widget_hide(g_popup);
}

void ui_tooltip_destroy() {
  if (!g_popup) return;
  gtk_widget_destroy(g_popup);
  g_popup = nullptr;
  g_label = nullptr;
}
