// Start-up steps that need no window system: toolkit environment, the user CSS file, loading
// the library, the included example set, imports and the earlier product's import offer.
#include <glib.h>

#include <cstdlib>
#include <cstring>

#include "core/app.h"
#include "core/gvar.h"
#include "core/msgbox.h"
#include "library/abbr.h"
#include "library/abbr_file.h"
#include "settings/prefs.h"
#include "util/atomic_save.h"
#include "util/strutil.h"

#ifndef QX_DATA_DIR
#define QX_DATA_DIR ""
#endif

namespace {
core_te_import_func g_te_import = nullptr;  // UI thread

// The subfolder the loader added last below `parent`, or null when it added none.
abbr_folder* last_subfolder(abbr_folder* parent, int count_before) {
  if (plist_get_n_elements(parent->subfolders) <= count_before) return nullptr;
  return static_cast<abbr_folder*>(plist_get_last(parent->subfolders)->data);
}

// Loads `file` below the sandbox's top folder and names the new folder `name`. Returns the
// folder, or null with *error set.
abbr_folder* load_into_sandbox(const std::string& file, const std::string& name, std::string* error) {
  abbr_folder* top = abbr_get_absolute_parent_folder(ABBR_SANDBOX_LIST);
  if (!top) {
    abbr_create_sandbox();
    top = abbr_get_absolute_parent_folder(ABBR_SANDBOX_LIST);
  }
  if (!top) {
    *error = "The library is not loaded.";
    return nullptr;
  }
  int before = plist_get_n_elements(top->subfolders);
  bool ok = abbr_load_abbreviations_from_file(file, top, error);
  abbr_folder* f = last_subfolder(top, before);
  if (!f) {
    if (ok) *error = "The file holds no folder.";
    return nullptr;
  }
  f->name = name;
  return f;
}

std::string file_stem(const std::string& path) {
  std::string base = path_basename(path);
  size_t dot = base.rfind('.');
  if (dot != std::string::npos && dot > 0) base.resize(dot);
  return base;
}
}  // namespace

const char CORE_GTK_CSS[] =
    "*:focus { outline: none; }\n"
    "overshoot.top, overshoot.right, overshoot.bottom, overshoot.left { background: none; }";

void core_set_gtk_theme_env(bool overwrite) {
  g_setenv("GTK_THEME", setting_get_int("lmode") == 1 ? "Adwaita" : "Adwaita:dark", overwrite);
  g_setenv("GTK_CSD", "0", FALSE);
}

bool core_write_gtk_css(const std::string& folder) {
  std::string file = path_join(folder, "gtk.css");
  if (file_exists(file)) return true;
  if (!mkdir_p(folder, path_separator())) return false;
  return save_file_atomically(file, std::string(CORE_GTK_CSS, sizeof CORE_GTK_CSS - 1));
}

void deal_with_gtk_css_stuff() {
  std::string folder = core_gtk_css_folder();
  if (!folder.empty()) core_write_gtk_css(folder);
}

void load_up_users_abbreviations(const char* dir) {
  abbr_free_folder_list(ABBR_MAIN_LIST);
  abbr_free_folder_list(ABBR_SANDBOX_LIST);
  std::string file = dir ? gvar_get_abbrev_file_from_dir(dir) : std::string(gvar_get("abbreviations_file"));
  abbr_set_file_path(file);
  abbr_load_main_list_from_file(file);
  abbr_create_sandbox();
}

bool core_apply_sandbox() {
  abbr_flush_sandbox_to_main();
  std::string error;
  if (!abbr_dump_main_folder_list_to_file(&error)) {
    show_msgbox(MSGBOX_ERROR, MSGBOX_BUTTONS_OK, "\n" + error);
    return false;
  }
  return true;
}

std::string core_find_data_file(const std::string& file) {
  std::vector<std::string> dirs;
  std::string exe = gvar_get("our_exe_path");
  if (!exe.empty()) {
    std::string here = path_dirname(exe);
    dirs.push_back(path_join(here, "data"));                        // portable or unpacked
    dirs.push_back(path_join(path_dirname(here), "share/quiverex"));  // installed under a prefix
  }
  if (QX_DATA_DIR[0]) dirs.push_back(QX_DATA_DIR);
  for (const std::string& d : dirs)
    if (file_exists(path_join(d, file))) return d;
  return std::string();
}

int import_included_set(const char* name, int quiet) {
  std::string file = std::string(name) + ".tmk";
  for (char& c : file) c = static_cast<char>(g_ascii_tolower(c));
  std::string dir = core_find_data_file(file);
  std::string error = "The file " + file + " was not found next to the program.";
  abbr_folder* f = dir.empty() ? nullptr : load_into_sandbox(path_join(dir, file), name, &error);
  if (!f && !quiet)
    show_msgbox(MSGBOX_ERROR, MSGBOX_BUTTONS_OK, strprintf("\nUnable to load the included set '%s': %s", name,
                                                           error.c_str()));
  return f != nullptr;
}

namespace {
int import_abbrevs_impl(const char* path, bool with_ui) {
  std::string error;
  abbr_folder* f = load_into_sandbox(path, file_stem(path), &error);
  if (!f) {
    if (with_ui)
      show_msgbox(MSGBOX_ERROR, MSGBOX_BUTTONS_OK,
                  strprintf("\nUnable to import Quiverextions from '%s': %s", path, error.c_str()));
    return 0;
  }
  int n = abbr_get_n_abbrevs_in_folder(f, true);
  const core_app_ops& ops = core_get_app_ops();
  if (ops.main_window_apply_all_changes)
    ops.main_window_apply_all_changes();
  else
    core_apply_sandbox();
  if (with_ui)
    show_msgbox(MSGBOX_INFO, MSGBOX_BUTTONS_OK,
                strprintf("\nSuccessfully imported %d Quiverextions into folder '%s'.", n, f->name.c_str()));
  return 1;
}
}  // namespace

int import_abbrevs(const char* path) { return import_abbrevs_impl(path, true); }
int import_abbrevs_non_ui(const char* path) { return import_abbrevs_impl(path, false); }

void core_set_te_import_func(core_te_import_func func) { g_te_import = func; }

int core_import_file(const std::string& path, bool with_ui) {
  if (str_ends_with_case(path, ".textexpander")) {
    if (g_te_import) return g_te_import(path.c_str(), with_ui);
    if (with_ui)
      show_msgbox(MSGBOX_ERROR, MSGBOX_BUTTONS_OK,
                  "\nTextExpander files cannot be imported by this build of Quiverex.");
    return 0;
  }
  return with_ui ? import_abbrevs(path.c_str()) : import_abbrevs_non_ui(path.c_str());
}

std::string core_tolmek_prefs_path() {
  return path_join(path_join(gvar_get("current_appdata_dir_vanilla"), "Tolmek"), "prefs.lt");
}

void ask_if_user_wants_us_to_import_tolmek_abbreviations_if_they_exist() {
  if (portable_mode()) return;
  std::string old_prefs = core_tolmek_prefs_path();
  if (!file_exists(old_prefs)) return;
  std::string old_library = path_join(path_dirname(old_prefs), "abbreviations.tmk");

  setting* old = __settings_load_from_file(old_prefs.c_str(), nullptr);
  if (old) {
    setting_set_int("trigger_hotkey", __setting_get_int(old, "trigger_hotkey"));
    setting_set("delim_chars", __setting_get(old, "delim_chars"));
    setting_set_int("use_diff_abbrev_dir", __setting_get_int(old, "use_diff_abbrev_dir"));
    setting_set("diff_abbrev_dir", __setting_get(old, "diff_abbrev_dir"));
    setting_set_int("auto_backup", __setting_get_int(old, "auto_backup"));
    __setting_list_free(old);
  }

  int answer = show_msgbox(MSGBOX_INFO, MSGBOX_BUTTONS_YES_NO,
                           "\nHey, I noticed you're a Tolmek user! Would you like me to import your existing "
                           "abbreviations into Quiverex for you? (You can always do this later if you want.)");
  if (answer == MSGBOX_RESPONSE_YES) {
    if (setting_get_int("use_diff_abbrev_dir") == 1)
      old_library = path_join(path_join(setting_get("diff_abbrev_dir"), "Tolmek"), "abbreviations.tmk");
    gvar_set_all_after_prefs_loaded();
    abbr_set_file_path(gvar_get("abbreviations_file"));
    // The old library becomes the whole library, with the examples added to it.
    abbr_load_main_list_from_file(old_library);
    abbr_create_sandbox();
    import_included_set("Examples", 1);
    abbr_folder* top = abbr_get_absolute_parent_folder(ABBR_SANDBOX_LIST);
    if (top) top->name = "Everything";
    const core_app_ops& ops = core_get_app_ops();
    if (ops.main_window_apply_all_changes)
      ops.main_window_apply_all_changes();
    else
      core_apply_sandbox();
  }
  show_msgbox(MSGBOX_INFO, MSGBOX_BUTTONS_OK,
              "\nNo problem! Please note: if you run Quiverex and Tolmek at the same time, they will conflict, "
              "and Weird Things\u2122 are bound to happen. We highly recommended that you either uninstall Tolmek, "
              "or at least turn it off for now by doing the following:\n\n1) Open up Tolmek and go to "
              "Preferences.\n2) Uncheck the \"Start Tolmek with Windows\" option.\n3) Click File -> Exit in "
              "Tolmek.\n\nThen come back here to Quiverex and you'll be good to go!");
}
