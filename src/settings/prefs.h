// The preferences: prefs_lst loaded from and saved to the file named by the path variable
// "prefs_file", with the defaults and one-time migrations applied at every load. Other modules
// read and write prefs_lst directly by key (settings.h). UI thread only.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "settings/settings.h"

// Loads prefs_lst (replacing a list still loaded), applies the defaults and migrations and
// tells the keyboard monitor. Returns the reader's error, if any (a missing or invalid file
// still leaves a list full of defaults).
std::optional<std::string> prefs_load();
// Writes prefs_lst to "prefs_file". A failed save is deliberately silent.
void prefs_save();
// Frees prefs_lst, sets it to nullptr and tells the keyboard monitor.
void prefs_free();
void prefs_set_defaults();
// Enlarges the main window of users who still have the old default size; runs while `v` is
// empty.
void prefs_do_backwards_compat();

// Case mode (0..2) for a new abbreviation of the given kind (0 text, 1 program launcher,
// 2 website launcher); launchers never adapt case.
int prefs_get_default_case_mode(int kind);
// Trigger mode (3..5) for new abbreviations.
int prefs_get_default_trigger_mode();
// The user's chosen abbreviation folder (`diff_abbrev_dir`), completed with the program's drive
// when it was stored without one; nullopt when none is chosen.
std::optional<std::string> prefs_get_correct_diff_dir();

// Starting with the system, as a bit (4) of the preferences window's flag set.
enum { PREFS_START_WITH_SYSTEM = 4 };
// 4 when the start entry exists, else 0.
int get_start_with_windows();
// The command line the start entry runs (" --systray" added when systray is non-zero).
std::string build_reg_run_value(int systray);
// Creates (wanted has bit 4) or removes the start entry, unless `unchanged` has bit 4.
// Returns 0 on success, 4 on failure.
int set_start_with_windows(int wanted, int unchanged);

// The proxy password (`proxy_`) is kept scrambled with a keyed reversible scrambling, so the
// file never shows it in clear text. Unscrambling text that was not made by the scrambler
// gives nullopt.
std::string prefs_scramble_password(const std::string& plain);
std::optional<std::string> prefs_unscramble_password(const std::string& scrambled);
std::string prefs_get_proxy_password();
void prefs_set_proxy_password(const std::string& plain);

// The language code (ISO 639, "en", "de", ...) of the current keyboard layout; nullopt when the
// system cannot tell. Set by the application from its platform backend; while unset the query
// counts as failed.
typedef std::optional<std::string> (*prefs_keyboard_language_func)();
void prefs_set_keyboard_language_func(prefs_keyboard_language_func func);

// Called after every load (reloaded) and after prefs_free (freed), so the keyboard monitor can
// refresh or drop the values its hook thread caches. Either may be nullptr.
void prefs_set_monitor_callbacks(void (*reloaded)(), void (*freed)());

// The system's low-level hook time-out: the decision apart from the registry, so that it can
// be tested anywhere. `reg` stands for the opened key HKEY_CURRENT_USER "Control Panel\Desktop".
struct prefs_hook_timeout_registry {
  virtual ~prefs_hook_timeout_registry() = default;
  virtual bool open() = 0;
  virtual std::optional<uint32_t> read_dword(const char* name) = 0;
  virtual bool write_dword(const char* name, uint32_t value) = 0;
  virtual void close() = 0;
};
struct prefs_os_version {
  int major;
  int minor;
};
// Raises "LowLevelHooksTimeout" to 1000 ms (Windows 8 and later) or 5000 ms (earlier, or when
// the version is unknown), keeping the user's own value once in "LowLevelHooksTimeoutBackup".
// `lt_exists` says whether the marker `lt` is in the preferences. Returns the value to store in
// `lt`, or nullopt to leave it.
std::optional<int> prefs_hook_timeout_apply(std::optional<prefs_os_version> version, bool lt_exists,
                                            prefs_hook_timeout_registry& reg);
