// The keyboard monitor: a thread of its own that runs the low-level keyboard and mouse hooks,
// keeps the buffer of recently typed characters, finds typed abbreviations and hands each one
// to the replacement thread as a typed-abbreviation record.
//
// Threads: the UI thread starts and stops the monitor and asks it for things only by thread
// messages (the functions below that say "waits" block until the hook thread answers). The
// replacement thread calls the temp-disable, Caps Lock and interactive-input functions. Each
// small shared value has a lock (or is atomic) of its own; none is held while taking another.
#pragma once

#include <cstdint>
#include <string>

#include "library/abbr.h"
#include "monitor/tai.h"
#include "platform/platform.h"

// One candidate of a match: which abbreviation and which of its texts ended the key buffer.
struct abbrev_match {
  abbr_abbrev* abbrev = nullptr;     // (not owned) record in the main list
  const std::string* text = nullptr; // (not owned) one of abbrev->abbrevs
  int position = 0;                  // index of the abbreviation in its folder's list
  int trigger_printable = 0;         // the delimiter that completed it stands in the key buffer
  int trigger_length = 0;            // byte length of that delimiter
};
abbrev_match* abbrev_match_duplicate(const abbrev_match* m);
void abbrev_match_free(void* m);

// What the monitor calls in the modules around it. Any member may be null.
struct mon_callbacks {
  // The replacement thread: made by mon_start, ended by mon_stop. create returns its id
  // (0 on failure); mon_set_keysim_thread is the alternative for a thread made elsewhere.
  plat_thread_id (*keysim_create_thread)() = nullptr;
  void (*keysim_destroy_thread)() = nullptr;
  // What the user typed while an input field of an expansion is open (called on the hook
  // thread). The character is UTF-8.
  void (*keysim_user_typed_char_in_ii)(const char* utf8) = nullptr;
  void (*keysim_user_typed_backspace_in_ii)() = nullptr;
  // 1 while the expansion in progress pastes through the clipboard (Caps Lock is then left
  // alone), 0 while it types.
  int (*keysim_output_method)() = nullptr;
  // Closes the abbreviation chooser's popup menu if it is open (hook thread).
  void (*destroy_chooser_menu)() = nullptr;
  // True while the tray icon's menu is open: a click there keeps the chooser open.
  bool (*in_tray_menu)() = nullptr;
};
void mon_set_callbacks(const mon_callbacks& cb);
// Where typed abbreviations go: the replacement thread's id.
void mon_set_keysim_thread(plat_thread_id tid);
plat_thread_id mon_get_keysim_thread();

// ---- Life of the hook thread (UI thread; each waits for the hook thread's answer) ----

// Hook thread, replacement thread, keyboard hook, mouse hook, key buffer size. Non-zero on
// success; on failure everything is stopped again.
int mon_start();
// Uninstalls both hooks and ends the replacement thread; ends the hook thread too unless an
// uninstall failed and force is 0 (then 0 is returned).
int mon_stop(int force);
int mon_create_hook_thread();
void mon_destroy_hook_thread();
int mon_install_keyboard_hook();
int mon_uninstall_keyboard_hook();
int mon_install_mouse_hook();
int mon_uninstall_mouse_hook();
// Waits for WM_MON_RESPONSE on the calling thread and returns its wParam.
int mon_hook_thread_get_response();
// Bit 0: keyboard hook installed; bit 1: mouse hook installed.
unsigned mon_installed_hooks();
plat_thread_id mon_hook_thread_id();
// Uninstalls and reinstalls both hooks when the keyboard hook is installed (the monitor is on).
void mon_refresh_hooks_if_enabled();
// Called every 2000 ms by the UI thread's timer: reinstalls the hooks after 69 calls in a row
// without a single keyboard event reaching the hook (the system drops slow hooks silently).
void check_if_hooks_need_to_be_reinstalled_timeout_callback();

// ---- Preferences the hook thread caches ----
void mon_prefs_reloaded();
void mon_prefs_freed();

// ---- Temp-disable and the preparation of an expansion ----
void mon_hook_set_temp_disable(int v);
int mon_hook_get_temp_disable();
// Temp-disable on, record the modifiers, release the held ones (hook thread).
void mon_do_before_replace_preppy();
// Switches Caps Lock off for the typing and remembers to switch it on again (replacement thread).
void mon_caps_lock_preppy();
void mon_record_modifier_key_states();
void mon_keyup_all_keydownd_modifiers();
void mon_restore_all_keyupd_modifiers();
// After a restore, once the hooks have heard of every event up to it: releases a key the
// restore pressed again but the user let go of in the meantime.
void mon_release_restored_modifiers_let_go();
// The window in which the last abbreviation was typed (any thread).
plat_window mon_get_typed_hwnd();
// uid of the last expanded abbreviation and of its folder (any thread).
void mon_get_last_typed(uint32_t* abbrev_uid, uint32_t* folder_uid);
// The abbreviation as it stands in the key buffer; empty when the buffer is absent or shorter.
std::string mon_get_typed_abbrev(const abbrev_match* m);
// Starts the expansion of the current record from a timer (hook thread).
void mon_timeout_replace_typed_abbreviation();

// ---- Interactive-input mode (the replacement thread, while an input field is open) ----
void mon_enable_ii_mode();
void mon_disable_ii_mode();
int mon_get_ii_mode_enabled();
void mon_set_ii_mode_enabled(int v);
int mon_get_user_pressed_ii_continue_key();
void mon_set_user_pressed_ii_continue_key(int v);
int mon_get_n_chars_typed_in_ii_mode();
void mon_reset_n_chars_typed_in_ii_mode();
void mon_chars_typed_in_ii_mode(int delta);
int mon_was_unselect_key_pressed_first_in_ii_mode();
void mon_set_unselect_key_pressed_first_in_ii_mode(int v);
int mon_get_ii_ended_abruptly();
void mon_set_ii_ended_abruptly(int v);
bool mon_vk_will_unselect_selected_text(uint32_t vk);

// ---- Tooltip preview of a waiting abbreviation ----
// The monitor decides when a preview is due; the user interface owns the window and the
// timers. start_timer must call `fire(id)` once after `ms` milliseconds on the thread that owns
// the tooltip window. show gets a copy of the abbreviation to preview (owned by the callee),
// the text as typed and the caret's bottom-left corner in screen coordinates.
struct mon_tooltip_funcs {
  void (*start_timer)(unsigned id, unsigned ms, void (*fire)(unsigned id)) = nullptr;
  void (*show)(abbr_abbrev* a, const std::string& typed, int x, int y) = nullptr;
  void (*hide)() = nullptr;
  void (*destroy)() = nullptr;
};
void mon_set_tooltip_funcs(const mon_tooltip_funcs& f);
// Timer procedures: act only when `id` belongs to the newest scheduled pair.
void mon_show_tooltip(unsigned id);
void mon_destroy_tooltip(unsigned id);
void mon_hide_tooltip_window();
// Asks the hook thread to drop the tooltip (at quit).
void mon_destroy_tooltip_window();
