// The program's spine: the enabled/disabled state, quitting and restarting, and the start-up
// steps that need no window system.
//
// The modules around it (keyboard monitor, hotkeys, windows, tray icon) are reached through
// core_app_ops, which the program fills at start-up; tests fill it with their own recorders.
// A member left null is a step that is skipped.
//
// Threads: UI thread only.
#pragma once

#include <string>
#include <vector>

struct core_app_ops {
  // Keyboard monitor. Install/uninstall return non-zero on success.
  int (*mon_start)() = nullptr;
  int (*mon_stop)(int force) = nullptr;
  unsigned (*mon_installed_hooks)() = nullptr;  // bit 0 keyboard hook, bit 1 mouse hook
  int (*mon_install_keyboard_hook)() = nullptr;
  int (*mon_uninstall_keyboard_hook)() = nullptr;
  int (*mon_install_mouse_hook)() = nullptr;
  int (*mon_uninstall_mouse_hook)() = nullptr;
  void (*mon_destroy_tooltip_window)() = nullptr;
  // Hotkeys.
  void (*hotkeys_register_all)() = nullptr;
  void (*hotkeys_unregister_all)(int) = nullptr;
  // Windows and tray icon.
  void (*main_win_update_ed)(int state) = nullptr;
  void (*systray_app_state_changed)(int state) = nullptr;
  bool (*main_window_has_unsaved_changes)() = nullptr;  // the Save button is sensitive
  bool (*main_window_visible)() = nullptr;
  void (*main_window_apply_all_changes)() = nullptr;
  void (*main_window_show)() = nullptr;
  void (*main_window_destroy)() = nullptr;
  void (*systray_destroy)() = nullptr;
  void (*launchpad_destroy)() = nullptr;
  // Leaving the process: exit ends it; spawn starts the program again detached (false when it
  // could not). Null exit_process means exit().
  void (*exit_process)(int code) = nullptr;
  bool (*spawn_program)(const std::string& exe, const std::vector<std::string>& args) = nullptr;
};
void core_set_app_ops(const core_app_ops& ops);
const core_app_ops& core_get_app_ops();

// ---- Enabled/disabled state: 0 enabled (keyboard hook installed), 1 disabled ----

int tolmek_get_state();
// 0: reinstall the keyboard hook (putting it first in the system's chain) and tell the window
// and the tray; 1: uninstall it and tell them. Returns 0 when the hook could not be changed
// (nothing is told then); any other value is returned unchanged and does nothing.
int tolmek_set_state(int state);
// As above without telling anyone; enabling also installs the mouse hook.
int tolmek_set_state_no_ui_changes(int state);
// While enabled: both hooks off and on again.
void tolmek_refresh_state_if_enabled();
// Tray tooltip for a state: "Quiverex - enabled" or "Quiverex - disabled".
const char* core_state_tooltip(int state);

// ---- Quit ----

enum { CORE_QUIT_RESTART = 123 };
// The only way out. Asks whether to save unsaved changes (Cancel returns and nothing is
// touched), stops the monitor and the windows, saves the preferences and exits with `code`, or
// for 123 starts the program again with "--restarting" and exits with 0. Returns only on Cancel
// (or when the installed exit_process returns, as in tests).
void _quit_(int code);
// Answers the save question in _quit_ for the rest of this shutdown.
void core_quit_reset();

// ---- Start-up pieces ----

// GTK_THEME from the "lmode" preference ("Adwaita" light, "Adwaita:dark" otherwise); a value
// already in the environment is kept unless `overwrite` (a restart). GTK_CSD=0 never
// overwrites.
void core_set_gtk_theme_env(bool overwrite);
// Writes the toolkit CSS that hides focus outlines and overscroll shading into `folder`/gtk.css,
// only when that file does not exist yet (a user's own file is never touched). False when it
// had to be written and could not.
bool core_write_gtk_css(const std::string& folder);
extern const char CORE_GTK_CSS[];
// The same in the system's user CSS folder.
void deal_with_gtk_css_stuff();
// The user's GTK configuration folder (implemented per system).
std::string core_gtk_css_folder();

// Loads the library: frees both folder lists, reads the abbreviation file (of `dir`, or the
// configured one when null) into the main list and makes the sandbox.
void load_up_users_abbreviations(const char* dir);

// Applies the sandbox: main list from it, then saved; a failed save is told to the user.
// Returns whether the file was written.
bool core_apply_sandbox();

// Where the included sets (the example library) live: the data folder next to the program or
// the one the build was installed to. Returns the first folder that has `file`, or "".
std::string core_find_data_file(const std::string& file);
// Imports the included set `name` (the file "<name in lower case>.tmk" in the data folders) as
// a folder of that name below the sandbox's top folder. `quiet` suppresses the message box on
// failure. Returns whether it was imported.
int import_included_set(const char* name, int quiet);
// Imports an abbreviation file as a new folder (named after the file) below the sandbox's top
// folder and applies the change. The _non_ui form says nothing on failure; the other tells the
// user how it went. Returns whether something was imported.
int import_abbrevs(const char* path);
int import_abbrevs_non_ui(const char* path);
// For ".textexpander" files: set by the TextExpander import when it is built in.
typedef int (*core_te_import_func)(const char* path, int with_ui);
void core_set_te_import_func(core_te_import_func func);
// Picks the importer by extension.
int core_import_file(const std::string& path, bool with_ui);

// The earlier product's settings and library, in the user's roaming application-data folder.
std::string core_tolmek_prefs_path();
// First run: offers to import the earlier product's library when its preferences exist.
void ask_if_user_wants_us_to_import_tolmek_abbreviations_if_they_exist();
