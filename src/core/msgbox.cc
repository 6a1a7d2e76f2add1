#include "core/msgbox.h"

#include <cstdio>

static int default_handler(msgbox_kind, msgbox_buttons buttons, const std::string& text, void*) {
  fprintf(stderr, "%s\n", text.c_str());
  return msgbox_default_answer(buttons);
}

static msgbox_handler g_handler = default_handler;
static void* g_user_data = nullptr;

void msgbox_set_handler(msgbox_handler handler, void* user_data) {
  g_handler = handler ? handler : default_handler;
  g_user_data = handler ? user_data : nullptr;
}

int show_msgbox(msgbox_kind kind, msgbox_buttons buttons, const std::string& text) {
  return g_handler(kind, buttons, text, g_user_data);
}

int msgbox_default_answer(msgbox_buttons buttons) {
  return buttons == MSGBOX_BUTTONS_OK ? MSGBOX_RESPONSE_OK : MSGBOX_RESPONSE_NO;
}
