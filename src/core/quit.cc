#include <cstdlib>

#include "core/app.h"
#include "core/gvar.h"
#include "core/instance.h"
#include "core/msgbox.h"
#include "library/abbr.h"
#include "settings/prefs.h"

namespace {
bool g_save_question_asked = false;  // UI thread; once per shutdown

void leave(int code) {
  const core_app_ops& ops = core_get_app_ops();
  if (ops.exit_process)
    ops.exit_process(code);
  else
    exit(code);
}
}  // namespace

void core_quit_reset() { g_save_question_asked = false; }

void _quit_(int code) {
  const core_app_ops& ops = core_get_app_ops();
  if (ops.main_window_has_unsaved_changes && ops.main_window_has_unsaved_changes() && !g_save_question_asked) {
    g_save_question_asked = true;
    int answer = show_msgbox(MSGBOX_QUESTION, MSGBOX_BUTTONS_YES_NO_CANCEL,
                             "\nWould you like me to save your changes before quitting?");
    if (answer == MSGBOX_RESPONSE_CANCEL) {
      g_save_question_asked = false;
      return;
    }
    if (answer == MSGBOX_RESPONSE_YES && ops.main_window_apply_all_changes) ops.main_window_apply_all_changes();
  }

  if (ops.mon_destroy_tooltip_window) ops.mon_destroy_tooltip_window();
  if (ops.mon_stop) ops.mon_stop(1);
  if (ops.main_window_destroy) ops.main_window_destroy();
  if (ops.systray_destroy) ops.systray_destroy();
  if (ops.launchpad_destroy) ops.launchpad_destroy();
  // The next instance, a restarted one included, must find the channel free.
  core_instance_release();
  if (ops.hotkeys_unregister_all) ops.hotkeys_unregister_all(0);

  if (code == CORE_QUIT_RESTART) {
    core_set_gtk_theme_env(true);
    prefs_save();
    prefs_free();
    std::string exe = gvar_get("our_exe_path");
    bool portable = portable_mode() != 0;
    gvar_free_all();
    abbr_free_all_folder_lists();
    std::vector<std::string> args;
    if (portable) args.push_back("--portable");
    args.push_back("--restarting");
    if (ops.spawn_program) ops.spawn_program(exe, args);
    leave(0);
    return;
  }
  prefs_save();
  prefs_free();
  gvar_free_all();
  abbr_free_all_folder_lists();
  leave(code);
}
