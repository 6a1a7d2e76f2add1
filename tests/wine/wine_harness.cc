#include "wine_harness.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <vector>

#include "platform/win32/instance_window.h"
#include "platform/win32/text.h"

// After the backend's headers, which must come before <windows.h>.
#include <shellapi.h>

namespace {

int run_and_wait(const std::wstring& program, std::wstring cmdline, bool pump, int timeout_ms) {
  STARTUPINFOW si;
  memset(&si, 0, sizeof si);
  si.cb = sizeof si;
  PROCESS_INFORMATION pi;
  if (!CreateProcessW(program.empty() ? nullptr : program.c_str(), cmdline.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si,
                      &pi)) {
    fprintf(stderr, "could not start %s: error %lu\n", w32_to_utf8(cmdline).c_str(),
            GetLastError());
    return -1;
  }
  CloseHandle(pi.hThread);
  if (timeout_ms == 0) {
    CloseHandle(pi.hProcess);
    return 0;
  }
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
  DWORD code = static_cast<DWORD>(-1);
  for (;;) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                    deadline - std::chrono::steady_clock::now())
                    .count();
    if (left <= 0) break;
    DWORD r = pump ? MsgWaitForMultipleObjects(1, &pi.hProcess, FALSE, static_cast<DWORD>(left),
                                               QS_ALLINPUT)
                   : WaitForSingleObject(pi.hProcess, static_cast<DWORD>(left));
    if (r == WAIT_OBJECT_0) {
      GetExitCodeProcess(pi.hProcess, &code);
      break;
    }
    if (r == WAIT_OBJECT_0 + 1) {
      MSG m;
      while (PeekMessageW(&m, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&m);
        DispatchMessageW(&m);
      }
      continue;
    }
    break;
  }
  CloseHandle(pi.hProcess);
  return static_cast<int>(code);
}

}  // namespace

bool wine_run_host(const std::string& program, const std::string& args) {
  // Wine starts a host (ELF) program given by its path on the Z: drive, but its process handle
  // cannot be waited for. So the program runs under sh, which leaves the exit status in a file
  // that appears only when the program has ended.
  static std::atomic<int> counter{0};
  std::string status_file = "/tmp/qx-wine-" + std::to_string(GetCurrentProcessId()) + "-" +
                            std::to_string(counter++) + ".status";
  std::string win_status = "Z:" + status_file;
  for (char& c : win_status)
    if (c == '/') c = '\\';
  DeleteFileW(w32_to_utf16(win_status).c_str());
  std::string cmd = "Z:\\bin\\sh -c \"" + program + " " + args + "; echo $? >" + status_file +
                    ".part && mv " + status_file + ".part " + status_file + "\"";
  if (run_and_wait(L"Z:\\bin\\sh", w32_to_utf16(cmd), false, 0) == -1) return false;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  std::string status;
  while (std::chrono::steady_clock::now() < deadline) {
    HANDLE f = CreateFileW(w32_to_utf16(win_status).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                           OPEN_EXISTING, 0, nullptr);
    if (f != INVALID_HANDLE_VALUE) {
      char buf[16] = {0};
      DWORD got = 0;
      ReadFile(f, buf, sizeof buf - 1, &got, nullptr);
      CloseHandle(f);
      DeleteFileW(w32_to_utf16(win_status).c_str());
      status = buf;
      break;
    }
    Sleep(10);
  }
  return !status.empty() && status[0] == '0';
}

bool wine_xdotool(const std::string& args) { return wine_run_host("/usr/bin/xdotool", args); }

bool wine_pump_until(const std::function<bool()>& done, int timeout_ms) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
  while (!done()) {
    if (std::chrono::steady_clock::now() >= deadline) return done();
    MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_ALLINPUT);
    MSG m;
    while (PeekMessageW(&m, nullptr, 0, 0, PM_REMOVE)) {
      TranslateMessage(&m);
      DispatchMessageW(&m);
    }
  }
  return true;
}

void wine_pump_for(int ms) {
  wine_pump_until([] { return false; }, ms);
}

wine_edit_window::wine_edit_window(const std::string& title) {
  std::atomic<bool> ready{false};
  thread_ = std::thread([this, title, &ready] {
    tid_ = GetCurrentThreadId();
    run(title);
    ready = true;
    MSG m;
    while (GetMessageW(&m, nullptr, 0, 0) > 0) {
      TranslateMessage(&m);
      DispatchMessageW(&m);
    }
  });
  while (!ready) Sleep(5);
}

wine_edit_window::~wine_edit_window() {
  if (top_) PostMessageW(top_, WM_CLOSE, 0, 0);
  PostThreadMessageW(tid_, WM_QUIT, 0, 0);
  thread_.join();
}

namespace {

LRESULT CALLBACK frame_proc(HWND h, UINT msg, WPARAM wp, LPARAM lp) {
  switch (msg) {
    case WM_SIZE: {
      HWND child = GetWindow(h, GW_CHILD);
      if (child) MoveWindow(child, 0, 0, LOWORD(lp), HIWORD(lp), TRUE);
      return 0;
    }
    case WM_SETFOCUS: {
      HWND child = GetWindow(h, GW_CHILD);
      if (child) SetFocus(child);
      return 0;
    }
    case WM_CLOSE:
      DestroyWindow(h);
      return 0;
    default:
      return DefWindowProcW(h, msg, wp, lp);
  }
}

}  // namespace

void wine_edit_window::run(const std::string& title) {
  HINSTANCE inst = GetModuleHandleW(nullptr);
  WNDCLASSEXW wc;
  memset(&wc, 0, sizeof wc);
  wc.cbSize = sizeof wc;
  wc.lpfnWndProc = frame_proc;
  wc.hInstance = inst;
  wc.hCursor = LoadCursor(nullptr, IDC_ARROW);
  wc.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
  wc.lpszClassName = L"QxWineTestFrame";
  RegisterClassExW(&wc);
  HWND top = CreateWindowExW(0, L"QxWineTestFrame", w32_to_utf16(title).c_str(),
                             WS_OVERLAPPEDWINDOW, 100, 100, 400, 200, nullptr, nullptr, inst,
                             nullptr);
  HWND edit = CreateWindowExW(0, L"EDIT", L"",
                              WS_CHILD | WS_VISIBLE | ES_MULTILINE | ES_AUTOVSCROLL | ES_WANTRETURN,
                              0, 0, 400, 200, top, nullptr, inst, nullptr);
  edit_ = edit;
  top_ = top;
  ShowWindow(top, SW_SHOWNORMAL);
  UpdateWindow(top);
}

std::string wine_edit_window::text() const {
  wchar_t buf[4096];
  LRESULT n = SendMessageW(edit_, WM_GETTEXT, 4096, reinterpret_cast<LPARAM>(buf));
  return w32_to_utf8(buf, static_cast<int>(n));
}

void wine_edit_window::clear() {
  SendMessageW(edit_, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(L""));
}

bool wine_edit_window::activate() {
  HWND top = top_;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (std::chrono::steady_clock::now() < deadline) {
    if (GetForegroundWindow() == top) {
      GUITHREADINFO gti;
      gti.cbSize = sizeof gti;
      if (GetGUIThreadInfo(tid_, &gti) && gti.hwndFocus == edit_) return true;
    }
    SetForegroundWindow(top);
    // The window manager decides about the X focus; asking it through xdotool as well makes
    // activation reliable under openbox.
    std::vector<wchar_t> title(256);
    GetWindowTextW(top, title.data(), 256);
    wine_xdotool("search --name '^" + w32_to_utf8(title.data()) + "$' windowactivate --sync");
    Sleep(100);
  }
  return false;
}

bool wine_edit_window::wait_for_text(const std::string& want, int timeout_ms) const {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
  while (text() != want) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    Sleep(20);
  }
  return true;
}

std::string wine_self_path() {
  wchar_t buf[MAX_PATH];
  DWORD n = GetModuleFileNameW(nullptr, buf, MAX_PATH);
  return w32_to_utf8(buf, static_cast<int>(n));
}

int wine_run_self(const std::string& args, int timeout_ms) {
  return run_and_wait(L"", w32_to_utf16("\"" + wine_self_path() + "\" " + args), true,
                      timeout_ms);
}

std::string wine_fresh_temp_file(const char* name) {
  wchar_t dir[MAX_PATH];
  GetTempPathW(MAX_PATH, dir);
  std::string path = w32_to_utf8(dir) + name;
  DeleteFileW(w32_to_utf16(path).c_str());
  return path;
}

std::optional<std::string> wine_wait_for_file(const std::string& path, int timeout_ms) {
  std::optional<std::string> out;
  wine_pump_until(
      [&] {
        HANDLE f = CreateFileW(w32_to_utf16(path).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                               OPEN_EXISTING, 0, nullptr);
        if (f == INVALID_HANDLE_VALUE) return false;
        std::string data(4096, '\0');
        DWORD got = 0;
        ReadFile(f, data.data(), static_cast<DWORD>(data.size()), &got, nullptr);
        CloseHandle(f);
        data.resize(got);
        out = data;
        return true;
      },
      timeout_ms);
  return out;
}

std::vector<std::string> wine_arguments_after_program(const std::string& command_line) {
  int n = 0;
  wchar_t** args = CommandLineToArgvW(w32_to_utf16(command_line).c_str(), &n);
  std::vector<std::string> out;
  for (int i = 1; i < n; i++) out.push_back(w32_to_utf8(args[i]));
  LocalFree(args);
  return out;
}

namespace {

struct child_mode_entry {
  const char* option;
  int (*fn)(int argc, char** argv);
};

std::vector<child_mode_entry>& child_modes() {
  static std::vector<child_mode_entry> modes;
  return modes;
}

// Written under a temporary name and renamed, so the waiting test never reads half of it.
int record_command_line(const std::wstring& file) {
  std::string line = w32_to_utf8(GetCommandLineW());
  std::wstring part = file + L".part";
  HANDLE f = CreateFileW(part.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  if (f == INVALID_HANDLE_VALUE) return 1;
  DWORD written = 0;
  bool ok = WriteFile(f, line.data(), static_cast<DWORD>(line.size()), &written, nullptr) &&
            written == line.size();
  CloseHandle(f);
  return ok && MoveFileExW(part.c_str(), file.c_str(), MOVEFILE_REPLACE_EXISTING) ? 0 : 1;
}

}  // namespace

wine_child_mode::wine_child_mode(const char* option, int (*fn)(int argc, char** argv)) {
  child_modes().push_back({option, fn});
}

int main(int argc, char** argv) {
  wchar_t record[MAX_PATH];
  DWORD n = GetEnvironmentVariableW(WINE_RECORD_COMMAND_LINE_VAR, record, MAX_PATH);
  if (n > 0 && n < MAX_PATH) return record_command_line(record);
  if (argc > 1 && strncmp(argv[1], "--child-", 8) == 0) {
    for (const child_mode_entry& m : child_modes())
      if (strcmp(argv[1], m.option) == 0) return m.fn(argc, argv);
    return 2;
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
