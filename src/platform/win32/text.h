// UTF-8 <-> UTF-16 at the edges of the Windows API.
#pragma once

#include <string>

// Invalid input is replaced, never rejected: these feed window titles, paths and clipboard
// text, where a best effort beats nothing.
std::wstring w32_to_utf16(const std::string& utf8);
// `len` is in UTF-16 units; -1 means up to the terminating zero.
std::string w32_to_utf8(const wchar_t* utf16, int len = -1);
inline std::string w32_to_utf8(const std::wstring& utf16) {
  return w32_to_utf8(utf16.data(), static_cast<int>(utf16.size()));
}
// Narrow text in the system's ANSI code page (what the C runtime hands a program as argv).
std::string w32_acp_to_utf8(const std::string& acp);
// Cuts a UTF-8 string to at most max_bytes without splitting a character.
std::string w32_truncate_utf8(std::string s, size_t max_bytes);
