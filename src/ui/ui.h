// The GTK front end: the main window shell, the tray icon, message boxes and the expansion
// preview tooltip. Everything here runs on the UI thread (the GTK main loop) unless a comment
// says otherwise.
#pragma once

#include <cstdint>
#include <string>

// ---- Message boxes ----

// Makes core/msgbox.h show modal GTK dialogs (over the main window when it is visible).
void ui_install_msgbox_handler();

// ---- Fonts ----

// Applies the preferences "ui_font" (every window of the program) and "repleditor_font" (the
// replacement-text editor) to the windows on screen and to those made later.
void ui_fonts_apply();
// The style rule giving `selector` the parts that a font description such as "Segoe UI 9"
// names (family list, size, weight, slant); "" when it names none.
std::string ui_font_css(const char* selector, const char* description);
// The style class that marks the replacement-text editor.
extern const char UI_REPLEDITOR_CLASS[];

// ---- Main window ----

// Builds the main window over the sandbox and shows it unless the command line asks for the
// tray only; at its end the keyboard monitor is started (a failure there is fatal).
void main_window(int argc, char** argv);
void main_window_show();
void main_window_destroy();
bool main_window_is_visible();
// Shows the state (0 enabled, 1 disabled) on the window's switch without acting on it.
void main_win_update_ed(int state);
// The Save button's sensitivity: true while the sandbox has changes not yet applied.
void main_window_set_unsaved(bool unsaved);
bool main_window_has_unsaved_changes();
// Applies the sandbox to the main list, saves it and refreshes the view.
void main_window_apply_all_changes();
// Rebuilds the folder tree and the list from the sandbox.
void main_window_reload();
// Shows or hides the Apply/Cancel row as the preferences say.
void main_window_show_bottom_buttons();
// Opens the top folder of the tree.
void expand_absolute_parent_folder_in_tv();
// Shows the editing pane in the view the preferences choose ("adv_view" 1: every option,
// "norm_view" 1: the Normal view).
void main_window_apply_view();

// ---- Tray icon ----

void systray_icon_set_visible(bool visible);
// Updates the tooltip ("Quiverex - enabled"/"- disabled") and the menu's check item.
void systray_app_state_changed(int state);
void systray_destroy();
// True while the tray menu is open (any thread).
bool systray_in_menu();
// The tooltip currently set, for the window's status line and for checks.
std::string systray_tooltip();

// ---- Expansion preview ----

// May be called from any thread: calls fire(id) once after `ms` on the UI thread.
void ui_tooltip_start_timer(unsigned id, unsigned ms, void (*fire)(unsigned id));
// Shows `text` in a small popup whose top-left corner is at (x, y) in screen coordinates.
void ui_tooltip_show(const std::string& text, int x, int y);
void ui_tooltip_hide();
void ui_tooltip_destroy();

// ---- Preferences window ----

// Opens the preferences window (or brings it to the front).
void prefs_window_show();

// ---- Launch pad ----

// Makes the launch pad window once; shows it unless `create_only`.
void launchpad_show(int create_only);
void launchpad_hide();
// From any thread: hides the launch pad on the UI thread.
void launchpad_hide_non_ui();
void launchpad_destroy();
// The launch pad's X window, 0 before it was first shown. Any thread.
uintptr_t launchpad_get_HWND();
