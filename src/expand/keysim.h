// The replacement (keysim) thread and the macro language that acts while typing.
//
// Once the keyboard monitor has recognised a typed abbreviation it posts the request here; this
// thread alone produces the synthetic keystrokes, pastes and launches of an expansion: it
// releases held modifiers, erases the typed abbreviation, computes the text (insertion macros
// and case), types it or pastes it, runs key, delay, input and launch macros in place, and
// tells the monitor to resume.
//
// Threads: everything here runs on the keysim thread unless its comment says otherwise. The
// globals below are written only there; other threads may read g_expanding_right_now and
// g_keysim_tid.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "monitor/mon.h"
#include "monitor/tai.h"
#include "platform/platform.h"
#include "settings/settings.h"
#include "util/plist.h"

// ---- State of the expansion in progress ----

extern std::atomic<plat_thread_id> g_keysim_tid;  // the keysim thread's id, 0 when none
extern std::atomic<int> g_expanding_right_now;    // 1 from the start of a replacement to its end
// Output method of the expansion in progress: 0 typing, 1 clipboard. Written by the keysim
// thread; the monitor reads it.
extern std::atomic<int> g_keysim_om;
int keysim_get_output_method();
// 1 while a KeyDown macro holds that modifier; reset at the start of every typing run.
extern int g_ctrl_down, g_alt_down, g_altgr_down, g_shift_down;
// When 1, key macros wait 75 ms after each key event. Always 0 once erasing has finished.
extern int g_pause_for_extended_keys;
// Values typed into named input fields during this expansion (settings list: name -> value).
extern setting* g_input_vars;

// ---- Hooks into the layers above (installed by the application at start-up) ----
struct keysim_app_hooks {
  void (*hotkeys_unregister_all)();
  void (*hotkeys_register_all)();
  void (*hotkey_handle_acm_hotkeys)();  // re-arms the per-folder chooser hotkeys
  void (*refresh_state_if_enabled)();   // re-installs the monitor's hooks when enabled
  plat_window (*launchpad_window)();    // the launch pad's window, 0 when none
  void (*launchpad_hide)();             // hides the launch pad (arranges the UI-thread call)
  // Called on the UI thread (from an idle callback) with text grabbed from the clipboard for
  // a new abbreviation.
  void (*grabbed_clipboard_text)(const std::string& text);
};
// Any member may be null (that step is skipped).
void keysim_set_app_hooks(const keysim_app_hooks& hooks);
const keysim_app_hooks& keysim_get_app_hooks();

// Any thread: adds to the persistent "presses" statistic and marks that an expansion happened.
// Both lists belong to the UI thread, so the change is made there from an idle callback.
void keysim_count_presses(int n);
void keysim_mark_expanded();

// Every wait of the expansion path goes through here, so tests can replace the clock.
typedef void (*keysim_sleep_func)(int ms);
void keysim_set_sleep_func(keysim_sleep_func fn);  // null restores the real sleep
void keysim_sleep(int ms);

// ---- The thread ----

// Starts the thread and waits until it has its message queue. 1 on success (or when it runs
// already), 0 when it could not be created. Call from one thread at a time.
int keysim_create_thread();
// Asks the thread to end and forgets it, without waiting.
void keysim_destroy_thread();
// Waits for a thread that keysim_destroy_thread() asked to end (at shutdown and in tests).
void keysim_wait_thread_ended();
// The replacement thread's side of the monitor's callbacks (thread life, output method, what
// the user types into an input field); the caller adds the fields that belong to the windows.
mon_callbacks keysim_monitor_callbacks();
// The thread's message loop.
void keysim_thread_proc();

// Monitor thread: hands over the request in *slot (read when the message is processed).
void keysim_replace_typed_abbreviation(typed_abbrev_info** slot);
// Any thread: asks the keysim thread to release held modifiers now.
void keysim_replace_typed_abbreviation_preppy();
// Any thread: asks the keysim thread to grab the clipboard text for a new abbreviation.
void keysim_grab_clipboard();

// ---- One replacement (keysim thread) ----

void keysim_replace_typed_abbreviation_keysim_thread(typed_abbrev_info* tai);
void keysim_replace_typed_abbreviation_preppy_keysim_thread();
void keysim_do_after_replace_cleanup();

// The final text of an expansion (owned by the caller). `guard` lists names that must not be
// embedded again (nullable: a list with `typed` is made and freed here). cursor_back and
// capitalise may be null.
std::string keysim_get_text_to_type(typed_abbrev_info* tai, const abbr_abbrev* a, const char* typed,
                                    int no_cursor, int* cursor_back, int* capitalise, plist* guard);
// 1 when the delimiter that completed the abbreviation is typed again after the text.
int keysim_do_output_typed_delim(const typed_abbrev_info* tai);
// Erases the typed abbreviation: 1 to go on, 0 when the focus moved away.
int keysim_delete_typed_abbrev(typed_abbrev_info* tai);
// Runs a launcher, or types the text and places the cursor; frees the text to type.
void keysim_handle_abbrev_replacement(typed_abbrev_info* tai);
// Types (or buffers for pasting) `text` into `target`. 1 when the whole text was output, 0
// when typing stopped early (focus moved, input field abandoned). `unused` is not read.
int keysim_simutype_text(const std::string& text, plat_window target, int* cursor_back,
                         int capitalise, int literal, int unused, typed_abbrev_info* tai);

// Scan code of a virtual key: fixed values for modifiers and the numeric pad first (values
// above 255 carry the extended prefix in the high byte), else the foreground layout's.
uint32_t ___MapVirtualKey(uint32_t vk, unsigned map_type);
// The low byte of ___MapVirtualKey, what a key event carries.
uint32_t keysim_scan_for_vk(uint32_t vk);

// ---- Key and control macros ----

enum { KEYSIM_ACTION_DOWN = 0, KEYSIM_ACTION_UP = 1, KEYSIM_ACTION_PRESS = 2 };

struct keysim_key_action {
  uint32_t vk;
  int action;  // KEYSIM_ACTION_*
  int extended;
};
struct keysim_key_group {
  int count;       // repetitions of the whole group
  plist* actions;  // (owned) keysim_key_action*
};
// Frees a list of groups (keysim_key_group*).
void keysim_key_groups_free(plist* groups);

// Parses the macro at `text` (which starts with "%("). 1 when valid. Outputs may be null.
int keysim_parse_valid_macro(const char* text, std::string* name, std::string* args,
                             int* len_bytes, int* len_chars, int allow_abbrev_macros);
// Executes the macro at text[offset]: bytes consumed (> 0), 0 when there is no valid macro,
// -1 when the "%(" is escaped. *typed gets the characters an input field left in the target
// (-1: abandoned), *macro_len the macro's length in characters.
int keysim_handle_this_macro(const std::string& text, size_t offset, plat_layout layout,
                             plat_window target, int* typed, int* macro_len);
// 1 when an unescaped Key, KeyDown, KeyUp, Input, Fill or Launch macro begins at the offset.
int keysim_will_do_key_press_at_offset(const std::string& text, size_t offset);
// 1 when the "%" at text[offset] is preceded by an odd number of "%".
int keysim_is_escaped_at(const std::string& text, size_t offset);

// Looks a key name up (the key table, then the layout for one- and two-byte names); vk 0 when
// unknown. `action` is not filled.
void key_name_to_vk_action(const std::string& name, uint32_t* vk, int* action, int* extended,
                           plat_layout layout);
// The groups a Key/KeyDown/KeyUp macro presses (free with keysim_key_groups_free).
plist* key_name_to_vks_and_actions(const std::string& keys, int action, int count, int unused,
                                   plat_layout layout);
void keysim_handle_key_presses(plist* groups);
// Milliseconds of a Delay argument ("1s500ms" is 1500).
int delay_macro_get_ms(const std::string& time);

// Number of rows of the key table and one row, for the editor's key menu.
struct keysim_key_name {
  const char* name;
  uint32_t vk;
  int extended;
};
int keysim_key_table_size();
const keysim_key_name& keysim_key_table_row(int i);

// ---- Interactive input ----

// Characters the field left in the target, or -1 when it was abandoned. An empty name is an
// unnamed field.
int keysim_handle_interactive_input(const std::string& name, plat_window target);
// Monitor thread, while a field is open: a character or a Backspace the user typed.
void keysim_user_typed_char_in_ii(const char* utf8_char);
void keysim_user_typed_backspace_in_ii();
// What the user has typed into the open field so far.
std::string keysim_get_user_typed_ii();
// Frees the field text and the input variables (end of every replacement).
void keysim_free_ii_state();

// ---- Launch macro ----
void keysim_handle_launch(const std::string& args);
