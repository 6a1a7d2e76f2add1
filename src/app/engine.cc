#include "app/engine.h"

#include <cstdlib>

#include "expand/keysim.h"
#include "library/abbr.h"
#include "library/abbr_file.h"
#include "monitor/mon.h"
#include "settings/prefs.h"
#include "ui/ui.h"

namespace {

void tooltip_show(abbr_abbrev* a, const std::string& typed, int x, int y) {
  std::string text;
  if (a->type == ABBR_TYPE_TEXT)
    text = keysim_get_text_to_type(nullptr, a, typed.c_str(), 1, nullptr, nullptr, nullptr);
  else if (a->type == ABBR_TYPE_PROGRAM)
    text = "Launch " + a->description + " (" + a->program.path + ")";
  else if (a->type == ABBR_TYPE_WEBSITE)
    text = "Launch " + a->website.address;
  abbr_abbrev_free(a);
  if (!text.empty()) ui_tooltip_show(text, x, y);
}

uint32_t default_case_mode(int type) { return static_cast<uint32_t>(prefs_get_default_case_mode(type)); }
uint32_t default_trigger_mode() { return static_cast<uint32_t>(prefs_get_default_trigger_mode()); }
bool backups_available() { return setting_get("backups")[0] != '\0'; }

std::optional<std::string> keyboard_language() {
  std::string name = plat()->layout_name(0);
  if (name.size() < 2) return std::nullopt;
  return name.substr(0, 2);
}

void exit_process(int code) {
  app_engine_close_platform();
  exit(code);
}

}  // namespace

void app_engine_wire(core_app_ops* ops) {
  mon_callbacks cb = keysim_monitor_callbacks();
  cb.in_tray_menu = systray_in_menu;
  mon_set_callbacks(cb);

  mon_tooltip_funcs tt;
  tt.start_timer = ui_tooltip_start_timer;
  tt.show = tooltip_show;
  tt.hide = ui_tooltip_hide;
  tt.destroy = ui_tooltip_destroy;
  mon_set_tooltip_funcs(tt);

  keysim_app_hooks kh{};
  kh.refresh_state_if_enabled = tolmek_refresh_state_if_enabled;
  kh.launchpad_window = launchpad_get_HWND;
  kh.launchpad_hide = launchpad_hide_non_ui;
  keysim_set_app_hooks(kh);

  prefs_set_monitor_callbacks(mon_prefs_reloaded, mon_prefs_freed);
  prefs_set_keyboard_language_func(keyboard_language);
  abbr_set_default_mode_funcs(default_case_mode, default_trigger_mode);
  abbrld_hooks lh{};
  lh.backups_available = backups_available;
  abbrld_set_hooks(lh);

  ops->mon_start = mon_start;
  ops->mon_stop = mon_stop;
  ops->mon_installed_hooks = mon_installed_hooks;
  ops->mon_install_keyboard_hook = mon_install_keyboard_hook;
  ops->mon_uninstall_keyboard_hook = mon_uninstall_keyboard_hook;
  ops->mon_install_mouse_hook = mon_install_mouse_hook;
  ops->mon_uninstall_mouse_hook = mon_uninstall_mouse_hook;
  ops->mon_destroy_tooltip_window = mon_destroy_tooltip_window;
  ops->main_win_update_ed = main_win_update_ed;
  ops->systray_app_state_changed = systray_app_state_changed;
  ops->main_window_has_unsaved_changes = main_window_has_unsaved_changes;
  ops->main_window_visible = main_window_is_visible;
  ops->main_window_apply_all_changes = main_window_apply_all_changes;
  ops->main_window_show = main_window_show;
  ops->main_window_destroy = main_window_destroy;
  ops->systray_destroy = systray_destroy;
  ops->launchpad_destroy = launchpad_destroy;
  ops->exit_process = exit_process;
  ops->spawn_program = app_engine_spawn_program;
}
