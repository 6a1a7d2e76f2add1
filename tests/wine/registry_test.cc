// Registry helpers against the Wine prefix's registry, and the browser list built from it.
#include "platform/win32/registry.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/win32/text.h"
#include "platform/win32/win32_platform.h"

namespace {

const char k_test_key[] = "Software\\Quiverex Tests\\Registry";

class Win32Registry : public ::testing::Test {
 protected:
  void TearDown() override { RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\Quiverex Tests"); }
};

TEST_F(Win32Registry, StringsRoundTripAsUtf8) {
  EXPECT_EQ(reg_get_key_string_value(HKEY_CURRENT_USER, k_test_key, "Name"), std::nullopt);
  const std::string value = "C:\\Programme\\Übersetzer\\q.exe --systray \xE2\x82\xAC";
  ASSERT_TRUE(reg_set_key_string_value(HKEY_CURRENT_USER, k_test_key, "Name", value));
  EXPECT_EQ(reg_get_key_string_value(HKEY_CURRENT_USER, k_test_key, "Name"), value);
  EXPECT_EQ(reg_get_key_string_value_sz(HKEY_CURRENT_USER, k_test_key, "Name"), value);

  // What other programs see is UTF-16.
  wchar_t buf[256];
  DWORD size = sizeof buf;
  ASSERT_EQ(RegGetValueW(HKEY_CURRENT_USER, L"Software\\Quiverex Tests\\Registry", L"Name",
                         RRF_RT_REG_SZ, nullptr, buf, &size),
            ERROR_SUCCESS);
  EXPECT_EQ(w32_to_utf8(buf), value);

  ASSERT_TRUE(reg_set_key_string_value(HKEY_CURRENT_USER, k_test_key, "", "default"));
  EXPECT_EQ(reg_get_key_string_value(HKEY_CURRENT_USER, k_test_key, ""), "default");

  HKEY k;
  ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Quiverex Tests\\Registry", 0,
                          KEY_QUERY_VALUE, &k),
            ERROR_SUCCESS);
  EXPECT_EQ(reg_get_open_key_string_value(k, "Name"), value);
  RegCloseKey(k);
}

TEST_F(Win32Registry, ExpandableStringsAndTypeChecks) {
  HKEY k;
  ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Quiverex Tests\\Registry", 0, nullptr, 0,
                            KEY_SET_VALUE, nullptr, &k, nullptr),
            ERROR_SUCCESS);
  const wchar_t expandable[] = L"%SystemRoot%\\notepad.exe";
  RegSetValueExW(k, L"Exp", 0, REG_EXPAND_SZ, reinterpret_cast<const BYTE*>(expandable),
                 sizeof expandable);
  DWORD n = 5;
  RegSetValueExW(k, L"Num", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&n), sizeof n);
  // Stored without its terminator, as some installers write strings.
  const wchar_t bare[] = {L'a', L'b', L'c'};
  RegSetValueExW(k, L"Bare", 0, REG_SZ, reinterpret_cast<const BYTE*>(bare), sizeof bare);
  RegCloseKey(k);

  std::optional<std::string> exp = reg_get_key_string_value(HKEY_CURRENT_USER, k_test_key, "Exp");
  ASSERT_TRUE(exp);
  EXPECT_EQ(exp->find('%'), std::string::npos) << *exp;
  EXPECT_NE(exp->find("\\notepad.exe"), std::string::npos);
  EXPECT_EQ(reg_get_key_string_value_sz(HKEY_CURRENT_USER, k_test_key, "Exp"), std::nullopt);
  EXPECT_EQ(reg_get_key_string_value(HKEY_CURRENT_USER, k_test_key, "Num"), std::nullopt);
  EXPECT_EQ(reg_get_key_string_value(HKEY_CURRENT_USER, k_test_key, "Bare"), "abc");
}

TEST_F(Win32Registry, DwordsAndDeletion) {
  EXPECT_EQ(reg_get_key_dword_value(HKEY_CURRENT_USER, k_test_key, "LowLevelHooksTimeout"),
            std::nullopt);
  ASSERT_TRUE(reg_set_key_dword_value(HKEY_CURRENT_USER, k_test_key, "LowLevelHooksTimeout", 1000));
  EXPECT_EQ(reg_get_key_dword_value(HKEY_CURRENT_USER, k_test_key, "LowLevelHooksTimeout"), 1000u);
  EXPECT_TRUE(reg_delete_value(HKEY_CURRENT_USER, k_test_key, "LowLevelHooksTimeout"));
  EXPECT_EQ(reg_get_key_dword_value(HKEY_CURRENT_USER, k_test_key, "LowLevelHooksTimeout"),
            std::nullopt);
  EXPECT_TRUE(reg_delete_value(HKEY_CURRENT_USER, k_test_key, "LowLevelHooksTimeout"));
  EXPECT_TRUE(reg_delete_value(HKEY_CURRENT_USER, "Software\\Quiverex Tests\\Nowhere", "x"));
}

TEST_F(Win32Registry, UserHivePathReachesTheSameValues) {
  std::optional<std::string> path = build_reg_path_for_user(k_test_key);
  ASSERT_TRUE(path);
  EXPECT_EQ(path->rfind("S-1-", 0), 0u) << *path;
  ASSERT_TRUE(reg_set_key_string_value_for_user(k_test_key, "Via", "user hive"));
  EXPECT_EQ(reg_get_key_string_value(HKEY_CURRENT_USER, k_test_key, "Via"), "user hive");
  EXPECT_EQ(reg_get_key_string_value_for_user(k_test_key, "Via"), "user hive");
}

TEST(Win32Browsers, ListedFromTheStartMenuInternetKey) {
  const char base[] = "SOFTWARE\\Clients\\StartMenuInternet\\QuiverexTestBrowser";
  ASSERT_TRUE(reg_set_key_string_value(HKEY_LOCAL_MACHINE, base, "", "Test Browser"));
  ASSERT_TRUE(reg_set_key_string_value(HKEY_LOCAL_MACHINE, std::string(base) + "\\shell\\open\\command",
                                       "", "\"C:\\Browsers\\Test Browser\\tb.exe\" -url \"%1\""));
  std::vector<plat_browser> list = w32_platform()->list_browsers();
  RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Clients\\StartMenuInternet\\QuiverexTestBrowser");
  auto it = std::find_if(list.begin(), list.end(),
                         [](const plat_browser& b) { return b.key == "QuiverexTestBrowser"; });
  ASSERT_NE(it, list.end());
  EXPECT_EQ(it->display_name, "Test Browser");
  EXPECT_EQ(it->exe, "C:\\Browsers\\Test Browser\\tb.exe");
}

}  // namespace
