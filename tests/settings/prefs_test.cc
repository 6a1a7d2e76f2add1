#include "settings/prefs.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "core/gvar.h"
#include "util/strutil.h"

namespace fs = std::filesystem;

namespace {

std::optional<std::string> g_language;
int g_language_asks = 0;
std::optional<std::string> fake_language() {
  g_language_asks++;
  return g_language;
}

int g_reloaded = 0, g_freed = 0;

// Preferences in a throwaway configuration folder.
class PrefsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/qx_prefs_XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    dir_ = tmpl;
    const char* old = getenv("XDG_CONFIG_HOME");
    if (old) old_config_ = old;
    setenv("XDG_CONFIG_HOME", (dir_ + "/config").c_str(), 1);
    const char* argv[] = {"quiverex"};
    gvar_set_all(1, argv);
    g_language = "en";
    g_language_asks = 0;
    prefs_set_keyboard_language_func(fake_language);
  }
  void TearDown() override {
    prefs_free();
    gvar_free_all();
    prefs_set_keyboard_language_func(nullptr);
    prefs_set_monitor_callbacks(nullptr, nullptr);
    if (old_config_)
      setenv("XDG_CONFIG_HOME", old_config_->c_str(), 1);
    else
      unsetenv("XDG_CONFIG_HOME");
    fs::remove_all(dir_);
  }
  std::string prefs_file() const { return gvar_get("prefs_file"); }
  // Writes the preferences file and loads it the way start-up does.
  std::optional<std::string> load(const std::string& text) {
    fs::create_directories(path_dirname(prefs_file()));
    EXPECT_TRUE(dump_data_to_file(prefs_file(), text.data(), text.size()));
    return prefs_load();
  }
  std::string dir_;
  std::optional<std::string> old_config_;
};

TEST_F(PrefsTest, AnEmptyFileGivesEveryDefaultAndTheMarkers) {
  EXPECT_FALSE(load(""));
  // The defaults that depend on where the program runs, and the markers of the one-time
  // migrations.
  EXPECT_STREQ(setting_get("backup_dir"), (dir_ + "/config/quiverex/backups").c_str());
  for (const char* marker : {"ui_font_up", "t", "ucmt", "3", "afte", "cort"})
    EXPECT_STREQ(setting_get(marker), "1") << marker;
  EXPECT_EQ(gvar_get_int("backup_srsly"), 1);
  EXPECT_FALSE(gvar_does_exist("te_resync"));

  // Saved and loaded again, nothing changes any more: every migration left its marker.
  std::string first = settings_format(prefs_lst);
  prefs_save();
  EXPECT_EQ(read_file_to_string(prefs_file()).value(), first);
  prefs_load();
  EXPECT_EQ(settings_format(prefs_lst), first);
}

TEST_F(PrefsTest, MissingAndInvalidFilesBothGiveDefaults) {
  g_reloaded = g_freed = 0;
  prefs_set_monitor_callbacks([] { g_reloaded++; }, [] { g_freed++; });
  std::optional<std::string> err = prefs_load();
  EXPECT_EQ(g_reloaded, 1);
  ASSERT_TRUE(err);
  EXPECT_EQ(__setting_get_file_existed_from_err_msg(err), 0);
  EXPECT_EQ(setting_get_int("show_bottom_buttons"), 0);
  EXPECT_FALSE(fs::exists(dir_ + "/config")) << "loading must not create anything";
  err = load("\"a_sc\"=\"5\"\n\"broken\n");
  ASSERT_TRUE(err);
  EXPECT_EQ(*err, "Invalid setting file.");
  EXPECT_EQ(setting_get_int("a_sc"), 2);
  prefs_free();
  EXPECT_EQ(prefs_lst, nullptr);
  EXPECT_EQ(g_freed, 1);
}

TEST_F(PrefsTest, UpgradingUsersKeepTheirValuesAndGetTheButtonRow) {
  load("\"a_sc\"=\"4\"\n\"trigger_hotkey\"=\"\"\n\"a_color\"=\"#abc\"\n\"r_color\"=\"#123456\"\n"
       "\"lmode\"=\"1\"\n\"cont_window_changed\"=\"0\"\n\"use_clipboard_more_than\"=\"0\"\n");
  EXPECT_EQ(setting_get_int("show_bottom_buttons"), 1);
  EXPECT_EQ(setting_get_int("a_sc"), 4);
  EXPECT_STREQ(setting_get("trigger_hotkey"), "17");
  EXPECT_STREQ(setting_get("a_color"), "#323232");  // short colour: the light theme's default
  EXPECT_STREQ(setting_get("r_color"), "#123456");
  EXPECT_STREQ(setting_get("o_color"), "#002c8c");
  // Switched on once for everyone whose file predates the markers.
  EXPECT_EQ(setting_get_int("cont_window_changed"), 1);
  EXPECT_EQ(setting_get_int("use_clipboard_more_than"), 1);
}

TEST_F(PrefsTest, WindowSizeMigration) {
  load("\"win_width\"=\"753\"\n");
  EXPECT_EQ(setting_get_int("win_width"), 995);
  EXPECT_EQ(setting_get_int("win_height"), 617);
  EXPECT_STREQ(setting_get("v"), "2024.04.10");
  // Tall enough and not the old width: nothing changes and the check stays armed.
  load("\"win_width\"=\"800\"\n\"win_height\"=\"700\"\n");
  EXPECT_EQ(setting_get_int("win_width"), 800);
  EXPECT_STREQ(setting_get("v"), "");
  // Once stamped, the user's own sizes are kept.
  load("\"win_width\"=\"753\"\n\"win_height\"=\"400\"\n\"v\"=\"2024.04.10\"\n");
  EXPECT_EQ(setting_get_int("win_width"), 753);
  EXPECT_EQ(setting_get_int("win_height"), 400);
}

TEST_F(PrefsTest, FontAndPaneMigrations) {
  load("\"ui_font\"=\"segoe ui 8\"\n\"a_pos\"=\"166\"\n");
  EXPECT_STREQ(setting_get("ui_font"), "Segoe UI 9");
  EXPECT_EQ(setting_get_int("a_pos"), 178);
  EXPECT_EQ(setting_get_int("a_poss"), 1);
  load("\"ui_font\"=\"Segoe UI 8\"\n\"ui_font_up\"=\"1\"\n\"a_pos\"=\"166\"\n");
  EXPECT_STREQ(setting_get("ui_font"), "Segoe UI 8");
  EXPECT_EQ(setting_get_int("a_pos"), 166);
  EXPECT_FALSE(setting_does_exist("a_poss"));
}

TEST_F(PrefsTest, SyncMigrations) {
  load("\"use_diff_abbrev_dir\"=\"1\"\n");
  EXPECT_EQ(setting_get_int("sync_norm"), 1);
  EXPECT_STREQ(setting_get("sync_te"), "0");
  EXPECT_EQ(setting_get_int("aldir"), 1);
  EXPECT_FALSE(gvar_does_exist("te_resync"));

  load("\"use_diff_abbrev_dir\"=\"1\"\n\"sync_te\"=\"1\"\n");
  EXPECT_EQ(setting_get_int("textexpander_mode"), 1);
  EXPECT_EQ(setting_get_int("tesyncalready"), 1);
  EXPECT_EQ(gvar_get_int("te_resync"), 1);
  EXPECT_FALSE(setting_does_exist("sync_norm"));
  // The forced re-read happens once: "3" marks it done.
  load("\"use_diff_abbrev_dir\"=\"1\"\n\"sync_te\"=\"1\"\n\"3\"=\"1\"\n");
  EXPECT_FALSE(setting_does_exist("tesyncalready"));
}

TEST_F(PrefsTest, FocusFixFollowsTheKeyboardLanguageOnce) {
  struct {
    std::optional<std::string> language;
    bool fix;
  } cases[] = {{"en", true}, {"EN", true}, {"de", false}, {"e", false}, {std::nullopt, true}};
  for (const auto& c : cases) {
    g_language = c.language;
    load("\"a\"=\"1\"\n");
    EXPECT_EQ(setting_get_int("ffocusri"), c.fix ? 1 : 0) << c.language.value_or("(failed)");
  }
  g_language_asks = 0;
  load("\"afte\"=\"1\"\n");
  EXPECT_EQ(g_language_asks, 0);
  EXPECT_FALSE(setting_does_exist("ffocusri"));
  prefs_set_keyboard_language_func(nullptr);
  load("");
  EXPECT_EQ(setting_get_int("ffocusri"), 1);
}

TEST_F(PrefsTest, DefaultGettersCorrectWhatTheyFind) {
  load("\"default_trigger_mode\"=\"7\"\n\"default_case_mode\"=\"2\"\n");
  EXPECT_EQ(prefs_get_default_trigger_mode(), 3);
  EXPECT_STREQ(setting_get("default_trigger_mode"), "3");
  EXPECT_EQ(prefs_get_default_case_mode(1), 1);  // launchers never adapt case
  EXPECT_EQ(prefs_get_default_case_mode(2), 1);
  EXPECT_EQ(prefs_get_default_case_mode(0), 2);
  setting_set("default_trigger_mode", "5");
  setting_set("default_case_mode", "0");
  EXPECT_EQ(prefs_get_default_trigger_mode(), 5);
  EXPECT_EQ(prefs_get_default_case_mode(1), 0);
  setting_set("default_case_mode", "9");
  EXPECT_EQ(prefs_get_default_case_mode(2), 1);
  EXPECT_STREQ(setting_get("default_case_mode"), "2");
}

TEST_F(PrefsTest, ProxyPasswordIsScrambledReversibly) {
  for (std::string pw : {std::string(), std::string("aaaaaaaa"), std::string("pässwörd \"\\ 🔑")}) {
    prefs_set_proxy_password(pw);
    if (!pw.empty()) {
      EXPECT_EQ(std::string(setting_get("proxy_")).find(pw.substr(0, 4)), std::string::npos);
    }
    EXPECT_EQ(prefs_get_proxy_password(), pw);
  }
  std::string s = prefs_scramble_password("aaaa");
  EXPECT_NE(s.substr(0, 2), s.substr(2, 2));  // repeated characters show no pattern
  EXPECT_FALSE(prefs_unscramble_password("ABC"));
  EXPECT_FALSE(prefs_unscramble_password("zz"));
}

// The start entry is an XDG autostart file whose Exec line starts this program in the tray.
TEST_F(PrefsTest, StartEntryIsCreatedAndRemoved) {
  const std::string entry = dir_ + "/config/autostart/quiverex.desktop";
  const std::string exe = dir_ + "/my $HOME `apps`/100% q\\$x\\/quiverex";
  gvar_set("executable_path", exe.c_str());
  EXPECT_EQ(get_start_with_windows(), 0);
  EXPECT_EQ(set_start_with_windows(4, 0), 0);
  ASSERT_TRUE(fs::exists(entry));
  EXPECT_EQ(get_start_with_windows(), 4);

  // Read back as a desktop-file reader does: string unescaping, field codes, then quoting.
  GKeyFile* kf = g_key_file_new();
  ASSERT_TRUE(g_key_file_load_from_file(kf, entry.c_str(), G_KEY_FILE_NONE, nullptr));
  gchar* exec = g_key_file_get_string(kf, "Desktop Entry", "Exec", nullptr);
  g_key_file_free(kf);
  ASSERT_NE(exec, nullptr);
  std::string command = substitute_str(exec, "%%", "%", true, false);
  g_free(exec);
  gchar** argv = nullptr;
  ASSERT_TRUE(g_shell_parse_argv(command.c_str(), nullptr, &argv, nullptr)) << command;
  ASSERT_EQ(g_strv_length(argv), 2u) << command;
  EXPECT_EQ(std::string(argv[0]), exe);
  EXPECT_STREQ(argv[1], "--systray");
  g_strfreev(argv);

  // Unchanged: nothing happens, the entry stays.
  EXPECT_EQ(set_start_with_windows(0, 4), 0);
  EXPECT_TRUE(fs::exists(entry));
  EXPECT_EQ(set_start_with_windows(0, 0), 0);
  EXPECT_FALSE(fs::exists(entry));
  EXPECT_EQ(get_start_with_windows(), 0);
  EXPECT_EQ(set_start_with_windows(0, 0), 0);  // removing a missing entry is no failure
}

// A registry key as a map; the "absent" value is a missing map entry.
struct fake_registry : prefs_hook_timeout_registry {
  std::map<std::string, uint32_t> values;
  bool can_open = true;
  bool can_write = true;
  int writes = 0;
  bool open() override { return can_open; }
  std::optional<uint32_t> read_dword(const char* name) override {
    auto it = values.find(name);
    if (it == values.end()) return std::nullopt;
    return it->second;
  }
  bool write_dword(const char* name, uint32_t value) override {
    if (!can_write) return false;
    writes++;
    values[name] = value;
    return true;
  }
  void close() override {}
};

TEST(HookTimeoutTest, RaisesTheTimeoutAndKeepsTheUsersValueOnce) {
  const prefs_os_version win10{10, 0};
  fake_registry reg;
  reg.values["LowLevelHooksTimeout"] = 300;
  EXPECT_EQ(prefs_hook_timeout_apply(win10, false, reg), 2);
  EXPECT_EQ(reg.values["LowLevelHooksTimeout"], 1000u);
  EXPECT_EQ(reg.values["LowLevelHooksTimeoutBackup"], 300u);
  reg.writes = 0;
  EXPECT_EQ(prefs_hook_timeout_apply(win10, true, reg), std::nullopt);
  EXPECT_EQ(reg.writes, 0);

  // A later drop is raised again, but the first backup stays.
  reg.values["LowLevelHooksTimeout"] = 200;
  EXPECT_EQ(prefs_hook_timeout_apply(win10, true, reg), 2);
  EXPECT_EQ(reg.values["LowLevelHooksTimeout"], 1000u);
  EXPECT_EQ(reg.values["LowLevelHooksTimeoutBackup"], 300u);

  // Before Windows 8 the target is 5000; with no value of the user's there is no backup.
  for (prefs_os_version v : {prefs_os_version{6, 1}, prefs_os_version{5, 1}}) {
    fake_registry old;
    EXPECT_EQ(prefs_hook_timeout_apply(v, false, old), 2);
    EXPECT_EQ(old.values["LowLevelHooksTimeout"], 5000u);
    EXPECT_EQ(old.values.count("LowLevelHooksTimeoutBackup"), 0u);
  }
}

TEST(HookTimeoutTest, UnknownVersionAndRegistryFailures) {
  fake_registry reg;
  reg.values["LowLevelHooksTimeout"] = 100;
  EXPECT_EQ(prefs_hook_timeout_apply(std::nullopt, true, reg), std::nullopt);
  EXPECT_EQ(reg.writes, 0);
  EXPECT_EQ(prefs_hook_timeout_apply(std::nullopt, false, reg), 1);
  EXPECT_EQ(reg.values["LowLevelHooksTimeout"], 5000u);
  EXPECT_EQ(reg.values["LowLevelHooksTimeoutBackup"], 100u);
  // With a backup in place, an unknown version writes nothing.
  reg.values["LowLevelHooksTimeout"] = 100;
  reg.writes = 0;
  EXPECT_EQ(prefs_hook_timeout_apply(std::nullopt, false, reg), std::nullopt);
  EXPECT_EQ(reg.writes, 0);

  fake_registry closed;
  closed.can_open = false;
  EXPECT_EQ(prefs_hook_timeout_apply(prefs_os_version{10, 0}, false, closed), std::nullopt);
  fake_registry readonly;
  readonly.can_write = false;
  EXPECT_EQ(prefs_hook_timeout_apply(prefs_os_version{10, 0}, false, readonly), std::nullopt);
}

}  // namespace
