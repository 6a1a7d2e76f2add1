#include <gtk/gtk.h>

#include "core/msgbox.h"
#include "ui/ui.h"

GtkWidget* ui_main_window_widget();

namespace {
int gtk_msgbox(msgbox_kind kind, msgbox_buttons buttons, const std::string& text, void*) {
  GtkWidget* parent = main_window_is_visible() ? ui_main_window_widget() : nullptr;
  GtkMessageType type = kind == MSGBOX_ERROR ? GTK_MESSAGE_ERROR
                        : kind == MSGBOX_QUESTION ? GTK_MESSAGE_QUESTION
                                                  : GTK_MESSAGE_INFO;
  GtkButtonsType b = buttons == MSGBOX_BUTTONS_OK ? GTK_BUTTONS_OK : GTK_BUTTONS_YES_NO;
  GtkWidget* dialog = gtk_message_dialog_new(parent ? GTK_WINDOW(parent) : nullptr, GTK_DIALOG_MODAL, type, b,
                                             "%s", text.c_str());
  if (buttons == MSGBOX_BUTTONS_YES_NO_CANCEL)
    gtk_dialog_add_button(GTK_DIALOG(dialog), "_Cancel", GTK_RESPONSE_CANCEL);
  gtk_window_set_title(GTK_WINDOW(dialog), "Quiverex");
  gtk_window_set_keep_above(GTK_WINDOW(dialog), TRUE);
  int r = gtk_dialog_run(GTK_DIALOG(dialog));
  gtk_widget_destroy(dialog);
  // Closing the box counts as the answer that gives up.
  if (r != MSGBOX_RESPONSE_YES && r != MSGBOX_RESPONSE_NO && r != MSGBOX_RESPONSE_CANCEL && r != MSGBOX_RESPONSE_OK)
    return msgbox_default_answer(buttons);
  return r;
}
}  // namespace

void ui_install_msgbox_handler() { msgbox_set_handler(gtk_msgbox, nullptr); }
