// Helpers for the tests that run under Wine: a window of our own to type into, a way to drive
// the X server as a user would (xdotool), and waiting while messages are pumped.
#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/win32/w32.h"

// Runs a program of the host system (not a Windows program) with its arguments and waits for
// it; false when it could not be started or ended with a non-zero status.
bool wine_run_host(const std::string& program, const std::string& args);
// xdotool with the given arguments, e.g. "key --delay 20 a b".
bool wine_xdotool(const std::string& args);

// Pumps the calling thread's messages until `done` holds or `timeout_ms` passed; returns done().
bool wine_pump_until(const std::function<bool()>& done, int timeout_ms);
// Sleeps while pumping the calling thread's messages.
void wine_pump_for(int ms);

// A top-level window with a multi-line edit control, on a thread of its own that pumps its
// messages, brought to the foreground with the keyboard focus in the edit control.
class wine_edit_window {
 public:
  explicit wine_edit_window(const std::string& title);
  ~wine_edit_window();
  HWND hwnd() const { return top_; }
  HWND edit() const { return edit_; }
  // Text of the edit control, UTF-8.
  std::string text() const;
  void clear();
  // Makes the window the foreground window and the edit control the focus; false when that
  // did not happen within a few seconds.
  bool activate();
  // Waits (pumping nothing: the window has its own thread) until text() equals `want`.
  bool wait_for_text(const std::string& want, int timeout_ms = 5000) const;

 private:
  void run(const std::string& title);

  std::thread thread_;
  std::atomic<HWND> top_{nullptr};
  std::atomic<HWND> edit_{nullptr};
  std::atomic<DWORD> tid_{0};
};

// The path of the running test program, for starting a second copy of it.
std::string wine_self_path();
// Starts the test program again with the arguments and waits for it while pumping the
// calling thread's messages (the child may send messages to our windows). Returns the exit
// code, or -1 when it could not be started or did not end within `timeout_ms`.
int wine_run_self(const std::string& args, int timeout_ms);

// A child mode of the test program: `test_wine.exe --child-NAME ...` runs `fn` instead of the
// tests and exits with what it returns. Declare one as a static object in a test file.
struct wine_child_mode {
  wine_child_mode(const char* option, int (*fn)(int argc, char** argv));
};

// A file name in the temporary folder, with any file of that name removed.
std::string wine_fresh_temp_file(const char* name);
// Waits (pumping messages) until the file exists and returns its contents; none after
// `timeout_ms`.
std::optional<std::string> wine_wait_for_file(const std::string& path, int timeout_ms);
// The arguments after the program in a command line, split as Windows splits them.
std::vector<std::string> wine_arguments_after_program(const std::string& command_line);

// When this variable names a file, the test program only writes its own UTF-16 command line
// there (as UTF-8, complete once the file exists) and exits with 0. Tests set it before they
// let something else start the program, to see exactly how it was started.
constexpr wchar_t WINE_RECORD_COMMAND_LINE_VAR[] = L"QX_WINE_RECORD_COMMAND_LINE";
