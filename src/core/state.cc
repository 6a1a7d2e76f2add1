// The enabled/disabled state. It is not stored anywhere: enabled means the keyboard hook is
// installed, so the state can never disagree with what the monitor actually does.
#include "core/app.h"

namespace {
core_app_ops g_ops;  // UI thread

unsigned installed() { return g_ops.mon_installed_hooks ? g_ops.mon_installed_hooks() : 0; }
int call(int (*f)()) { return f ? f() : 0; }

void tell_ui(int state) {
  if (g_ops.main_win_update_ed) g_ops.main_win_update_ed(state);
  if (g_ops.systray_app_state_changed) g_ops.systray_app_state_changed(state);
}
}  // namespace

void core_set_app_ops(const core_app_ops& ops) { g_ops = ops; }
const core_app_ops& core_get_app_ops() { return g_ops; }

int tolmek_get_state() { return (installed() & 1) ? 0 : 1; }

const char* core_state_tooltip(int state) { return state == 0 ? "Quiverex - enabled" : "Quiverex - disabled"; }

int tolmek_set_state(int state) {
  if (state == 0) {
    // Reinstalling rather than leaving an installed hook alone puts it back at the head of the
    // system's hook chain, ahead of hooks other programs added since.
    call(g_ops.mon_uninstall_keyboard_hook);
    int ok = call(g_ops.mon_install_keyboard_hook);
    if (!(installed() & 1) && !ok) return 0;
    tell_ui(0);
    return 1;
  }
  if (state == 1) {
    if ((installed() & 1) && !call(g_ops.mon_uninstall_keyboard_hook)) return 0;
    tell_ui(1);
    return 1;
  }
  return state;
}

int tolmek_set_state_no_ui_changes(int state) {
  if (state == 0) {
    call(g_ops.mon_uninstall_keyboard_hook);
    call(g_ops.mon_uninstall_mouse_hook);
    if (!call(g_ops.mon_install_keyboard_hook)) return 0;
    if (!(installed() & 2)) call(g_ops.mon_install_mouse_hook);
    return 1;
  }
  if (state == 1) {
    call(g_ops.mon_uninstall_mouse_hook);
    if (installed() & 1) call(g_ops.mon_uninstall_keyboard_hook);
    return 1;
  }
  return state;
}

void tolmek_refresh_state_if_enabled() {
  if (tolmek_get_state() != 0) return;
  call(g_ops.mon_uninstall_mouse_hook);
  if (installed() & 1) call(g_ops.mon_uninstall_keyboard_hook);
  tolmek_set_state_no_ui_changes(0);
}
