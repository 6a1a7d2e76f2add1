#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "core/app.h"
#include "core/gvar.h"
#include "core/msgbox.h"
#include "settings/prefs.h"

namespace {

// A monitor whose hooks can be told to fail, and a log of everything the core asked for.
struct world {
  unsigned hooks = 0;
  bool keyboard_install_fails = false;
  bool keyboard_uninstall_fails = false;
  bool unsaved = false;
  int answer = MSGBOX_RESPONSE_NO;
  std::vector<std::string> log;
  int exit_code = -1;
  std::vector<std::string> spawned;
};
world* w = nullptr;

void note(const std::string& s) { w->log.push_back(s); }

core_app_ops fake_ops() {
  core_app_ops o;
  o.mon_installed_hooks = [] { return w->hooks; };
  o.mon_install_keyboard_hook = [] {
    note("kb+");
    if (w->keyboard_install_fails) return 0;
    w->hooks |= 1;
    return 1;
  };
  o.mon_uninstall_keyboard_hook = [] {
    note("kb-");
    if (w->keyboard_uninstall_fails) return 0;
    w->hooks &= ~1u;
    return 1;
  };
  o.mon_install_mouse_hook = [] {
    note("mouse+");
    w->hooks |= 2;
    return 1;
  };
  o.mon_uninstall_mouse_hook = [] {
    note("mouse-");
    w->hooks &= ~2u;
    return 1;
  };
  o.mon_stop = [](int) {
    note("mon_stop");
    w->hooks = 0;
    return 1;
  };
  o.main_win_update_ed = [](int s) { note("window " + std::to_string(s)); };
  o.systray_app_state_changed = [](int s) { note(std::string("tray ") + core_state_tooltip(s)); };
  o.main_window_has_unsaved_changes = [] { return w->unsaved; };
  o.main_window_apply_all_changes = [] { note("apply"); };
  o.main_window_destroy = [] { note("destroy window"); };
  o.exit_process = [](int code) { w->exit_code = code; };
  o.spawn_program = [](const std::string& exe, const std::vector<std::string>& args) {
    w->spawned.push_back(exe);
    for (const std::string& a : args) w->spawned.push_back(a);
    return true;
  };
  return o;
}

int answer_box(msgbox_kind, msgbox_buttons, const std::string& text, void*) {
  note("ask: " + text);
  return w->answer;
}

class StateTest : public ::testing::Test {
 protected:
  void SetUp() override {
    w = &world_;
    // Quitting saves the preferences: keep them away from the user's own.
    char tmpl[] = "/tmp/qx_state_XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    dir_ = tmpl;
    setenv("XDG_CONFIG_HOME", dir_.c_str(), 1);
    setenv("XDG_DATA_HOME", dir_.c_str(), 1);
    core_set_app_ops(fake_ops());
    msgbox_set_handler(answer_box, nullptr);
    core_quit_reset();
  }
  void TearDown() override {
    core_set_app_ops(core_app_ops{});
    msgbox_set_handler(nullptr, nullptr);
    gvar_free_all();
    prefs_free();
    w = nullptr;
    std::filesystem::remove_all(dir_);
  }
  world world_;
  std::string dir_;
};

TEST_F(StateTest, EnablingAndDisablingChangeTheKeyboardHookAndTellWindowAndTray) {
  w->hooks = 1;
  EXPECT_EQ(tolmek_set_state(0), 1);
  EXPECT_EQ(w->log, (std::vector<std::string>{"kb-", "kb+", "window 0", "tray Quiverex - enabled"}));
  EXPECT_EQ(tolmek_get_state(), 0);

  w->hooks = 3;
  EXPECT_EQ(tolmek_set_state(1), 1);
  EXPECT_EQ(tolmek_get_state(), 1);
  EXPECT_EQ(w->log.back(), "tray Quiverex - disabled");
}

TEST_F(StateTest, AHookThatCannotBeChangedLeavesTheUiAlone) {
  w->keyboard_install_fails = true;
  EXPECT_EQ(tolmek_set_state(0), 0);
  w->hooks = 1;
  w->keyboard_install_fails = false;
  w->keyboard_uninstall_fails = true;
  EXPECT_EQ(tolmek_set_state(1), 0);
  for (const std::string& s : w->log) EXPECT_EQ(s.find("window"), std::string::npos) << s;
  EXPECT_EQ(tolmek_set_state(7), 7);
}

TEST_F(StateTest, RefreshWithoutUiPutsBothHooksBackOnlyWhileEnabled) {
  tolmek_refresh_state_if_enabled();
  EXPECT_TRUE(w->log.empty());  // disabled: nothing happens
  w->hooks = 1;                 // enabled with the mouse hook lost
  tolmek_refresh_state_if_enabled();
  EXPECT_EQ(w->hooks, 3u);
  for (const std::string& s : w->log) EXPECT_EQ(s.find("tray"), std::string::npos) << s;
}

TEST_F(StateTest, CancelInTheSaveQuestionKeepsEverythingRunning) {
  w->unsaved = true;
  w->hooks = 3;
  w->answer = MSGBOX_RESPONSE_CANCEL;
  _quit_(0);
  EXPECT_EQ(w->exit_code, -1);
  EXPECT_EQ(w->hooks, 3u);
  ASSERT_EQ(w->log.size(), 1u);
  EXPECT_EQ(w->log[0], "ask: \nWould you like me to save your changes before quitting?");
}

TEST_F(StateTest, YesSavesThenStopsTheMonitorAndExitsWithTheCode) {
  w->unsaved = true;
  w->hooks = 3;
  w->answer = MSGBOX_RESPONSE_YES;
  _quit_(5);
  EXPECT_EQ(w->exit_code, 5);
  ASSERT_GE(w->log.size(), 4u);
  EXPECT_EQ(w->log[1], "apply");
  EXPECT_EQ(w->log[2], "mon_stop");
  EXPECT_EQ(w->log[3], "destroy window");
  EXPECT_TRUE(w->spawned.empty());
}

TEST_F(StateTest, RestartStartsTheProgramAgainWithRestartingAndExitsZero) {
  const char* argv[] = {"quiverex"};
  gvar_set_all(1, argv);
  std::string exe = gvar_get("our_exe_path");
  _quit_(CORE_QUIT_RESTART);
  EXPECT_EQ(w->exit_code, 0);
  EXPECT_EQ(w->spawned, (std::vector<std::string>{exe, "--restarting"}));
}

}  // namespace
