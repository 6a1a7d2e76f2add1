#include "platform/win32/text.h"

#include "platform/win32/w32.h"

namespace {

std::wstring widen(UINT code_page, const std::string& text) {
  if (text.empty()) return std::wstring();
  int n = MultiByteToWideChar(code_page, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  if (n <= 0) return std::wstring();
  std::wstring out(static_cast<size_t>(n), L'\0');
  MultiByteToWideChar(code_page, 0, text.data(), static_cast<int>(text.size()), out.data(), n);
  return out;
}

}  // namespace

std::wstring w32_to_utf16(const std::string& utf8) { return widen(CP_UTF8, utf8); }

std::string w32_to_utf8(const wchar_t* utf16, int len) {
  if (!utf16 || len == 0) return std::string();
  if (len < 0) len = static_cast<int>(wcslen(utf16));
  if (len == 0) return std::string();
  int n = WideCharToMultiByte(CP_UTF8, 0, utf16, len, nullptr, 0, nullptr, nullptr);
  if (n <= 0) return std::string();
  std::string out(static_cast<size_t>(n), '\0');
  WideCharToMultiByte(CP_UTF8, 0, utf16, len, out.data(), n, nullptr, nullptr);
  return out;
}

std::string w32_acp_to_utf8(const std::string& acp) { return w32_to_utf8(widen(CP_ACP, acp)); }

std::string w32_truncate_utf8(std::string s, size_t max_bytes) {
  if (s.size() <= max_bytes) return s;
  size_t cut = max_bytes;
  // Step back over continuation bytes so the last character stays whole.
  while (cut > 0 && (static_cast<unsigned char>(s[cut]) & 0xC0) == 0x80) --cut;
  s.resize(cut);
  return s;
}
