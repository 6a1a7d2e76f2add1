// A throwaway X desktop for end-to-end tests: a private Xvfb on a free display, openbox, an
// xterm that appends what it receives to a file, and a GTK editor (mousepad) on a file of its
// own. The terminal reads lines either raw (`cat >> FILE`: the terminal's line discipline
// handles Backspace, everything else arrives as typed) or through a line editor (bash's
// `read -e`, as at a shell prompt: cursor keys move within the line). Every process started
// here is stopped, by its id, when the session object goes away, also when a test fails.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class x_session {
 public:
  enum class terminal { cat, line_editor };
  explicit x_session(terminal t = terminal::cat);
  ~x_session();
  x_session(const x_session&) = delete;
  x_session& operator=(const x_session&) = delete;

  // False when some part could not be started; why() says which.
  bool ok() const { return why_.empty(); }
  const std::string& why() const { return why_; }

  const std::string& display() const { return display_; }  // ":N"
  const std::string& dir() const { return dir_; }          // private scratch folder
  const std::string& xterm_file() const { return xterm_file_; }
  const std::string& editor_file() const { return editor_file_; }
  unsigned long xterm_window() const { return xterm_win_; }
  unsigned long editor_window() const { return editor_win_; }

  // Runs a program on the session's display and waits for it; returns its standard output,
  // and its exit status in *status when given.
  std::string run(const std::vector<std::string>& argv, int* status = nullptr);
  // Starts a program that keeps running; it is stopped with the session.
  pid_t spawn(const std::vector<std::string>& argv);
  // xdotool windowactivate --sync.
  bool activate(unsigned long window);
  // setxkbmap with a layout and an optional variant.
  bool set_layout(const std::string& layout, const std::string& variant = "");
  // The first visible window titled exactly `title`, 0 when none.
  unsigned long visible_window(const std::string& title);

 private:
  unsigned long wait_for_window(const std::string& cls);
  std::vector<std::string> env() const;

  std::string why_, display_, dir_, xterm_file_, editor_file_;
  unsigned long xterm_win_ = 0, editor_win_ = 0;
  std::vector<pid_t> children_;  // stopped in reverse order
};

// Checks `done` every 20 ms until it holds or `timeout_ms` passed; its last answer.
bool wait_until(const std::function<bool()>& done, int timeout_ms);
// The whole content of a file ("" when missing).
std::string read_file(const std::string& path);
// Polls until the file holds at least `size` bytes or `timeout_ms` passed; returns the content.
std::string wait_for_file_size(const std::string& path, size_t size, int timeout_ms);

typedef struct _XDisplay Display;

// Notes when each key press reaches X clients, on a connection of its own: the moment a key
// exists for every application, the monitor included.
class key_press_clock {
 public:
  explicit key_press_clock(const std::string& display);
  ~key_press_clock();
  key_press_clock(const key_press_clock&) = delete;
  key_press_clock& operator=(const key_press_clock&) = delete;

  bool ok() const { return thread_.joinable(); }
  // Steady-clock microseconds of the first key press seen at or after `since_us`; 0 when none.
  int64_t first_press_since(int64_t since_us);

 private:
  void run();
  Display* dpy_ = nullptr;
  int opcode_ = 0;
  std::thread thread_;
  std::atomic<bool> stop_{false};
  std::mutex lock_;
  std::vector<int64_t> presses_;  // oldest first
};

// Steady-clock microseconds.
int64_t steady_now_us();
