// The program's windows driven like a user would: a library built through the main window
// with the keyboard, applied or thrown away, and then typed in xterm. Screenshots of every
// window in both themes go to QX_SHOT_DIR for a person to look at.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "x_session.h"

namespace {

using std::chrono::milliseconds;

x_session* g_s = nullptr;
pid_t g_app = 0;

std::string config_dir() { return g_s->dir() + "/config/quiverex"; }
std::string library_file() { return config_dir() + "/abbreviations.tmk"; }
std::string app_log() { return g_s->dir() + "/quiverex.log"; }

void pause(int ms) { std::this_thread::sleep_for(milliseconds(ms)); }

void key(const std::string& k) {
  g_s->run({"xdotool", "key", "--clearmodifiers", k});
  pause(250);
}

void type(const std::string& text) {
  g_s->run({"xdotool", "type", "--delay", "30", text});
  pause(250);
}

// The main window, activated; 0 when it is not on screen.
unsigned long main_window_activated() {
  unsigned long w = g_s->visible_window("Quiverex");
  if (w) g_s->activate(w);
  return w;
}

// Opens the launch pad from the main window's File menu.
unsigned long launch_pad_opened() {
  if (!main_window_activated()) return 0;
  key("alt+f");
  key("l");
  unsigned long pad = 0;
  wait_until([&] { return (pad = g_s->visible_window("Quiverex LaunchPad")) != 0; }, 3000);
  return pad;
}

void start_app() {
  g_app = g_s->spawn({"sh", "-c", "exec '" QX_APP_EXE "' 2>>'" + app_log() + "'"});
}

// Quits through the window's Ctrl+Q and waits for the program to end.
bool quit_app() {
  unsigned long w = g_s->visible_window("Quiverex");
  if (!w) g_s->run({QX_APP_EXE});
  w = g_s->visible_window("Quiverex");
  if (!w) return false;
  g_s->activate(w);
  key("ctrl+q");
  int status = -1;
  if (wait_until([&] { return waitpid(g_app, &status, WNOHANG) == g_app; }, 10000))
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
  g_s->run({"import", "-window", "root", std::string(QX_SHOT_DIR) + "/quit-failed.png"});
  return false;
}

std::string xterm_line(const std::string& text) {
  size_t before = read_file(g_s->xterm_file()).size();
  g_s->activate(g_s->xterm_window());
  g_s->run({"xdotool", "type", "--delay", "40", text});
  pause(600);
  g_s->run({"xdotool", "key", "Return"});
  std::string all;
  wait_until([&] {
    all = read_file(g_s->xterm_file());
    return all.size() > before && all.back() == '\n';
  }, 5000);
  if (all.size() <= before) return "";
  return all.substr(before, all.size() - before - 1);
}

void screenshot(unsigned long window, const std::string& name) {
  std::filesystem::create_directories(QX_SHOT_DIR);
  pause(400);
  g_s->run({"import", "-window", std::to_string(window), std::string(QX_SHOT_DIR) + "/" + name + ".png"});
}

unsigned long open_prefs() {
  if (!main_window_activated()) return 0;
  key("ctrl+p");
  unsigned long p = 0;
  wait_until([&] { return (p = g_s->visible_window("Quiverex Preferences")) != 0; }, 5000);
  return p;
}

std::string prefs_file() { return config_dir() + "/preferences.lt"; }

// Sets `name` in the preferences file of the stopped program.
void set_pref(const std::string& name, const std::string& value) {
  std::string text = read_file(prefs_file());
  std::string line = "\"" + name + "\"=\"" + value + "\"\n";
  size_t at = text.find("\"" + name + "\"=");
  if (at == std::string::npos)
    text += line;
  else
    text.replace(at, text.find('\n', at) + 1 - at, line);
  std::ofstream(prefs_file()) << text;
}

bool has_pref(const std::string& name, const std::string& value) {
  return read_file(prefs_file()).find("\"" + name + "\"=\"" + value + "\"") != std::string::npos;
}

std::string pref(const std::string& name) {
  std::string text = read_file(prefs_file());
  std::string start = "\"" + name + "\"=\"";
  size_t at = text.find(start);
  if (at == std::string::npos) return "";
  at += start.size();
  return text.substr(at, text.find("\"\n", at) - at);
}

int window_width(unsigned long w) {
  std::string out = g_s->run({"xdotool", "getwindowgeometry", std::to_string(w)});
  size_t at = out.find("Geometry: ");
  return at == std::string::npos ? 0 : std::stoi(out.substr(at + 10));
}

// The launch pad's width: the window fits its text, so it follows the interface font.
int launch_pad_width() {
  unsigned long pad = launch_pad_opened();
  if (!pad) return 0;
  pause(300);
  int width = window_width(pad);
  key("Escape");
  return width;
}

// The saved record of the abbreviation `abbrev` in the library file.
std::string saved_record(const std::string& abbrev) {
  std::string text = read_file(library_file());
  size_t at = text.find(" a=\"" + abbrev + "\"");
  if (at == std::string::npos) return "";
  return text.substr(at, text.find("/>", at) - at);
}

// Makes a new abbreviation in the main window with its replacement text.
void new_abbreviation(unsigned long w, const std::string& abbrev) {
  g_s->activate(w);
  key("ctrl+n");
  type(abbrev);
  key("alt+r");
  type("view text");
  g_s->activate(w);
}

// Saves the library and gives back the saved record of `abbrev` once it is there.
std::string saved(unsigned long w, const std::string& abbrev) {
  g_s->activate(w);
  key("ctrl+s");
  std::string record;
  wait_until([&] { return !(record = saved_record(abbrev)).empty(); }, 5000);
  return record;
}

void choose_view(unsigned long w, const char* mnemonic) {
  g_s->activate(w);
  key("alt+v");
  key(mnemonic);
}

class WindowsE2E : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    g_s = new x_session;
    if (!g_s->ok()) return;
    start_app();
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

TEST_F(WindowsE2E, AFolderAndAnAbbreviationMadeInTheWindowExpandOnceApplied) {
  unsigned long w = 0;
  ASSERT_TRUE(wait_until([&] { return (w = g_s->visible_window("Quiverex")) != 0; }, 20000));
  // Started once the instance channel is open.
  ASSERT_TRUE(wait_until([] { return access((g_s->dir() + "/quiverex/instance").c_str(), F_OK) == 0; }, 20000));
  g_s->activate(w);
  pause(300);
  key("ctrl+shift+n");  // new folder, its name ready for typing
  type("Mine");
  key("Return");
  key("ctrl+n");  // new abbreviation, the cursor in its abbreviation field
  type("qxz");
  key("alt+r");
  type("edited text");
  // A first installation hides the Apply/Cancel row, so its mnemonic does nothing.
  g_s->activate(w);
  key("alt+a");
  pause(300);
  // Nothing reaches the file or the typing before Apply.
  EXPECT_EQ(read_file(library_file()).find("qxz"), std::string::npos);
  // The row comes back from the General page of the preferences.
  ASSERT_NE(open_prefs(), 0u);
  key("ctrl+Page_Down");
  key("ctrl+Page_Down");
  key("alt+m");
  key("ctrl+Page_Up");  // OK's mnemonic is shared with the folder fields of this page
  key("ctrl+Page_Up");
  key("alt+o");
  EXPECT_TRUE(wait_until([] { return g_s->visible_window("Quiverex Preferences") == 0; }, 3000));
  screenshot(w, "main-dark");
  g_s->activate(w);
  key("alt+a");
  std::string saved;
  EXPECT_TRUE(wait_until([&] { return (saved = read_file(library_file())).find("qxz") != std::string::npos; },
                         5000));
  EXPECT_NE(saved.find("n=\"Mine\""), std::string::npos) << saved.substr(0, 400);
  EXPECT_NE(saved.find("edited text"), std::string::npos) << saved.substr(0, 600);
  EXPECT_EQ(xterm_line("see qxz"), "see edited text");
}

TEST_F(WindowsE2E, CancelThrowsAwayWhatWasNotApplied) {
  unsigned long w = main_window_activated();
  ASSERT_NE(w, 0u);
  key("ctrl+n");
  type("qxgone");
  key("alt+r");
  type("should not appear");
  g_s->activate(w);
  auto active = [] { return std::stoul(g_s->run({"xdotool", "getactivewindow"})); };
  key("alt+c");
  ASSERT_NE(active(), w) << "Cancel did not ask";
  key("alt+d");  // don't ask again
  key("alt+y");
  pause(300);
  EXPECT_EQ(active(), w);
  EXPECT_EQ(read_file(library_file()).find("qxgone"), std::string::npos);
  EXPECT_EQ(xterm_line("see qxgone "), "see qxgone ");
  // What was applied before stays.
  EXPECT_EQ(xterm_line("still qxz"), "still edited text");
  // With the box ticked, Cancel no longer asks.
  ASSERT_EQ(main_window_activated(), w);
  key("ctrl+n");
  type("qxgone2");
  g_s->activate(w);
  key("alt+c");
  EXPECT_EQ(active(), w) << "Cancel asked again";

  // For the screenshots: the list as a search shows it.
  ASSERT_EQ(main_window_activated(), w);
  key("ctrl+f");
  type("way OR edited");
  pause(500);
  screenshot(w, "main-search-dark");
  g_s->activate(w);
  key("ctrl+a");
  key("BackSpace");
}

TEST_F(WindowsE2E, LaunchPadOpensFromTheMenuAndEscapeHidesIt) {
  unsigned long pad = launch_pad_opened();
  ASSERT_NE(pad, 0u);
  // Tab and Return stay in the box as blanks.
  type("ab");
  key("Tab");
  key("Return");
  EXPECT_NE(g_s->visible_window("Quiverex LaunchPad"), 0u) << "Return closed the launch pad";
  type("cd");
  screenshot(pad, "launchpad-dark");
  key("Escape");
  EXPECT_TRUE(wait_until([] { return g_s->visible_window("Quiverex LaunchPad") == 0; }, 3000));
  // Shown again, it starts empty.
  pad = launch_pad_opened();
  ASSERT_NE(pad, 0u);
  screenshot(pad, "launchpad-empty-dark");
  key("Escape");
}

TEST_F(WindowsE2E, PreferencesAreSavedOnOkAndNotOnCancel) {
  std::string prefs = config_dir() + "/preferences.lt";
  unlink(prefs.c_str());
  unsigned long p = open_prefs();
  ASSERT_NE(p, 0u);
  screenshot(p, "prefs-typing-dark");
  for (const char* page : {"output", "general", "hotkeys", "network"}) {
    key("ctrl+Page_Down");
    screenshot(p, std::string("prefs-") + page + "-dark");
  }
  key("Escape");
  EXPECT_TRUE(wait_until([] { return g_s->visible_window("Quiverex Preferences") == 0; }, 3000));
  EXPECT_EQ(access(prefs.c_str(), F_OK), -1) << "Cancel saved the preferences";

  p = open_prefs();
  ASSERT_NE(p, 0u);
  key("alt+o");
  EXPECT_TRUE(wait_until([&] { return read_file(prefs).find("\"trigger_hotkey\"=\"17\"") != std::string::npos; },
                         3000))
      << read_file(prefs).substr(0, 300);
  EXPECT_TRUE(wait_until([] { return g_s->visible_window("Quiverex Preferences") == 0; }, 3000));
}

TEST_F(WindowsE2E, TheLightThemeAfterARestart) {
  ASSERT_TRUE(quit_app());
  std::string prefs = config_dir() + "/preferences.lt";
  std::string text = read_file(prefs);
  size_t at = text.find("\"lmode\"=\"0\"");
  ASSERT_NE(at, std::string::npos);
  text.replace(at, 11, "\"lmode\"=\"1\"");
  std::ofstream(prefs) << text;
  start_app();
  unsigned long w = 0;
  ASSERT_TRUE(wait_until([&] { return (w = g_s->visible_window("Quiverex")) != 0; }, 20000));
  screenshot(w, "main-light");
  unsigned long p = open_prefs();
  ASSERT_NE(p, 0u);
  screenshot(p, "prefs-typing-light");
  key("ctrl+Page_Down");
  key("ctrl+Page_Down");
  key("ctrl+Page_Down");
  screenshot(p, "prefs-hotkeys-light");
  key("Escape");
  unsigned long pad = launch_pad_opened();
  ASSERT_NE(pad, 0u);
  screenshot(pad, "launchpad-light");
  key("Escape");
  EXPECT_EQ(xterm_line("again qxz"), "again edited text");
}

// The view starts as Advanced. The Normal view hides the rarer options, so that their
// mnemonics do nothing (here the within-a-word option's Alt+W), and neither switch changes an
// abbreviation.
TEST_F(WindowsE2E, TheNormalViewHidesOptionsAndChangesNoAbbreviation) {
  unsigned long w = main_window_activated();
  ASSERT_NE(w, 0u);
  choose_view(w, "n");
  new_abbreviation(w, "qxnv");
  screenshot(w, "main-normal-light");
  key("alt+w");
  choose_view(w, "a");
  screenshot(w, "main-advanced-light");
  key("alt+w");
  // Switching with the option set keeps it set.
  choose_view(w, "n");
  std::string record = saved(w, "qxnv");
  EXPECT_NE(record.find(" r=\"1\""), std::string::npos) << record;
}

// The view and the fonts after a restart, the fonts taken from a hand-edited preferences
// file; then a font chosen in the preferences window applies at once.
TEST_F(WindowsE2E, FontsAndTheViewAfterARestartAndFromThePreferences) {
  ASSERT_TRUE(quit_app());
  EXPECT_TRUE(has_pref("norm_view", "1"));
  EXPECT_TRUE(has_pref("adv_view", "0"));
  set_pref("ui_font", "DejaVu Sans 18");
  set_pref("repleditor_font", "DejaVu Sans Mono 20");
  set_pref("lmode", "0");
  start_app();
  unsigned long w = 0;
  ASSERT_TRUE(wait_until([&] { return (w = g_s->visible_window("Quiverex")) != 0; }, 20000));
  pause(500);
  // Still the Normal view: Alt+W does nothing.
  // (A name that does not contain the saved "qxnv", which would expand while typed.)
  new_abbreviation(w, "qxrestart");
  key("alt+w");
  screenshot(w, "main-normal-large-dark");
  std::string record = saved(w, "qxrestart");
  EXPECT_NE(record.find(" r=\"0\""), std::string::npos) << record;
  choose_view(w, "a");
  new_abbreviation(w, "qxadvanced");
  screenshot(w, "main-advanced-large-dark");
  int large = launch_pad_width();

  // A family and size picked in the font chooser, through its search box and size field.
  unsigned long p = open_prefs();
  ASSERT_NE(p, 0u);
  key("ctrl+Page_Down");
  key("ctrl+Page_Down");
  screenshot(p, "prefs-general-large-dark");
  key("alt+i");
  unsigned long chooser = 0;
  ASSERT_TRUE(wait_until([&] { return (chooser = g_s->visible_window("Pick a Font")) != 0; }, 3000));
  type("DejaVu Serif");
  for (int i = 0; i < 4; i++) key("Tab");
  key("ctrl+a");
  type("8");
  key("Tab");
  key("alt+s");
  EXPECT_TRUE(wait_until([] { return g_s->visible_window("Pick a Font") == 0; }, 3000));
  screenshot(p, "prefs-general-chosen-dark");
  key("ctrl+Page_Up");  // OK's mnemonic is shared with the folder fields of this page
  key("ctrl+Page_Up");
  key("alt+o");
  std::string font;
  EXPECT_TRUE(wait_until([&] { return (font = pref("ui_font")).rfind("DejaVu Serif", 0) == 0; }, 3000))
      << font;
  EXPECT_EQ(font.substr(font.size() - 2), " 8") << font;
  EXPECT_EQ(pref("repleditor_font"), "DejaVu Sans Mono 20");
  EXPECT_TRUE(wait_until([] { return g_s->visible_window("Quiverex Preferences") == 0; }, 3000));
  pause(500);  // every window is restyled
  // Without the 18-point font at start the width would hardly change.
  int chosen = launch_pad_width();
  EXPECT_GT(chosen, 0);
  EXPECT_LT(chosen, large * 2 / 3) << "launch pad " << large << " px wide with an 18-point font, " << chosen
                                   << " px after choosing an 8-point one";
  screenshot(w, "main-advanced-small-dark");
  choose_view(w, "n");
  screenshot(w, "main-normal-small-dark");
  choose_view(w, "a");
}

}  // namespace
