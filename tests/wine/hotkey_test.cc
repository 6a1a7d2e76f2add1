// Global hotkeys registered on the hidden instance window fire on the registering thread.
#include "platform/win32/win32_platform.h"

#include <gtest/gtest.h>

#include <vector>

#include "platform/win32/instance_window.h"
#include "wine_harness.h"

namespace {

struct hotkey_log {
  std::vector<int> ids;
  std::vector<DWORD> threads;
};

void on_hotkey(int id, void* user) {
  auto* log = static_cast<hotkey_log*>(user);
  log->ids.push_back(id);
  log->threads.push_back(GetCurrentThreadId());
}

TEST(Win32Hotkeys, RegisteredCombinationsFireAndUnregisteredOnesType) {
  wine_edit_window win("Quiverex hotkey target");
  ASSERT_TRUE(win.activate());
  platform* p = w32_platform();
  hotkey_log log;
  p->set_hotkey_handler(on_hotkey, &log);
  ASSERT_TRUE(p->register_hotkey(174, MOD_CONTROL | MOD_ALT, 'T'));
  ASSERT_TRUE(p->register_hotkey(175, 0, 'Z'));
  EXPECT_FALSE(p->register_hotkey(176, MOD_CONTROL | MOD_ALT, 'T')) << "already taken";

  ASSERT_TRUE(wine_xdotool("key --delay 30 ctrl+alt+t z"));
  EXPECT_TRUE(wine_pump_until([&] { return log.ids.size() >= 2; }, 5000));
  EXPECT_EQ(log.ids, (std::vector<int>{174, 175}));
  for (DWORD t : log.threads) EXPECT_EQ(t, GetCurrentThreadId());
  wine_pump_for(200);
  EXPECT_EQ(win.text(), "") << "a hotkey's key does not reach the application";

  EXPECT_TRUE(p->unregister_hotkey(175));
  EXPECT_FALSE(p->unregister_hotkey(175));
  ASSERT_TRUE(wine_xdotool("key z"));
  EXPECT_TRUE(win.wait_for_text("z")) << win.text();
  wine_pump_for(100);
  EXPECT_EQ(log.ids.size(), 2u);

  EXPECT_TRUE(p->unregister_hotkey(174));
  p->set_hotkey_handler(nullptr, nullptr);
  w32_invisiwin_destroy();
}

}  // namespace
