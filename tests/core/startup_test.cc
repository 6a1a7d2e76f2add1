#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "core/app.h"
#include "core/gvar.h"
#include "core/msgbox.h"
#include "library/abbr.h"
#include "library/abbr_file.h"
#include "settings/prefs.h"
#include "util/strutil.h"

namespace fs = std::filesystem;

namespace {

std::vector<std::string>* g_boxes = nullptr;
int g_answer = MSGBOX_RESPONSE_NO;

int record_box(msgbox_kind, msgbox_buttons, const std::string& text, void*) {
  if (g_boxes) g_boxes->push_back(text);
  return g_answer;
}

void write_file(const std::string& path, const std::string& text) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

// A fresh user: configuration in a temporary folder, library and preferences loaded empty.
class StartupTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/qx_start_XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    dir_ = tmpl;
    setenv("XDG_CONFIG_HOME", (dir_ + "/config").c_str(), 1);
    setenv("XDG_DATA_HOME", (dir_ + "/data").c_str(), 1);
    const char* argv[] = {"quiverex"};
    gvar_set_all(1, argv);
    prefs_load();
    gvar_set_all_after_prefs_loaded();
    load_up_users_abbreviations(nullptr);
    g_boxes = &boxes_;
    g_answer = MSGBOX_RESPONSE_NO;
    msgbox_set_handler(record_box, nullptr);
  }
  void TearDown() override {
    msgbox_set_handler(nullptr, nullptr);
    g_boxes = nullptr;
    abbr_free_all_folder_lists();
    prefs_free();
    gvar_free_all();
    fs::remove_all(dir_);
  }
  abbr_folder* sandbox_subfolder(const std::string& name) {
    abbr_folder* top = abbr_get_absolute_parent_folder(ABBR_SANDBOX_LIST);
    if (!top) return nullptr;
    for (abbr_folder* f : plist_range<abbr_folder>(top->subfolders))
      if (f->name == name) return f;
    return nullptr;
  }
  std::string dir_;
  std::vector<std::string> boxes_;
};

TEST_F(StartupTest, TheExampleSetLoadsWithEveryKindAndTrigger) {
  ASSERT_EQ(import_included_set("Examples", 0), 1) << (boxes_.empty() ? "" : boxes_[0]);
  abbr_folder* f = sandbox_subfolder("Examples");
  ASSERT_NE(f, nullptr);
  std::set<uint32_t> triggers;
  std::set<int> kinds;
  for (abbr_abbrev* a : plist_range<abbr_abbrev>(f->abbrevs)) {
    kinds.insert(a->type);
    triggers.insert(a->trigger_mode);
  }
  EXPECT_EQ(triggers, (std::set<uint32_t>{ABBR_TRIGGER_IMMEDIATELY, ABBR_TRIGGER_TRIGGER_KEY, ABBR_TRIGGER_WORD_END}));
  EXPECT_EQ(kinds, (std::set<int>{ABBR_TYPE_TEXT, ABBR_TYPE_PROGRAM, ABBR_TYPE_WEBSITE}));
}

TEST_F(StartupTest, AMissingSetIsReportedUnlessQuiet) {
  EXPECT_EQ(import_included_set("NoSuchSet", 1), 0);
  EXPECT_TRUE(boxes_.empty());
  EXPECT_EQ(import_included_set("NoSuchSet", 0), 0);
  ASSERT_EQ(boxes_.size(), 1u);
  EXPECT_NE(boxes_[0].find("nosuchset.tmk"), std::string::npos);
}

TEST_F(StartupTest, ImportAddsAFolderNamedAfterTheFileAndSavesTheLibrary) {
  std::string file = dir_ + "/team words.tmk";
  write_file(file, "<Quiverex n=\"x\"><a a=\"qq\" e=\"quick question\" c=\"2\" t=\"5\"/></Quiverex>");
  ASSERT_EQ(import_abbrevs_non_ui(file.c_str()), 1);
  EXPECT_TRUE(boxes_.empty());
  abbr_folder* f = sandbox_subfolder("team words");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(abbr_get_n_abbrevs_in_folder(f, true), 1);
  // The running program's main list and its file hold it now.
  std::optional<std::string> saved = read_file_to_string(gvar_get("abbreviations_file"));
  ASSERT_TRUE(saved);
  EXPECT_NE(saved->find("n=\"team words\""), std::string::npos);
  EXPECT_NE(saved->find("e=\"quick question\""), std::string::npos);

  EXPECT_EQ(core_import_file(dir_ + "/missing.tmk", true), 0);
  ASSERT_EQ(boxes_.size(), 1u);
  EXPECT_EQ(core_import_file(dir_ + "/x.textexpander", true), 0);
  EXPECT_EQ(boxes_.size(), 2u);
}

TEST_F(StartupTest, GtkCssIsWrittenOnceAndNeverOverwritten) {
  std::string folder = dir_ + "/config/gtk-3.0";
  ASSERT_TRUE(core_write_gtk_css(folder));
  std::optional<std::string> css = read_file_to_string(folder + "/gtk.css");
  ASSERT_TRUE(css);
  EXPECT_EQ(*css, CORE_GTK_CSS);
  write_file(folder + "/gtk.css", "/* mine */");
  ASSERT_TRUE(core_write_gtk_css(folder));
  EXPECT_EQ(read_file_to_string(folder + "/gtk.css").value_or(""), "/* mine */");
}

TEST_F(StartupTest, AUserThemeSurvivesANormalStartButNotARestart) {
  setenv("GTK_THEME", "Mine", 1);
  unsetenv("GTK_CSD");
  setting_set_int("lmode", 1);
  core_set_gtk_theme_env(false);
  EXPECT_STREQ(getenv("GTK_THEME"), "Mine");
  EXPECT_STREQ(getenv("GTK_CSD"), "0");
  core_set_gtk_theme_env(true);
  EXPECT_STREQ(getenv("GTK_THEME"), "Adwaita");
  setting_set_int("lmode", 0);
  setenv("GTK_CSD", "1", 1);
  core_set_gtk_theme_env(true);
  EXPECT_STREQ(getenv("GTK_THEME"), "Adwaita:dark");
  EXPECT_STREQ(getenv("GTK_CSD"), "1");
}

TEST_F(StartupTest, NoEarlierProductMeansNoQuestion) {
  ask_if_user_wants_us_to_import_tolmek_abbreviations_if_they_exist();
  EXPECT_TRUE(boxes_.empty());
}

TEST_F(StartupTest, EarlierProductSettingsAreTakenAndItsLibraryImportedOnYes) {
  std::string old = std::string(gvar_get("current_appdata_dir_vanilla")) + "/Tolmek";
  write_file(old + "/prefs.lt", "\"trigger_hotkey\"=\"16\"\n\"delim_chars\"=\" .\"\n\"auto_backup\"=\"0\"\n");
  write_file(old + "/abbreviations.tmk",
             "<Tolmek n=\"old\"><f n=\"Work\" t=\"0\" d=\"0\" w=\"0\"><a a=\"sy\" e=\"see you\" c=\"2\" t=\"5\"/></f>"
             "</Tolmek>");
  g_answer = MSGBOX_RESPONSE_YES;
  ask_if_user_wants_us_to_import_tolmek_abbreviations_if_they_exist();

  ASSERT_EQ(boxes_.size(), 2u);
  EXPECT_EQ(boxes_[0].rfind("\nHey, I noticed you're a Tolmek user!", 0), 0u);
  EXPECT_EQ(boxes_[1].rfind("\nNo problem! Please note:", 0), 0u);
  EXPECT_EQ(setting_get_int("trigger_hotkey"), 16);
  EXPECT_STREQ(setting_get("delim_chars"), " .");
  EXPECT_EQ(setting_get_int("auto_backup"), 0);

  std::optional<std::string> saved = read_file_to_string(gvar_get("abbreviations_file"));
  ASSERT_TRUE(saved);
  EXPECT_NE(saved->find("n=\"Everything\""), std::string::npos);
  EXPECT_NE(saved->find("n=\"Work\""), std::string::npos);
  EXPECT_NE(saved->find("e=\"see you\""), std::string::npos);
  EXPECT_NE(saved->find("n=\"Examples\""), std::string::npos);
}

TEST_F(StartupTest, EarlierProductDeclinedStillWarnsAndImportsNothing) {
  std::string old = std::string(gvar_get("current_appdata_dir_vanilla")) + "/Tolmek";
  write_file(old + "/prefs.lt", "\"auto_backup\"=\"0\"\n");
  ask_if_user_wants_us_to_import_tolmek_abbreviations_if_they_exist();
  EXPECT_EQ(boxes_.size(), 2u);
  EXPECT_FALSE(file_exists(gvar_get("abbreviations_file")));
}

}  // namespace
