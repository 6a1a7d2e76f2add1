// Message boxes asked for by code that must not depend on a toolkit.
//
// The engine only says what kind of box it wants, which buttons and what text; whoever owns
// the screen answers. The GTK front end installs a handler that shows a modal dialog, the
// command-line tool one that prints, tests one that records. Without an installed handler the
// text goes to standard error and the answer is the one that gives up (No, or OK for a box with
// only OK), so a "try again?" loop can never spin when nobody is there to answer.
//
// Threads: UI thread only (the loader and every caller run there).
#pragma once

#include <string>

enum msgbox_kind { MSGBOX_INFO, MSGBOX_QUESTION, MSGBOX_ERROR };
enum msgbox_buttons { MSGBOX_BUTTONS_OK, MSGBOX_BUTTONS_YES_NO, MSGBOX_BUTTONS_YES_NO_CANCEL };

// Answers, numbered like the toolkit's response ids so the GTK handler passes them through.
enum {
  MSGBOX_RESPONSE_OK = -5,
  MSGBOX_RESPONSE_CANCEL = -6,
  MSGBOX_RESPONSE_YES = -8,
  MSGBOX_RESPONSE_NO = -9,
};

// Returns one of the MSGBOX_RESPONSE_* values. `user_data` is the pointer given at installation.
typedef int (*msgbox_handler)(msgbox_kind kind, msgbox_buttons buttons, const std::string& text,
                              void* user_data);

// Installs the handler for every later box; nullptr restores the default one.
void msgbox_set_handler(msgbox_handler handler, void* user_data);

// Shows a box through the installed handler and returns its answer.
int show_msgbox(msgbox_kind kind, msgbox_buttons buttons, const std::string& text);

// The answer of the default handler for these buttons (No, or OK for a box with only OK).
int msgbox_default_answer(msgbox_buttons buttons);
