// The path variables: every file location of the program, computed at start-up into the
// settings list gvar_lst together with a few run-time flags other modules add
// ("backup_srsly", "expabs", "te_resync", ...). Never saved. UI thread only.
//
// Two layouts exist. Installed: the data folder is the program's folder below the user's
// roaming data folder. Portable: the program runs from <top>/app/<program folder>/ and keeps its
// data in <top>/data; it is chosen only when <top>/app exists and the first argument is
// exactly "--portable".
#pragma once

#include <optional>
#include <string>

#include "settings/settings.h"

extern setting* gvar_lst;

// What the system reports, gathered by gvar_query_system; tests build their own.
struct gvar_facts {
  std::optional<std::string> module_path;      // the program file
  std::optional<std::string> executable_path;  // the program as started
  std::optional<std::string> roaming_dir;
  std::optional<std::string> local_dir;
  std::optional<std::string> windows_dir;
  std::optional<std::string> installed_dir;  // where the installer put the program
  std::string current_dir;
};
gvar_facts gvar_query_system(int argc, const char* const* argv);

// Computes every path variable except the abbreviation and sync paths, overwriting earlier
// values (start-up calls it more than once).
void gvar_set_all(int argc, const char* const* argv);
void gvar_set_all_from(const gvar_facts& facts, int argc, const char* const* argv);
// After the preferences are loaded: the abbreviation file and sync file paths.
void gvar_set_all_after_prefs_loaded();
// The abbreviation file lives in "data_dir" unless the user chose a folder
// (`use_diff_abbrev_dir`); while the TextExpander sync mode is active it stays in "data_dir",
// since the chosen folder then holds the TextExpander file instead.
void gvar_set_abbrev_file_paths_from_prefs();
void gvar_restore_default_abbrev_file_paths();
// "nm_sync_file" and "te_sync_file" in the chosen sync folder ("" when none is chosen).
void gvar_set_sync_file_paths_from_prefs();
// `dir` (or "data_dir" when null or empty) joined with "abbreviations.tmk".
std::string gvar_get_abbrev_file_from_dir(const char* dir);
int portable_mode();
void gvar_free_all();
// Called once the main window is shown; nothing needs doing then.
void gvar_after_main_window_shown();

// In portable mode, a path on the same drive as "installation_dir" loses its drive letter so
// that it still works when the portable folder moves to another drive ("E:\data\x" becomes
// "\data\x"). Anything else, and every path outside portable mode, comes back as it was.
std::optional<std::string> relativify_path_if_necessary(std::optional<std::string> path);
// The rule itself, for a given installation folder.
std::string gvar_relativify_path(const std::string& path, const std::string& installation_dir);
// The inverse: a path that begins with a single backslash gets the drive of the installation
// folder in front; anything else comes back as it was.
std::string gvar_absolutify_path(const std::string& path, const std::string& installation_dir);

// Shorthands on gvar_lst, which they keep up to date.
const char* gvar_get(const char* name);
int gvar_get_int(const char* name);
int gvar_does_exist(const char* name);
void gvar_set(const char* name, const char* value);
void gvar_set_int(const char* name, int value);
void gvar_delete(const char* name);
