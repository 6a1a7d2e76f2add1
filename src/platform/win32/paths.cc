#include "platform/win32/paths.h"

#include <shlobj.h>

#include "platform/win32/startup.h"
#include "platform/win32/text.h"

namespace {

bool ends_with_nocase(const std::wstring& s, const wchar_t* suffix) {
  size_t n = wcslen(suffix);
  return s.size() >= n && _wcsicmp(s.c_str() + s.size() - n, suffix) == 0;
}

}  // namespace

std::optional<std::string> w32_folder_path(int csidl) {
  wchar_t buf[MAX_PATH];
  if (FAILED(SHGetFolderPathW(nullptr, csidl | CSIDL_FLAG_CREATE, nullptr, SHGFP_TYPE_CURRENT, buf)))
    return std::nullopt;
  return w32_to_utf8(buf);
}

std::optional<std::string> w32_module_file_name() {
  // The name may be longer than MAX_PATH; grow until it fits.
  std::wstring buf(1024, L'\0');
  for (;;) {
    DWORD n = GetModuleFileNameW(nullptr, buf.data(), static_cast<DWORD>(buf.size()));
    if (n == 0) return std::nullopt;
    if (n < buf.size()) return w32_to_utf8(buf.c_str(), static_cast<int>(n));
    buf.resize(buf.size() + 1024);
  }
}

std::optional<std::string> w32_command_line_argument0() {
  std::optional<std::vector<std::string>> args = w32_command_line_arguments();
  if (!args || args->empty() || (*args)[0].empty()) return std::nullopt;
  return (*args)[0];
}

std::optional<std::string> w32_current_dir() {
  // The first call tells the size including the terminator; the folder may change in between.
  for (;;) {
    DWORD need = GetCurrentDirectoryW(0, nullptr);
    if (need == 0) return std::nullopt;
    std::wstring buf(need, L'\0');
    DWORD n = GetCurrentDirectoryW(need, buf.data());
    if (n == 0) return std::nullopt;
    if (n < need) return w32_to_utf8(buf.c_str(), static_cast<int>(n));
  }
}

std::vector<std::string> w32_autocorrect_list_paths(const std::string& roaming_appdata,
                                                    bool include_0127) {
  std::vector<std::string> out;
  std::wstring dir = w32_to_utf16(roaming_appdata) + L"\\Microsoft\\Office\\";
  WIN32_FIND_DATAW fd;
  HANDLE h = FindFirstFileW((dir + L"MSO*.acl").c_str(), &fd);
  if (h == INVALID_HANDLE_VALUE) return out;
  do {
    std::wstring name = fd.cFileName;
    // The pattern also matches longer extensions (".aclx") through short names.
    if (!ends_with_nocase(name, L".acl")) continue;
    if (!include_0127 && _wcsicmp(name.c_str(), L"MSO0127.acl") == 0) continue;
    out.push_back(w32_to_utf8(dir + name));
  } while (FindNextFileW(h, &fd));
  FindClose(h);
  return out;
}

std::vector<std::string> w32_dropbox_host_db_paths() {
  std::vector<std::string> out;
  for (int csidl : {CSIDL_APPDATA, CSIDL_LOCAL_APPDATA})
    if (std::optional<std::string> dir = w32_folder_path(csidl))
      out.push_back(*dir + "\\Dropbox\\host.db");
  return out;
}
