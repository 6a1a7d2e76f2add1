// The desktop program as a user meets it: a fresh account on a private X server, Quiverex
// started from the tray-only entry, abbreviations from the example set typed with xdotool into
// xterm and mousepad, second starts, an import handed over, switching off, and quitting.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <utility>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "x_session.h"

namespace {

using std::chrono::milliseconds;

x_session* g_s = nullptr;
pid_t g_app = 0;  // the first instance
unsigned long g_a11y_editor = 0;  // a mousepad that reports its caret on the accessibility bus

std::string config_dir() { return g_s->dir() + "/config/quiverex"; }
std::string app_log() { return g_s->dir() + "/quiverex.log"; }

unsigned long visible_main_window() { return g_s->visible_window("Quiverex"); }

// The main window, shown by a second start when it is hidden.
unsigned long main_window_brought_up() {
  if (unsigned long w = visible_main_window()) return w;
  g_s->run({QX_APP_EXE});
  return visible_main_window();
}

// Types one line into xterm (whose `cat` appends it to a file once Return arrives) and gives
// back what the line became. `keys` are xdotool key names pressed after the text.
std::string xterm_line(const std::string& text, const std::vector<std::string>& keys = {}, int delay_ms = 40) {
  size_t before = read_file(g_s->xterm_file()).size();
  g_s->activate(g_s->xterm_window());
  g_s->run({"xdotool", "type", "--delay", std::to_string(delay_ms), text});
  for (const std::string& k : keys) {
    std::this_thread::sleep_for(milliseconds(150));
    g_s->run({"xdotool", "key", k});
  }
  // Let a running expansion finish before the line is closed.
  std::this_thread::sleep_for(milliseconds(600));
  g_s->run({"xdotool", "key", "Return"});
  std::string all;
  wait_until([&] {
    all = read_file(g_s->xterm_file());
    return all.size() > before && all.back() == '\n';
  }, 5000);
  if (all.size() <= before) return "";
  return all.substr(before, all.size() - before - 1);
}

class AppE2E : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    g_s = new x_session;
    if (!g_s->ok()) return;
    // The user asked for previews of abbreviations that wait for the trigger key.
    std::string prefs = g_s->dir() + "/config/quiverex/preferences.lt";
    std::filesystem::create_directories(g_s->dir() + "/config/quiverex");
    std::ofstream(prefs) << "\"show_tooltips\"=\"1\"\n\"show_tooltips_trigger\"=\"1\"\n";
    // A session bus and an XEmbed tray: without a StatusNotifier host on the bus the tray
    // icon falls back to a classic tray icon, which docks into the panel.
    std::string bus = "unix:path=" + g_s->dir() + "/bus";
    g_s->spawn({"dbus-daemon", "--session", "--nofork", "--address=" + bus});
    g_s->spawn({"trayer", "--edge", "bottom", "--align", "right", "--widthtype", "pixel", "--width", "100",
                "--height", "32"});
    wait_until([] { return access((g_s->dir() + "/bus").c_str(), F_OK) == 0; }, 5000);
    // The accessibility bus, announced on the root window, and an editor that talks to it (the
    // session's own editor is started with its accessibility bridge off).
    g_s->spawn({"sh", "-c", "DBUS_SESSION_BUS_ADDRESS='" + bus + "' exec /usr/libexec/at-spi-bus-launcher --launch-immediately"});
    wait_until([] { return g_s->run({"xprop", "-root", "AT_SPI_BUS"}).find("unix:") != std::string::npos; }, 5000);
    std::ofstream(g_s->dir() + "/a11y.txt").close();
    pid_t editor = g_s->spawn({"env", "-u", "NO_AT_BRIDGE", "mousepad", g_s->dir() + "/a11y.txt"});
    wait_until([&] {
      std::string out = g_s->run({"xdotool", "search", "--onlyvisible", "--pid", std::to_string(editor)});
      if (!out.empty()) g_a11y_editor = std::stoul(out.substr(0, out.find('\n')));
      return g_a11y_editor != 0;
    }, 6000);
    // Its messages go to a log that a failing test prints.
    g_app = g_s->spawn({"sh", "-c",
                        "DBUS_SESSION_BUS_ADDRESS='" + bus + "' exec '" QX_APP_EXE "' --systray 2>'" + app_log() + "'"});
  }
  static void TearDownTestSuite() {
    delete g_s;
    g_s = nullptr;
  }
  void SetUp() override {
    ASSERT_TRUE(g_s->ok()) << g_s->why();
    ASSERT_GT(g_app, 0);
  }
  void TearDown() override {
    if (HasFailure()) printf("---- quiverex's messages so far:\n%s----\n", read_file(app_log()).c_str());
  }
};

TEST_F(AppE2E, FirstRunStartsInTheTrayAndASecondStartShowsTheWindow) {
  std::string socket = g_s->dir() + "/quiverex/instance";
  ASSERT_TRUE(wait_until([&] { return access(socket.c_str(), F_OK) == 0; }, 20000));
  struct stat st;
  ASSERT_EQ(stat((g_s->dir() + "/quiverex").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0700u);

  // The second start returns once the first has finished starting and shown its window.
  int status = -1;
  g_s->run({QX_APP_EXE}, &status);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(wait_until([] { return visible_main_window() != 0; }, 5000));
  EXPECT_EQ(waitpid(g_app, nullptr, WNOHANG), 0) << "the first instance must keep running";
  // First run: the user's CSS for the toolkit was written.
  EXPECT_EQ(access((g_s->dir() + "/config/gtk-3.0/gtk.css").c_str(), F_OK), 0);
}

TEST_F(AppE2E, ExampleAbbreviationsExpandInXterm) {
  EXPECT_EQ(xterm_line("Hello btw "), "Hello by the way ");
  EXPECT_EQ(xterm_line("Btw and BTW "), "By the way and BY THE WAY ");
  EXPECT_EQ(xterm_line("omw", {"ctrl"}), "On my way!");
  EXPECT_EQ(xterm_line("It is ;deg"), "It is \u00b0C \u2192 \u00b0F");
  std::string sig = xterm_line(";sig");
  EXPECT_EQ(sig, "Best regards,\nAlex Example\nalex@example.com");
  // Inside a word nothing happens.
  EXPECT_EQ(xterm_line("abtw "), "abtw ");
}

TEST_F(AppE2E, ExampleAbbreviationsExpandInTheGtkEditor) {
  g_s->activate(g_s->editor_window());
  g_s->run({"xdotool", "type", "--delay", "40", "Sure btw "});
  std::this_thread::sleep_for(milliseconds(500));
  g_s->run({"xdotool", "type", "--delay", "40", ";shrug"});
  std::this_thread::sleep_for(milliseconds(800));
  g_s->run({"xdotool", "type", "--delay", "40", " BRB"});
  std::this_thread::sleep_for(milliseconds(150));
  g_s->run({"xdotool", "key", "ctrl"});
  std::this_thread::sleep_for(milliseconds(600));
  g_s->run({"xdotool", "type", "--delay", "40", " end"});
  g_s->run({"xdotool", "key", "--clearmodifiers", "ctrl+s"});
  // "brb" ignores case but does not adapt it.
  std::string want = "Sure by the way \u00af\\_(\u30c4)_/\u00af be right back end";
  std::string got;
  wait_until([&] {
    got = read_file(g_s->editor_file());
    return got.find("end") != std::string::npos;
  }, 5000);
  while (!got.empty() && got.back() == '\n') got.pop_back();
  EXPECT_EQ(got, want);
}

TEST_F(AppE2E, AWaitingAbbreviationShowsItsPreviewUntilItExpands) {
  auto preview_visible = [] {
    return !g_s->run({"xdotool", "search", "--onlyvisible", "--name", "^Quiverex preview$"}).empty();
  };
  g_s->activate(g_s->xterm_window());
  // A preview of an earlier test disappears by itself after three seconds.
  ASSERT_TRUE(wait_until([&] { return !preview_visible(); }, 4000)) << "an old preview stays";
  g_s->run({"xdotool", "type", "--delay", "40", "omw"});
  EXPECT_TRUE(wait_until(preview_visible, 2000)) << "no preview while omw waits for Ctrl";
  g_s->run({"xdotool", "key", "ctrl"});
  EXPECT_TRUE(wait_until([&] { return !preview_visible(); }, 2000)) << "the preview outlives the expansion";
  std::this_thread::sleep_for(milliseconds(500));
  g_s->run({"xdotool", "key", "Return"});
}

// Where the preview window is on the screen: its top-left corner, or {-1, -1} when none shows.
std::pair<int, int> preview_position() {
  std::string out = g_s->run({"sh", "-c",
                              "for w in $(xdotool search --onlyvisible --name '^Quiverex preview$'); do "
                              "xdotool getwindowgeometry --shell $w; break; done"});
  size_t x = out.find("X="), y = out.find("Y=");
  if (x == std::string::npos || y == std::string::npos) return {-1, -1};
  return {std::stoi(out.substr(x + 2)), std::stoi(out.substr(y + 2))};
}

// Types `text` (ending in an abbreviation that waits for Ctrl), notes where its preview
// appeared, then expands it and ends the line.
std::pair<int, int> preview_position_after(const std::string& text) {
  g_s->run({"xdotool", "type", "--delay", "40", text});
  std::pair<int, int> at{-1, -1};
  wait_until([&] { return (at = preview_position()).first >= 0; }, 2000);
  g_s->run({"xdotool", "key", "ctrl"});
  wait_until([] { return preview_position().first < 0; }, 2000);
  std::this_thread::sleep_for(milliseconds(300));
  g_s->run({"xdotool", "key", "Return"});
  return at;
}

TEST_F(AppE2E, ThePreviewFollowsTheCaretOfAnAccessibleEditorAndSitsInTheCornerElsewhere) {
  ASSERT_NE(g_a11y_editor, 0u) << "the accessible editor did not start";
  // Focus moves into the editor after the program listens, so the program hears of it.
  g_s->activate(g_s->xterm_window());
  ASSERT_TRUE(wait_until([] { return preview_position().first < 0; }, 4000)) << "an old preview stays";
  g_s->activate(g_a11y_editor);
  std::string geometry = g_s->run({"xdotool", "getwindowgeometry", "--shell", std::to_string(g_a11y_editor)});
  int wx = std::stoi(geometry.substr(geometry.find("X=") + 2));
  int wy = std::stoi(geometry.substr(geometry.find("Y=") + 2));
  std::pair<int, int> first = preview_position_after("omw");
  std::pair<int, int> second = preview_position_after("a longer line before omw");
  // The first line starts at the text area's left edge, below the menu and tool bars.
  EXPECT_GT(first.first, wx);
  EXPECT_LT(first.first, wx + 60);
  EXPECT_GT(first.second, wy + 20);
  EXPECT_LT(first.second, wy + 200);
  // One line lower, and as far right as the longer text reaches.
  EXPECT_GT(second.first, first.first + 100);
  EXPECT_GT(second.second, first.second + 5);
  EXPECT_LT(second.second, first.second + 60);
  // A terminal reports no caret: the preview keeps to the screen's corner.
  g_s->activate(g_s->xterm_window());
  std::pair<int, int> corner = preview_position_after("omw");
  EXPECT_EQ(corner, std::make_pair(0, 0));
}

TEST_F(AppE2E, ImportThroughASecondStartReachesTheFirst) {
  std::string file = g_s->dir() + "/team.tmk";
  std::ofstream(file) << "<Quiverex n=\"t\"><a a=\"qximp\" e=\"imported text\" c=\"0\" t=\"3\"/></Quiverex>";
  int status = -1;
  g_s->run({QX_APP_EXE, "--import", file}, &status);
  EXPECT_EQ(status, 0);
  std::string saved = read_file(config_dir() + "/abbreviations.tmk");
  EXPECT_NE(saved.find("n=\"team\""), std::string::npos);
  EXPECT_NE(saved.find("n=\"Examples\""), std::string::npos);
  EXPECT_EQ(xterm_line("see qximp"), "see imported text");
}

TEST_F(AppE2E, SwitchingOffStopsExpansion) {
  unsigned long w = main_window_brought_up();
  ASSERT_NE(w, 0u);
  // The window's switch, reached by its mnemonic.
  g_s->activate(w);
  g_s->run({"xdotool", "key", "alt+e", "space"});
  std::this_thread::sleep_for(milliseconds(300));
  EXPECT_EQ(xterm_line("off btw "), "off btw ");
  g_s->activate(w);
  g_s->run({"xdotool", "key", "alt+e", "space"});
  std::this_thread::sleep_for(milliseconds(300));
  EXPECT_EQ(xterm_line("on btw "), "on by the way ");
}

unsigned long tray_icon(const std::string& tooltip) {
  std::string out = g_s->run({"xdotool", "search", "--name", "^" + tooltip + "$"});
  return out.empty() ? 0 : std::stoul(out.substr(0, out.find('\n')));
}

// Right click on the tray icon, then the menu's first item, "Enabled".
void toggle_from_tray(unsigned long icon) {
  g_s->run({"xdotool", "mousemove", "--window", std::to_string(icon), "8", "8", "click", "3"});
  std::this_thread::sleep_for(milliseconds(400));
  g_s->run({"xdotool", "key", "Down", "Return"});
  std::this_thread::sleep_for(milliseconds(300));
}

TEST_F(AppE2E, DisablingFromTheTrayStopsExpansion) {
  unsigned long icon = 0;
  ASSERT_TRUE(wait_until([&] { return (icon = tray_icon("Quiverex - enabled")) != 0; }, 5000));
  toggle_from_tray(icon);
  EXPECT_TRUE(wait_until([] { return tray_icon("Quiverex - disabled") != 0; }, 3000));
  EXPECT_EQ(xterm_line("tray off btw "), "tray off btw ");
  toggle_from_tray(icon);
  EXPECT_TRUE(wait_until([] { return tray_icon("Quiverex - enabled") != 0; }, 3000));
  EXPECT_EQ(xterm_line("tray on btw "), "tray on by the way ");
}

// 200 words of prose holding 20 abbreviations, typed at 80 ms per key.
TEST_F(AppE2E, FastProseEndsWithExactlyTheExpectedText) {
  const char* words[] = {"the", "quick", "report", "shows", "that", "our", "team", "met", "every", "goal"};
  std::string typed, want;
  for (int i = 0; i < 200; i++) {
    std::string w = words[(i * 7) % 10], out = w;
    if (i % 10 == 4) {
      w = (i / 10) % 2 ? "teh" : "btw";
      out = (i / 10) % 2 ? "the" : "by the way";
    }
    if (i) {
      typed += ' ';
      want += ' ';
    }
    typed += w;
    want += out;
  }
  typed += '.';
  want += '.';
  EXPECT_EQ(xterm_line(typed, {}, 80), want);
}

TEST_F(AppE2E, QuittingSavesThePreferences) {
  std::string prefs = config_dir() + "/preferences.lt";
  unlink(prefs.c_str());
  unsigned long w = main_window_brought_up();
  ASSERT_NE(w, 0u);
  g_s->activate(w);
  g_s->run({"xdotool", "key", "ctrl+q"});
  int status = -1;
  bool ended = wait_until([&] { return waitpid(g_app, &status, WNOHANG) == g_app; }, 10000);
  ASSERT_TRUE(ended);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  std::string text = read_file(prefs);
  EXPECT_NE(text.find("\"lddex\"=\"1\""), std::string::npos) << text.substr(0, 300);
  EXPECT_EQ(access((g_s->dir() + "/quiverex/instance").c_str(), F_OK), -1);
}

}  // namespace
