// The file helpers and the settings file on the Windows API, in folders whose names the ANSI
// code page cannot hold.
#include "platform/win32/text.h"
#include "platform/win32/w32.h"
#include "settings/settings.h"
#include "util/atomic_save.h"
#include "util/strutil.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <vector>

namespace {

void remove_tree(const std::wstring& dir) {
  WIN32_FIND_DATAW fd;
  HANDLE h = FindFirstFileW((dir + L"\\*").c_str(), &fd);
  if (h != INVALID_HANDLE_VALUE) {
    do {
      std::wstring name = fd.cFileName;
      if (name == L"." || name == L"..") continue;
      std::wstring path = dir + L"\\" + name;
      SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
      if (fd.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
        remove_tree(path);
      else
        DeleteFileW(path.c_str());
    } while (FindNextFileW(h, &fd));
    FindClose(h);
  }
  SetFileAttributesW(dir.c_str(), FILE_ATTRIBUTE_NORMAL);
  RemoveDirectoryW(dir.c_str());
}

// Names of the entries in a folder, as the system lists them.
std::vector<std::wstring> entries(const std::wstring& dir) {
  std::vector<std::wstring> out;
  WIN32_FIND_DATAW fd;
  HANDLE h = FindFirstFileW((dir + L"\\*").c_str(), &fd);
  if (h == INVALID_HANDLE_VALUE) return out;
  do {
    std::wstring name = fd.cFileName;
    if (name != L"." && name != L"..") out.push_back(name);
  } while (FindNextFileW(h, &fd));
  FindClose(h);
  return out;
}

// Reads a file through the wide API, independently of the helpers under test.
std::string raw_contents(const std::wstring& path) {
  HANDLE h = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  if (h == INVALID_HANDLE_VALUE) return "<missing>";
  std::string out;
  char buf[4096];
  DWORD got = 0;
  while (ReadFile(h, buf, sizeof buf, &got, nullptr) && got > 0) out.append(buf, got);
  CloseHandle(h);
  return out;
}

void write_raw(const std::wstring& path, const std::string& data) {
  HANDLE h = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  DWORD put = 0;
  WriteFile(h, data.data(), static_cast<DWORD>(data.size()), &put, nullptr);
  CloseHandle(h);
  ASSERT_EQ(put, data.size());
}

// Whether the file system reports FILE_ATTRIBUTE_TEMPORARY back at all (Wine drops it).
bool temporary_attribute_kept() {
  wchar_t tmp[MAX_PATH];
  GetTempPathW(MAX_PATH, tmp);
  std::wstring probe = std::wstring(tmp) + L"qx-attribute-probe";
  HANDLE h = CreateFileW(probe.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY, nullptr);
  if (h == INVALID_HANDLE_VALUE) return false;
  CloseHandle(h);
  DWORD attrs = GetFileAttributesW(probe.c_str());
  DeleteFileW(probe.c_str());
  return attrs != INVALID_FILE_ATTRIBUTES && (attrs & FILE_ATTRIBUTE_TEMPORARY);
}

// Every test gets a fresh folder under the temporary folder, named with a u umlaut and a CJK
// character, removed again afterwards.
class Win32Files : public ::testing::Test {
 protected:
  void SetUp() override {
    wchar_t tmp[MAX_PATH];
    ASSERT_GT(GetTempPathW(MAX_PATH, tmp), 0u);
    wdir_ = std::wstring(tmp) + L"qx-files-\x00fc\x4e2d-" + std::to_wstring(GetCurrentProcessId());
    remove_tree(wdir_);
    ASSERT_TRUE(CreateDirectoryW(wdir_.c_str(), nullptr));
    dir_ = w32_to_utf8(wdir_);
  }
  void TearDown() override { remove_tree(wdir_); }

  std::wstring wdir_;
  std::string dir_;  // the same folder in UTF-8
};

TEST_F(Win32Files, SettingsFileWrittenAndReadBack) {
  const char* folder_value = "C:\\Program Files\\Quiverex \xc3\xbc\\";
  const char* quoted = "say \"hi\" twice \"\"";
  const char* lines = "first line\r\nsecond line\nthird";
  setting* list = __setting_set(nullptr, "folder", folder_value);
  list = __setting_set(list, "quote", quoted);
  list = __setting_set(list, "lines", lines);
  list = __setting_set_int(list, "count", -42);

  // The folder below does not exist yet: the save creates it.
  const std::string path = dir_ + "\\sub\\settings.ini";
  ASSERT_EQ(__settings_dump_to_file(list, path.c_str()), 0);
  EXPECT_EQ(raw_contents(wdir_ + L"\\sub\\settings.ini"), settings_format(list));

  std::optional<std::string> err;
  time_t mtime = 0;
  setting* back = __settings_load_from_file_mtime(path.c_str(), &err, &mtime);
  EXPECT_FALSE(err) << *err;
  EXPECT_GT(mtime, 1600000000) << "a time after 2020 from the file's write time";
  EXPECT_EQ(__setting_get_count(back), 4u);
  EXPECT_STREQ(__setting_get(back, "folder"), folder_value);
  EXPECT_STREQ(__setting_get(back, "quote"), quoted);
  EXPECT_STREQ(__setting_get(back, "lines"), lines);
  EXPECT_EQ(__setting_get_int(back, "count"), -42);
  __setting_list_free(back);
  __setting_list_free(list);

  err.reset();
  EXPECT_EQ(__settings_load_from_file((dir_ + "\\missing.ini").c_str(), &err), nullptr);
  EXPECT_EQ(err, std::string(SETTINGS_ERR_CANNOT_OPEN));
}

TEST_F(Win32Files, SaveOverAnExistingFileLeavesNoTemporaryFile) {
  const std::wstring wpath = wdir_ + L"\\data.txt";
  write_raw(wpath, "old contents\r\n");
  const std::string fresh("new\ncontents\0with a zero", 24);
  ASSERT_TRUE(save_file_atomically(dir_ + "\\data.txt", fresh));
  EXPECT_EQ(raw_contents(wpath), fresh) << "bytes written without newline translation";
  EXPECT_EQ(entries(wdir_), std::vector<std::wstring>{L"data.txt"});

  ASSERT_TRUE(save_file_atomically(dir_ + "\\data.txt", ""));
  EXPECT_EQ(raw_contents(wpath), "");
  EXPECT_EQ(entries(wdir_), std::vector<std::wstring>{L"data.txt"});
}

TEST_F(Win32Files, FailedSaveLeavesTheOldFile) {
  const std::string old_bytes = "\"a\" \"1\"\r\n\"b\" \"two\nlines\"\n";

  // A target another program holds open without delete sharing cannot be replaced.
  const std::wstring wlocked = wdir_ + L"\\locked.ini";
  write_raw(wlocked, old_bytes);
  HANDLE holder = CreateFileW(wlocked.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(holder, INVALID_HANDLE_VALUE);
  setting* list = __setting_set(nullptr, "a", "changed");
  EXPECT_EQ(__settings_dump_to_file(list, (dir_ + "\\locked.ini").c_str()), 1);
  CloseHandle(holder);
  EXPECT_EQ(raw_contents(wlocked), old_bytes);

  // A folder where the file should be.
  const std::wstring wfolder = wdir_ + L"\\taken.ini";
  ASSERT_TRUE(CreateDirectoryW(wfolder.c_str(), nullptr));
  write_raw(wfolder + L"\\inside", old_bytes);
  EXPECT_EQ(__settings_dump_to_file(list, (dir_ + "\\taken.ini").c_str()), 1);
  EXPECT_EQ(raw_contents(wfolder + L"\\inside"), old_bytes);
  __setting_list_free(list);

  std::vector<std::wstring> left = entries(wdir_);
  EXPECT_EQ(left.size(), 2u) << "no temporary file left behind";
}

TEST_F(Win32Files, TemporaryFilesAreExclusiveAndMarked) {
  std::string first, second;
  FILE* a = secure_open_temp_file(&first, dir_, 5);
  FILE* b = secure_open_temp_file(&second, dir_, 5);
  ASSERT_TRUE(a && b);
  EXPECT_NE(first, second);
  for (const std::string& path : {first, second}) {
    ASSERT_EQ(path.size(), dir_.size() + 9) << path;
    EXPECT_EQ(path.compare(0, dir_.size() + 1, dir_ + "\\"), 0) << path;
    for (char c : path.substr(dir_.size() + 1)) EXPECT_TRUE(isalnum(static_cast<unsigned char>(c))) << path;
    DWORD attrs = GetFileAttributesW(w32_to_utf16(path).c_str());
    ASSERT_NE(attrs, INVALID_FILE_ATTRIBUTES) << path;
    if (temporary_attribute_kept()) {
      EXPECT_TRUE(attrs & FILE_ATTRIBUTE_TEMPORARY) << path;
    }
  }
  if (!temporary_attribute_kept())
    std::printf("note: this file system does not keep the temporary attribute; not checked\n");
  fputs("one\ntwo\n", a);
  EXPECT_TRUE(fsync_and_close(a));
  EXPECT_TRUE(fsync_and_close(b));
  EXPECT_EQ(raw_contents(w32_to_utf16(first)), "one\ntwo\n");

  // An existing name is refused and reported as taken, not as a broken folder.
  bool taken = false;
  EXPECT_EQ(fileutil_create_new(first, &taken), nullptr);
  EXPECT_TRUE(taken);
  EXPECT_EQ(raw_contents(w32_to_utf16(first)), "one\ntwo\n");

  std::string none = "stale";
  EXPECT_EQ(secure_open_temp_file(&none, dir_, 0), nullptr);
  EXPECT_EQ(none, "");
  none = "stale";
  EXPECT_EQ(secure_open_temp_file(&none, dir_ + "\\no such folder", 512), nullptr);
  EXPECT_EQ(none, "");
}

TEST_F(Win32Files, RenamingWithAndWithoutReplacing) {
  write_raw(wdir_ + L"\\from", "from");
  write_raw(wdir_ + L"\\to \x00e9", "to");
  const std::string from = dir_ + "\\from", to = dir_ + "\\to \xc3\xa9";

  errno = 0;
  EXPECT_FALSE(rename_no_replace(from, to));
  EXPECT_EQ(errno, EEXIST);
  EXPECT_EQ(raw_contents(wdir_ + L"\\to \x00e9"), "to");

  EXPECT_TRUE(rename_durable(from, to));
  EXPECT_EQ(raw_contents(wdir_ + L"\\to \x00e9"), "from");
  EXPECT_FALSE(file_exists(from));

  EXPECT_TRUE(rename_no_replace(to, from));
  EXPECT_EQ(raw_contents(wdir_ + L"\\from"), "from");

  errno = 0;
  EXPECT_FALSE(rename_durable(dir_ + "\\gone", to));
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(Win32Files, NestedFoldersWithNonAsciiNames) {
  const std::string nested = dir_ + "\\a\\\xc3\xa9t\xc3\xa9\\\xe6\x97\xa5\xe6\x9c\xac";
  EXPECT_TRUE(mkdir_p(nested, path_separator()));
  const std::wstring wnested = wdir_ + L"\\a\\\x00e9t\x00e9\\\x65e5\x672c";
  DWORD attrs = GetFileAttributesW(wnested.c_str());
  ASSERT_NE(attrs, INVALID_FILE_ATTRIBUTES);
  EXPECT_TRUE(attrs & FILE_ATTRIBUTE_DIRECTORY);
  EXPECT_TRUE(dir_exists(nested));
  EXPECT_TRUE(mkdir_p(nested + "\\", '\\')) << "an existing folder, with a trailing separator";

  write_raw(wdir_ + L"\\plain", "x");
  EXPECT_TRUE(file_exists(dir_ + "\\plain"));
  EXPECT_FALSE(dir_exists(dir_ + "\\plain"));
  EXPECT_FALSE(mkdir_p(dir_ + "\\plain\\below", '\\')) << "a file in the way";
  EXPECT_FALSE(file_exists(dir_ + "\\nothing"));
}

}  // namespace
