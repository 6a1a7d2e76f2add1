// The hook time-out step on Windows: the decision in prefs_hook_timeout_apply, carried out on
// the user's "Control Panel\Desktop" key.
#include "platform/win32/registry.h"
#include "platform/win32/system_settings.h"
#include "settings/prefs.h"
#include "settings/prefs_platform.h"

namespace {

// The key is opened once with query and set access; when either is refused the step ends
// before anything is read or written.
class desktop_key : public prefs_hook_timeout_registry {
 public:
  ~desktop_key() override { close(); }
  bool open() override {
    return RegOpenKeyExW(HKEY_CURRENT_USER, L"Control Panel\\Desktop", 0,
                         KEY_QUERY_VALUE | KEY_SET_VALUE, &key_) == ERROR_SUCCESS;
  }
  // An empty subkey name addresses the opened key itself.
  std::optional<uint32_t> read_dword(const char* name) override {
    return reg_get_key_dword_value(key_, "", name);
  }
  bool write_dword(const char* name, uint32_t value) override {
    return reg_set_key_dword_value(key_, "", name, value);
  }
  void close() override {
    if (key_) RegCloseKey(key_);
    key_ = nullptr;
  }

 private:
  HKEY key_ = nullptr;
};

}  // namespace

void prefs_platform_adjust_hook_timeout() {
  unsigned major = 0, minor = 0;
  std::optional<prefs_os_version> version;
  if (w32_os_version(&major, &minor))
    version = prefs_os_version{static_cast<int>(major), static_cast<int>(minor)};
  desktop_key key;
  std::optional<int> lt = prefs_hook_timeout_apply(version, setting_does_exist("lt") != 0, key);
  if (lt) setting_set_int("lt", *lt);
}
