#include "mon_fixture.h"

// ---- What empties the key buffer ----

class ClearingTest : public MonTest {
 protected:
  void SetUp() override {
    MonTest::SetUp();
    add(top, "btw", "by the way");
    ready();
  }
};

TEST_F(ClearingTest, AltTabAwayAndBackForgetsTheFirstPiece) {
  type("bt");
  key(VK_LMENU, true);
  tap(VK_TAB);
  fake.set_foreground(200);
  key(VK_LMENU, false);
  key(VK_LMENU, true);
  tap(VK_TAB);
  fake.set_foreground(100);
  key(VK_LMENU, false);
  type("w");
  EXPECT_EQ(expanded(), strings{});
  type(" btw");
  EXPECT_EQ(expanded(), strings{"by the way"});
}

TEST_F(ClearingTest, MouseClickInTheSameWindowEmptiesTheBuffer) {
  type("bt");
  click();
  type("w");
  EXPECT_EQ(expanded(), strings{});
}

TEST_F(ClearingTest, CtrlTOpensATabOnlyInBrowsers) {
  fake.add_window(100, "IEFrame", "browser");
  type("bt");
  key(VK_LCONTROL, true);
  tap('T');
  key(VK_LCONTROL, false);
  type("w");
  EXPECT_EQ(expanded(), strings{});

  type(" bt");  // Ctrl+Shift+T reopens a tab: the buffer stays
  key(VK_LCONTROL, true);
  key(VK_LSHIFT, true);
  tap('T');
  key(VK_LSHIFT, false);
  key(VK_LCONTROL, false);
  type("w");
  EXPECT_EQ(expanded(), strings{"by the way"});

  fake.add_window(100, "Editor", "notes");
  type(" bt");
  key(VK_LCONTROL, true);
  tap('T');
  key(VK_LCONTROL, false);
  type("w");
  EXPECT_EQ(expanded(), strings{"by the way"});
}

TEST_F(ClearingTest, EscapeClearsExceptInTextExpanderMode) {
  type("bt");
  tap(VK_ESCAPE);
  type("w");
  EXPECT_EQ(expanded(), strings{});
  setting_set_int("textexpander_mode", 1);
  setting_set_int("default_trigger_mode", 3);
  type(" bt");
  tap(VK_ESCAPE);
  type("w");
  EXPECT_EQ(expanded(), strings{"by the way"});
}

TEST_F(ClearingTest, KeyUpsNeverTouchTheBuffer) {
  type("bt");
  EXPECT_EQ(key(VK_BACK, false), PLAT_PASS);
  EXPECT_EQ(key('X', false), PLAT_PASS);
  EXPECT_EQ(key(VK_ESCAPE, false), PLAT_PASS);
  EXPECT_EQ(buffer_tail(2), "bt");
  type("w");
  EXPECT_EQ(expanded(), strings{"by the way"});
}

TEST_F(ClearingTest, KeysTypedDuringAnExpansionAreIgnored) {
  type("btw");
  EXPECT_EQ(mon_hook_get_temp_disable(), 1);
  type(" btw");  // the replacement has not finished: nothing is matched
  key(VK_RSHIFT, true);
  EXPECT_EQ(modifier_states[1].down, 1u);
  key(VK_RSHIFT, false);
  EXPECT_EQ(expanded(), strings{"by the way"});
  EXPECT_EQ(mon_hook_get_temp_disable(), 0);
}

TEST(EmptyLibraryTest, NoKeyBufferAndEveryKeyPasses) {
  fake_platform fake;
  plat_set(&fake);
  mon_adjust_key_buffer_size();
  EXPECT_EQ(key_buffer, nullptr);
  fake.install_keyboard_hook(mon_keyboard_LL_hook_func, nullptr);
  mon_set_keysim_thread(fake.current_thread_id());
  ASSERT_TRUE(fake.type_text("btw"));
  fake.post_thread_message(fake.current_thread_id(), WM_APP + 400, 0, 0);
  plat_msg m;
  ASSERT_EQ(fake.get_message(&m, 0, 0), 1);
  EXPECT_EQ(m.message, WM_APP + 400);  // no request was posted before the marker
  EXPECT_EQ(fake.app_text(), "btw");
  fake.uninstall_keyboard_hook();
  mon_set_keysim_thread(0);
  mon_reset_hook_state();
  plat_set(nullptr);
}

// ---- Modifiers and Caps Lock around an expansion ----

using ModifierTest = MonTest;

TEST_F(ModifierTest, HeldModifiersAreReleasedAndPressedAgainIfStillHeld) {
  add(top, "btw", "by the way", ABBR_TRIGGER_WORD_END);
  ready();
  type("btw");
  key(VK_RSHIFT, true);
  fake.clear_records();
  tap('1');
  std::vector<plat_input> up = fake.injected();
  ASSERT_EQ(up.size(), 1u);
  EXPECT_EQ(up[0].vk, VK_RSHIFT);
  EXPECT_EQ(up[0].flags, KEYEVENTF_KEYUP | KEYEVENTF_EXTENDEDKEY);  // right Shift is extended

  // Our key-up has made the system see right Shift up while the user still holds it: after
  // the replacement it is pressed again.
  EXPECT_EQ(expanded(), strings{"by the way"});
  std::vector<plat_input> all = fake.injected();
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(all[1].vk, VK_RSHIFT);
  EXPECT_EQ(all[1].flags, KEYEVENTF_EXTENDEDKEY);
}

TEST_F(ModifierTest, AltIsReleasedBehindATapAndRightAltIsNeverRestored) {
  ready();
  key(VK_RMENU, true);  // the user holds right Alt when an expansion starts
  fake.clear_records();
  mon_do_before_replace_preppy();
  std::vector<plat_input> s = fake.injected();
  ASSERT_EQ(s.size(), 3u);
  EXPECT_EQ(s[0].vk, VK_RMENU);
  EXPECT_EQ(s[1].vk, VK_MENU);
  EXPECT_EQ(s[1].flags, KEYEVENTF_EXTENDEDKEY);
  EXPECT_EQ(s[2].flags, KEYEVENTF_EXTENDEDKEY | KEYEVENTF_KEYUP);
  replacements();  // our key-ups arrive: right Alt is up for the system now
  mon_restore_all_keyupd_modifiers();
  EXPECT_EQ(fake.injected().size(), 3u);
  mon_hook_set_temp_disable(0);
}

TEST_F(ModifierTest, CapsLockComesBackUnlessTheUserPressedIt) {
  ready();
  for (int user_presses : {0, 2}) {
    tap(VK_CAPITAL);  // on
    ASSERT_EQ(fake.get_key_state(VK_CAPITAL) & 1, 1);
    fake.clear_records();
    mon_hook_set_temp_disable(1);
    mon_caps_lock_preppy();
    EXPECT_EQ(fake.injected().size(), 2u);
    replacements();  // our two events come back through the hook and switch it off
    ASSERT_EQ(fake.get_key_state(VK_CAPITAL) & 1, 0);
    for (int i = 0; i < user_presses; ++i) tap(VK_CAPITAL);
    mon_handle_hook_thread_message(plat_msg{WM_MON_RESTORE_CAPS_LOCK, 0, 0});
    EXPECT_EQ(fake.injected().size(), user_presses ? 2u : 4u) << user_presses;
    replacements();
    mon_hook_set_temp_disable(0);
    if (fake.get_key_state(VK_CAPITAL) & 1) tap(VK_CAPITAL);
  }
}

// Where the hook hears of a key only after the system has handled it (X11), the user's release
// of the trigger key can reach the hook after the replacement has ended, or cross the press
// that restores the key. Either way the key must end up released, and pressed again only for
// a user who really still holds it.
TEST_F(ModifierTest, LateHooksLeaveTheKeyAsTheUserHasIt) {
  enum user_t { LETS_GO_DURING_TYPING, HOLDS_ON, LETS_GO_AS_WE_PRESS };
  fake.set_capabilities(0);
  add(top, "omw", "on my way", ABBR_TRIGGER_TRIGGER_KEY);
  ready();
  fake.set_late_hooks(true);
  for (user_t user : {LETS_GO_DURING_TYPING, HOLDS_ON, LETS_GO_AS_WE_PRESS}) {
    for (char c : std::string("omw")) fake.tap_key(fake.vk_key_scan(static_cast<unsigned char>(c), 0) & 0xFF);
    fake.push_key(VK_LCONTROL, true);
    fake.clear_records();
    plat_msg m;
    do {
      ASSERT_EQ(fake.get_message(&m, 0, 0), 1);
    } while (m.message != WM_KEYSIM_REPLACE);
    typed_abbrev_info_free(reinterpret_cast<typed_abbrev_info**>(m.wparam));
    std::vector<plat_input> up = fake.injected();
    ASSERT_EQ(up.size(), 1u) << user;
    EXPECT_EQ(up[0].vk, VK_LCONTROL);
    EXPECT_EQ(up[0].flags, static_cast<uint32_t>(KEYEVENTF_KEYUP));

    if (user == LETS_GO_DURING_TYPING) fake.push_key(VK_LCONTROL, false);
    if (user == LETS_GO_AS_WE_PRESS) fake.before_next_injection([this] { fake.push_key(VK_LCONTROL, false); });
    for (uint32_t c : {WM_MON_CLEAR_KEY_BUFFER, WM_MON_RESTORE_MODIFIERS, WM_MON_END_TEMP_DISABLE})
      fake.post_thread_message(fake.current_thread_id(), c, 0, 0);
    for (int i = 0; i < 3; ++i) {
      ASSERT_EQ(fake.get_message(&m, 0, 0), 1);
      mon_handle_hook_thread_message(m);
    }
    std::vector<plat_input> all = fake.injected();
    ASSERT_EQ(all.size(), user == LETS_GO_DURING_TYPING ? 1u : user == HOLDS_ON ? 2u : 3u) << user;
    if (user != LETS_GO_DURING_TYPING) {
      EXPECT_EQ(all[1].flags, 0u);
    }
    EXPECT_EQ((fake.get_async_key_state(VK_LCONTROL) & 0x8000) != 0, user == HOLDS_ON) << user;
    if (user == HOLDS_ON) fake.push_key(VK_LCONTROL, false);
    fake.flush_hook_events();
  }
}

// ---- Interactive input ----

class IIModeTest : public MonTest {
 protected:
  static std::vector<std::string> reported;
  static void typed_char(const char* c) { reported.push_back(c); }
  static void typed_backspace() { reported.push_back("<BS>"); }
  void SetUp() override {
    MonTest::SetUp();
    reported.clear();
    mon_callbacks cb;
    cb.keysim_user_typed_char_in_ii = typed_char;
    cb.keysim_user_typed_backspace_in_ii = typed_backspace;
    mon_set_callbacks(cb);
    add(top, "btw", "by the way");
    ready();
    mon_enable_ii_mode();
  }
  void TearDown() override {
    mon_set_callbacks(mon_callbacks{});
    MonTest::TearDown();
  }
};
std::vector<std::string> IIModeTest::reported;

TEST_F(IIModeTest, CountsAndReportsWhatTheUserTypesAndTabContinues) {
  type("btw");  // no abbreviation is matched while a field is open
  tap(VK_BACK);
  EXPECT_EQ(reported, (strings{"b", "t", "w", "<BS>"}));
  EXPECT_EQ(expanded(), strings{});
  int before = mon_get_n_chars_typed_in_ii_mode();
  EXPECT_GE(before, 3);
  EXPECT_EQ(tap(VK_TAB), PLAT_SWALLOW);
  EXPECT_EQ(mon_get_n_chars_typed_in_ii_mode(), before);  // the Tab itself is not counted
  EXPECT_EQ(mon_get_user_pressed_ii_continue_key(), 1);
  EXPECT_EQ(mon_get_ii_ended_abruptly(), 0);
}

TEST_F(IIModeTest, EscapeAndWindowChangeEndTheFieldAbruptly) {
  EXPECT_EQ(tap(VK_ESCAPE), PLAT_PASS);
  EXPECT_EQ(mon_get_ii_ended_abruptly(), 1);

  mon_enable_ii_mode();
  setting_set_int("cont_window_changed", 1);
  type("a");
  fake.add_window(300, "Third", "third");
  fake.set_foreground(300);
  type("b");
  EXPECT_EQ(mon_get_ii_ended_abruptly(), 0);
  setting_set_int("cont_window_changed", 0);
  fake.set_foreground(100);
  type("c");
  EXPECT_EQ(mon_get_ii_ended_abruptly(), 1);
}

// ---- Tooltip scheduling ----

class TooltipTest : public MonTest {
 protected:
  struct timer {
    unsigned id, ms;
    void (*fire)(unsigned);
  };
  static std::vector<timer> timers;
  static std::vector<std::string> shown;
  static int hidden;
  void SetUp() override {
    MonTest::SetUp();
    timers.clear();
    shown.clear();
    hidden = 0;
    mon_tooltip_funcs f;
    f.start_timer = [](unsigned id, unsigned ms, void (*fire)(unsigned)) { timers.push_back({id, ms, fire}); };
    f.show = [](abbr_abbrev* a, const std::string& typed, int, int) {
      shown.push_back(a->description + ":" + typed);
      abbr_abbrev_free(a);
    };
    f.hide = [] { ++hidden; };
    mon_set_tooltip_funcs(f);
    setting_set_int("show_tooltips", 1);
    setting_set_int("show_tooltips_wec", 1);
    add(top, "btw", "by the way", ABBR_TRIGGER_WORD_END);
    add(top, "cya", "see you", ABBR_TRIGGER_WORD_END);
    ready();
  }
};
std::vector<TooltipTest::timer> TooltipTest::timers;
std::vector<std::string> TooltipTest::shown;
int TooltipTest::hidden;

TEST_F(TooltipTest, OnlyTheNewestScheduleActs) {
  type("btw");
  ASSERT_EQ(timers.size(), 2u);
  EXPECT_EQ(timers[0].ms, 20u);
  EXPECT_EQ(timers[1].ms, 3020u);
  type(" ");
  EXPECT_EQ(expanded(), strings{"by the way"});
  type("cya");
  ASSERT_EQ(timers.size(), 4u);
  timers[0].fire(timers[0].id);  // stale show
  EXPECT_TRUE(shown.empty());
  timers[2].fire(timers[2].id);
  EXPECT_EQ(shown, strings{"see you:cya"});
  timers[1].fire(timers[1].id);  // stale destroy
  EXPECT_EQ(hidden, 0);
  timers[3].fire(timers[3].id);
  EXPECT_EQ(hidden, 1);
}

TEST_F(TooltipTest, NoCaretNoTooltipWhenAsked) {
  setting_set_int("dont_tooltip_invalid_cursor", 1);
  type("btw");
  ASSERT_EQ(timers.size(), 2u);
  timers[0].fire(timers[0].id);
  EXPECT_TRUE(shown.empty());
  fake.set_caret(true, {10, 20, 12, 36});
  type(" ");
  expanded();
  type("cya");
  timers[2].fire(timers[2].id);
  EXPECT_EQ(shown.size(), 1u);
}

TEST_F(TooltipTest, ImmediateAbbreviationsGetNoPreview) {
  add(top, "imm", "immediate");
  ready();
  type("imm");
  EXPECT_TRUE(timers.empty());
  EXPECT_EQ(expanded(), strings{"immediate"});
}
