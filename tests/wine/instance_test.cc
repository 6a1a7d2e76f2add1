// The hidden instance window and the hand-over from a second start, with a real second
// process (this test program started again in a child mode).
#include "platform/win32/instance_window.h"

#include <gtest/gtest.h>
#include <shellapi.h>

#include <cstring>
#include <vector>

#include "platform/win32/text.h"
#include "wine_harness.h"

namespace {

// The second start: hands over the path given after the option, if any.
int child_hand_over(int, char**) {
  // The path is taken from the wide command line so that it arrives as the user typed it.
  int wargc = 0;
  wchar_t** wargv = CommandLineToArgvW(GetCommandLineW(), &wargc);
  std::optional<std::string> path;
  if (wargc > 2) path = w32_to_utf8(wargv[2]);
  LocalFree(wargv);
  HWND running = w32_check_if_quiverex_already_running();
  if (!running) return 3;
  return w32_hand_over_to_running_instance(running, path) ? 0 : 4;
}
const wine_child_mode hand_over_mode("--child-hand-over", child_hand_over);

}  // namespace

namespace {

struct instance_log {
  int shows = 0;
  std::vector<std::string> imports;
};

TEST(Win32Instance, SecondStartRaisesTheFirstAndHandsOverAnImport) {
  instance_log log;
  w32_invisiwin_handlers h;
  h.show_main_window = [](void* u) { static_cast<instance_log*>(u)->shows++; };
  h.import_file = [](const std::string& path, void* u) {
    static_cast<instance_log*>(u)->imports.push_back(path);
  };
  h.user = &log;
  HWND w = w32_invisiwin_create(GetModuleHandleW(nullptr), h);
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(w32_check_if_quiverex_already_running(), w);
  EXPECT_EQ(w32_check_if_tolmek_already_running(), nullptr);
  wchar_t title[64];
  GetWindowTextW(w, title, 64);
  EXPECT_STREQ(title, W32_INVISIWIN_CLASS);

  EXPECT_EQ(wine_run_self("--child-hand-over", 30000), 0);
  EXPECT_EQ(log.shows, 1);
  EXPECT_TRUE(log.imports.empty());

  const std::string path = "C:\\Daten\\Sägen und Schnitte.textexpander";
  EXPECT_EQ(wine_run_self("--child-hand-over \"" + path + "\"", 30000), 0);
  EXPECT_EQ(log.shows, 2);
  ASSERT_EQ(log.imports.size(), 1u);
  EXPECT_EQ(log.imports[0], path);

  w32_invisiwin_destroy();
  EXPECT_EQ(w32_check_if_quiverex_already_running(), nullptr);
  EXPECT_EQ(wine_run_self("--child-hand-over", 30000), 3) << "nobody to hand over to";
  EXPECT_EQ(log.shows, 2);
}

}  // namespace
