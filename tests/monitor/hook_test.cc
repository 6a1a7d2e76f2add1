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
  sp.fg = 200;
  key(VK_LMENU, false);
  key(VK_LMENU, true);
  tap(VK_TAB);
  sp.fg = 100;
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
  sp.classes[100] = "IEFrame";
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

  sp.classes[100] = "Editor";
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
  script_platform sp;
  plat_set(&sp);
  mon_adjust_key_buffer_size();
  EXPECT_EQ(key_buffer, nullptr);
  plat_key_event ev{WM_KEYDOWN, 'B', 0x30, 0, 0};
  EXPECT_EQ(mon_keyboard_LL_hook_func(ev, nullptr), PLAT_PASS);
  EXPECT_TRUE(sp.take_recorded().empty());
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
  sp.take_sent();
  tap('1');
  std::vector<script_platform::sent_key> up = sp.take_sent();
  ASSERT_EQ(up.size(), 1u);
  EXPECT_EQ(up[0].vk, VK_RSHIFT);
  EXPECT_EQ(up[0].flags, KEYEVENTF_KEYUP | KEYEVENTF_EXTENDEDKEY);  // right Shift is extended

  // The system now reports right Shift up (we released it): it is pressed again.
  sp.set_down(VK_RSHIFT, false);
  replacements();
  std::vector<script_platform::sent_key> again = sp.take_sent();
  ASSERT_EQ(again.size(), 1u);
  EXPECT_EQ(again[0].vk, VK_RSHIFT);
  EXPECT_EQ(again[0].flags, KEYEVENTF_EXTENDEDKEY);
}

TEST_F(ModifierTest, AltIsReleasedBehindATapAndRightAltIsNeverRestored) {
  ready();
  // The user holds right Alt when an abbreviation completes.
  sp.set_down(VK_RMENU, true);
  mon_do_before_replace_preppy();
  std::vector<script_platform::sent_key> s = sp.take_sent();
  ASSERT_EQ(s.size(), 3u);
  EXPECT_EQ(s[0].vk, VK_RMENU);
  EXPECT_EQ(s[1].vk, VK_MENU);
  EXPECT_EQ(s[1].flags, KEYEVENTF_EXTENDEDKEY);
  EXPECT_EQ(s[2].flags, KEYEVENTF_EXTENDEDKEY | KEYEVENTF_KEYUP);
  sp.set_down(VK_RMENU, false);
  mon_restore_all_keyupd_modifiers();
  EXPECT_TRUE(sp.take_sent().empty());
  mon_hook_set_temp_disable(0);
}

TEST_F(ModifierTest, CapsLockComesBackUnlessTheUserPressedIt) {
  ready();
  for (int user_presses : {0, 1}) {
    sp.caps_lock_on = true;
    mon_hook_set_temp_disable(1);
    mon_caps_lock_preppy();
    std::vector<script_platform::sent_key> off = sp.take_sent();
    ASSERT_EQ(off.size(), 2u);
    EXPECT_EQ(off[0].vk, VK_CAPITAL);
    sp.caps_lock_on = false;
    // Our own two events come back through the hook while temp-disabled.
    key(VK_CAPITAL, true);
    sp.caps_lock_on = false;
    key(VK_CAPITAL, false);
    for (int i = 0; i < user_presses; ++i) {
      key(VK_CAPITAL, true);
      sp.caps_lock_on = false;
    }
    mon_handle_hook_thread_message(plat_msg{WM_MON_RESTORE_CAPS_LOCK, 0, 0});
    EXPECT_EQ(sp.take_sent().size(), user_presses ? 0u : 2u) << user_presses;
  }
  mon_hook_set_temp_disable(0);
}

// ---- Dead keys ----

TEST_F(ModifierTest, DeadKeyIsHeldBackAndReplayedWhereKeysCanBeSwallowed) {
  add(top, "caf\xC3\xA8", "coffee");
  ready();
  type("caf");
  EXPECT_EQ(tap(VK_OEM_3), PLAT_SWALLOW);
  sp.take_sent();
  EXPECT_EQ(tap('E'), PLAT_SWALLOW);
  std::vector<script_platform::sent_key> s = sp.take_sent();
  // dead key down and up, then the letter down and up
  ASSERT_EQ(s.size(), 4u);
  EXPECT_EQ(s[0].vk, VK_OEM_3);
  EXPECT_EQ(s[1].vk, VK_OEM_3);
  EXPECT_TRUE(s[1].flags & KEYEVENTF_KEYUP);
  EXPECT_EQ(s[2].vk, static_cast<uint32_t>('E'));
  EXPECT_EQ(s[3].flags, KEYEVENTF_KEYUP);
  std::vector<seen_request> r = replacements();
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].typed, "caf\xC3\xA8");
}

TEST_F(ModifierTest, ComposingBackendPassesTheDeadKey) {
  sp.caps = PLAT_CAP_COMPOSES_DEAD_KEYS;
  add(top, "caf\xC3\xA8", "coffee");
  ready();
  type("caf");
  EXPECT_EQ(tap(VK_OEM_3), PLAT_PASS);
  EXPECT_EQ(tap('E'), PLAT_PASS);
  EXPECT_TRUE(sp.take_sent().empty());
  EXPECT_EQ(expanded(), strings{"coffee"});
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
  sp.fg = 300;
  type("b");
  EXPECT_EQ(mon_get_ii_ended_abruptly(), 0);
  setting_set_int("cont_window_changed", 0);
  sp.fg = 100;
  type("c");
  EXPECT_EQ(mon_get_ii_ended_abruptly(), 1);
}

TEST_F(IIModeTest, NavigationKeyIsRemembered) {
  EXPECT_EQ(mon_was_unselect_key_pressed_first_in_ii_mode(), 0);
  tap(VK_RIGHT);
  EXPECT_EQ(mon_was_unselect_key_pressed_first_in_ii_mode(), 1);
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
  sp.caret_ok = true;
  sp.caret = {10, 20, 12, 36};
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
