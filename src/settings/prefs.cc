#include "settings/prefs.h"

#include <cstring>

#include "core/gvar.h"
#include "settings/autostart.h"
#include "settings/prefs_platform.h"
#include "util/strutil.h"

namespace {

prefs_keyboard_language_func keyboard_language_func = nullptr;
void (*monitor_reloaded)() = nullptr;
void (*monitor_freed)() = nullptr;

void set_if_absent(const char* name, const char* value) {
  if (!setting_does_exist(name)) setting_set(name, value);
}

void set_int_if_absent(const char* name, int value) {
  if (!setting_does_exist(name)) setting_set_int(name, value);
}

// Colours are "#rrggbb"; anything shorter (an older short form, or nothing) gets the theme's
// colour.
void default_colour(const char* name, const char* light, const char* dark) {
  if (strlen(setting_get(name)) < 7) setting_set(name, setting_get_int("lmode") == 1 ? light : dark);
}

void migrate_font() {
  if (setting_get("ui_font")[0] == '\0') {
    setting_set("ui_font", "Segoe UI 9");
  } else if (!setting_does_exist("ui_font_up")) {
    setting_set_int("ui_font_up", 1);
    if (str_caseeq(setting_get("ui_font"), "Segoe UI 8")) setting_set("ui_font", "Segoe UI 9");
  }
  set_int_if_absent("ui_font_up", 1);
  // The larger font needs a wider folder pane.
  if (str_caseeq(setting_get("ui_font"), "Segoe UI 9") && setting_get_int("a_pos") == 166 &&
      !setting_does_exist("a_poss")) {
    setting_set_int("a_pos", 178);
    setting_set_int("a_poss", 1);
  }
}

void migrate_sync() {
  // Every user gets the clipboard auto-switch once, whatever was chosen before the marker.
  if (!setting_does_exist("use_clipboard_more_than") || !setting_does_exist("ucmt")) {
    setting_set_int("use_clipboard_more_than", 1);
    setting_set_int("ucmt", 1);
  }
  // A chosen abbreviation folder from before the sync modes existed was a normal sync.
  if (!setting_does_exist("sync_te") && !setting_does_exist("sync_norm")) {
    if (setting_does_exist("use_diff_abbrev_dir")) {
      setting_set_int("sync_norm", 1);
      setting_set_int("sync_te", 0);
    }
    if (setting_get_int("use_diff_abbrev_dir") == 1) setting_set_int("aldir", 1);
  }
  if (setting_get_int("use_diff_abbrev_dir") == 1 && setting_get_int("sync_te") == 1) {
    if (setting_get_int("textexpander_mode") == 0) setting_set_int("textexpander_mode", 1);
    if (!setting_does_exist("3")) {
      setting_set_int("tesyncalready", 1);
      gvar_set_int("te_resync", 1);
    }
  }
  setting_set_int("3", 1);
}

// The keyboard monitor's focus fix suits English layouts, and anyone whose layout cannot be
// asked for.
void migrate_focus_fix() {
  if (setting_does_exist("afte")) return;
  std::optional<std::string> lang = keyboard_language_func ? keyboard_language_func() : std::nullopt;
  if (!lang || (lang->size() >= 2 && str_caseeq(lang->substr(0, 2), "en"))) setting_set_int("ffocusri", 1);
  setting_set_int("afte", 1);
}

const unsigned char scramble_key[] = "q7#Vd!xW2p@Lr9&Kz$Nf4*Hm8^Tb6%Jc";
const unsigned char scramble_seed = 0xA7;

}  // namespace

std::optional<std::string> prefs_load() {
  __setting_list_free(prefs_lst);
  std::optional<std::string> error;
  prefs_lst = __settings_load_from_file(gvar_get("prefs_file"), &error);
  prefs_set_defaults();
  prefs_do_backwards_compat();
  if (monitor_reloaded) monitor_reloaded();
  return error;
}

void prefs_save() { __settings_dump_to_file(prefs_lst, gvar_get("prefs_file")); }

void prefs_free() {
  __setting_list_free(prefs_lst);
  prefs_lst = nullptr;
  if (monitor_freed) monitor_freed();
}

void prefs_set_defaults() {
  // Users upgrading keep the button row; a first installation starts without it.
  const bool file_had_settings = prefs_lst != nullptr;

  if (setting_get("trigger_hotkey")[0] == '\0') setting_set("trigger_hotkey", "17");
  set_if_absent("delim_chars", ",.?!()<>[]{}:;\"/\\-' \n\t");
  set_int_if_absent("uc_check", 1);
  set_int_if_absent("uc_check_days", 1);
  set_if_absent("launchpad_hotkey", "17 32");
  set_int_if_absent("launchpad_enable", 1);
  set_if_absent("quickadd_sel_hotkey", "18 16 83");
  set_if_absent("quickadd_clip_hotkey", "18 16 67");
  set_if_absent("edit_last_typed_hotkey", "18 16 76");
  if (setting_get_int("norm_view") == 0 && setting_get_int("adv_view") == 0) setting_set_int("adv_view", 1);
  if (setting_get("repleditor_font")[0] == '\0') setting_set("repleditor_font", "Segoe UI 10");
  migrate_font();
  set_int_if_absent("dmode", 1);
  set_int_if_absent("lmode", 0);
  default_colour("a_color", "#323232", "#3ad2fc");
  default_colour("r_color", "#323232", "#b09cf3");
  default_colour("o_color", "#002c8c", "#27d6b3");
  set_int_if_absent("contfol_col", 0);
  set_int_if_absent("remember_sel_folder", 1);
  set_int_if_absent("a_sc", 2);
  set_if_absent("a_so", "asc");
  if (!setting_does_exist("auto_backup")) {
    setting_set_int("auto_backup", 1);
    gvar_set_int("backup_srsly", 1);
  }
  set_int_if_absent("limit_total_backup", 1);
  set_int_if_absent("backup_max_count", 25);
  if (!setting_does_exist("backup_dir")) {
    std::string dir = std::string(gvar_get("data_dir")) + path_separator() + "backups";
    setting_set("backup_dir", relativify_path_if_necessary(dir)->c_str());
  }
  set_int_if_absent("show_bottom_buttons", file_had_settings ? 1 : 0);
  set_int_if_absent("t", 1);
  set_int_if_absent("output_method", 0);
  migrate_sync();
  migrate_focus_fix();
  set_int_if_absent("rablecols", 1);
  if (!setting_does_exist("cort")) setting_set_int("cont_window_changed", 1);
  setting_set_int("cort", 1);
  prefs_platform_adjust_hook_timeout();
}

void prefs_do_backwards_compat() {
  if (setting_get("v")[0] != '\0') return;
  if (setting_get_int("win_height") < 617) {
    setting_set_int("win_height", 617);
    setting_set("v", "2024.04.10");
  }
  if (setting_get_int("win_width") == 753) {
    setting_set_int("win_width", 995);
    setting_set("v", "2024.04.10");
  }
}

int prefs_get_default_case_mode(int kind) {
  const bool launcher = kind == 1 || kind == 2;
  if (setting_does_exist("default_case_mode")) {
    int mode = setting_get_int("default_case_mode");
    if (mode >= 0 && mode <= 2) return (mode == 2 && launcher) ? 1 : mode;
  }
  setting_set_int("default_case_mode", 2);
  return launcher ? 1 : 2;
}

int prefs_get_default_trigger_mode() {
  if (setting_does_exist("default_trigger_mode")) {
    int mode = setting_get_int("default_trigger_mode");
    if (mode >= 3 && mode <= 5) return mode;
  }
  setting_set_int("default_trigger_mode", 3);
  return 3;
}

std::optional<std::string> prefs_get_correct_diff_dir() {
  std::string dir = setting_get("diff_abbrev_dir");
  if (dir.empty()) return std::nullopt;
  if (portable_mode()) dir = gvar_absolutify_path(dir, gvar_get("installation_dir"));
  return dir;
}

int get_start_with_windows() { return autostart_entry_exists() ? PREFS_START_WITH_SYSTEM : 0; }

std::string build_reg_run_value(int systray) {
  const char* suffix = systray ? " --systray" : "";
  if (gvar_get_int("portable_arg_passed") != 0) {
    if (gvar_get("portable_exe_path")[0] == '\0')
      return strprintf("\"%s\" --portable%s", gvar_get("our_exe_path"), suffix);
    return strprintf("\"%s\"%s", gvar_get("portable_exe_path"), suffix);
  }
  return strprintf("\"%s\"%s", gvar_get("executable_path"), suffix);
}

int set_start_with_windows(int wanted, int unchanged) {
  if (unchanged & PREFS_START_WITH_SYSTEM) return 0;
  // The entry always starts the program in the tray.
  bool ok = (wanted & PREFS_START_WITH_SYSTEM) ? autostart_entry_set(build_reg_run_value(1))
                                               : autostart_entry_remove();
  return ok ? 0 : PREFS_START_WITH_SYSTEM;
}

std::string prefs_scramble_password(const std::string& plain) {
  static const char hex[] = "0123456789ABCDEF";
  const size_t key_len = sizeof scramble_key - 1;
  std::string out;
  unsigned char prev = scramble_seed;
  for (size_t i = 0; i < plain.size(); i++) {
    // Chaining on the previous output byte hides repeated characters.
    unsigned char c = static_cast<unsigned char>(plain[i]) ^ scramble_key[i % key_len] ^ prev;
    out.push_back(hex[c >> 4]);
    out.push_back(hex[c & 15]);
    prev = c;
  }
  return out;
}

std::optional<std::string> prefs_unscramble_password(const std::string& scrambled) {
  auto nibble = [](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  };
  if (scrambled.size() % 2) return std::nullopt;
  const size_t key_len = sizeof scramble_key - 1;
  std::string out;
  unsigned char prev = scramble_seed;
  for (size_t i = 0; i < scrambled.size(); i += 2) {
    int hi = nibble(scrambled[i]), lo = nibble(scrambled[i + 1]);
    if (hi < 0 || lo < 0) return std::nullopt;
    unsigned char c = static_cast<unsigned char>(hi << 4 | lo);
    out.push_back(static_cast<char>(c ^ scramble_key[(i / 2) % key_len] ^ prev));
    prev = c;
  }
  return out;
}

std::string prefs_get_proxy_password() {
  return prefs_unscramble_password(setting_get("proxy_")).value_or(std::string());
}

void prefs_set_proxy_password(const std::string& plain) {
  setting_set("proxy_", prefs_scramble_password(plain).c_str());
}

void prefs_set_keyboard_language_func(prefs_keyboard_language_func func) { keyboard_language_func = func; }

void prefs_set_monitor_callbacks(void (*reloaded)(), void (*freed)()) {
  monitor_reloaded = reloaded;
  monitor_freed = freed;
}
