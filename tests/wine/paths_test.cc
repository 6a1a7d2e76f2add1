// The AutoCorrect list search in the Wine prefix.
#include "platform/win32/paths.h"

#include <gtest/gtest.h>

#include <shlobj.h>

#include <algorithm>

#include "platform/win32/text.h"

namespace {

TEST(Win32Paths, AutoCorrectListsOfWord) {
  wchar_t tmp[MAX_PATH];
  GetTempPathW(MAX_PATH, tmp);
  std::wstring root = std::wstring(tmp) + L"qx-acl-test";
  std::wstring office = root + L"\\Microsoft\\Office\\";
  SHCreateDirectoryExW(nullptr, office.c_str(), nullptr);
  for (const wchar_t* name : {L"MSO1033.acl", L"MSO0127.acl", L"MSO1031.ACL", L"MSO1036.txt",
                              L"Normal.acl"}) {
    HANDLE f = CreateFileW((office + name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0,
                           nullptr);
    CloseHandle(f);
  }
  std::string root8 = w32_to_utf8(root);
  std::vector<std::string> lists = w32_autocorrect_list_paths(root8, false);
  std::vector<std::string> with_0127 = w32_autocorrect_list_paths(root8, true);
  for (const wchar_t* name : {L"MSO1033.acl", L"MSO0127.acl", L"MSO1031.ACL", L"MSO1036.txt",
                              L"Normal.acl"})
    DeleteFileW((office + name).c_str());
  RemoveDirectoryW(office.c_str());
  RemoveDirectoryW((root + L"\\Microsoft").c_str());
  RemoveDirectoryW(root.c_str());

  std::sort(lists.begin(), lists.end());
  std::string dir = root8 + "\\Microsoft\\Office\\";
  EXPECT_EQ(lists, (std::vector<std::string>{dir + "MSO1031.ACL", dir + "MSO1033.acl"}));
  EXPECT_EQ(with_0127.size(), 3u);
  EXPECT_TRUE(w32_autocorrect_list_paths(root8 + "\\nowhere", true).empty());
}

}  // namespace
