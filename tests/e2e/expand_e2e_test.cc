// The whole road of an expansion on a private X server: xdotool types an abbreviation as the
// user would, the keyboard monitor recognises it on the X11 backend and hands it to the real
// replacement thread, which erases it and types (or pastes) the replacement into xterm (a
// line-editing prompt) and into mousepad. What the application ends up holding is compared.
//
// One session serves the whole file; every wait has a deadline instead of a fixed sleep.
#include <glib.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "expand/keysim.h"
#include "library/abbr.h"
#include "monitor/mon.h"
#include "platform/x11/x11_platform.h"
#include "settings/settings.h"
#include "x_session.h"

namespace {

x_session* g_session = nullptr;
x11_platform* g_plat = nullptr;

// The replacement thread announces the start and the end of each replacement through the
// application's hotkey hooks (hotkeys go away while it types and come back after).
std::atomic<int> g_started{0}, g_finished{0};
std::atomic<int64_t> g_start_us{0}, g_finish_us{0};

// Waits until the replacement after `done_before` has finished and the monitor listens again.
bool wait_for_replacement(int done_before, int timeout_ms = 10000) {
  int64_t end = steady_now_us() + timeout_ms * 1000LL;
  while (steady_now_us() < end) {
    if (g_finished > done_before && !mon_hook_get_temp_disable()) return true;
    std::this_thread::sleep_for(std::chrono::microseconds(500));
  }
  return false;
}

// Polls a file every half millisecond until `done` holds for its content; the content then.
std::string poll_file(const std::string& path, const std::function<bool(const std::string&)>& done,
                      int timeout_ms, int64_t* when_us = nullptr) {
  int64_t end = steady_now_us() + timeout_ms * 1000LL;
  std::string s;
  for (;;) {
    s = read_file(path);
    int64_t t = steady_now_us();
    if (done(s)) {
      if (when_us) *when_us = t;
      return s;
    }
    if (t > end) return s;
    std::this_thread::sleep_for(std::chrono::microseconds(500));
  }
}

std::string today(const char* format) {
  time_t t = time(nullptr);
  struct tm tm;
  localtime_r(&t, &tm);
  char buf[64];
  strftime(buf, sizeof buf, format, &tm);
  return buf;
}

// More than 1000 bytes, so the replacement goes through the clipboard.
std::string long_paste_text() {
  std::string text;
  for (int i = 0; text.size() <= 1100; ++i) {
    if (i) text += '\n';
    text += "paste line " + std::to_string(i) + ": Grüße, 5 € and 😀 {braces} [brackets] @at ~tilde";
  }
  return text;
}

std::string repeat_to(const std::string& pattern, size_t n) {
  std::string s;
  while (s.size() < n) s += pattern;
  s.resize(n);
  return s;
}

const std::string SHORT_TEXT = "Twenty chars, ok 20!";
const std::string LONG_TEXT = repeat_to("The Quick brown fox jumps over the lazy dog; 0123456789. ", 400);

struct expansion_case {
  const char* name;
  const char* abbrev;
  uint32_t trigger;
  std::string replacement;
  std::string typed;  // what the user types, the abbreviation and any trigger character
  std::string after;  // what the user types once the replacement is done
  std::string expected;
  // The user still holds the last key of the abbreviation while the replacement is typed, as
  // people do: the replacement must not lose its own presses of that key.
  bool held = false;
};

std::vector<expansion_case> cases() {
  return {
      {"plain, word end", "xxplain", ABBR_TRIGGER_WORD_END,
       "Plain: {a} [b] <c> @d ~e |f \\g ^h 'i' \"j\" 100% done", "xxplain ", "",
       "Plain: {a} [b] <c> @d ~e |f \\g ^h 'i' \"j\" 100% done "},
      {"multi-line", "xxlines", ABBR_TRIGGER_IMMEDIATELY, "line one\nLine Two\n  three, indented", "xxlines",
       "", "line one\nLine Two\n  three, indented"},
      {"unicode", "xxuni", ABBR_TRIGGER_IMMEDIATELY, "café é€😀 ñ ü ß Ωmega", "xxuni", "",
       "café é€😀 ñ ü ß Ωmega"},
      {"key macro", "xxkey", ABBR_TRIGGER_IMMEDIATELY, "abx%(Key Backspace)c%(Key Left)%(Key Left)Z", "xxkey",
       "", "aZbc"},
      {"cursor", "xxcur", ABBR_TRIGGER_IMMEDIATELY, "<b>%(cursor)</b> after", "xxcur", "bold",
       "<b>bold</b> after"},
      {"date", "xxdate", ABBR_TRIGGER_IMMEDIATELY, "Today is %(Year)-%(Month)-%(Day).", "xxdate", "",
       "Today is " + today("%Y-%m-%d") + "."},
      {"clipboard insertion", "xxclip", ABBR_TRIGGER_IMMEDIATELY, "[%(clipboard)]", "xxclip", "",
       "[from xclip ü]"},
      {"clipboard output", "xxpaste", ABBR_TRIGGER_IMMEDIATELY, long_paste_text(), "xxpaste", "",
       long_paste_text()},
      {"last key still held", "xxheld", ABBR_TRIGGER_IMMEDIATELY, "dd held, d", "xxheld", "", "dd held, d",
       true},
  };
}

void add_abbrev(abbr_folder* f, const char* text, uint32_t trigger, const std::string& replacement) {
  abbr_abbrev* a = abbr_create_new_abbrev(ABBR_TYPE_TEXT, f);
  a->abbrevs = abbr_get_lst_of_abbrevs_from_string(text);
  a->replacement = replacement;
  a->trigger_mode = trigger;
  a->case_mode = ABBR_CASE_SENSITIVE;
  abbr_add_abbrev_to_folder(f, a, -1);
}

class ExpandOnX11 : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    g_session = new x_session(x_session::terminal::line_editor);
    if (!g_session->ok()) return;
    g_plat = x11_platform::open(g_session->display().c_str()).release();
    if (!g_plat) return;
    plat_set(g_plat);

    setting_set("trigger_hotkey", "17");
    setting_set("delim_chars", ",.?!()<>[]{}:;\"/\\-' \n\t");
    setting_set_int("textexpander_mode", 0);
    setting_set_int("output_method", 0);
    setting_set_int("use_clipboard_more_than", 1);
    // The stricter setting: the replacement checks the focus before every key it sends.
    setting_set_int("cont_window_changed", 0);

    abbr_folder* top = abbr_create_absolute_parent_folder();
    abbr_add_subfolder_to_folder(ABBR_MAIN_LIST, nullptr, top);
    for (const expansion_case& c : cases()) add_abbrev(top, c.abbrev, c.trigger, c.replacement);
    add_abbrev(top, "xxshort", ABBR_TRIGGER_IMMEDIATELY, SHORT_TEXT);
    add_abbrev(top, "xxlong", ABBR_TRIGGER_IMMEDIATELY, LONG_TEXT);
    add_abbrev(top, "xxfocus", ABBR_TRIGGER_IMMEDIATELY, "first half%(Delay 1500)second half");

    keysim_app_hooks hooks{};
    hooks.hotkeys_unregister_all = [] {
      g_start_us = steady_now_us();
      ++g_started;
    };
    hooks.hotkeys_register_all = [] {
      g_finish_us = steady_now_us();
      ++g_finished;
    };
    keysim_set_app_hooks(hooks);

    mon_set_callbacks(keysim_monitor_callbacks());
    started_ = mon_start() != 0;
  }

  static void TearDownTestSuite() {
    if (started_) mon_stop(0);
    started_ = false;
    mon_set_callbacks(mon_callbacks{});
    keysim_set_app_hooks(keysim_app_hooks{});
    plat_set(nullptr);
    delete g_plat;
    g_plat = nullptr;
    delete g_session;
    g_session = nullptr;
    // The statistics the replacement left for the UI thread.
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
    abbr_free_all_folder_lists();
    __setting_list_free(prefs_lst);
    prefs_lst = nullptr;
  }

  void SetUp() override {
    ASSERT_TRUE(g_session->ok()) << g_session->why();
    ASSERT_NE(nullptr, g_plat);
    ASSERT_TRUE(started_);
  }

  // Types the abbreviation with xdotool and waits for its replacement to end.
  static bool type_and_expand(const expansion_case& c) {
    int before = g_finished;
    if (!c.held) {
      g_session->run({"xdotool", "type", "--delay", "15", c.typed});
      return wait_for_replacement(before);
    }
    std::string last = c.typed.substr(c.typed.size() - 1);
    g_session->run({"xdotool", "type", "--delay", "15", c.typed.substr(0, c.typed.size() - 1)});
    g_session->run({"xdotool", "keydown", last});
    bool done = wait_for_replacement(before);
    g_session->run({"xdotool", "keyup", last});
    return done;
  }

  static bool started_;
};
bool ExpandOnX11::started_ = false;

}  // namespace

TEST_F(ExpandOnX11, EveryKindOfTextInTerminalAndEditorOnUsAndDe) {
  x_session& s = *g_session;
  // Someone else's text on the clipboard: inserted by one case, kept safe around the paste.
  std::ofstream(s.dir() + "/clip.txt") << "from xclip ü";
  s.spawn({"xclip", "-quiet", "-selection", "clipboard", "-i", s.dir() + "/clip.txt"});
  std::string clip;
  for (int i = 0; i < 200 && clip != "from xclip ü"; ++i) {
    clip = s.run({"xclip", "-selection", "clipboard", "-o"});
    if (clip != "from xclip ü") std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  ASSERT_EQ("from xclip ü", clip);

  for (const char* layout : {"us", "de"}) {
    ASSERT_TRUE(s.set_layout(layout));
    ASSERT_TRUE(s.activate(s.xterm_window()));
    for (const expansion_case& c : cases()) {
      SCOPED_TRACE(std::string(layout) + ", xterm, " + c.name);
      size_t before = read_file(s.xterm_file()).size();
      ASSERT_TRUE(type_and_expand(c)) << "no replacement";
      if (!c.after.empty()) s.run({"xdotool", "type", "--delay", "15", c.after});
      s.run({"xdotool", "key", "Return"});
      std::string want = c.expected + "\n";
      std::string got = poll_file(
          s.xterm_file(), [&](const std::string& f) { return f.size() >= before + want.size(); }, 5000);
      EXPECT_EQ(want, got.substr(std::min(before, got.size())));
      EXPECT_EQ(c.replacement.size() > 1000 ? 1 : 0, keysim_get_output_method()) << "pasted";
      if (std::string(c.name) == "clipboard output") {
        EXPECT_EQ("from xclip ü", s.run({"xclip", "-selection", "clipboard", "-o"}))
            << "the user's clipboard is back";
      }
    }

    ASSERT_TRUE(s.activate(s.editor_window()));
    for (const expansion_case& c : cases()) {
      SCOPED_TRACE(std::string(layout) + ", mousepad, " + c.name);
      ASSERT_TRUE(type_and_expand(c)) << "no replacement";
      if (!c.after.empty()) s.run({"xdotool", "type", "--delay", "15", c.after});
      s.run({"xdotool", "key", "ctrl+s"});
      std::string want = c.expected;
      std::string got = poll_file(
          s.editor_file(), [&](const std::string& f) { return f == want; }, 3000);
      EXPECT_EQ(want, got);
      EXPECT_EQ(c.replacement.size() > 1000 ? 1 : 0, keysim_get_output_method()) << "pasted";
      // An empty editor for the next case; its save tells that the editor got there.
      s.run({"xdotool", "key", "ctrl+a", "Delete", "ctrl+s"});
      poll_file(
          s.editor_file(), [](const std::string& f) { return f.empty(); }, 3000);
    }
  }
  ASSERT_TRUE(s.set_layout("us"));
}

// The user moves to another window while the replacement is still typing: not a key more
// reaches either window, and the monitor listens again afterwards.
TEST_F(ExpandOnX11, SwitchingWindowsStopsTheReplacement) {
  x_session& s = *g_session;
  ASSERT_TRUE(s.set_layout("us"));
  ASSERT_TRUE(s.activate(s.editor_window()));
  size_t before = read_file(s.xterm_file()).size();
  int started = g_started, done = g_finished;
  s.run({"xdotool", "type", "--delay", "15", "xxfocus"});
  for (int i = 0; i < 5000 && g_started == started; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  ASSERT_GT(g_started, started);
  ASSERT_TRUE(s.activate(s.xterm_window()));
  ASSERT_TRUE(wait_for_replacement(done));

  expansion_case next = cases()[3];  // the key macro
  ASSERT_TRUE(type_and_expand(next));
  s.run({"xdotool", "key", "Return"});
  std::string want = next.expected + "\n";
  std::string got = poll_file(
      s.xterm_file(), [&](const std::string& f) { return f.size() >= before + want.size(); }, 5000);
  EXPECT_EQ(want, got.substr(std::min(before, got.size())));

  ASSERT_TRUE(s.activate(s.editor_window()));
  s.run({"xdotool", "key", "ctrl+s"});
  EXPECT_EQ("first half", poll_file(
                              s.editor_file(), [](const std::string& f) { return f == "first half"; }, 3000));
  s.run({"xdotool", "key", "ctrl+a", "Delete", "ctrl+s"});
  poll_file(
      s.editor_file(), [](const std::string& f) { return f.empty(); }, 3000);
}

namespace {

struct latency_sample {
  double seen_ms;      // last key -> the replacement thread starts
  double sent_ms;      // last key -> the replacement thread has sent its last key
  double complete_ms;  // last key -> the application holds the whole replacement
};

double percentile(std::vector<double> v, double p) {
  std::sort(v.begin(), v.end());
  size_t rank = static_cast<size_t>(p / 100.0 * static_cast<double>(v.size()) + 0.999999);
  return v[std::min(v.size(), std::max<size_t>(rank, 1)) - 1];
}

void inject(std::initializer_list<plat_input> keys) {
  std::vector<plat_input> in(keys);
  g_plat->send_input(in.data(), static_cast<unsigned>(in.size()));
}

}  // namespace

// Time from the user's last key to the complete replacement in the application. What the
// application holds is read from its file: xterm's reader writes a line when Return arrives,
// mousepad writes when Ctrl+S arrives; both keys are sent the moment the replacement thread is
// done, so they queue behind the replacement's own keys. Prints the figures; the bounds only
// catch a replacement that stalls.
TEST_F(ExpandOnX11, LatencyFromLastKeyToCompleteReplacement) {
  x_session& s = *g_session;
  key_press_clock clock(s.display());
  ASSERT_TRUE(clock.ok());
  ASSERT_TRUE(s.set_layout("us"));
  constexpr int RUNS = 20;
  const struct {
    const char* abbrev;
    const std::string* text;
  } texts[] = {{"xxshort", &SHORT_TEXT}, {"xxlong", &LONG_TEXT}};
  std::vector<double> save_ms;

  printf("\n%-9s %5s %4s | %-13s | %-13s | %-13s\n", "target", "chars", "runs", "seen p50/p95",
         "sent p50/p95", "done p50/p95");
  for (bool editor : {false, true}) {
    ASSERT_TRUE(s.activate(editor ? s.editor_window() : s.xterm_window()));
    for (const auto& t : texts) {
      SCOPED_TRACE(std::string(editor ? "mousepad " : "xterm ") + t.abbrev);
      std::vector<latency_sample> samples;
      const std::string prefix(t.abbrev, strlen(t.abbrev) - 1), last(t.abbrev + strlen(t.abbrev) - 1);
      for (int run = 0; run < RUNS; ++run) {
        size_t before = read_file(s.xterm_file()).size();
        s.run({"xdotool", "type", "--delay", "15", prefix});
        int done = g_finished;
        int64_t spawned = steady_now_us();
        s.run({"xdotool", "key", "--delay", "0", last});
        ASSERT_TRUE(wait_for_replacement(done)) << "run " << run;
        if (editor)
          inject({{VK_LCONTROL, 0, 0},
                  {'S', 0, 0},
                  {'S', 0, KEYEVENTF_KEYUP},
                  {VK_LCONTROL, 0, KEYEVENTF_KEYUP}});
        else
          inject({{VK_RETURN, 0, 0}, {VK_RETURN, 0, KEYEVENTF_KEYUP}});
        int64_t complete = 0;
        std::string want = editor ? *t.text : *t.text + "\n";
        std::string got = poll_file(
            editor ? s.editor_file() : s.xterm_file(),
            [&](const std::string& f) { return editor ? f == want : f.size() >= before + want.size(); },
            10000, &complete);
        ASSERT_EQ(want, editor ? got : got.substr(std::min(before, got.size()))) << "run " << run;
        int64_t key = clock.first_press_since(spawned);
        ASSERT_NE(0, key);
        samples.push_back(
            {(g_start_us - key) / 1000.0, (g_finish_us - key) / 1000.0, (complete - key) / 1000.0});
        if (editor) {
          // Emptying the editor costs three keys and a save: the save's share of "done".
          int64_t t0 = steady_now_us(), emptied = 0;
          inject({{VK_LCONTROL, 0, 0},
                  {'A', 0, 0},
                  {'A', 0, KEYEVENTF_KEYUP},
                  {VK_LCONTROL, 0, KEYEVENTF_KEYUP},
                  {VK_DELETE, 0, KEYEVENTF_EXTENDEDKEY},
                  {VK_DELETE, 0, KEYEVENTF_EXTENDEDKEY | KEYEVENTF_KEYUP},
                  {VK_LCONTROL, 0, 0},
                  {'S', 0, 0},
                  {'S', 0, KEYEVENTF_KEYUP},
                  {VK_LCONTROL, 0, KEYEVENTF_KEYUP}});
          poll_file(
              s.editor_file(), [](const std::string& f) { return f.empty(); }, 5000, &emptied);
          if (emptied) save_ms.push_back((emptied - t0) / 1000.0);
        }
      }
      std::vector<double> seen, sent, complete;
      for (const latency_sample& x : samples) {
        seen.push_back(x.seen_ms);
        sent.push_back(x.sent_ms);
        complete.push_back(x.complete_ms);
      }
      printf("%-9s %5zu %4d | %5.1f %6.1f  | %5.1f %6.1f  | %5.1f %6.1f  ms\n", editor ? "mousepad" : "xterm",
             g_utf8_strlen(t.text->c_str(), -1), RUNS, percentile(seen, 50), percentile(seen, 95),
             percentile(sent, 50), percentile(sent, 95), percentile(complete, 50), percentile(complete, 95));
      EXPECT_LT(percentile(complete, 95), t.text->size() > 100 ? 5000.0 : 2000.0);
    }
  }
  if (!save_ms.empty())
    printf("mousepad: emptying and saving alone takes %.1f ms (p50)\n", percentile(save_ms, 50));
  fflush(stdout);
}
