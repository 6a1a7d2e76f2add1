#include "x_session.h"

#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

namespace {

extern "C" char** environ;

pid_t start(const std::vector<std::string>& argv, const std::vector<std::string>& env,
            int stdout_fd, int keep_fd) {
  pid_t pid = fork();
  if (pid != 0) return pid;
  // Child: its own process group, so a terminal's signals do not reach it; and it ends with
  // the test program even when that dies without running its destructors.
  setpgid(0, 0);
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  int null = open("/dev/null", O_RDWR);
  dup2(null, 0);
  dup2(stdout_fd >= 0 ? stdout_fd : null, 1);
  dup2(null, 2);
  for (int fd = 3; fd < 1024; ++fd)
    if (fd != keep_fd) close(fd);
  std::vector<char*> args, envp;
  for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
  for (const std::string& e : env) envp.push_back(const_cast<char*>(e.c_str()));
  envp.push_back(nullptr);
  execvpe(args[0], args.data(), envp.data());
  _exit(127);
}

void stop(pid_t pid) {
  kill(pid, SIGTERM);
  for (int i = 0; i < 100; ++i) {
    if (waitpid(pid, nullptr, WNOHANG) == pid) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
}

}  // namespace

bool wait_until(const std::function<bool()>& done, int timeout_ms) {
  for (int waited = 0; waited < timeout_ms; waited += 20) {
    if (done()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return done();
}

unsigned long x_session::visible_window(const std::string& title) {
  std::string out = run({"xdotool", "search", "--onlyvisible", "--name", "^" + title + "$"});
  return out.empty() ? 0 : std::stoul(out.substr(0, out.find('\n')));
}

std::string read_file(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  std::stringstream ss;
  ss << f.rdbuf();
  return ss.str();
}

std::string wait_for_file_size(const std::string& path, size_t size, int timeout_ms) {
  auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
  std::string s;
  for (;;) {
    s = read_file(path);
    if (s.size() >= size || std::chrono::steady_clock::now() > end) return s;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

std::vector<std::string> x_session::env() const {
  // Children see only the display and a private home: no session bus, no accessibility bus,
  // no settings daemon, so nothing outlives the session.
  std::vector<std::string> e = {"DISPLAY=" + display_,
                                "HOME=" + dir_,
                                "XDG_CONFIG_HOME=" + dir_ + "/config",
                                "XDG_DATA_HOME=" + dir_ + "/data",
                                "XDG_CACHE_HOME=" + dir_ + "/cache",
                                "XDG_RUNTIME_DIR=" + dir_,
                                "NO_AT_BRIDGE=1",
                                "GSETTINGS_BACKEND=memory",
                                "DBUS_SESSION_BUS_ADDRESS=disabled:",
                                "LANG=C.UTF-8",
                                "LC_ALL=C.UTF-8"};
  if (const char* path = getenv("PATH")) e.push_back(std::string("PATH=") + path);
  return e;
}

x_session::x_session(terminal t) {
  char tmpl[] = "/tmp/qx-x11-e2e-XXXXXX";
  if (!mkdtemp(tmpl)) {
    why_ = "no scratch folder";
    return;
  }
  dir_ = tmpl;
  chmod(dir_.c_str(), 0700);
  // Xvfb picks a free display itself and writes its number to the descriptor we give it.
  int fds[2];
  if (pipe(fds) != 0) {
    why_ = "pipe";
    return;
  }
  pid_t x = start({"Xvfb", "-displayfd", std::to_string(fds[1]), "-nolisten", "tcp", "-screen",
                   "0", "1280x1024x24", "-noreset"},
                  {"PATH=/usr/bin:/bin"}, -1, fds[1]);
  close(fds[1]);
  children_.push_back(x);
  std::string number;
  pollfd p{fds[0], POLLIN, 0};
  while (poll(&p, 1, 10000) > 0) {
    char c;
    if (read(fds[0], &c, 1) != 1 || c == '\n') break;
    number += c;
  }
  close(fds[0]);
  if (number.empty()) {
    why_ = "Xvfb did not start";
    return;
  }
  display_ = ":" + number;
  setenv("DISPLAY", display_.c_str(), 1);
  spawn({"openbox", "--sm-disable"});
  // The window manager must own the screen before windows appear, or it will not manage them.
  for (int i = 0; i < 200; ++i) {
    if (run({"xprop", "-root", "_NET_SUPPORTING_WM_CHECK"}).find("window id") != std::string::npos)
      break;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  xterm_file_ = dir_ + "/xterm.txt";
  editor_file_ = dir_ + "/editor.txt";
  std::ofstream(xterm_file_).close();
  std::ofstream(editor_file_).close();
  std::string reader = "stty -echo; exec cat >> '" + xterm_file_ + "'";
  if (t == terminal::line_editor) {
    // UTF-8 in and out as it is; pasted text arrives as typed, line by line, not held as one
    // bracketed paste.
    std::ofstream(dir_ + "/inputrc") << "set input-meta on\nset output-meta on\nset convert-meta off\n"
                                        "set enable-bracketed-paste off\n";
    reader = "INPUTRC='" + dir_ +
             "/inputrc' exec bash --norc --noprofile -c "
             "'while IFS= read -r -e line; do printf \"%s\\n\" \"$line\" >> \"$0\"; done' '" +
             xterm_file_ + "'";
  }
  spawn({"xterm", "-u8", "-geometry", "100x30+0+0", "-e", "sh", "-c", reader});
  xterm_win_ = wait_for_window("XTerm");
  spawn({"mousepad", editor_file_});
  editor_win_ = wait_for_window("Mousepad");
  if (!xterm_win_ || !editor_win_) why_ = "the test windows did not appear";
}

x_session::~x_session() {
  for (auto it = children_.rbegin(); it != children_.rend(); ++it) stop(*it);
  if (!dir_.empty()) run({"rm", "-rf", dir_});
}

std::string x_session::run(const std::vector<std::string>& argv, int* status) {
  int fds[2];
  if (pipe(fds) != 0) return "";
  pid_t pid = start(argv, env(), fds[1], -1);
  close(fds[1]);
  std::string out;
  char buf[4096];
  ssize_t n;
  while ((n = read(fds[0], buf, sizeof buf)) > 0) out.append(buf, n);
  close(fds[0]);
  int st = 0;
  waitpid(pid, &st, 0);
  if (status) *status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
  return out;
}

pid_t x_session::spawn(const std::vector<std::string>& argv) {
  pid_t pid = start(argv, env(), -1, -1);
  if (pid > 0) children_.push_back(pid);
  return pid;
}

unsigned long x_session::wait_for_window(const std::string& cls) {
  for (int i = 0; i < 300; ++i) {
    std::string out = run({"xdotool", "search", "--onlyvisible", "--class", cls});
    if (!out.empty()) return std::stoul(out.substr(0, out.find('\n')));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return 0;
}

bool x_session::activate(unsigned long window) {
  int st = -1;
  run({"xdotool", "windowactivate", "--sync", std::to_string(window)}, &st);
  // The window manager has made it active; give the application its focus-in.
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  return st == 0;
}

bool x_session::set_layout(const std::string& layout, const std::string& variant) {
  int st = -1;
  std::vector<std::string> argv = {"setxkbmap", "-layout", layout};
  if (!variant.empty()) {
    argv.push_back("-variant");
    argv.push_back(variant);
  }
  run(argv, &st);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  return st == 0;
}

int64_t steady_now_us() {
  return std::chrono::duration_cast<std::chrono::microseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

key_press_clock::key_press_clock(const std::string& display) {
  dpy_ = XOpenDisplay(display.c_str());
  int ev, err, major = 2, minor = 2;
  if (!dpy_ || !XQueryExtension(dpy_, "XInputExtension", &opcode_, &ev, &err) ||
      XIQueryVersion(dpy_, &major, &minor) != Success)
    return;
  unsigned char bits[XIMaskLen(XI_LASTEVENT)] = {};
  XISetMask(bits, XI_RawKeyPress);
  XIEventMask mask{XIAllMasterDevices, sizeof bits, bits};
  XISelectEvents(dpy_, DefaultRootWindow(dpy_), &mask, 1);
  XSync(dpy_, False);
  thread_ = std::thread([this] { run(); });
}

key_press_clock::~key_press_clock() {
  stop_ = true;
  if (thread_.joinable()) thread_.join();
  if (dpy_) XCloseDisplay(dpy_);
}

int64_t key_press_clock::first_press_since(int64_t since_us) {
  std::lock_guard<std::mutex> g(lock_);
  for (int64_t t : presses_)
    if (t >= since_us) return t;
  return 0;
}

void key_press_clock::run() {
  while (!stop_) {
    pollfd p{ConnectionNumber(dpy_), POLLIN, 0};
    poll(&p, 1, 20);
    while (XPending(dpy_)) {
      XEvent e;
      XNextEvent(dpy_, &e);
      int64_t t = steady_now_us();
      if (e.type != GenericEvent || e.xcookie.extension != opcode_ || e.xcookie.evtype != XI_RawKeyPress)
        continue;
      std::lock_guard<std::mutex> g(lock_);
      presses_.push_back(t);
      if (presses_.size() > 4096) presses_.erase(presses_.begin(), presses_.begin() + 2048);
    }
  }
}
