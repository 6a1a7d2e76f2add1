#include "core/gvar.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "settings/prefs.h"
#include "util/strutil.h"

namespace fs = std::filesystem;

namespace {

class GvarTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/qx_gvar_XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    dir_ = tmpl;
    for (const char* v : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "HOME"}) {
      const char* old = getenv(v);
      saved_env_[v] = old ? std::optional<std::string>(old) : std::nullopt;
    }
  }
  void TearDown() override {
    gvar_free_all();
    prefs_free();
    for (const auto& [name, value] : saved_env_) {
      if (value)
        setenv(name.c_str(), value->c_str(), 1);
      else
        unsetenv(name.c_str());
    }
    fs::remove_all(dir_);
  }
  // A portable layout: <top>/app/quiverex/quiverex, optionally without the "app" folder.
  gvar_facts portable_facts(bool with_app_dir) {
    std::string program_dir = dir_ + (with_app_dir ? "/top/app/quiverex" : "/top/bin/quiverex");
    fs::create_directories(program_dir);
    gvar_facts f;
    f.module_path = program_dir + "/quiverex";
    f.executable_path = program_dir + "/quiverex";
    f.roaming_dir = dir_ + "/roaming";
    f.local_dir = dir_ + "/local";
    f.installed_dir = "/opt/quiverex";
    f.current_dir = dir_;
    return f;
  }
  std::string dir_;
  std::map<std::string, std::optional<std::string>> saved_env_;
};

TEST_F(GvarTest, PortableLayoutNeedsTheAppFolderAndTheFirstArgument) {
  const char* first[] = {"quiverex", "--PORTABLE"};
  gvar_set_all_from(portable_facts(true), 2, first);
  const std::string top = dir_ + "/top";
  EXPECT_EQ(portable_mode(), 1);
  EXPECT_EQ(gvar_get_int("portable_arg_passed"), 1);
  EXPECT_EQ(gvar_get("data_dir"), top + "/data");
  EXPECT_EQ(gvar_get("current_appdata_dir"), top + "/data");
  EXPECT_EQ(gvar_get("prefs_file"), top + "/data/preferences.lt");
  EXPECT_EQ(gvar_get("installation_dir"), top + "/app/quiverex");
  EXPECT_EQ(gvar_get("portable_exe_path"), top + "/QuiverexPortable");
  EXPECT_EQ(gvar_get("current_appdata_dir_vanilla"), dir_ + "/roaming");
  EXPECT_EQ(gvar_get("local_appdata_dir"), dir_ + "/local");
  EXPECT_EQ(gvar_get("our_exe_path"), top + "/app/quiverex/quiverex");

  // Later on the line it only records that it was passed; the app folder still marks the
  // installation.
  const char* later[] = {"quiverex", "--systray", "--portable"};
  gvar_set_all_from(portable_facts(true), 3, later);
  EXPECT_EQ(portable_mode(), 0);
  EXPECT_EQ(gvar_get_int("portable_arg_passed"), 1);
  EXPECT_EQ(gvar_get("data_dir"), dir_ + "/roaming/quiverex");
  EXPECT_EQ(gvar_get("installation_dir"), top + "/app/quiverex");
}

TEST_F(GvarTest, WithoutTheAppFolderTheInstalledLayoutIsUsed) {
  const char* argv[] = {"quiverex", "--portable"};
  gvar_set_all_from(portable_facts(false), 2, argv);
  EXPECT_EQ(portable_mode(), 0);
  EXPECT_EQ(gvar_get_int("portable_arg_passed"), 1);
  EXPECT_EQ(gvar_get("data_dir"), dir_ + "/roaming/quiverex");
  EXPECT_EQ(gvar_get("prefs_file"), dir_ + "/roaming/quiverex/preferences.lt");
  EXPECT_STREQ(gvar_get("installation_dir"), "/opt/quiverex");
}

TEST_F(GvarTest, LinuxFoldersFollowXdgAndCreateNothing) {
  setenv("HOME", (dir_ + "/home").c_str(), 1);
  unsetenv("XDG_DATA_HOME");
  setenv("XDG_CONFIG_HOME", (dir_ + "/cfg").c_str(), 1);
  const char* argv[] = {"quiverex"};
  gvar_set_all(1, argv);
  EXPECT_EQ(gvar_get("data_dir"), dir_ + "/cfg/quiverex");
  EXPECT_EQ(gvar_get("local_appdata_dir"), dir_ + "/home/.local/share");
  // The test program itself is the module.
  EXPECT_TRUE(str_ends_with_case(gvar_get("executable_path"), "/test_core"));
  EXPECT_EQ(gvar_get("our_exe_path"), std::string(gvar_get("executable_path")));

  // A relative XDG value is ignored.
  setenv("XDG_CONFIG_HOME", "relative/cfg", 1);
  gvar_set_all(1, argv);
  EXPECT_EQ(gvar_get("data_dir"), dir_ + "/home/.config/quiverex");
  EXPECT_FALSE(fs::exists(dir_ + "/home"));
  EXPECT_FALSE(fs::exists(dir_ + "/cfg"));
}

TEST_F(GvarTest, AbbreviationFileFollowsTheChosenFolderUnlessTextExpanderSyncIsOn) {
  const char* argv[] = {"quiverex"};
  gvar_set_all_from(portable_facts(false), 1, argv);
  const std::string data = dir_ + "/roaming/quiverex";
  gvar_set_all_after_prefs_loaded();
  EXPECT_EQ(gvar_get("abbreviations_file"), data + "/abbreviations.tmk");
  EXPECT_STREQ(gvar_get("nm_sync_file"), "");

  setting_set("diff_abbrev_dir", "/sync/box");
  setting_set_int("use_diff_abbrev_dir", 1);
  setting_set_int("sync_norm", 1);
  gvar_set_all_after_prefs_loaded();
  EXPECT_STREQ(gvar_get("abbreviations_dir"), "/sync/box");
  EXPECT_STREQ(gvar_get("abbreviations_file"), "/sync/box/abbreviations.tmk");
  EXPECT_STREQ(gvar_get("nm_sync_file"), "/sync/box/abbreviations.tmk");
  EXPECT_STREQ(gvar_get("te_sync_file"), "/sync/box/Settings.textexpander");

  setting_set_int("sync_te", 1);
  gvar_set_abbrev_file_paths_from_prefs();
  EXPECT_EQ(gvar_get("abbreviations_file"), data + "/abbreviations.tmk");
  EXPECT_STREQ(gvar_get("te_sync_file"), "/sync/box/Settings.textexpander");

  EXPECT_EQ(gvar_get_abbrev_file_from_dir("/x"), "/x/abbreviations.tmk");
  EXPECT_EQ(gvar_get_abbrev_file_from_dir(nullptr), data + "/abbreviations.tmk");
}

TEST(GvarPathTest, DriveLettersAreDroppedOnlyOnTheProgramsOwnDrive) {
  const std::string inst = "E:\\PortableApps\\Quiverex\\app\\quiverex";
  EXPECT_EQ(gvar_relativify_path("E:\\data\\x.txt", inst), "\\data\\x.txt");
  EXPECT_EQ(gvar_relativify_path("e:\\\\data", inst), "\\data");
  EXPECT_EQ(gvar_relativify_path("C:\\data\\x.txt", inst), "C:\\data\\x.txt");
  EXPECT_EQ(gvar_relativify_path("\\\\server\\share", inst), "\\\\server\\share");
  EXPECT_EQ(gvar_relativify_path("/home/me/backups", "/opt/q"), "/home/me/backups");

  EXPECT_EQ(gvar_absolutify_path("\\data\\x", inst), "E:\\data\\x");
  EXPECT_EQ(gvar_absolutify_path("\\\\server\\share", inst), "\\\\server\\share");
  EXPECT_EQ(gvar_absolutify_path("/home/me", "/opt/q"), "/home/me");

  // Outside portable mode nothing changes.
  gvar_set("installation_dir", inst.c_str());
  gvar_set_int("portable_mode", 0);
  EXPECT_EQ(relativify_path_if_necessary(std::string("E:\\data")), "E:\\data");
  gvar_set_int("portable_mode", 1);
  EXPECT_EQ(relativify_path_if_necessary(std::string("E:\\data")), "\\data");
  gvar_free_all();
}

}  // namespace
