// quiverex: the desktop program. Start-up runs in a fixed order on the UI thread; the process
// then lives in the GTK main loop until _quit_.
#include <glib-unix.h>
#include <gtk/gtk.h>
#include <unistd.h>

#include <cstdio>

#include "app/engine.h"
#include "core/app.h"
#include "core/cmdline.h"
#include "core/gvar.h"
#include "core/gvar_platform.h"
#include "core/instance.h"
#include "library/abbr.h"
#include "monitor/mon.h"
#include "settings/prefs.h"
#include "ui/ui.h"
#include "util/die.h"
#include "util/strutil.h"

namespace {

// A second start waits this long for the running instance to act on its request.
constexpr int HANDOVER_TIMEOUT_MS = 15000;
// A restarted process gives the old one this long to close.
constexpr unsigned RESTART_WAIT_MS = 2345;

void on_instance_request(core_instance_request req, const std::string& path, void*) {
  if (req == CORE_INSTANCE_SHOW)
    main_window_show();
  else
    core_import_file(path, false);
}

// Log-off and `kill` end the program as the Exit menu does, saving the preferences.
gboolean on_terminate(gpointer) {
  _quit_(0);
  return G_SOURCE_CONTINUE;
}

gboolean update_check_timeout(gpointer data) {
  // Network services are not part of this build: the first check has nothing to do.
  (void)data;
  return G_SOURCE_REMOVE;
}

gboolean every_2000ms(gpointer) {
  check_if_hooks_need_to_be_reinstalled_timeout_callback();
  return G_SOURCE_CONTINUE;
}

// Hands the request to the running instance; the start ends either way.
int hand_over(const std::string& address, const core_cmdline& cmd) {
  core_instance_send(address, CORE_INSTANCE_SHOW, std::string(), HANDOVER_TIMEOUT_MS);
  if (cmd.import_path) core_instance_send(address, CORE_INSTANCE_IMPORT, *cmd.import_path, HANDOVER_TIMEOUT_MS);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  util_install_oom_handler();
  core_cmdline cmd = core_parse_cmdline(argc, argv, gvar_platform_current_dir());
  if (cmd.help) {
    fputs(core_cmdline_usage("quiverex").c_str(), stdout);
    return 0;
  }
  if (cmd.version) {
    printf("Quiverex %s\n", QX_VERSION);
    return 0;
  }
  for (const std::string& u : cmd.unknown) fprintf(stderr, "quiverex: ignoring unknown argument '%s'\n", u.c_str());

  gvar_set_all(argc, argv);
  prefs_load();
  prefs_free();

  std::string address = core_instance_default_address();
  if (cmd.restarting) {
    g_usleep(RESTART_WAIT_MS * 1000);
    core_instance_claim_address(address, on_instance_request, nullptr);
  } else {
    core_instance_claim claim = core_instance_claim_address(address, on_instance_request, nullptr);
    if (claim == CORE_INSTANCE_OTHER_RUNNING) return hand_over(address, cmd);
  }

  // The backend must be connected before GTK opens the display (it enables Xlib threads).
  if (!app_engine_open_platform()) {
    fprintf(stderr, "quiverex: cannot use the display '%s' (X11 with XInput2, XTEST and XKEYBOARD is needed)\n",
            getenv("DISPLAY") ? getenv("DISPLAY") : "");
    core_instance_release();
    return 1;
  }
  core_app_ops ops;
  app_engine_wire(&ops);
  core_set_app_ops(ops);

  gvar_set_all(argc, argv);
  prefs_load();
  core_set_gtk_theme_env(cmd.restarting);
  prefs_free();

  gtk_init(nullptr, nullptr);
  ui_install_msgbox_handler();

  gvar_set_all(argc, argv);
  deal_with_gtk_css_stuff();
  prefs_load();
  gvar_set_all_after_prefs_loaded();
  load_up_users_abbreviations(nullptr);

  if (cmd.admin) setting_set_int("ucm", 1);

  if (file_exists(gvar_get("abbreviations_file"))) {
    setting_set_int("lddex", 0);
    systray_icon_set_visible(true);
    main_window(argc, argv);
  } else {
    import_included_set("Examples", 1);
    abbr_flush_sandbox_to_main();
    abbr_create_sandbox();
    setting_set("expanded_folders", "0");
    setting_set_int("lddex", 1);
    systray_icon_set_visible(true);
    main_window(argc, argv);
    ask_if_user_wants_us_to_import_tolmek_abbreviations_if_they_exist();
  }

  if (gvar_does_exist("expabs")) {
    expand_absolute_parent_folder_in_tv();
    gvar_delete("expabs");
  }
  launchpad_show(1);

  if (cmd.import_path) core_import_file(*cmd.import_path, true);

  g_unix_signal_add(SIGTERM, on_terminate, nullptr);
  g_unix_signal_add(SIGINT, on_terminate, nullptr);
  g_unix_signal_add(SIGHUP, on_terminate, nullptr);
  g_timeout_add(5000, update_check_timeout, GUINT_TO_POINTER(0xdeadbeef));
  g_timeout_add(2000, every_2000ms, nullptr);

  // GTK's loop waits on its sources (X connection, instance socket, timers) without polling.
  for (;;) gtk_main();
}
