#include "platform/win32/registry.h"

#include <sddl.h>

#include "platform/win32/keys.h"
#include "platform/win32/text.h"

namespace {

std::string expand_env(const std::wstring& w) {
  DWORD n = ExpandEnvironmentStringsW(w.c_str(), nullptr, 0);
  if (n == 0) return w32_to_utf8(w);
  std::wstring out(n, L'\0');
  ExpandEnvironmentStringsW(w.c_str(), out.data(), n);
  return w32_to_utf8(out.c_str());
}

std::optional<std::string> read_string(HKEY key, const std::string& value, bool expand_ok) {
  std::wstring name = w32_to_utf16(value);
  DWORD type = 0, size = 0;
  if (RegQueryValueExW(key, name.c_str(), nullptr, &type, nullptr, &size) != ERROR_SUCCESS)
    return std::nullopt;
  if (type != REG_SZ && !(expand_ok && type == REG_EXPAND_SZ)) return std::nullopt;
  // Stored strings need not be terminated: read into a zeroed buffer one unit longer.
  std::wstring buf(size / sizeof(wchar_t) + 1, L'\0');
  DWORD got = static_cast<DWORD>(buf.size() * sizeof(wchar_t));
  if (RegQueryValueExW(key, name.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(buf.data()),
                       &got) != ERROR_SUCCESS)
    return std::nullopt;
  buf.resize(wcsnlen(buf.c_str(), buf.size()));
  if (type == REG_EXPAND_SZ) return expand_env(buf);
  return w32_to_utf8(buf);
}

std::optional<std::string> read_string_at(HKEY root, const std::string& key,
                                          const std::string& value, bool expand_ok) {
  HKEY k;
  if (RegOpenKeyExW(root, w32_to_utf16(key).c_str(), 0, KEY_QUERY_VALUE, &k) != ERROR_SUCCESS)
    return std::nullopt;
  std::optional<std::string> s = read_string(k, value, expand_ok);
  RegCloseKey(k);
  return s;
}

LONG write_value(HKEY root, const std::string& key, const std::string& value, DWORD type,
                 const void* data, DWORD size) {
  HKEY k;
  LONG r = RegCreateKeyExW(root, w32_to_utf16(key).c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr,
                           &k, nullptr);
  if (r != ERROR_SUCCESS) return r;
  r = RegSetValueExW(k, w32_to_utf16(value).c_str(), 0, type, static_cast<const BYTE*>(data), size);
  RegCloseKey(k);
  return r;
}

LONG write_string(HKEY root, const std::string& key, const std::string& value,
                  const std::string& data) {
  std::wstring w = w32_to_utf16(data);
  return write_value(root, key, value, REG_SZ, w.c_str(),
                     static_cast<DWORD>((w.size() + 1) * sizeof(wchar_t)));
}

std::string system_message(LONG err) {
  wchar_t* msg = nullptr;
  FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                     FORMAT_MESSAGE_IGNORE_INSERTS,
                 nullptr, static_cast<DWORD>(err), 0, reinterpret_cast<wchar_t*>(&msg), 0, nullptr);
  std::string s = msg ? w32_to_utf8(msg) : "error " + std::to_string(err);
  if (msg) LocalFree(msg);
  while (!s.empty() && (s.back() == '\n' || s.back() == '\r' || s.back() == ' ')) s.pop_back();
  return s;
}

}  // namespace

std::optional<std::string> reg_get_key_string_value(HKEY root, const std::string& key,
                                                    const std::string& value) {
  return read_string_at(root, key, value, true);
}

std::optional<std::string> reg_get_key_string_value_sz(HKEY root, const std::string& key,
                                                       const std::string& value) {
  return read_string_at(root, key, value, false);
}

std::optional<std::string> reg_get_open_key_string_value(HKEY key, const std::string& value) {
  return read_string(key, value, true);
}

bool reg_set_key_string_value(HKEY root, const std::string& key, const std::string& value,
                              const std::string& data) {
  return write_string(root, key, value, data) == ERROR_SUCCESS;
}

bool reg_set_key_string_value_err(HKEY root, const std::string& key, const std::string& value,
                                  const std::string& data, std::string* err) {
  LONG r = write_string(root, key, value, data);
  if (r == ERROR_SUCCESS) return true;
  if (err) *err = system_message(r);
  return false;
}

std::optional<std::string> build_reg_path_for_user(const std::string& key) {
  HANDLE token;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) return std::nullopt;
  DWORD size = 0;
  GetTokenInformation(token, TokenUser, nullptr, 0, &size);
  std::vector<BYTE> buf(size ? size : 1);
  std::optional<std::string> out;
  if (GetTokenInformation(token, TokenUser, buf.data(), size, &size)) {
    wchar_t* sid = nullptr;
    if (ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(buf.data())->User.Sid, &sid)) {
      out = w32_to_utf8(sid) + "\\" + key;
      LocalFree(sid);
    }
  }
  CloseHandle(token);
  return out;
}

std::optional<std::string> reg_get_key_string_value_for_user(const std::string& key,
                                                             const std::string& value) {
  std::optional<std::string> path = build_reg_path_for_user(key);
  if (!path) return std::nullopt;
  return reg_get_key_string_value(HKEY_USERS, *path, value);
}

bool reg_set_key_string_value_for_user(const std::string& key, const std::string& value,
                                       const std::string& data) {
  std::optional<std::string> path = build_reg_path_for_user(key);
  return path && reg_set_key_string_value(HKEY_USERS, *path, value, data);
}

std::optional<uint32_t> reg_get_key_dword_value(HKEY root, const std::string& key,
                                                const std::string& value) {
  DWORD data = 0, size = sizeof data;
  if (RegGetValueW(root, w32_to_utf16(key).c_str(), w32_to_utf16(value).c_str(), RRF_RT_REG_DWORD,
                   nullptr, &data, &size) != ERROR_SUCCESS)
    return std::nullopt;
  return data;
}

bool reg_set_key_dword_value(HKEY root, const std::string& key, const std::string& value,
                             uint32_t data) {
  DWORD d = data;
  return write_value(root, key, value, REG_DWORD, &d, sizeof d) == ERROR_SUCCESS;
}

bool reg_delete_value(HKEY root, const std::string& key, const std::string& value) {
  HKEY k;
  LONG r = RegOpenKeyExW(root, w32_to_utf16(key).c_str(), 0, KEY_SET_VALUE, &k);
  if (r == ERROR_FILE_NOT_FOUND) return true;
  if (r != ERROR_SUCCESS) return false;
  r = RegDeleteValueW(k, w32_to_utf16(value).c_str());
  RegCloseKey(k);
  return r == ERROR_SUCCESS || r == ERROR_FILE_NOT_FOUND;
}

std::vector<std::string> reg_enum_subkeys(HKEY root, const std::string& key) {
  std::vector<std::string> out;
  HKEY k;
  if (RegOpenKeyExW(root, w32_to_utf16(key).c_str(), 0, KEY_ENUMERATE_SUB_KEYS, &k) != ERROR_SUCCESS)
    return out;
  wchar_t name[256];
  for (DWORD i = 0;; ++i) {
    DWORD len = 256;
    LONG r = RegEnumKeyExW(k, i, name, &len, nullptr, nullptr, nullptr, nullptr);
    if (r == ERROR_NO_MORE_ITEMS) break;
    if (r == ERROR_SUCCESS) out.push_back(w32_to_utf8(name, static_cast<int>(len)));
  }
  RegCloseKey(k);
  return out;
}

std::vector<plat_browser> w32_web_browser_list_get() {
  static const char k_clients[] = "SOFTWARE\\Clients\\StartMenuInternet";
  std::vector<plat_browser> out;
  for (const std::string& sub : reg_enum_subkeys(HKEY_LOCAL_MACHINE, k_clients)) {
    std::string base = std::string(k_clients) + "\\" + sub;
    plat_browser b;
    b.key = sub;
    b.display_name = reg_get_key_string_value(HKEY_LOCAL_MACHINE, base, "").value_or(sub);
    std::optional<std::string> cmd =
        reg_get_key_string_value(HKEY_LOCAL_MACHINE, base + "\\shell\\open\\command", "");
    if (cmd) b.exe = w32_extract_browser_exe_from_open_command(*cmd);
    out.push_back(b);
  }
  return out;
}
