#include "platform/win32/win32_platform.h"

#include "platform/win32/w32.h"

#include <mmsystem.h>
#include <shellapi.h>

#include <atomic>
#include <vector>

#include "platform/win32/clipboard.h"
#include "platform/win32/instance_window.h"
#include "platform/win32/keys.h"
#include "platform/win32/registry.h"
#include "platform/win32/text.h"

namespace {

// Hook state. Low-level hooks run on the thread that installed them, so these are written and
// read on the hook thread only.
HHOOK g_key_hook = nullptr;
plat_key_hook g_key_fn = nullptr;
void* g_key_user = nullptr;
HHOOK g_mouse_hook = nullptr;
plat_mouse_hook g_mouse_fn = nullptr;
void* g_mouse_user = nullptr;

LRESULT CALLBACK keyboard_ll_proc(int code, WPARAM wp, LPARAM lp) {
  if (code >= 0 && g_key_fn) {
    plat_key_event ev = w32_decode_key_event(wp, *reinterpret_cast<const KBDLLHOOKSTRUCT*>(lp));
    if (g_key_fn(ev, g_key_user) == PLAT_SWALLOW) return 1;
  }
  return CallNextHookEx(g_key_hook, code, wp, lp);
}

LRESULT CALLBACK mouse_ll_proc(int code, WPARAM wp, LPARAM lp) {
  plat_mouse_event ev;
  if (code >= 0 && g_mouse_fn &&
      w32_decode_mouse_event(wp, *reinterpret_cast<const MSLLHOOKSTRUCT*>(lp), &ev)) {
    if (g_mouse_fn(ev, g_mouse_user) == PLAT_SWALLOW) return 1;
  }
  return CallNextHookEx(g_mouse_hook, code, wp, lp);
}

// UnhookWindowsHookEx failing because the system already dropped the hook counts as success.
bool unhook(HHOOK* h) {
  if (!*h) return true;
  SetLastError(0);
  if (UnhookWindowsHookEx(*h)) {
    *h = nullptr;
    return true;
  }
  DWORD err = GetLastError();
  if (err == 0 || err == ERROR_HOOK_NOT_INSTALLED || err == ERROR_INVALID_HOOK_HANDLE) {
    *h = nullptr;
    return true;
  }
  return false;
}

HKL layout_or_foreground(plat_layout layout) {
  if (layout) return reinterpret_cast<HKL>(layout);
  HWND fg = GetForegroundWindow();
  return GetKeyboardLayout(fg ? GetWindowThreadProcessId(fg, nullptr) : 0);
}

std::string window_text_utf8(HWND w, size_t max_len, bool cls) {
  if (!w || max_len == 0) return "";
  std::vector<wchar_t> buf(max_len + 1);
  int n = cls ? GetClassNameW(w, buf.data(), static_cast<int>(buf.size()))
              : GetWindowTextW(w, buf.data(), static_cast<int>(buf.size()));
  if (n <= 0) return "";
  return w32_truncate_utf8(w32_to_utf8(buf.data(), n), max_len);
}

int show_command(int show) {
  switch (show) {
    case 2:
      return SW_SHOWMINIMIZED;
    case 3:
      return SW_SHOWMAXIMIZED;
    default:
      return SW_SHOWNORMAL;
  }
}

// The window that owns what this process puts on the clipboard. The program's hidden
// instance window when it exists (its thread pumps messages); otherwise a message-only window
// of the calling thread, made once.
HWND clipboard_owner() {
  if (HWND h = w32_invisiwin_hwnd()) return h;
  static std::atomic<HWND> own{nullptr};
  if (HWND h = own.load()) return h;
  HWND h = CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                           GetModuleHandleW(nullptr), nullptr);
  HWND expected = nullptr;
  if (!own.compare_exchange_strong(expected, h)) {
    DestroyWindow(h);
    return expected;
  }
  return h;
}

class win32_platform final : public platform {
 public:
  unsigned capabilities() override { return PLAT_CAP_SWALLOW; }

  plat_thread_id current_thread_id() override {
    // Any message call gives the thread its queue; an answer posted to us must find it.
    MSG m;
    PeekMessageA(&m, nullptr, 0, 0, PM_NOREMOVE);
    return GetCurrentThreadId();
  }

  bool post_thread_message(plat_thread_id tid, uint32_t msg, uintptr_t wparam,
                           intptr_t lparam) override {
    return PostThreadMessageA(tid, msg, wparam, lparam) != 0;
  }

  int get_message(plat_msg* out, uint32_t msg_min, uint32_t msg_max) override {
    for (;;) {
      MSG m;
      BOOL r = GetMessageA(&m, nullptr, msg_min, msg_max);
      if (r == -1) return -1;
      // Window messages (the tooltip's, timers with a procedure) are not the caller's: they
      // go to their windows here.
      if (r != 0 && (m.hwnd || (m.message == WM_TIMER && m.lParam))) {
        TranslateMessage(&m);
        DispatchMessageA(&m);
        continue;
      }
      out->message = m.message;
      out->wparam = m.wParam;
      out->lparam = m.lParam;
      return r == 0 ? 0 : 1;
    }
  }

  // The system calls the low-level hooks before an event changes the key state, so the hook
  // thread has seen every event the key state reflects.
  void flush_hook_events() override {}
  void raise_thread_priority() override {
    SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_TIME_CRITICAL);
  }

  bool install_keyboard_hook(plat_key_hook fn, void* user) override {
    g_key_fn = fn;
    g_key_user = user;
    if (!g_key_hook)
      g_key_hook = SetWindowsHookExA(WH_KEYBOARD_LL, keyboard_ll_proc, GetModuleHandleA(nullptr), 0);
    return g_key_hook != nullptr;
  }
  bool uninstall_keyboard_hook() override { return unhook(&g_key_hook); }
  bool install_mouse_hook(plat_mouse_hook fn, void* user) override {
    g_mouse_fn = fn;
    g_mouse_user = user;
    if (!g_mouse_hook)
      g_mouse_hook = SetWindowsHookExA(WH_MOUSE_LL, mouse_ll_proc, GetModuleHandleA(nullptr), 0);
    return g_mouse_hook != nullptr;
  }
  bool uninstall_mouse_hook() override { return unhook(&g_mouse_hook); }

  bool get_keyboard_state(uint8_t state[256]) override { return GetKeyboardState(state) != 0; }
  int16_t get_key_state(uint32_t vk) override { return GetKeyState(static_cast<int>(vk)); }
  int16_t get_async_key_state(uint32_t vk) override {
    return GetAsyncKeyState(static_cast<int>(vk));
  }

  plat_layout window_layout(plat_window w) override {
    HWND h = w ? reinterpret_cast<HWND>(w) : GetForegroundWindow();
    return reinterpret_cast<plat_layout>(GetKeyboardLayout(h ? GetWindowThreadProcessId(h, nullptr) : 0));
  }
  uint16_t layout_language(plat_layout layout) override {
    return LOWORD(reinterpret_cast<uintptr_t>(layout_or_foreground(layout)));
  }
  std::string layout_name(plat_layout layout) override {
    HKL hkl = layout_or_foreground(layout);
    // The layout identifier is known only for the calling thread's own layout.
    std::string klid;
    wchar_t name[KL_NAMELENGTH];
    if (hkl == GetKeyboardLayout(0) && GetKeyboardLayoutNameW(name)) klid = w32_to_utf8(name);
    return w32_layout_short_name(LOWORD(reinterpret_cast<uintptr_t>(hkl)), klid);
  }
  int to_unicode(uint32_t vk, uint32_t scan, const uint8_t state[256], std::string* utf8_out,
                 plat_layout layout) override {
    wchar_t buf[16];
    int n = ToUnicodeEx(vk, scan, state, buf, 16, 0, layout_or_foreground(layout));
    if (n > 0 && utf8_out) *utf8_out = w32_to_utf8(buf, n);
    return n;
  }
  int16_t vk_key_scan(char32_t ch, plat_layout layout) override {
    if (ch > 0xFFFF) return -1;
    return VkKeyScanExW(static_cast<wchar_t>(ch), layout_or_foreground(layout));
  }
  uint32_t map_virtual_key(uint32_t code, unsigned map_type, plat_layout layout) override {
    if (map_type == MAPVK_VK_TO_VSC)
      if (uint32_t sc = w32_vk_to_sc_fixed(code)) return sc;
    return MapVirtualKeyExW(code, map_type, layout_or_foreground(layout));
  }

  unsigned send_input(const plat_input* inputs, unsigned n) override {
    if (n == 0) return 0;
    std::vector<INPUT> in(n);
    for (unsigned i = 0; i < n; ++i) in[i] = w32_make_input(inputs[i]);
    return SendInput(n, in.data(), sizeof(INPUT));
  }
  void send_key(uint32_t vk, uint32_t scan, uint32_t flags) override {
    keybd_event(static_cast<BYTE>(vk), static_cast<BYTE>(scan), flags, 0);
  }
  bool post_char(plat_window w, char32_t ch) override {
    HWND h = reinterpret_cast<HWND>(w);
    if (!h) return false;
    if (ch < 0x10000) return PostMessageW(h, WM_CHAR, ch, 1) != 0;
    char32_t v = ch - 0x10000;
    return PostMessageW(h, WM_CHAR, 0xD800 + (v >> 10), 1) &&
           PostMessageW(h, WM_CHAR, 0xDC00 + (v & 0x3FF), 1);
  }

  plat_window foreground_window() override {
    return reinterpret_cast<plat_window>(GetForegroundWindow());
  }
  std::string window_class(plat_window w, size_t max_len) override {
    return window_text_utf8(reinterpret_cast<HWND>(w), max_len, true);
  }
  std::string window_title(plat_window w, size_t max_len) override {
    return window_text_utf8(reinterpret_cast<HWND>(w), max_len, false);
  }
  plat_window window_parent(plat_window w) override {
    return reinterpret_cast<plat_window>(GetParent(reinterpret_cast<HWND>(w)));
  }
  uint32_t window_process_id(plat_window w) override {
    DWORD pid = 0;
    if (w) GetWindowThreadProcessId(reinterpret_cast<HWND>(w), &pid);
    return pid;
  }
  std::string window_process_name(plat_window w) override {
    DWORD pid = window_process_id(w);
    if (!pid) return "";
    HANDLE p = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, pid);
    if (!p) return "";
    wchar_t path[MAX_PATH * 2];
    DWORD len = MAX_PATH * 2;
    std::string out;
    if (QueryFullProcessImageNameW(p, 0, path, &len)) {
      std::string full = w32_to_utf8(path, static_cast<int>(len));
      size_t slash = full.find_last_of("\\/");
      out = slash == std::string::npos ? full : full.substr(slash + 1);
    }
    CloseHandle(p);
    return out;
  }
  plat_window find_top_level_window(const std::string& cls) override {
    return reinterpret_cast<plat_window>(
        FindWindowExW(nullptr, nullptr, w32_to_utf16(cls).c_str(), nullptr));
  }
  bool window_rect(plat_window w, plat_rect* out) override {
    RECT r;
    if (!GetWindowRect(reinterpret_cast<HWND>(w), &r)) return false;
    *out = {r.left, r.top, r.right, r.bottom};
    return true;
  }
  plat_window focus_window() override {
    GUITHREADINFO gti;
    gti.cbSize = sizeof gti;
    if (!GetGUIThreadInfo(0, &gti)) return 0;
    return reinterpret_cast<plat_window>(gti.hwndFocus);
  }
  bool caret_rect(plat_rect* out) override {
    GUITHREADINFO gti;
    gti.cbSize = sizeof gti;
    if (!GetGUIThreadInfo(0, &gti) || !gti.hwndCaret) return false;
    POINT tl{gti.rcCaret.left, gti.rcCaret.top};
    POINT br{gti.rcCaret.right, gti.rcCaret.bottom};
    if (!ClientToScreen(gti.hwndCaret, &tl) || !ClientToScreen(gti.hwndCaret, &br)) return false;
    *out = {tl.x, tl.y, br.x, br.y};
    return true;
  }
  bool attach_thread_input(plat_window w, bool attach) override {
    DWORD them = GetWindowThreadProcessId(reinterpret_cast<HWND>(w), nullptr);
    DWORD us = GetCurrentThreadId();
    if (!them) return false;
    if (them == us) return true;
    return AttachThreadInput(us, them, attach) != 0;
  }
  void move_pointer(int x, int y) override { SetCursorPos(x, y); }

  std::optional<std::string> clipboard_get_text(unsigned selection) override {
    if (!(selection & PLAT_SEL_CLIPBOARD)) return std::nullopt;
    if (!OpenClipboard(nullptr)) return std::nullopt;
    std::optional<std::string> s = w32_clipboard_read_text();
    CloseClipboard();
    return s;
  }
  bool clipboard_set_text(const std::string& utf8, unsigned selections, int attempts,
                          int interval_ms) override {
    if (!(selections & PLAT_SEL_CLIPBOARD)) return false;
    if (!w32_clipboard_open(clipboard_owner(), attempts, interval_ms)) return false;
    bool ok = w32_clipboard_write_text(utf8);
    CloseClipboard();
    return ok;
  }
  bool clipboard_wait_fetched(int timeout_ms) override {
    // Data put on the clipboard directly gives no notice when it is read.
    Sleep(static_cast<DWORD>(timeout_ms > 0 ? timeout_ms : 0));
    return false;
  }
  std::unique_ptr<plat_clipboard_backup> clipboard_backup(int attempts, int interval_ms) override {
    return w32_clipboard_backup_take(clipboard_owner(), attempts, interval_ms);
  }
  bool clipboard_restore(const plat_clipboard_backup& backup, int attempts,
                         int interval_ms) override {
    auto* b = dynamic_cast<const w32_clipboard_backup*>(&backup);
    return b && w32_clipboard_backup_restore(*b, clipboard_owner(), attempts, interval_ms);
  }

  void set_hotkey_handler(hotkey_func fn, void* user) override {
    w32_invisiwin_set_hotkey_handler(fn, user);
  }
  bool register_hotkey(int id, unsigned modifiers, uint32_t vk) override {
    // Hotkeys belong to the hidden instance window; it is made here if start-up has not.
    HWND h = w32_invisiwin_hwnd();
    if (!h) h = w32_invisiwin_create(GetModuleHandleW(nullptr), w32_invisiwin_handlers());
    return h && RegisterHotKey(h, id, modifiers, vk);
  }
  bool unregister_hotkey(int id) override {
    HWND h = w32_invisiwin_hwnd();
    return h && UnregisterHotKey(h, id);
  }

  bool launch(const plat_launch& what) override {
    std::wstring verb = w32_to_utf16(what.verb), file = w32_to_utf16(what.file),
                 params = w32_to_utf16(what.parameters), dir = w32_to_utf16(what.directory);
    SHELLEXECUTEINFOW sei;
    memset(&sei, 0, sizeof sei);
    sei.cbSize = sizeof sei;
    // A launch that fails is silent: without NO_UI the shell would put up its own error box
    // and block the replacement thread until the user closes it.
    sei.fMask = SEE_MASK_FLAG_DDEWAIT | SEE_MASK_FLAG_NO_UI;
    sei.lpVerb = verb.empty() ? nullptr : verb.c_str();
    sei.lpFile = file.c_str();
    sei.lpParameters = params.empty() ? nullptr : params.c_str();
    sei.lpDirectory = dir.empty() ? nullptr : dir.c_str();
    sei.nShow = show_command(what.show);
    return ShellExecuteExW(&sei) != 0;
  }
  std::vector<plat_browser> list_browsers() override { return w32_web_browser_list_get(); }

  void play_expansion_sound() override {
    PlaySoundA("popWav", GetModuleHandleA(nullptr), SND_RESOURCE | SND_ASYNC | SND_NODEFAULT);
  }
};

}  // namespace

platform* w32_platform() {
  static win32_platform* p = new win32_platform();
  return p;
}
