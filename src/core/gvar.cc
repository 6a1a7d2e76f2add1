#include "core/gvar.h"

#include <cctype>

#include "core/gvar_platform.h"
#include "settings/prefs.h"
#include "util/strutil.h"

setting* gvar_lst = nullptr;

namespace {

std::string sep() { return std::string(1, path_separator()); }

// The drive of a Windows path: a leading letter up to and including the first ':'.
std::optional<std::string> drive_of(const std::string& path) {
  if (path.empty() || !isalpha(static_cast<unsigned char>(path[0]))) return std::nullopt;
  size_t colon = path.find(':');
  if (colon == std::string::npos) return std::nullopt;
  return path.substr(0, colon + 1);
}

void set_opt(const char* name, const std::optional<std::string>& value) {
  gvar_set(name, value ? value->c_str() : "");
}

}  // namespace

gvar_facts gvar_query_system(int argc, const char* const* argv) {
  gvar_facts f;
  f.module_path = gvar_platform_module_path();
  f.executable_path = gvar_platform_executable_path(argc, argv);
  f.roaming_dir = gvar_platform_roaming_data_dir();
  f.local_dir = gvar_platform_local_data_dir();
  f.windows_dir = gvar_platform_windows_dir();
  f.installed_dir = gvar_platform_installed_dir();
  f.current_dir = gvar_platform_current_dir();
  return f;
}

void gvar_set_all(int argc, const char* const* argv) { gvar_set_all_from(gvar_query_system(argc, argv), argc, argv); }

void gvar_set_all_from(const gvar_facts& facts, int argc, const char* const* argv) {
  std::string program_dir = facts.module_path ? path_dirname(*facts.module_path) : facts.current_dir;
  std::string top = path_dirname(path_dirname(program_dir));
  std::string app_dir = top + sep() + "app";
  std::string portable_data_dir = top + sep() + "data";
  gvar_set("portable_exe_path", (top + sep() + gvar_platform_portable_launcher_name()).c_str());

  bool arg_passed = false;
  for (int i = 1; i < argc; i++)
    if (argv[i] && str_caseeq(argv[i], "--portable")) arg_passed = true;
  bool has_app_dir = dir_exists(app_dir);
  bool portable = has_app_dir && argc > 1 && argv[1] && str_caseeq(argv[1], "--portable");
  gvar_set_int("portable_mode", portable);
  gvar_set_int("portable_arg_passed", arg_passed);

  if (has_app_dir)
    gvar_set("installation_dir", program_dir.c_str());
  else
    set_opt("installation_dir", facts.installed_dir);

  set_opt("local_appdata_dir", facts.local_dir);
  std::string roaming = facts.roaming_dir.value_or("");
  std::string current = portable ? portable_data_dir : roaming + sep() + gvar_platform_app_folder_name();
  gvar_set("current_appdata_dir", current.c_str());
  gvar_set("current_appdata_dir_vanilla", roaming.c_str());
  gvar_set("data_dir", current.c_str());
  gvar_set("prefs_file", (current + sep() + "preferences.lt").c_str());
  set_opt("windows_path", facts.windows_dir);
  std::string exe = facts.executable_path.value_or("");
  gvar_set("executable_path", exe.c_str());
  gvar_set("our_exe_path", (program_dir + sep() + path_basename(exe)).c_str());
}

void gvar_set_all_after_prefs_loaded() { gvar_set_abbrev_file_paths_from_prefs(); }

void gvar_set_abbrev_file_paths_from_prefs() {
  std::optional<std::string> folder;
  bool te_sync_active = setting_get_int("sync_te") == 1;
  if (setting_get_int("use_diff_abbrev_dir") == 0 || te_sync_active)
    folder = gvar_get("data_dir");
  else
    folder = prefs_get_correct_diff_dir();
  set_opt("abbreviations_dir", folder);
  gvar_set("abbreviations_file", gvar_get_abbrev_file_from_dir(folder ? folder->c_str() : nullptr).c_str());
  gvar_set_sync_file_paths_from_prefs();
}

void gvar_restore_default_abbrev_file_paths() { gvar_set_abbrev_file_paths_from_prefs(); }

void gvar_set_sync_file_paths_from_prefs() {
  std::optional<std::string> folder = prefs_get_correct_diff_dir();
  gvar_set("nm_sync_file", folder ? (*folder + sep() + "abbreviations.tmk").c_str() : "");
  gvar_set("te_sync_file", folder ? (*folder + sep() + "Settings.textexpander").c_str() : "");
}

std::string gvar_get_abbrev_file_from_dir(const char* dir) {
  std::string folder = (dir && dir[0]) ? dir : gvar_get("data_dir");
  return folder + sep() + "abbreviations.tmk";
}

int portable_mode() { return gvar_get_int("portable_mode"); }

void gvar_free_all() {
  __setting_list_free(gvar_lst);
  gvar_lst = nullptr;
}

void gvar_after_main_window_shown() {}

std::string gvar_relativify_path(const std::string& path, const std::string& installation_dir) {
  std::optional<std::string> drive = drive_of(path);
  std::optional<std::string> own = drive_of(installation_dir);
  if (!drive || !own || !str_caseeq(*drive, *own)) return path;
  size_t i = drive->size();
  while (i < path.size() && path[i] == '\\') i++;
  return "\\" + path.substr(i);
}

std::string gvar_absolutify_path(const std::string& path, const std::string& installation_dir) {
  if (path.empty() || path[0] != '\\' || (path.size() > 1 && path[1] == '\\')) return path;
  std::optional<std::string> own = drive_of(installation_dir);
  return own ? *own + path : path;
}

std::optional<std::string> relativify_path_if_necessary(std::optional<std::string> path) {
  if (!path || !portable_mode()) return path;
  return gvar_relativify_path(*path, gvar_get("installation_dir"));
}

const char* gvar_get(const char* name) { return __setting_get(gvar_lst, name); }
int gvar_get_int(const char* name) { return __setting_get_int(gvar_lst, name); }
int gvar_does_exist(const char* name) { return __setting_does_exist(gvar_lst, name); }
void gvar_set(const char* name, const char* value) { gvar_lst = __setting_set(gvar_lst, name, value); }
void gvar_set_int(const char* name, int value) { gvar_lst = __setting_set_int(gvar_lst, name, value); }
void gvar_delete(const char* name) { gvar_lst = __setting_delete(gvar_lst, name); }
