// The start entry and the low-level hook time-out in the Wine prefix's registry.
#include "platform/win32/system_settings.h"

#include <gtest/gtest.h>

#include "platform/win32/registry.h"

namespace {

const char k_desktop[] = "Software\\Quiverex Tests\\Desktop";

class Win32HooksTimeout : public ::testing::Test {
 protected:
  void TearDown() override { RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\Quiverex Tests"); }
  std::optional<uint32_t> value(const char* name) {
    return reg_get_key_dword_value(HKEY_CURRENT_USER, k_desktop, name);
  }
};

TEST_F(Win32HooksTimeout, RaisedOnceWithTheUsersValueKept) {
  ASSERT_TRUE(reg_set_key_dword_value(HKEY_CURRENT_USER, k_desktop, "LowLevelHooksTimeout", 300));
  EXPECT_EQ(w32_raise_hooks_timeout(HKEY_CURRENT_USER, k_desktop, true, 10, 0, false), 2);
  EXPECT_EQ(value("LowLevelHooksTimeout"), 1000u);
  EXPECT_EQ(value("LowLevelHooksTimeoutBackup"), 300u);

  // A second start finds the value high enough and changes nothing.
  EXPECT_EQ(w32_raise_hooks_timeout(HKEY_CURRENT_USER, k_desktop, true, 10, 0, true), -1);
  EXPECT_EQ(value("LowLevelHooksTimeout"), 1000u);

  // The user lowered it again: raised, but the first backup stays.
  ASSERT_TRUE(reg_set_key_dword_value(HKEY_CURRENT_USER, k_desktop, "LowLevelHooksTimeout", 200));
  EXPECT_EQ(w32_raise_hooks_timeout(HKEY_CURRENT_USER, k_desktop, true, 10, 0, true), 2);
  EXPECT_EQ(value("LowLevelHooksTimeout"), 1000u);
  EXPECT_EQ(value("LowLevelHooksTimeoutBackup"), 300u);
}

TEST_F(Win32HooksTimeout, TargetDependsOnTheWindowsVersion) {
  EXPECT_EQ(w32_raise_hooks_timeout(HKEY_CURRENT_USER, k_desktop, true, 6, 1, false), 2);
  EXPECT_EQ(value("LowLevelHooksTimeout"), 5000u) << "Windows 7";
  EXPECT_EQ(value("LowLevelHooksTimeoutBackup"), std::nullopt) << "there was no value to keep";
  RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\Quiverex Tests");
  EXPECT_EQ(w32_raise_hooks_timeout(HKEY_CURRENT_USER, k_desktop, true, 6, 2, false), 2);
  EXPECT_EQ(value("LowLevelHooksTimeout"), 1000u) << "Windows 8";
}

TEST_F(Win32HooksTimeout, UnknownVersion) {
  EXPECT_EQ(w32_raise_hooks_timeout(HKEY_CURRENT_USER, k_desktop, false, 0, 0, true), -1);
  EXPECT_EQ(value("LowLevelHooksTimeout"), std::nullopt);
  EXPECT_EQ(w32_raise_hooks_timeout(HKEY_CURRENT_USER, k_desktop, false, 0, 0, false), 1);
  EXPECT_EQ(value("LowLevelHooksTimeout"), 5000u);
}

TEST(Win32StartWithWindows, EntryWrittenAndRemoved) {
  const std::string cmd = "\"C:\\Program Files\\Quiverex\\quiverex.exe\" --systray";
  ASSERT_EQ(w32_set_start_with_windows(true, cmd), 0);
  EXPECT_EQ(w32_get_start_with_windows(), 4);
  EXPECT_EQ(reg_get_key_string_value(HKEY_CURRENT_USER, W32_RUN_KEY, W32_RUN_VALUE), cmd);
  EXPECT_EQ(w32_set_start_with_windows(false, ""), 0);
  EXPECT_EQ(w32_get_start_with_windows(), 0);
  EXPECT_EQ(w32_set_start_with_windows(false, ""), 0) << "removing a missing entry succeeds";
}

}  // namespace
