// State shared by the monitor's own files. Everything here belongs to the hook thread unless
// its comment names a lock or says atomic; other modules use monitor/mon.h only.
#pragma once

#include <atomic>
#include <deque>
#include <cstdint>
#include <mutex>
#include <string>

#include "library/abbr.h"
#include "monitor/mon.h"
#include "platform/platform.h"
#include "settings/settings.h"
#include "util/plist.h"

// ---- Key buffer (keybuf.cc) ----

// The last typed characters as UTF-8, right-aligned: the newest byte is the last one, unused
// bytes on the left are NUL. Null when the library holds no abbreviation.
extern char* key_buffer;
extern int32_t key_bufsize;

void mon_add_char_to_key_buffer(char byte);
void mon_clear_key_buffer();
void mon_simulate_backspace_in_key_buffer();
// Removes the last UTF-8 character (one byte when no character start is found).
void mon_backspace_char_in_key_buffer();
void mon_adjust_key_buffer_size();
void mon_free_key_buffer();
// 1 when the key empties the buffer (navigation, Escape, Windows keys, a browser's new tab).
int mon_clear_key_buffer_key_pressed(const plat_key_event& ev);
// Appends the text when its first character is CR, LF or printable, then handles Backspace.
// Always 4, like the hook's internal verdict it replaces.
int mon_key_pressed(const std::string& utf8, const plat_key_event& ev);

// ---- Matcher (matcher.cc) ----

extern std::atomic<int> g_no_apostrophe_delim;
extern std::atomic<int> g_focus_fix;
extern std::atomic<int> g_pause_for;
extern std::atomic<uint32_t> g_trigger_vk_pressed;
// The trigger keys; written by the UI thread under g_trigger_hotkey_lock, read by the hook.
extern plist* cached_trigger_hotkey;
extern std::mutex g_trigger_hotkey_lock;

// The variation cycle: key string of a text list -> index chosen last time. Hook thread only.
extern setting* cycle_lst;

abbrev_match* mon_get_abbrev_waiting_to_expand();
// Takes ownership of `m` and frees the previous waiting match.
void mon_set_abbrev_waiting_to_expand(abbrev_match* m);
int mon_isprint(uint32_t c);
int mon_gunichar_isprint(uint32_t c);
int mon_gunichar_isprint_get(const char* utf8);
int mon_vk_is_trigger_vk(uint32_t vk);
int mon_trigger_hotkey_pressed(const plat_key_event& ev);
// 0 delimiter, 1 not, 2 a Shift key.
int mon_key_is_delim(const plat_key_event& ev, const char* utf8, int* printable, int* length);
// 1 expand now and pass the key, 9 expand now and swallow it, 2 nothing now. On 1 and 9
// *match_out is a new match owned by the caller.
int mon_was_abbrev_typed_by_user(const plat_key_event& ev, const char* utf8, abbrev_match** match_out);
// The trigger mode that rules a match: the abbreviation's own, or the default in the
// TextExpander mode.
uint32_t mon_effective_trigger_mode(const abbr_abbrev* a);

// ---- Modifiers and Caps Lock (modifiers.cc) ----

struct mon_modifier_row {
  uint32_t vk;
  uint32_t down;      // physically down when last recorded
  uint32_t extended;  // its key events carry the extended flag
  bool restored;      // pressed again by the last restore, for the user who held it
};
// Rows for left/right Shift, Ctrl and Alt, ended by a row of 0xFFFFFFFF. Hook thread.
extern mon_modifier_row modifier_states[7];

extern std::atomic<int> g_caps_was_enabled;
extern std::atomic<int> g_caps_pressed_count;
// Shift pressed on the user's behalf by the dead-key replay, its scan code, and the Shift the
// user pressed last. Hook thread.
extern uint32_t g_didwutshift, g_didwutshiftsc, g_didwutphysshift;

bool is_modifier_vk(uint32_t vk);
void update_modifier_phys_state(uint32_t vk, bool down);
void mon_restore_caps_lock_if_needed();

// ---- Hook (hook.cc) ----

// Keys whose next key-down the hook injected itself and lets pass untouched, oldest first.
// Injected events reach the hook only after the call that injected them has returned, so a
// replay of several keys needs them all, in order.
extern std::deque<uint32_t> vk_ignore_next;
extern uint32_t pending_dead_vk, pending_dead_sc;
extern uint32_t pending_shift_vk, pending_shift_sc;
extern int shift_pressed_first;
extern int pending_used_altgr;
extern int g_dead_key_used;
extern uint32_t alt_state, ctrl_state;
extern int tab_was_pressed_while_alt_pressed;
extern plat_window last_focused_hwnd;
// The slot handed to the replacement thread; freed there.
extern typed_abbrev_info* tai;

plat_verdict mon_keyboard_LL_hook_func(const plat_key_event& ev, void* user);
plat_verdict mon_mouse_LL_hook_func(const plat_mouse_event& ev, void* user);
// Builds the record for a menu pick and hands it over (takes ownership of `a`).
void mon_expand_abbrev_from_menu(abbr_abbrev* a);
// Hands `tai` to the replacement thread; when that fails the hook undoes its preparation so
// typing is not ignored for ever.
void mon_hand_over_tai();
// Resets every per-key field (tests and mon_stop).
void mon_reset_hook_state();

// ---- Hook thread (hook_thread.cc) ----

extern std::atomic<int> g_keyboard_hook_called;
// Handles one message on the hook thread; false for WM_MON_QUIT.
bool mon_handle_hook_thread_message(const plat_msg& msg);
const mon_callbacks& mon_cb();

// ---- Interactive input and tooltips (ii_tooltip.cc) ----

// Copies the match for the preview and starts the show and destroy timers.
void mon_schedule_tooltip(const abbrev_match* m, const std::string& typed);
void mon_destroy_tooltip_window_threadunsafe();
