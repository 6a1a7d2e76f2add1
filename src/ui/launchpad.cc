// The launch pad: a small window into which the user types a launcher's abbreviation. The
// keyboard monitor matches what is typed there like anywhere else; the expansion engine hides
// the window before it runs the launcher. Made once, then shown and hidden.
#include <gtk/gtk.h>
// gtk.h says which window systems this GTK was built for.
#ifdef GDK_WINDOWING_X11
#include <gdk/gdkx.h>
#endif
#ifdef GDK_WINDOWING_WIN32
#include <gdk/gdkwin32.h>
#endif

#include <atomic>

#include "core/app.h"
#include "ui/ui.h"

namespace {

// (owned here; destroyed by launchpad_destroy) UI thread only.
GtkWidget* g_window = nullptr;
GtkWidget* g_entry = nullptr;
// The window's X id, for the replacement thread (any thread reads it).
std::atomic<uintptr_t> g_xid{0};

void hide() {
  if (!g_window) return;
  gtk_entry_set_text(GTK_ENTRY(g_entry), "");
  gtk_widget_hide(g_window);
}

// Tab and Return become a blank, so that the entry keeps the focus and nothing is submitted:
// a launcher that waits for a word-ending character still sees one.
gboolean on_entry_key(GtkWidget* e, GdkEventKey* ev, gpointer) {
  if (ev->keyval != GDK_KEY_Tab && ev->keyval != GDK_KEY_ISO_Left_Tab && ev->keyval != GDK_KEY_Return &&
      ev->keyval != GDK_KEY_KP_Enter)
    return FALSE;
  int pos = gtk_editable_get_position(GTK_EDITABLE(e));
  gtk_editable_insert_text(GTK_EDITABLE(e), " ", 1, &pos);
  gtk_editable_set_position(GTK_EDITABLE(e), pos);
  return TRUE;
}

gboolean on_window_key(GtkWidget*, GdkEventKey* ev, gpointer) {
  if (ev->keyval != GDK_KEY_Escape) return FALSE;
  hide();
  return TRUE;
}

void build() {
  g_window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
  gtk_window_set_title(GTK_WINDOW(g_window), "Quiverex LaunchPad");
  gtk_window_set_position(GTK_WINDOW(g_window), GTK_WIN_POS_CENTER);
  gtk_window_set_resizable(GTK_WINDOW(g_window), FALSE);
  gtk_window_set_type_hint(GTK_WINDOW(g_window), GDK_WINDOW_TYPE_HINT_DIALOG);
  gtk_window_set_skip_taskbar_hint(GTK_WINDOW(g_window), FALSE);
  gtk_container_set_border_width(GTK_CONTAINER(g_window), 7);
  g_signal_connect(g_window, "delete-event", G_CALLBACK(+[](GtkWidget*, GdkEvent*, gpointer) -> gboolean {
                     hide();
                     return TRUE;
                   }),
                   nullptr);
  g_signal_connect(g_window, "key-press-event", G_CALLBACK(on_window_key), nullptr);

  GtkWidget* top = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
  gtk_box_pack_start(GTK_BOX(top), gtk_image_new_from_icon_name("system-run", GTK_ICON_SIZE_DIALOG), FALSE, FALSE, 0);
  GtkWidget* text = gtk_label_new(
      "Type the Quiverextion you assigned to the program, website,\nfile, or folder you wish to launch, or press "
      "Escape to cancel.");
  gtk_label_set_xalign(GTK_LABEL(text), 0.0f);
  gtk_box_pack_start(GTK_BOX(top), text, FALSE, FALSE, 0);

  GtkWidget* bottom = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 3);
  gtk_box_pack_start(GTK_BOX(bottom), gtk_label_new("Quiverextion: "), FALSE, FALSE, 0);
  g_entry = gtk_entry_new();
  gtk_entry_set_width_chars(GTK_ENTRY(g_entry), 40);
  g_signal_connect(g_entry, "key-press-event", G_CALLBACK(on_entry_key), nullptr);
  gtk_box_pack_start(GTK_BOX(bottom), g_entry, TRUE, TRUE, 0);

  GtkWidget* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
  gtk_box_pack_start(GTK_BOX(box), top, FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(box), gtk_box_new(GTK_ORIENTATION_VERTICAL, 0), FALSE, FALSE, 5);
  gtk_box_pack_start(GTK_BOX(box), bottom, FALSE, FALSE, 0);
  gtk_container_add(GTK_CONTAINER(g_window), box);
  gtk_widget_show_all(box);
}

}  // namespace

void launchpad_show(int create_only) {
  if (!g_window) build();
  if (create_only) return;
  gtk_widget_show(g_window);
  gtk_window_present(GTK_WINDOW(g_window));
  gtk_widget_grab_focus(g_entry);
  GdkWindow* w = gtk_widget_get_window(g_window);
#ifdef GDK_WINDOWING_X11
  if (w && GDK_IS_X11_WINDOW(w)) g_xid = static_cast<uintptr_t>(GDK_WINDOW_XID(w));
#endif
#ifdef GDK_WINDOWING_WIN32
  if (w && GDK_IS_WIN32_WINDOW(w)) g_xid = reinterpret_cast<uintptr_t>(gdk_win32_window_get_handle(w));
#endif
}

void launchpad_hide() { hide(); }

void launchpad_hide_non_ui() {
  g_idle_add(+[](gpointer) -> gboolean {
    hide();
    return G_SOURCE_REMOVE;
  }, nullptr);
}

void launchpad_destroy() {
  if (!g_window) return;
  gtk_widget_destroy(g_window);
  g_window = g_entry = nullptr;
  g_xid = 0;
}

uintptr_t launchpad_get_HWND() { return g_xid; }
