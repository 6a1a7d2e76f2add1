// The engine's Windows files (path facts, start entry, hook time-out step) against the Wine
// prefix's folders and registry.
#include "core/gvar_platform.h"
#include "platform/win32/registry.h"
#include "platform/win32/text.h"
#include "settings/autostart.h"
#include "settings/prefs_platform.h"
#include "settings/settings.h"

#include <gtest/gtest.h>

#include <string>

namespace {

bool is_dir(const std::string& p) {
  DWORD a = GetFileAttributesW(w32_to_utf16(p).c_str());
  return a != INVALID_FILE_ATTRIBUTES && (a & FILE_ATTRIBUTE_DIRECTORY);
}

bool is_absolute(const std::string& p) { return p.size() > 3 && p[1] == ':' && p[2] == '\\'; }

bool ends_with(const std::string& s, const std::string& tail) {
  return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

TEST(Win32GvarFacts, ProgramAndShellFolders) {
  std::optional<std::string> module = gvar_platform_module_path();
  ASSERT_TRUE(module);
  EXPECT_TRUE(is_absolute(*module)) << *module;
  EXPECT_TRUE(ends_with(*module, "\\test_wine.exe")) << *module;

  // The command line Windows keeps wins over the narrow argv the runtime hands over.
  const char* narrow[] = {"not-this.exe"};
  std::optional<std::string> exe = gvar_platform_executable_path(1, narrow);
  ASSERT_TRUE(exe);
  EXPECT_TRUE(ends_with(*exe, "test_wine.exe")) << *exe;

  std::optional<std::string> roaming = gvar_platform_roaming_data_dir();
  std::optional<std::string> local = gvar_platform_local_data_dir();
  std::optional<std::string> windows = gvar_platform_windows_dir();
  ASSERT_TRUE(roaming && local && windows);
  for (const std::string& dir : {*roaming, *local, *windows}) {
    EXPECT_TRUE(is_absolute(dir)) << dir;
    EXPECT_TRUE(is_dir(dir)) << dir;
  }
  EXPECT_NE(*roaming, *local);
  EXPECT_EQ(CompareStringOrdinal(w32_to_utf16(*windows).c_str(), -1, L"C:\\windows", -1, TRUE),
            CSTR_EQUAL)
      << *windows;
}

TEST(Win32GvarFacts, CurrentFolderWithCharactersOutsideTheCodePage) {
  wchar_t tmp[MAX_PATH];
  ASSERT_GT(GetTempPathW(MAX_PATH, tmp), 0u);
  std::wstring dir = std::wstring(tmp) + L"qx-gvar-\x00fc\x4e2d";
  CreateDirectoryW(dir.c_str(), nullptr);
  std::wstring before(MAX_PATH, L'\0');
  before.resize(GetCurrentDirectoryW(MAX_PATH, before.data()));
  ASSERT_TRUE(SetCurrentDirectoryW(dir.c_str()));
  std::string got = gvar_platform_current_dir();
  SetCurrentDirectoryW(before.c_str());
  RemoveDirectoryW(dir.c_str());
  EXPECT_EQ(got, w32_to_utf8(dir));
  EXPECT_TRUE(ends_with(got, "qx-gvar-\xc3\xbc\xe4\xb8\xad")) << got;
}

TEST(Win32GvarFacts, InstalledFolderFromTheRegistry) {
  const char key[] = "Software\\Quiverex";
  ASSERT_TRUE(reg_delete_value(HKEY_LOCAL_MACHINE, key, "path"));
  EXPECT_EQ(gvar_platform_installed_dir(), std::nullopt);

  const std::string path = "C:\\Program Files\\Quiverex \xc3\xbc";
  ASSERT_TRUE(reg_set_key_string_value(HKEY_LOCAL_MACHINE, key, "path", path));
  EXPECT_EQ(gvar_platform_installed_dir(), path);
  RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"Software\\Quiverex");
  EXPECT_EQ(gvar_platform_installed_dir(), std::nullopt);
}

TEST(Win32Text, NarrowTextFromTheAnsiCodePage) {
  char acp[8] = {};
  BOOL lossy = FALSE;
  int n = WideCharToMultiByte(CP_ACP, 0, L"\x00e9t\x00e9", 3, acp, sizeof acp, nullptr, &lossy);
  if (n <= 0 || lossy) GTEST_SKIP() << "the code page " << GetACP() << " has no e acute";
  EXPECT_EQ(w32_acp_to_utf8(std::string(acp, static_cast<size_t>(n))), "\xc3\xa9t\xc3\xa9");
}

// The Run value as stored: REG_SZ in UTF-16 (whether the stored size counts the terminating
// zero is the registry's business: it adds the zero when the caller left it out).
std::optional<std::wstring> raw_run_value() {
  HKEY k;
  if (RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Microsoft\\Windows\\CurrentVersion\\Run", 0,
                    KEY_QUERY_VALUE, &k) != ERROR_SUCCESS)
    return std::nullopt;
  wchar_t buf[512];
  DWORD type = 0, size = sizeof buf;
  LONG r = RegQueryValueExW(k, L"Quiverex", nullptr, &type, reinterpret_cast<BYTE*>(buf), &size);
  RegCloseKey(k);
  if (r != ERROR_SUCCESS || type != REG_SZ) return std::nullopt;
  std::wstring out(buf, size / sizeof(wchar_t));
  if (!out.empty() && out.back() == L'\0') out.pop_back();
  return out;
}

TEST(Win32Autostart, SetReplaceAndRemove) {
  ASSERT_TRUE(autostart_entry_remove());
  EXPECT_FALSE(autostart_entry_exists());

  const std::string first = "\"C:\\Programme\\Quiverex \xc3\xbc\\quiverex.exe\" --systray";
  ASSERT_TRUE(autostart_entry_set(first));
  EXPECT_TRUE(autostart_entry_exists());
  EXPECT_EQ(raw_run_value(), w32_to_utf16(first));

  const std::string second = "\"D:\\QuiverexPortable\\QuiverexPortable.exe\" --systray";
  ASSERT_TRUE(autostart_entry_set(second));
  EXPECT_EQ(raw_run_value(), w32_to_utf16(second));

  EXPECT_TRUE(autostart_entry_remove());
  EXPECT_FALSE(autostart_entry_exists());
  EXPECT_EQ(raw_run_value(), std::nullopt);
  EXPECT_TRUE(autostart_entry_remove()) << "removing a missing entry succeeds";
}

// The step works on the real per-user key; whatever the prefix held there is put back.
class Win32HookTimeoutStep : public ::testing::Test {
 protected:
  static constexpr char k_key[] = "Control Panel\\Desktop";
  void SetUp() override {
    saved_value_ = value("LowLevelHooksTimeout");
    saved_backup_ = value("LowLevelHooksTimeoutBackup");
    __setting_list_free(prefs_lst);
    prefs_lst = nullptr;
  }
  void TearDown() override {
    __setting_list_free(prefs_lst);
    prefs_lst = nullptr;
    restore("LowLevelHooksTimeout", saved_value_);
    restore("LowLevelHooksTimeoutBackup", saved_backup_);
  }
  std::optional<uint32_t> value(const char* name) {
    return reg_get_key_dword_value(HKEY_CURRENT_USER, k_key, name);
  }
  void restore(const char* name, std::optional<uint32_t> v) {
    if (v)
      reg_set_key_dword_value(HKEY_CURRENT_USER, k_key, name, *v);
    else
      reg_delete_value(HKEY_CURRENT_USER, k_key, name);
  }

 private:
  std::optional<uint32_t> saved_value_, saved_backup_;
};

TEST_F(Win32HookTimeoutStep, RaisedOnceAndTheUsersValueKept) {
  ASSERT_TRUE(reg_set_key_dword_value(HKEY_CURRENT_USER, k_key, "LowLevelHooksTimeout", 300));
  ASSERT_TRUE(reg_delete_value(HKEY_CURRENT_USER, k_key, "LowLevelHooksTimeoutBackup"));

  prefs_platform_adjust_hook_timeout();
  EXPECT_EQ(value("LowLevelHooksTimeout"), 1000u) << "Wine reports Windows 8 or later";
  EXPECT_EQ(value("LowLevelHooksTimeoutBackup"), 300u);
  EXPECT_STREQ(setting_get("lt"), "2");

  // Stored as "02", the marker would read "2" again if the second run wrote it.
  setting_set("lt", "02");
  prefs_platform_adjust_hook_timeout();
  EXPECT_EQ(value("LowLevelHooksTimeout"), 1000u);
  EXPECT_EQ(value("LowLevelHooksTimeoutBackup"), 300u);
  EXPECT_STREQ(setting_get("lt"), "02") << "a second run leaves the marker alone";
}

}  // namespace
