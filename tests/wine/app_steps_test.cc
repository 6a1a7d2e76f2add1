// The desktop program's own Windows steps (src/app/main_win32.cc) with the engine's state,
// preferences and path variables, and stand-ins for what needs the toolkit: the main window,
// the importers, quitting and the start-up order itself.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/engine.h"
#include "app/startup.h"
#include "core/app.h"
#include "core/gvar.h"
#include "platform/win32/instance_window.h"
#include "platform/win32/text.h"
#include "settings/prefs.h"
#include "settings/settings.h"
#include "ui/ui.h"
#include "wine_harness.h"

namespace {

// What the stand-ins and the monitor's operations were asked to do, in order.
std::vector<std::string> g_calls;
unsigned g_hooks = 0;  // bit 0 keyboard hook, bit 1 mouse hook

}  // namespace

// ---- Stand-ins for the parts that need the toolkit ----

void main_window_show() { g_calls.push_back("show"); }
int core_import_file(const std::string& path, bool with_ui) {
  g_calls.push_back(std::string(with_ui ? "import with ui " : "import quietly ") + path);
  return 1;
}
void _quit_(int code) { g_calls.push_back("quit " + std::to_string(code)); }
void app_main_iteration(bool) {}
int app_start(int, char**) { return 0; }

namespace {

class Win32AppSteps : public testing::Test {
 protected:
  void SetUp() override {
    g_calls.clear();
    g_hooks = 0;
    core_app_ops ops;
    ops.mon_installed_hooks = [] { return g_hooks; };
    ops.mon_install_keyboard_hook = [] {
      g_calls.push_back("install keyboard hook");
      g_hooks |= 1;
      return 1;
    };
    ops.mon_uninstall_keyboard_hook = [] {
      g_calls.push_back("uninstall keyboard hook");
      g_hooks &= ~1u;
      return 1;
    };
    ops.main_win_update_ed = [](int state) { g_calls.push_back("ui " + std::to_string(state)); };
    core_set_app_ops(ops);
    ASSERT_TRUE(app_sys_open_windowing());
    hwnd_ = w32_check_if_quiverex_already_running();
    ASSERT_NE(hwnd_, nullptr);
  }
  void TearDown() override {
    w32_invisiwin_destroy();
    app_engine_close_platform();
    core_set_app_ops(core_app_ops());
    gvar_free_all();
    prefs_free();
  }

  HWND hwnd_ = nullptr;
};

TEST_F(Win32AppSteps, SecondStartShowsAndImportsQuietly) {
  const std::string path = "C:\\Daten\\Grüße ☃.textexpander";
  EXPECT_EQ(wine_run_self("--child-hand-over \"" + path + "\"", 30000), 0);
  EXPECT_EQ(g_calls, (std::vector<std::string>{"show", "import quietly " + path}));
}

TEST_F(Win32AppSteps, SessionEndQuitsAndResumeReinstallsOnlyWhileEnabled) {
  constexpr WPARAM suspend = 4, resume_automatic = 18, resume_suspend = 7;
  // Disabled: waking up leaves it disabled.
  SendMessageW(hwnd_, WM_POWERBROADCAST, resume_automatic, 0);
  EXPECT_TRUE(g_calls.empty());

  g_hooks = 1;
  SendMessageW(hwnd_, WM_POWERBROADCAST, suspend, 0);
  EXPECT_TRUE(g_calls.empty()) << "going to sleep changes nothing";
  SendMessageW(hwnd_, WM_POWERBROADCAST, resume_suspend, 0);
  // Disabled, then enabled again: the hook goes back to the head of the chain.
  EXPECT_EQ(g_calls, (std::vector<std::string>{"uninstall keyboard hook", "ui 1", "uninstall keyboard hook",
                                               "install keyboard hook", "ui 0"}));
  EXPECT_EQ(g_hooks & 1, 1u) << "enabled again";

  g_calls.clear();
  SendMessageW(hwnd_, WM_QUERYENDSESSION, 0, 0);
  EXPECT_EQ(g_calls, (std::vector<std::string>{"quit 0"}));
}

TEST_F(Win32AppSteps, ElevationFollowsThePreferenceAndPortableMode) {
  const std::string self = wine_self_path();
  gvar_set("our_exe_path", self.c_str());
  gvar_set_int("portable_mode", 1);
  EXPECT_FALSE(app_sys_elevate({self})) << "\"ucm\" is not set";

  setting_set_int("ucm", 1);
  EXPECT_FALSE(app_sys_elevate({self, "--admin"}));

  std::string file = wine_fresh_temp_file("qx-app-elevate.txt");
  SetEnvironmentVariableW(WINE_RECORD_COMMAND_LINE_VAR, w32_to_utf16(file).c_str());
  EXPECT_TRUE(app_sys_elevate({self, "--portable"}));
  SetEnvironmentVariableW(WINE_RECORD_COMMAND_LINE_VAR, nullptr);
  std::optional<std::string> line = wine_wait_for_file(file, 15000);
  ASSERT_TRUE(line) << "the elevated start did not happen";
  EXPECT_EQ(wine_arguments_after_program(*line), (std::vector<std::string>{"--admin", "--portable"}));
}

}  // namespace
