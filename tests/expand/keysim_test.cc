// The replacement of one request against the in-memory desktop: the exact keys injected, what
// the application ends up showing, the clipboard around a paste, launches, and the thread's
// messages to the monitor.
#include <glib.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <vector>

#include "expand/clipboard_output.h"
#include "expand/keysim.h"
#include "expand/keysim_insert.h"
#include "expand/launch.h"
#include "fake_monitor.h"
#include "platform/fake/fake_platform.h"
#include "platform/thread_queue.h"
#include "core/gvar.h"
#include "settings/settings.h"

namespace {

std::vector<int> sleeps;
std::function<void(int)> on_sleep;

// "8d 8u 65d 65u 17dx U+20ACd": virtual key (or Unicode unit), down/up, x for extended.
std::string describe(const std::vector<plat_input>& in) {
  std::string out;
  for (const plat_input& e : in) {
    if (!out.empty()) out += ' ';
    if (e.flags & KEYEVENTF_UNICODE) {
      char buf[16];
      snprintf(buf, sizeof buf, "U+%X", e.scan);
      out += buf;
    } else {
      out += std::to_string(e.vk);
    }
    out += (e.flags & KEYEVENTF_KEYUP) ? 'u' : 'd';
    if (e.flags & KEYEVENTF_EXTENDEDKEY) out += 'x';
  }
  return out;
}

std::string repeat(const std::string& s, int n) {
  std::string out;
  for (int i = 0; i < n; i++) out += (i ? " " : "") + s;
  return out;
}

// The modifier release that starts every typed expansion.
const char* const PREPPY = "17dx 17ux 162d 162u 163d 163u 16dx 16ux 160d 160u 161dx 161ux";
constexpr plat_window EDITOR = 1, OTHER = 2, TERMINAL = 3, WORD = 4;

class KeysimTest : public ::testing::Test {
 protected:
  void SetUp() override {
    plat_set(&fake_);
    fake_.add_window(EDITOR, "gedit", "notes.txt - gedit");
    fake_.add_window(OTHER, "Firefox", "Mozilla Firefox");
    fake_.add_window(TERMINAL, "XTerm", "xterm");
    fake_.add_window(WORD, "OpusApp", "Document1 - Word");
    fake_.set_foreground(EDITOR);
    fake_monitor_reset();
    fake_mon().typed_hwnd = EDITOR;
    sleeps.clear();
    on_sleep = nullptr;
    keysim_set_sleep_func([](int ms) {
      sleeps.push_back(ms);
      if (on_sleep) on_sleep(ms);
    });
    g_keysim_om = 0;
    run_idle();
  }
  // The UI thread's share of an expansion (statistics) runs from idle callbacks.
  static void run_idle() {
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
  }
  void TearDown() override {
    run_idle();
    keysim_set_sleep_func(nullptr);
    clipboard_buf_free();
    keysim_free_ii_state();
    __setting_list_free(prefs_lst);
    prefs_lst = nullptr;
    plat_set(nullptr);
  }

  // A request as the monitor makes it after "typed" was typed into the editor.
  typed_abbrev_info* request(const std::string& typed, const std::string& text,
                             uint32_t trigger_mode = ABBR_TRIGGER_IMMEDIATELY) {
    auto* tai = new typed_abbrev_info;
    tai->abbrev = abbr_create_new_abbrev(ABBR_TYPE_TEXT, nullptr);
    tai->abbrev->abbrevs = abbr_get_lst_of_abbrevs_from_string(typed);
    tai->abbrev->replacement = text;
    tai->abbrev->case_mode = ABBR_CASE_SENSITIVE;
    tai->abbrev->trigger_mode = trigger_mode;
    tai->typed = typed;
    tai->target_window = EDITOR;
    return tai;
  }

  // Types `typed` into the editor, runs the whole replacement, returns the injected keys
  // after the modifier release.
  std::string expand(const std::string& typed, const std::string& text) {
    fake_.set_app_text(typed);
    typed_abbrev_info* tai = request(typed, text);
    fake_.clear_records();
    keysim_replace_typed_abbreviation_keysim_thread(tai);
    typed_abbrev_info_free(&tai);
    std::string all = describe(fake_.injected());
    std::string head = std::string(PREPPY) + " ";
    EXPECT_EQ(all.substr(0, head.size()), head);
    return all.size() > head.size() ? all.substr(head.size()) : "";
  }

  // Keys injected while typing `text` (no erasing, no modifier release).
  std::string type(const std::string& text, int literal = 0) {
    fake_.clear_records();
    int back = 0;
    keysim_simutype_text(text, EDITOR, &back, 0, literal, 0, nullptr);
    return describe(fake_.injected());
  }

  fake_platform fake_;
};

TEST_F(KeysimTest, WholeReplacementSequence) {
  EXPECT_EQ(expand("brb", "Ok!"), repeat("8d 8u", 3) + " 160d 79d 79u 160u 75d 75u 160d 49d 49u 160u");
  EXPECT_EQ(fake_.app_text(), "Ok!");
  run_idle();
  EXPECT_EQ(std::string(gvar_get("expanded")), "1");
  EXPECT_EQ(setting_get_int("presses"), 3);
  EXPECT_EQ(g_expanding_right_now, 0);
  EXPECT_EQ(fake_mon().caps_preppy_calls, 1);
}

TEST_F(KeysimTest, ErasingCountsCharactersAndDeadKey) {
  typed_abbrev_info* tai = request("añb", "");
  tai->dead_key_pending = 1;
  fake_.clear_records();
  EXPECT_EQ(keysim_delete_typed_abbrev(tai), 1);
  EXPECT_EQ(describe(fake_.injected()), repeat("8d 8u", 4));

  // A delimiter that completed the abbreviation stays where the system could hold it back, and
  // is erased too where the monitor says it reached the application.
  tai->dead_key_pending = 0;
  tai->trigger_vk = VK_SPACE;
  tai->trigger_char = ' ';
  fake_.clear_records();
  keysim_delete_typed_abbrev(tai);
  EXPECT_EQ(describe(fake_.injected()), repeat("8d 8u", 3));
  tai->extra_erase = 1;
  fake_.clear_records();
  keysim_delete_typed_abbrev(tai);
  EXPECT_EQ(describe(fake_.injected()), repeat("8d 8u", 4));
  tai->extra_erase = 0;

  // Chosen from a menu: nothing to erase.
  tai->from_menu = 1;
  fake_.clear_records();
  EXPECT_EQ(keysim_delete_typed_abbrev(tai), 1);
  EXPECT_TRUE(fake_.injected().empty());
  typed_abbrev_info_free(&tai);
}

TEST_F(KeysimTest, FocusChangeStopsAtOnce) {
  typed_abbrev_info* tai = request("brb", "");
  fake_.set_foreground(OTHER);
  fake_.clear_records();
  EXPECT_EQ(keysim_delete_typed_abbrev(tai), 0);
  EXPECT_TRUE(fake_.injected().empty());
  setting_set_int("cont_window_changed", 1);
  EXPECT_EQ(keysim_delete_typed_abbrev(tai), 1);
  typed_abbrev_info_free(&tai);

  // Switching windows during typing stops it within one character, and the monitor is still
  // told to resume.
  setting_set_int("cont_window_changed", 0);
  setting_set_int("pause_for", 1);
  setting_set_int("pause_ms", 3);
  on_sleep = [this](int) { fake_.set_foreground(OTHER); };
  fake_.set_foreground(EDITOR);
  plat_queue_create();
  fake_mon().hook_tid = plat()->current_thread_id();
  expand("brb", "abcdef");
  EXPECT_EQ(fake_.app_text(), "a");
  std::vector<uint32_t> posted;
  plat_msg m;
  while (plat_queue_take(&m, 0, 0)) posted.push_back(m.message);
  EXPECT_EQ(posted, (std::vector<uint32_t>{WM_MON_CLEAR_KEY_BUFFER, WM_MON_RESTORE_MODIFIERS,
                                           WM_MON_RESTORE_CAPS_LOCK, WM_MON_END_TEMP_DISABLE}));
}

TEST_F(KeysimTest, PercentSignsAndEscapes) {
  expand("ab1", "abc%%(x");
  EXPECT_EQ(fake_.app_text(), "abc%(x");
  expand("ab2", "50%");
  EXPECT_EQ(fake_.app_text(), "50%");
  expand("ab3", "%%%(Key Tab)|%(Key)%(Delay)");
  EXPECT_EQ(fake_.app_text(), "%%\t|%(Key)%(Delay)");
}

TEST_F(KeysimTest, DelimiterAppendedAndCursorBack) {
  typed_abbrev_info* tai = request("sig", "x%(cursor)y", ABBR_TRIGGER_WORD_END);
  tai->trigger_vk = VK_OEM_PERIOD;
  tai->trigger_char = '.';
  int back = 0, cap = 0;
  EXPECT_EQ(keysim_get_text_to_type(tai, tai->abbrev, "sig", 0, &back, &cap, nullptr), "xy.");
  EXPECT_EQ(back, 2);
  tai->abbrev->replacement = "xy";
  EXPECT_EQ(keysim_get_text_to_type(tai, tai->abbrev, "sig", 0, &back, &cap, nullptr), "xy.");
  EXPECT_EQ(back, 0);
  typed_abbrev_info_free(&tai);

  // The caret ends between x and yz.
  EXPECT_EQ(expand("cur", "x%(cursor)yz"), repeat("8d 8u", 3) + " 88d 88u 89d 89u 90d 90u 37d 37u 37d 37u");
  fake_.type_text("Q");
  EXPECT_EQ(fake_.app_text(), "xQyz");

  // The Delay macro after the marker leaves nothing in the text: its ten characters do not count.
  expand("cur", "a%(cursor)b%(Delay 5)c");
  fake_.type_text("Q");
  EXPECT_EQ(fake_.app_text(), "aQbc");
}

TEST_F(KeysimTest, PausePerCharacter) {
  // {pause_for, pause_ms, expected pause}: out-of-range values fall back to 5 ms.
  for (auto [on, ms, pause] : {std::array<int, 3>{1, 0, 5}, {1, 5000, 5}, {1, 40, 40}, {0, 40, 0}}) {
    setting_set_int("pause_for", on);
    setting_set_int("pause_ms", ms);
    sleeps.clear();
    type("ab");
    EXPECT_EQ(sleeps, std::vector<int>(pause ? 2 : 0, pause)) << ms;
  }
}

TEST_F(KeysimTest, ShiftHeldAcrossCapitals) {
  EXPECT_EQ(type("ABc"), "160d 65d 65u 66d 66u 160u 67d 67u");
  EXPECT_EQ(type("A%(Key Tab)"), "160d 65d 65u 160u 9d 9u");
  // "%" needs Shift as well, so Shift stays down for it.
  EXPECT_EQ(type("A%x"), "160d 65d 65u 53d 53u 160u 88d 88u");
  EXPECT_EQ(type("AB", 1), "160d 65d 65u 160u 160d 66d 66u 160u");
  // Inside a KeyDown Shift ... KeyUp Shift pair the loop leaves Shift alone.
  EXPECT_EQ(type("%(KeyDown Shift)A%(KeyUp Shift)"), "16d 65d 65u 16u");
}

TEST_F(KeysimTest, CharactersWithoutKeys) {
  EXPECT_EQ(type("é"), "U+E9d U+E9u");
  EXPECT_EQ(type("€"), "U+20ACd U+0d U+20ACu U+0u");
  EXPECT_EQ(type("😀"), "U+D83Dd U+DE00d U+D83Du U+DE00u");
  fake_.set_app_text("");
  type("é😀\nok");
  EXPECT_EQ(fake_.app_text(), "é😀\nok");
  // The German layout has keys for umlauts and types @ with AltGr (Right Alt alone).
  fake_.set_layout("de");
  fake_.set_app_text("");
  type("ä@Ü");
  EXPECT_EQ(describe(fake_.injected()), "222d 222u 165dx 81d 81u 165ux 160d 186d 186u 160u");
}

TEST_F(KeysimTest, KeyMacros) {
  EXPECT_EQ(type("%(Key Tab 3)"), "9d 9u 9d 9u 9d 9u");
  EXPECT_EQ(type("%(Key Ctrl+a)"), "17dx 65d 65u 17ux");
  // Blanks around "+" make the second word a repeat count of 0.
  EXPECT_EQ(type("%(Key Ctrl + Shift + Left)"), "");
  EXPECT_EQ(type("%(Key Ctrl+Shift+Left)"), "17dx 16d 37dx 37ux 16u 17ux");
  EXPECT_EQ(type("%(KeyDown Ctrl)%(KeyUp Ctrl)"), "17dx 17ux");
  EXPECT_EQ(type("%(Key Alt+f)"), "18dx 70d 70u 18ux");
  fake_.set_layout("de");
  EXPECT_EQ(type("%(Key Alt+f)"), "164d 70d 70u 164u");
  fake_.set_layout("us");
  fake_.set_app_text("");
  type("%(Key)%(Key Foo)");
  EXPECT_EQ(fake_.app_text(), "%(Key)");
  // Ctrl waits 5 ms after each of its events.
  sleeps.clear();
  type("%(Key Ctrl+a)");
  EXPECT_EQ(sleeps, (std::vector<int>{5, 5}));
}

TEST_F(KeysimTest, InputFieldAskedOnce) {
  int opened = 0;
  fake_mon().on_field_open = [&] {
    opened++;
    for (const char* c : {"B", "o", "b"}) keysim_user_typed_char_in_ii(c);
    fake_mon().n_chars = 3;
    fake_mon().continue_pressed = 1;
  };
  std::string keys = type("%(Input name);%(Input name)");
  EXPECT_EQ(opened, 1);
  // The placeholder "name" is typed and selected, then the second field repeats "Bob".
  EXPECT_EQ(keys, "78d 78u 65d 65u 77d 77u 69d 69u 16d " + repeat("37dx 37ux", 4) +
                      " 16u 186d 186u 160d 66d 66u 160u 79d 79u 66d 66u");
  EXPECT_EQ(std::string(__setting_get(g_input_vars, "name")), "Bob");
}

TEST_F(KeysimTest, InputFieldAbandonedStopsTyping) {
  fake_mon().on_field_open = [] { fake_mon().ended_abruptly = 1; };
  fake_.set_app_text("cur");
  typed_abbrev_info* tai = request("cur", "a%(cursor)%(Input)b");
  fake_.clear_records();
  keysim_replace_typed_abbreviation_keysim_thread(tai);
  EXPECT_EQ(fake_.app_text(), "a");
  EXPECT_EQ(tai->cursor_back, 0);
  typed_abbrev_info_free(&tai);
  EXPECT_EQ(fake_mon().calls, (std::vector<std::string>{"caps", "enable_ii", "disable_ii"}));
}

TEST_F(KeysimTest, InputFieldOutcomes) {
  // The user's first key only unselected the placeholder: it stays in the text.
  fake_mon().on_field_open = [] {
    fake_mon().n_chars = 2;
    fake_mon().unselect_first = 1;
    fake_mon().continue_pressed = 1;
  };
  int typed = 0, len = 0;
  keysim_handle_this_macro("%(Fill who)", 0, 0, EDITOR, &typed, &len);
  EXPECT_EQ(typed, 5);
  EXPECT_EQ(len, 11);
  // Leaving the window keeps what a named field got and abandons the expansion.
  keysim_free_ii_state();
  fake_mon().on_field_open = [this] {
    keysim_user_typed_char_in_ii("x");
    keysim_user_typed_char_in_ii("y");
    keysim_user_typed_backspace_in_ii();
    keysim_user_typed_char_in_ii("\r");
    fake_.set_foreground(OTHER);
  };
  EXPECT_EQ(keysim_handle_interactive_input("who", EDITOR), -1);
  EXPECT_EQ(std::string(__setting_get(g_input_vars, "who")), "x\n");
  fake_.set_foreground(EDITOR);
  EXPECT_EQ(keysim_handle_interactive_input("", EDITOR), -1);
  EXPECT_EQ(fake_mon().calls.back(), "disable_ii");
}

TEST_F(KeysimTest, PostedCharactersForWindowsThatIgnoreKeys) {
  fake_.add_window(8, "maxthon2_frame", "Maxthon");
  fake_.set_foreground(8);
  fake_.clear_records();
  int back = 0;
  keysim_simutype_text("A\nb", 8, &back, 0, 0, 0, nullptr);
  std::u32string posted;
  for (const fake_record& r : fake_.records()) {
    EXPECT_EQ(r.kind, fake_record::POST_CHAR);
    posted += r.ch;
  }
  EXPECT_EQ(posted, U"A\rb");
  EXPECT_EQ(sleeps, std::vector<int>{100});
}

TEST_F(KeysimTest, LaunchMacro) {
  type("%(Launch \"/opt/a (b)/run\" -params \"my file\" -show-maximized -run-in)x");
  std::vector<fake_record> launches;
  for (const fake_record& r : fake_.records())
    if (r.kind == fake_record::LAUNCH) launches.push_back(r);
  ASSERT_EQ(launches.size(), 1u);
  EXPECT_EQ(launches[0].launch.file, "/opt/a (b)/run");
  EXPECT_EQ(launches[0].launch.parameters, "my file");
  EXPECT_EQ(launches[0].launch.directory, "/opt/a (b)");
  EXPECT_EQ(launches[0].launch.show, 3);
  EXPECT_EQ(launches[0].launch.verb, "open");
  EXPECT_EQ(describe(fake_.injected()), "88d 88u");

  type("%(Launch \"/tmp/a (b)\")");
  ASSERT_EQ(fake_.records().size(), 1u);
  EXPECT_EQ(fake_.records()[0].launch.file, "/tmp/a (b)");
}

TEST_F(KeysimTest, WebsiteLauncher) {
  fake_.set_browsers({{"firefox", "Firefox", "/usr/bin/firefox"}});
  abbr_abbrev* a = abbr_create_new_abbrev(ABBR_TYPE_WEBSITE, nullptr);
  a->website.address = "https://example.org";
  a->website.browser = "FireFox";
  fake_.clear_records();
  launcher_launch_from_abbrev(a);
  a->website.browser = "gone";
  launcher_launch_from_abbrev(a);
  std::vector<fake_record> r = fake_.records();
  ASSERT_EQ(r.size(), 2u);
  EXPECT_EQ(r[0].launch.file, "/usr/bin/firefox");
  EXPECT_EQ(r[0].launch.parameters, "https://example.org");
  EXPECT_EQ(r[1].launch.file, "https://example.org");
  abbr_abbrev_free(a);
}

TEST_F(KeysimTest, OutputMethodChoice) {
  std::string long_text(1200, 'x');
  EXPECT_EQ(repl_output_method(long_text.c_str(), 1200), 0);
  setting_set_int("use_clipboard_more_than", 1);
  EXPECT_EQ(repl_output_method(long_text.c_str(), 1200), 1);
  std::string bold = "%(key ctrl+b)" + long_text;
  EXPECT_EQ(repl_output_method(bold.c_str(), 1200), 0);
  EXPECT_EQ(repl_output_method(bold.c_str(), 1800), 1);
  std::string field = "%(Input)" + long_text;
  EXPECT_EQ(repl_output_method(field.c_str(), 1200), 1);
  EXPECT_EQ(repl_output_method("short", -1), 0);
  setting_set_int("output_method", 1);
  EXPECT_EQ(repl_output_method("short", 5), 1);
  fake_.set_foreground(WORD);
  EXPECT_EQ(repl_output_method("%(Key Ctrl+B)x", 14), 0);
  EXPECT_EQ(repl_output_method("x", 1), 1);
}

class ClipboardOutputTest : public KeysimTest {
 protected:
  void SetUp() override {
    KeysimTest::SetUp();
    setting_set_int("output_method", 1);
    fake_.set_clipboard_formats({{"image/png", "PNG"}, {"text", "user"}});
  }
  // Clipboard contents set and paste keys, in order, as "set:ab 17dx 86d 86u 17ux".
  std::string pastes() {
    std::string out;
    for (const fake_record& r : fake_.records()) {
      std::string token;
      if (r.kind == fake_record::CLIPBOARD_SET) token = "set:" + r.text;
      if (r.kind == fake_record::CLIPBOARD_RESTORE) token = "restore:" + r.text;
      if (r.kind == fake_record::INPUT && r.input.vk != VK_BACK) token = describe({r.input});
      if (!token.empty()) out += (out.empty() ? "" : " ") + token;
    }
    return out;
  }
};

TEST_F(ClipboardOutputTest, DelayBetweenTwoPastes) {
  fake_.set_app_text("ab");
  typed_abbrev_info* tai = request("ab", "ab%(Delay 1s)c\nd");
  fake_.clear_records();
  keysim_replace_typed_abbreviation_keysim_thread(tai);
  typed_abbrev_info_free(&tai);
  // No Shift is held, so only Ctrl is released first.
  EXPECT_EQ(pastes(), "17dx 17ux 162d 162u 163d 163u set:ab 17d 86d 86u 17u set:c\r\nd 17d 86d 86u 17u "
                      "restore:image/png,text");
  EXPECT_EQ(sleeps, (std::vector<int>{35, 1000, 35}));
  EXPECT_EQ(fake_.clipboard_formats(), (std::vector<std::pair<std::string, std::string>>{
                                           {"image/png", "PNG"}, {"text", "user"}}));
  EXPECT_EQ(fake_mon().caps_preppy_calls, 0);
  run_idle();
  EXPECT_EQ(setting_get_int("presses"), 6);  // "ab" and "c", CR, LF, "d"
}

TEST_F(ClipboardOutputTest, CapitalisedAndTerminalPaste) {
  fake_.set_capabilities(PLAT_CAP_SWALLOW | PLAT_CAP_PRIMARY_SELECTION);
  fake_.set_foreground(TERMINAL);
  g_keysim_om = 1;
  typed_abbrev_info tai;
  tai.capitalise = 1;
  int back = 0;
  fake_.clear_records();
  keysim_simutype_text("élan\nx", TERMINAL, &back, 1, 0, 0, &tai);
  // Where there are selections, lines end with LF alone.
  EXPECT_EQ(pastes(), "set:Élan\nx 16d 45dx 45ux 16u");
  EXPECT_EQ(fake_.records()[0].selections, PLAT_SEL_CLIPBOARD | PLAT_SEL_PRIMARY);
  EXPECT_TRUE(clipboard_class_pastes_primary("URxvt"));
  EXPECT_TRUE(clipboard_class_pastes_primary("Gnome-terminal"));
  EXPECT_FALSE(clipboard_class_pastes_primary("Gedit"));
}

TEST_F(ClipboardOutputTest, LockedClipboardGivesUp) {
  fake_.lock_clipboard_for(1000);
  g_keysim_om = 1;
  int back = 0;
  fake_.clear_records();
  keysim_simutype_text("abc", EDITOR, &back, 0, 0, 0, nullptr);
  EXPECT_EQ(pastes(), "");
}

// Application quirks, the launch pad, the sound and the hotkeys around one replacement.
TEST_F(KeysimTest, AroundTheReplacement) {
  static std::vector<std::string> events;
  events.clear();
  keysim_app_hooks hooks{};
  hooks.hotkeys_unregister_all = [] { events.push_back("unregister"); };
  hooks.hotkeys_register_all = [] { events.push_back("register"); };
  hooks.launchpad_window = [] { return plat_window{7}; };
  hooks.launchpad_hide = [] { events.push_back("hide"); };
  keysim_set_app_hooks(hooks);
  setting_set_int("play_sound", 1);

  // Chrome's address bar: a pause before the last Backspace after a leading "/".
  fake_.add_window(5, "Chrome_WidgetWin_1", "New Tab");
  fake_.set_foreground(5);
  fake_.set_app_text("/x");
  typed_abbrev_info* tai = request("/x", "y");
  tai->target_window = 5;
  sleeps.clear();
  fake_.clear_records();
  keysim_replace_typed_abbreviation_keysim_thread(tai);
  typed_abbrev_info_free(&tai);
  EXPECT_EQ(sleeps, std::vector<int>{50});
  EXPECT_EQ(g_pause_for_extended_keys, 0);
  EXPECT_EQ(fake_.app_text(), "y");
  EXPECT_EQ(fake_.records()[12].kind, fake_record::SOUND);  // after the modifiers, before erasing
  EXPECT_EQ(events, (std::vector<std::string>{"unregister", "register"}));

  // Notepad: the pointer moves once per byte of the text and once more.
  fake_.add_window(6, "Notepad", "Untitled - Notepad");
  fake_.set_foreground(6);
  fake_.set_app_text("ab");
  tai = request("ab", "xyz");
  tai->target_window = 6;
  fake_.clear_records();
  keysim_replace_typed_abbreviation_keysim_thread(tai);
  typed_abbrev_info_free(&tai);
  std::vector<int> xs;
  for (const fake_record& r : fake_.records())
    if (r.kind == fake_record::POINTER_MOVE) xs.push_back(r.x);
  plat_rect rect{};
  ASSERT_TRUE(fake_.window_rect(6, &rect));
  int l = rect.left;
  EXPECT_EQ(xs, (std::vector<int>{l + 25, l + 28, l + 25, l + 28}));

  // A launcher typed into the launch pad hides it, erases the abbreviation and types nothing.
  fake_.add_window(7, "Quiverex", "Quiverex LaunchPad");
  fake_.set_foreground(7);
  fake_.set_app_text("ed");
  tai = request("ed", "");
  tai->abbrev->type = ABBR_TYPE_PROGRAM;
  tai->abbrev->program.path = "/usr/bin/editor";
  tai->abbrev->program.params = "%(Year)";
  tai->abbrev->program.show_mode = 1;
  tai->target_window = 7;
  events.clear();
  fake_.clear_records();
  keysim_replace_typed_abbreviation_keysim_thread(tai);
  typed_abbrev_info_free(&tai);
  EXPECT_EQ(events, (std::vector<std::string>{"unregister", "hide", "register"}));
  EXPECT_EQ(fake_.app_text(), "");
  std::vector<fake_record> r = fake_.records();
  ASSERT_EQ(r.back().kind, fake_record::LAUNCH);
  EXPECT_EQ(r.back().launch.directory, "/usr/bin");
  EXPECT_EQ(r.back().launch.parameters.size(), 4u);
  EXPECT_EQ(r.back().launch.show, 2);
  keysim_set_app_hooks(keysim_app_hooks{});
}

TEST_F(KeysimTest, ClipboardAndDateInsertions) {
  fake_.set_clipboard_formats({{"text", "line1\r\nline2"}});
  EXPECT_EQ(clipboard_insertion_macro_execute("<%(clipboard)> %%(clipboard)"), "<line1\nline2> %(clipboard)");
  fake_.set_clipboard_formats({});
  EXPECT_EQ(clipboard_insertion_macro_execute("<%(CLIPBOARD)>"), "<>");
}

TEST_F(KeysimTest, ThreadRunsRequestsAndTellsTheMonitor) {
  plat_queue_create();
  fake_mon().hook_tid = plat()->current_thread_id();
  ASSERT_EQ(keysim_create_thread(), 1);
  EXPECT_EQ(keysim_create_thread(), 1);
  fake_.set_app_text("brb");
  typed_abbrev_info* slot = request("brb", "ok");
  keysim_replace_typed_abbreviation(&slot);
  std::vector<uint32_t> posted;
  plat_msg m;
  while (posted.size() < 4 && plat()->get_message(&m, 0, 0) == 1) posted.push_back(m.message);
  EXPECT_EQ(posted, (std::vector<uint32_t>{WM_MON_CLEAR_KEY_BUFFER, WM_MON_RESTORE_MODIFIERS,
                                           WM_MON_RESTORE_CAPS_LOCK, WM_MON_END_TEMP_DISABLE}));
  EXPECT_EQ(fake_.app_text(), "ok");

  // Releasing modifiers on request.
  fake_.clear_records();
  keysim_replace_typed_abbreviation_preppy();
  // Grabbing the selection for a new abbreviation: the text reaches the UI thread's idle
  // callback and the user's clipboard comes back.
  static std::string grabbed;
  grabbed.clear();
  keysim_app_hooks hooks{};
  hooks.grabbed_clipboard_text = [](const std::string& t) { grabbed = t; };
  keysim_set_app_hooks(hooks);
  fake_.set_clipboard_formats({{"text", "a\r\nb"}});
  clipboard_backup_contents();
  keysim_grab_clipboard();
  for (int i = 0; i < 5000 && grabbed.empty(); i++) {
    g_main_context_iteration(nullptr, FALSE);
    g_usleep(1000);
  }
  EXPECT_EQ(grabbed, "a\nb");
  keysim_destroy_thread();
  keysim_wait_thread_ended();
  keysim_set_app_hooks(keysim_app_hooks{});
  EXPECT_EQ(slot, nullptr);
  EXPECT_EQ(describe(fake_.injected()), std::string(PREPPY));
}

}  // namespace
