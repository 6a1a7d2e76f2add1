#include <random>

#include "mon_fixture.h"

using MatcherTest = MonTest;

TEST_F(MatcherTest, WithinWordsFlagDecidesWhatMayPrecedeTheText) {
  add(top, "btw", "by the way");
  add(top, "tw", "tw word");
  add(top, "xq", "inside", ABBR_TRIGGER_IMMEDIATELY, 1);
  add(top, "zz", "alone", ABBR_TRIGGER_IMMEDIATELY, 2);
  ready();

  type("btw");  // the "t" before "tw" is a letter: only btw
  EXPECT_EQ(expanded(), strings{"by the way"});
  type("mm tw");
  EXPECT_EQ(expanded(), strings{"tw word"});
  type("abxq");  // flag 1 matches inside a word
  EXPECT_EQ(expanded(), strings{"inside"});
  type(" zz");  // flag 2: only what was typed since the last clear
  EXPECT_EQ(expanded(), strings{});
  tap(VK_ESCAPE);
  type("zz");
  EXPECT_EQ(expanded(), strings{"alone"});
}

TEST_F(MatcherTest, StartOfLineAfterAClearMatches) {
  add(top, "btw", "by the way");
  ready();
  type("xx");
  tap(VK_HOME);  // clears: the "x" before is forgotten
  type("btw");
  EXPECT_EQ(expanded(), strings{"by the way"});
}

TEST_F(MatcherTest, ApostropheBeforeTheTextFollowsThePreference) {
  add(top, "btw", "by the way");
  ready();
  g_no_apostrophe_delim = 1;
  type("'btw");
  EXPECT_EQ(expanded(), strings{});
  g_no_apostrophe_delim = 0;
  type(" 'btw");
  EXPECT_EQ(expanded(), strings{"by the way"});
}

TEST_F(MatcherTest, CaseModesAndLongestTextFirst) {
  add(top, "sig", "sensitive", ABBR_TRIGGER_IMMEDIATELY, 1, ABBR_CASE_SENSITIVE);
  add(top, "ASAP", "insensitive");
  add(top, "sap", "middle", ABBR_TRIGGER_IMMEDIATELY, 1);
  ready();
  type("SIG");
  EXPECT_EQ(expanded(), strings{});
  type(" sig");
  EXPECT_EQ(expanded(), strings{"sensitive"});
  type(" asap");  // ASAP and sap both end the buffer; the longer wins
  EXPECT_EQ(expanded(), strings{"insensitive"});
}

TEST_F(MatcherTest, VariationsOfOneTextExpandInTurn) {
  add(top, "btw", "first");
  add(top, "btw", "second");
  add(top, "btw", "third");
  ready();
  strings got;
  for (int i = 0; i < 6; ++i) {
    type(" btw");
    for (const std::string& d : expanded()) got.push_back(d);
  }
  ASSERT_EQ(got.size(), 6u);
  const strings order{"first", "second", "third"};
  size_t start = std::find(order.begin(), order.end(), got[0]) - order.begin();
  for (size_t i = 0; i < got.size(); ++i) EXPECT_EQ(got[i], order[(start + i) % 3]) << i;
}

TEST_F(MatcherTest, DisabledFolderHidesOnlyItsOwnAbbreviations) {
  abbr_folder* off = subfolder(top, "off");
  abbr_folder* on = subfolder(off, "on");
  off->disabled = 1;
  on->disabled = 0;
  add(off, "btw", "hidden");
  add(on, "cya", "see you");
  ready();
  type("btw cya");
  EXPECT_EQ(expanded(), strings{"see you"});
}

TEST_F(MatcherTest, FirstTopLevelTreeWithACandidateWins) {
  abbr_folder* second = abbr_create_absolute_parent_folder();
  abbr_add_subfolder_to_folder(ABBR_MAIN_LIST, nullptr, second);
  add(second, "longbtw", "second tree", ABBR_TRIGGER_IMMEDIATELY, 1);
  add(top, "btw", "first tree", ABBR_TRIGGER_IMMEDIATELY, 1);
  ready();
  type("longbtw");
  EXPECT_EQ(expanded(), strings{"first tree"});
}

TEST_F(MatcherTest, BackspaceRemovesWholeCharactersFromTheBuffer) {
  add(top, "f\xC3\x80", "f grave", ABBR_TRIGGER_IMMEDIATELY, 0, ABBR_CASE_INSENSITIVE);
  add(top, "ok", "ok");
  ready();
  fake.set_layout("us(intl)");
  type("f");
  tap(VK_OEM_3);  // dead grave, then "a": the buffer gets the composed à
  type("a");
  EXPECT_EQ(expanded(), strings{"f grave"});
  type(" o");
  tap(VK_OEM_3);
  type("e");
  tap(VK_BACK);  // removes both bytes of è
  type("k");
  EXPECT_EQ(expanded(), strings{"ok"});
}

// ---- When the expansion starts ----

using TriggerTest = MonTest;

TEST_F(TriggerTest, ImmediateMatchPassesTheLastKey) {
  add(top, "btw", "by the way");
  ready();
  EXPECT_EQ(type("btw"), PLAT_PASS);
  std::vector<seen_request> r = replacements();
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].typed, "btw");
  EXPECT_EQ(r[0].target_window, 100u);
}

TEST_F(TriggerTest, DelimiterAfterShiftExpandsAndTravelsInTheRecord) {
  add(top, "btw", "by the way", ABBR_TRIGGER_WORD_END);
  ready();
  type("btw");
  EXPECT_EQ(expanded(), strings{});
  EXPECT_EQ(key(VK_LSHIFT, true), PLAT_PASS);  // Shift keeps the match waiting
  EXPECT_EQ(tap('1'), PLAT_SWALLOW);
  key(VK_LSHIFT, false);
  std::vector<seen_request> r = replacements();
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].typed, "btw");  // without the "!" that now ends the buffer
  EXPECT_EQ(r[0].trigger_char, static_cast<uint32_t>('!'));
  EXPECT_EQ(r[0].trigger_vk, static_cast<uint32_t>('1'));
  EXPECT_EQ(r[0].shift_down, 1u);
  EXPECT_EQ(r[0].extra_erase, 0u);
}

TEST_F(TriggerTest, OtherKeyCancelsTheWait) {
  add(top, "btw", "by the way", ABBR_TRIGGER_WORD_END);
  ready();
  type("btwx ");
  EXPECT_EQ(expanded(), strings{});
  type("btw");
  tap(VK_RETURN);  // CR counts as a line feed delimiter
  std::vector<seen_request> r = replacements();
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].trigger_char, static_cast<uint32_t>('\n'));
}

TEST_F(TriggerTest, TriggerKeyIsSwallowedWhereTheSystemAllows) {
  add(top, "btw", "by the way", ABBR_TRIGGER_TRIGGER_KEY);
  ready();
  type("btw ");  // a space is no trigger key
  EXPECT_EQ(expanded(), strings{});
  type("btw");
  EXPECT_EQ(key(VK_LCONTROL, true), PLAT_SWALLOW);
  key(VK_LCONTROL, false);
  std::vector<seen_request> r = replacements();
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].trigger_vk, VK_LCONTROL);
  EXPECT_EQ(r[0].typed, "btw");
  EXPECT_EQ(r[0].extra_erase, 0u);  // Ctrl typed nothing
}

TEST_F(TriggerTest, WithoutSwallowingTheTypedDelimiterIsErasedToo) {
  fake.set_capabilities(0);  // X11: every key reaches the application
  add(top, "btw", "by the way", ABBR_TRIGGER_WORD_END);
  add(top, "cya", "see you", ABBR_TRIGGER_TRIGGER_KEY);
  ready();
  type("btw");
  EXPECT_EQ(tap(VK_SPACE), PLAT_PASS);
  std::vector<seen_request> r = replacements();
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].trigger_char, static_cast<uint32_t>(' '));
  EXPECT_EQ(r[0].extra_erase, 1u);
  type(" cya");
  EXPECT_EQ(key(VK_RCONTROL, true), PLAT_PASS);
  key(VK_RCONTROL, false);
  r = replacements();
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].extra_erase, 0u);
}

TEST_F(TriggerTest, TabEndsAWordOnlyInTextExpanderMode) {
  add(top, "btw", "by the way", ABBR_TRIGGER_WORD_END);
  ready();
  type("btw");
  tap(VK_TAB);
  EXPECT_EQ(expanded(), strings{});
  tap(VK_ESCAPE);
  setting_set_int("textexpander_mode", 1);
  setting_set_int("default_trigger_mode", 5);
  type("btw");
  EXPECT_EQ(tap(VK_TAB), PLAT_SWALLOW);
  std::vector<seen_request> r = replacements();
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].trigger_char, static_cast<uint32_t>('\t'));
}

TEST_F(TriggerTest, MenuPickExpandsWithoutErasing) {
  ready();
  abbr_abbrev* a = abbr_create_new_abbrev(ABBR_TYPE_TEXT, nullptr);
  a->abbrevs = abbr_get_lst_of_abbrevs_from_string("sig|signature");
  a->description = "from menu";
  mon_handle_hook_thread_message(plat_msg{WM_MON_EXPAND_ABBREV, reinterpret_cast<uintptr_t>(a), 0});
  EXPECT_EQ(mon_hook_get_temp_disable(), 1);
  std::vector<seen_request> r = replacements();
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].typed, "sig");
  EXPECT_EQ(r[0].from_menu, 1u);
  EXPECT_EQ(r[0].trigger_vk, TAI_TRIGGER_FROM_MENU);
  EXPECT_EQ(mon_hook_get_temp_disable(), 0);
}

// ---- The tail index against the linear walk ----

TEST_F(MatcherTest, IndexFindsTheSameCandidatesInTheSameOrderAsTheWalk) {
  std::mt19937 rng(7);
  const std::vector<std::string> alphabet{"a", "b", "c", "'", " ", "A", "B", "\xC3\xA9", "\xC3\x89", "\xE2\x82\xAC", "."};
  auto word = [&](int max) {
    std::string w;
    int n = 1 + static_cast<int>(rng() % static_cast<unsigned>(max));
    for (int i = 0; i < n; ++i) w += alphabet[rng() % alphabet.size()];
    return w;
  };
  std::vector<abbr_folder*> folders{top};
  abbr_folder* second = abbr_create_absolute_parent_folder();
  abbr_add_subfolder_to_folder(ABBR_MAIN_LIST, nullptr, second);
  folders.push_back(second);
  for (int i = 0; i < 12; ++i) {
    abbr_folder* f = subfolder(folders[rng() % folders.size()], "f");
    f->disabled = rng() % 4 == 0;
    folders.push_back(f);
  }
  for (int i = 0; i < 600; ++i) {
    std::string texts = word(4);
    if (rng() % 5 == 0) texts += "|" + word(3);
    abbr_abbrev* a = add(folders[rng() % folders.size()], texts, "x", ABBR_TRIGGER_IMMEDIATELY,
                         static_cast<uint8_t>(rng() % 3), rng() % 3);
    if (rng() % 20 == 0) a->type = ABBR_TYPE_FOURTH;
  }
  ready();
  ASSERT_TRUE(mon_matcher_index_ready());
  int compared = 0, nonempty = 0;
  for (int k = 0; k < 4000; ++k) {
    std::string c = alphabet[rng() % alphabet.size()];
    for (char b : c) mon_add_char_to_key_buffer(b);
    if (rng() % 50 == 0) mon_clear_key_buffer();
    g_no_apostrophe_delim = static_cast<int>(rng() % 3);
    plist* lin = mon_matcher_linear_candidates();
    plist* idx = mon_matcher_index_candidates();
    ASSERT_EQ(plist_get_n_elements(lin), plist_get_n_elements(idx)) << "key " << k;
    for (plist *x = lin, *y = idx; x; x = x->next, y = y->next) {
      auto* mx = static_cast<abbrev_match*>(x->data);
      auto* my = static_cast<abbrev_match*>(y->data);
      ASSERT_EQ(mx->abbrev, my->abbrev);
      ASSERT_EQ(mx->text, my->text);
      ASSERT_EQ(mx->position, my->position);
    }
    nonempty += lin != nullptr;
    ++compared;
    plist_free(lin);
    plist_free(idx);
  }
  EXPECT_EQ(compared, 4000);
  EXPECT_GT(nonempty, 400);  // the comparison saw real matches, not only empty lists
}
