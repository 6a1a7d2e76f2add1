#include "platform/win32/instance_window.h"

#include <atomic>
#include <cstring>

namespace {

std::atomic<HWND> g_invisi_hwnd{nullptr};
// Touched only on the window's thread.
w32_invisiwin_handlers g_handlers;
void (*g_hotkey_fn)(int id, void* user) = nullptr;
void* g_hotkey_user = nullptr;

// Power events after which the hooks are put back.
constexpr WPARAM k_pbt_resume_critical = 6;
constexpr WPARAM k_pbt_resume_suspend = 7;
constexpr WPARAM k_pbt_resume_automatic = 18;

LRESULT CALLBACK invisiwin_msg_handler(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp) {
  switch (msg) {
    case MSG_SHOW_MAIN_WINDOW:
      if (g_handlers.show_main_window) g_handlers.show_main_window(g_handlers.user);
      return 1;
    case MSG_IMPORT_FILE: {
      // wParam is an address in this process that the sender wrote lParam bytes to.
      std::string path(reinterpret_cast<const char*>(wp), static_cast<size_t>(lp));
      if (g_handlers.import_file) g_handlers.import_file(path, g_handlers.user);
      return 1;
    }
    case WM_HOTKEY:
      if (g_hotkey_fn) g_hotkey_fn(static_cast<int>(wp), g_hotkey_user);
      break;
    case WM_QUERYENDSESSION:
    case WM_ENDSESSION:
      if (g_handlers.end_session) g_handlers.end_session(g_handlers.user);
      break;
    case WM_POWERBROADCAST:
      if ((wp == k_pbt_resume_critical || wp == k_pbt_resume_suspend ||
           wp == k_pbt_resume_automatic) &&
          g_handlers.resumed)
        g_handlers.resumed(g_handlers.user);
      break;
    default:
      break;
  }
  return DefWindowProcW(hwnd, msg, wp, lp);
}

}  // namespace

HWND w32_invisiwin_create(HINSTANCE inst, const w32_invisiwin_handlers& handlers) {
  if (HWND h = g_invisi_hwnd.load()) return h;
  g_handlers = handlers;
  WNDCLASSEXW wc;
  memset(&wc, 0, sizeof wc);
  wc.cbSize = sizeof wc;
  wc.lpfnWndProc = invisiwin_msg_handler;
  wc.hInstance = inst;
  wc.lpszClassName = W32_INVISIWIN_CLASS;
  // A class left from a window destroyed earlier in this process is reused.
  if (!RegisterClassExW(&wc) && GetLastError() != ERROR_CLASS_ALREADY_EXISTS) return nullptr;
  HWND h = CreateWindowExW(0, W32_INVISIWIN_CLASS, W32_INVISIWIN_CLASS, 0, 0, 0, 0, 0, nullptr,
                           nullptr, inst, nullptr);
  g_invisi_hwnd.store(h);
  return h;
}

void w32_invisiwin_destroy() {
  HWND h = g_invisi_hwnd.exchange(nullptr);
  if (h) DestroyWindow(h);
}

HWND w32_invisiwin_hwnd() { return g_invisi_hwnd.load(); }

void w32_invisiwin_set_handlers(const w32_invisiwin_handlers& handlers) { g_handlers = handlers; }

void w32_invisiwin_set_hotkey_handler(void (*fn)(int id, void* user), void* user) {
  g_hotkey_fn = fn;
  g_hotkey_user = user;
}

HWND w32_check_if_quiverex_already_running() {
  return FindWindowExW(nullptr, nullptr, W32_INVISIWIN_CLASS, nullptr);
}

HWND w32_check_if_tolmek_already_running() {
  return FindWindowExW(nullptr, nullptr, W32_TOLMEK_INVISIWIN_CLASS, nullptr);
}

bool w32_invisiwin_admit_show_message() {
  // Looked up at run time: the call does not exist before Vista.
  typedef BOOL(WINAPI * filter_fn)(UINT, DWORD);
  HMODULE user32 = GetModuleHandleW(L"user32.dll");
  auto fn = user32 ? reinterpret_cast<filter_fn>(reinterpret_cast<void*>(
                         GetProcAddress(user32, "ChangeWindowMessageFilter")))
                   : nullptr;
  constexpr DWORD k_msgflt_add = 1;
  return fn && fn(MSG_SHOW_MAIN_WINDOW, k_msgflt_add);
}

bool w32_hand_over_to_running_instance(HWND target,
                                       const std::optional<std::string>& import_path) {
  if (!target) return false;
  SendMessageW(target, MSG_SHOW_MAIN_WINDOW, 0, 0);
  if (!import_path) return true;

  DWORD pid = 0;
  GetWindowThreadProcessId(target, &pid);
  HANDLE proc = pid ? OpenProcess(PROCESS_VM_OPERATION | PROCESS_VM_WRITE, FALSE, pid) : nullptr;
  if (!proc) return false;
  bool sent = false;
  const std::string& path = *import_path;
  // Fresh pages are zero, so the terminator the receiver may rely on is already there.
  void* remote =
      VirtualAllocEx(proc, nullptr, path.size() + 1, MEM_COMMIT, PAGE_READWRITE);
  if (remote) {
    SIZE_T written = 0;
    if (WriteProcessMemory(proc, remote, path.data(), path.size(), &written)) {
      SendMessageW(target, MSG_IMPORT_FILE, reinterpret_cast<WPARAM>(remote),
                   static_cast<LPARAM>(written));
      sent = true;
    }
    VirtualFreeEx(proc, remote, 0, MEM_RELEASE);
  }
  CloseHandle(proc);
  return sent;
}
