// The order of start-up. Each step needs what the steps before it set up: the path variables
// before the preferences, the single-instance rule before any window, the backend before the
// toolkit opens the display, the toolkit before the library is shown.
#include "app/startup.h"

#include <gtk/gtk.h>

#include <cstdio>

#include "app/engine.h"
#include "core/app.h"
#include "core/gvar.h"
#include "library/abbr.h"
#include "monitor/mon.h"
#include "settings/prefs.h"
#include "ui/ui.h"
#include "util/die.h"
#include "util/strutil.h"

namespace {

gboolean update_check_timeout(gpointer data) {
  // Network services are not part of this build: the first check has nothing to do.
  (void)data;
  return G_SOURCE_REMOVE;
}

gboolean every_2000ms(gpointer) {
  check_if_hooks_need_to_be_reinstalled_timeout_callback();
  return G_SOURCE_CONTINUE;
}

}  // namespace

void app_main_iteration(bool may_block) { gtk_main_iteration_do(may_block ? TRUE : FALSE); }

int app_start(int argc, char** argv) {
  util_install_oom_handler();
  std::vector<std::string> args = core_program_arguments(argc, argv);
  core_cmdline cmd = core_parse_program_cmdline(args);
  if (cmd.help) {
    fputs(core_cmdline_usage("quiverex").c_str(), stdout);
    return 0;
  }
  if (cmd.version) {
    printf("Quiverex %s\n", QX_VERSION);
    return 0;
  }
  for (const std::string& u : cmd.unknown)
    fprintf(stderr, "quiverex: ignoring unknown argument '%s'\n", u.c_str());

  gvar_set_all(argc, argv);
  prefs_load();
  if (app_sys_elevate(args)) return 0;
  // The preferences served only the elevation decision; they are read again once the
  // single-instance rule has let this start go on.
  prefs_free();

  app_sys_admit_show_request();
  if (app_sys_hand_over_if_running(cmd)) return 0;

  if (!app_sys_open_windowing()) return 1;
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
  ui_fonts_apply();
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

  app_sys_before_main_loop();
  g_timeout_add(5000, update_check_timeout, GUINT_TO_POINTER(0xdeadbeef));
  g_timeout_add(2000, every_2000ms, nullptr);

  app_sys_main_loop();
}
