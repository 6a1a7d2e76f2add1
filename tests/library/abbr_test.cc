#include "library/abbr.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model_reset.h"

namespace {

std::vector<std::string> strings(plist* l) {
  std::vector<std::string> out;
  for (std::string* s : plist_range<std::string>(l)) out.push_back(*s);
  return out;
}

// Every test starts from empty folder lists and fresh uid counters.
class LibraryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    reset_library_model();
    top_ = abbr_create_absolute_parent_folder();
    abbr_add_subfolder_to_folder(ABBR_MAIN_LIST, nullptr, top_);
  }
  void TearDown() override { abbr_free_all_folder_lists(); }

  abbr_folder* folder(abbr_folder* parent, const char* name) {
    abbr_folder* f = abbr_new_subfolder_of(parent, name);
    abbr_add_subfolder_to_folder(ABBR_MAIN_LIST, parent, f);
    return f;
  }
  abbr_abbrev* text(abbr_folder* parent, const char* abbrevs, const char* replacement, const char* desc = "") {
    abbr_abbrev* a = abbr_create_new_abbrev(ABBR_TYPE_TEXT, parent);
    a->abbrevs = abbr_get_lst_of_abbrevs_from_string(abbrevs);
    a->replacement = replacement;
    a->description = desc;
    abbr_add_abbrev_to_folder(parent, a, -1);
    return a;
  }

  abbr_folder* top_ = nullptr;
};

TEST(AbbrevListString, BarsAreDoubledAndSplitBack) {
  plist* l = abbr_get_lst_of_abbrevs_from_string("ab|a||b");
  EXPECT_EQ(strings(l), (std::vector<std::string>{"ab", "a|b"}));
  EXPECT_EQ(abbr_abbrev_lst_to_string(l), "ab|a||b");
  plist_free(l);

  l = abbr_get_lst_of_abbrevs_from_string("a||");
  EXPECT_EQ(strings(l), (std::vector<std::string>{"a|"}));
  EXPECT_EQ(abbr_abbrev_lst_to_string(l), "a||");
  plist_free(l);

  EXPECT_EQ(abbr_get_lst_of_abbrevs_from_string(""), nullptr);
  EXPECT_EQ(abbr_abbrev_lst_to_string(nullptr), "");
}

struct case_row {
  const char* typed;
  const char* expected;
  int capitalise;
};

TEST(CaseAdaptation, FollowsTheTypedCase) {
  abbr_abbrev a;
  a.case_mode = ABBR_CASE_ADAPT;
  const case_row rows[] = {
      {"ab", "hello wörld", 0},   {"Ab", "hello wörld", 1},  {"A", "hello wörld", 1},
      {"AB", "HELLO WÖRLD", 0},   {"A-B", "HELLO WÖRLD", 0}, {"1AB", "hello wörld", 0},
      {"A1B", "HELLO WÖRLD", 0},  {"ÉT", "HELLO WÖRLD", 0},  {"Ét", "hello wörld", 1},
      {"ét", "hello wörld", 0},   {"-", "hello wörld", 0},   {"-A", "hello wörld", 1},
      {"aB", "hello wörld", 0},
  };
  for (const case_row& r : rows) {
    int cap = 0;
    auto out = abbr_convert_exp_to_correct_case("hello wörld", &a, r.typed, &cap);
    ASSERT_TRUE(out.has_value()) << r.typed;
    EXPECT_EQ(*out, r.expected) << "typed " << r.typed;
    EXPECT_EQ(cap, r.capitalise) << "typed " << r.typed;
  }
}

TEST(CaseAdaptation, OnlyTextRecordsInAdaptMode) {
  abbr_abbrev a;
  a.case_mode = ABBR_CASE_INSENSITIVE;
  int cap = 0;
  EXPECT_EQ(abbr_convert_exp_to_correct_case("text", &a, "AB", &cap), std::optional<std::string>("text"));
  EXPECT_EQ(cap, 0);
  a.case_mode = ABBR_CASE_ADAPT;
  a.type = ABBR_TYPE_PROGRAM;
  EXPECT_FALSE(abbr_convert_exp_to_correct_case("text", &a, "AB", &cap).has_value());
  a.type = ABBR_TYPE_TEXT;
  EXPECT_FALSE(abbr_convert_exp_to_correct_case("text", &a, nullptr, &cap).has_value());
  // A byte that does not start a valid character is skipped, not counted as a letter.
  EXPECT_EQ(*abbr_convert_exp_to_correct_case("text", &a, "\xff" "A", &cap), "text");
  EXPECT_EQ(cap, 1);
}

TEST(AbbrTime, StringForms) {
  abbrtime t{3, 5, 2021, 14, 7, 9};
  EXPECT_EQ(abbr_time_to_hex_string(t), "030507e50e0709");
  EXPECT_EQ(abbr_time_to_compare_string(t), "20210305140709");
  EXPECT_EQ(abbr_time_to_display_string(&t), "3/5/2021 2:07:09PM");
  abbrtime midnight{12, 31, 1999, 0, 0, 5};
  EXPECT_EQ(abbr_time_to_display_string(&midnight), "12/31/1999 12:00:05AM");
  abbrtime noon{1, 1, 2000, 12, 30, 0};
  EXPECT_EQ(abbr_time_to_display_string(&noon), "1/1/2000 12:30:00PM");

  abbrtime back = abbr_time_str_to_abbrtime("030507e50e0709");
  EXPECT_EQ(abbr_time_to_compare_string(back), "20210305140709");
  abbrtime top{255, 255, 65535, 255, 255, 255};
  EXPECT_EQ(abbr_time_to_hex_string(top), "ffffffffffffff");
  EXPECT_EQ(abbr_time_to_hex_string(abbr_time_str_to_abbrtime("FFFFFFFFFFFFFF")), "ffffffffffffff");
  // A damaged field is read as far as its hexadecimal digits go.
  EXPECT_EQ(abbr_time_to_hex_string(abbr_time_str_to_abbrtime("03g507e50e0709")), "030007e50e0709");
  abbrtime summer{7, 14, 2023, 9, 30, 0};
  EXPECT_EQ(abbr_time_to_compare_string(abbrtime_utc_to_local(abbrtime_local_to_utc(summer))), "20230714093000");
}

TEST_F(LibraryTest, NewRecordsTakeDefaultsAndLaunchersNeverAdaptCase) {
  abbr_abbrev* t = abbr_create_new_abbrev(ABBR_TYPE_TEXT, top_);
  EXPECT_EQ(t->description, "New Quiverextion");
  EXPECT_EQ(t->case_mode, ABBR_CASE_ADAPT);
  EXPECT_EQ(t->trigger_mode, ABBR_TRIGGER_IMMEDIATELY);
  abbr_abbrev* p = abbr_create_new_abbrev(ABBR_TYPE_PROGRAM, top_);
  EXPECT_EQ(p->description, "New Launcher");
  EXPECT_EQ(p->case_mode, ABBR_CASE_INSENSITIVE);
  abbr_abbrev* w = abbr_create_new_abbrev(ABBR_TYPE_WEBSITE, top_);
  EXPECT_EQ(w->description, "New Website Launcher");
  EXPECT_NE(t->uid, p->uid);
  EXPECT_NE(p->uid, w->uid);

  // Even when the configured default says "adapt", a launcher gets case insensitive.
  abbr_set_default_mode_funcs([](int) -> uint32_t { return ABBR_CASE_ADAPT; },
                              []() -> uint32_t { return ABBR_TRIGGER_WORD_END; });
  abbr_abbrev* p2 = abbr_create_new_abbrev(ABBR_TYPE_WEBSITE, top_);
  EXPECT_EQ(p2->case_mode, ABBR_CASE_INSENSITIVE);
  EXPECT_EQ(p2->trigger_mode, ABBR_TRIGGER_WORD_END);
  for (abbr_abbrev* a : {t, p, w, p2}) abbr_abbrev_free(a);
}

TEST_F(LibraryTest, SubfolderInheritsDisabledFlag) {
  abbr_folder* work = folder(top_, "Work");
  abbr_set_folder_enabled(work, false, false);
  abbr_folder* sub = folder(work, "");
  EXPECT_EQ(sub->name, "New Folder");
  EXPECT_EQ(sub->disabled, 1);
  abbr_set_folder_enabled(work, true, true);
  EXPECT_EQ(sub->disabled, 0);
}

TEST_F(LibraryTest, FolderPaths) {
  abbr_folder* work = folder(top_, "Work");
  abbr_folder* email = folder(work, "Email");
  abbr_folder* old = folder(email, "Old");
  EXPECT_EQ(abbr_get_full_folder_path_string(email, nullptr, false), "Work\\Email");
  EXPECT_EQ(abbr_get_full_folder_path_string(old, nullptr, true), "Work \\ Email \\ Old");
  EXPECT_EQ(abbr_get_full_folder_path_string(old, work, false), "Email\\Old");
  EXPECT_EQ(abbr_get_full_folder_path_string(top_, nullptr, false), "Everything");
  EXPECT_EQ(abbr_get_folder_in_list_from_path(abbr_folder_list(ABBR_MAIN_LIST), "work\\EMAIL\\Old"), old);
  EXPECT_EQ(abbr_get_folder_in_list_from_path(abbr_folder_list(ABBR_MAIN_LIST), "Work \\ Email"), email);
  EXPECT_EQ(abbr_get_folder_in_list_from_path(abbr_folder_list(ABBR_MAIN_LIST), "Work\\Nope"), nullptr);
  abbr_abbrev* a = text(old, "x", "y");
  EXPECT_EQ(abbr_get_containing_folder_string(a, true, false), "Work\\Email\\Old");
  EXPECT_TRUE(abbr_folder_is_child_of(old, work));
  EXPECT_FALSE(abbr_folder_is_child_of(work, old));
}

TEST_F(LibraryTest, SortPutsMissingKeysLastInBothDirections) {
  abbr_abbrev* b = text(top_, "b", "", "beta");
  abbr_abbrev* none1 = text(top_, "n1", "", "");
  abbr_abbrev* a = text(top_, "a", "", "Alpha");
  abbr_abbrev* none2 = text(top_, "n2", "", "");
  abbr_abbrev* a2 = text(top_, "a2", "", "alpha");

  // "Alpha" and "alpha" tie and keep their order: the sort is stable.
  const std::vector<abbr_abbrev*> ascending{a, a2, b, none1, none2};
  const std::vector<abbr_abbrev*> descending{b, a, a2, none1, none2};
  for (int reverse : {0, 1}) {
    plist* l = abbr_sort_abbrev_lst(plist_duplicate(top_->abbrevs), ABBR_COL_DESCRIPTION, reverse);
    std::vector<abbr_abbrev*> got;
    for (abbr_abbrev* x : plist_range<abbr_abbrev>(l)) got.push_back(x);
    EXPECT_EQ(got, reverse ? descending : ascending);
    plist_free_all_but_data(l);
  }
}

TEST_F(LibraryTest, CopiedFolderReversesAbbrevsAndKeepsUids) {
  abbr_folder* work = folder(top_, "Work");
  abbr_abbrev* first = text(work, "one", "1");
  abbr_abbrev* second = text(work, "two", "2");
  abbr_folder* copy = abbr_duplicate_folder(work, nullptr);
  EXPECT_EQ(copy->uid, work->uid);
  ASSERT_EQ(plist_get_n_elements(copy->abbrevs), 2);
  abbr_abbrev* c0 = static_cast<abbr_abbrev*>(plist_get_nth_data(copy->abbrevs, 0));
  abbr_abbrev* c1 = static_cast<abbr_abbrev*>(plist_get_nth_data(copy->abbrevs, 1));
  EXPECT_EQ(c0->uid, second->uid);
  EXPECT_EQ(c1->uid, first->uid);
  EXPECT_EQ(c0->parent, copy);
  EXPECT_NE(c0, second);
  abbr_folder_free(copy);

  abbr_abbrev* fresh = abbr_duplicate_abbrev(first, work, false);
  EXPECT_NE(fresh->uid, first->uid);
  EXPECT_EQ(strings(fresh->abbrevs), strings(first->abbrevs));
  abbr_abbrev_free(fresh);
}

TEST_F(LibraryTest, SandboxRoundTripKeepsUidsAndHandsOver) {
  abbr_folder* work = folder(top_, "Work");
  const uint32_t work_uid = work->uid;
  const uint32_t a_uid = text(work, "btw", "by the way")->uid;
  abbr_create_sandbox();
  abbr_folder* sandbox_work = abbr_folder_from_uid(abbr_folder_list(ABBR_SANDBOX_LIST), work_uid, nullptr);
  ASSERT_NE(sandbox_work, nullptr);
  EXPECT_NE(sandbox_work, work);
  abbr_abbrev* sa = abbr_abbrev_from_uid(abbr_folder_list(ABBR_SANDBOX_LIST), a_uid);
  ASSERT_NE(sa, nullptr);
  sa->replacement = "edited";

  static int handovers;
  handovers = 0;
  abbr_set_main_list_handover([]() { return ++handovers; });
  EXPECT_EQ(abbr_flush_sandbox_to_main(), 1);
  EXPECT_EQ(handovers, 1);
  abbr_abbrev* main_a = abbr_abbrev_from_uid(abbr_folder_list(ABBR_MAIN_LIST), a_uid);
  ASSERT_NE(main_a, nullptr);
  EXPECT_EQ(main_a->replacement, "edited");
  int index = -2;
  EXPECT_NE(abbr_folder_from_uid(abbr_folder_list(ABBR_MAIN_LIST), work_uid, &index), nullptr);
  EXPECT_EQ(index, 1);  // after the top folder
  abbr_folder_from_uid(abbr_folder_list(ABBR_MAIN_LIST), 999, &index);
  EXPECT_EQ(index, -1);
}

TEST_F(LibraryTest, DenestifyNamesDeepFoldersByPath) {
  abbr_folder* work = folder(top_, "Work");
  abbr_folder* email = folder(work, "Email");
  abbr_folder* old = folder(email, "Old");
  folder(work, "Notes");
  text(old, "o", "old text");
  abbr_denestify_folders_in_list(ABBR_MAIN_LIST);

  std::vector<std::string> names;
  for (abbr_folder* f : plist_range<abbr_folder>(top_->subfolders)) {
    names.push_back(f->name);
    EXPECT_EQ(f->subfolders, nullptr) << f->name;
    EXPECT_EQ(f->parent, top_);
  }
  EXPECT_EQ(names, (std::vector<std::string>{"Work", "Work \\ Email", "Work \\ Notes", "Work \\ Email \\ Old"}));
  abbr_folder* moved = static_cast<abbr_folder*>(plist_get_nth_data(top_->subfolders, -1));
  EXPECT_EQ(moved, old);
  EXPECT_EQ(plist_get_n_elements(old->abbrevs), 1);
}

TEST_F(LibraryTest, ReadOnlyFoldersAreConsolidatedNotSplit) {
  abbr_folder* team = folder(top_, "Team");
  team->read_only = 1;
  abbr_folder* sub = folder(team, "Sub");
  abbr_folder* deeper = folder(sub, "Deeper");
  abbr_abbrev* a = text(sub, "s", "sub");
  abbr_abbrev* b = text(deeper, "d", "deep");
  text(team, "t", "team");
  abbr_denestify_folders_in_list(ABBR_MAIN_LIST);
  ASSERT_EQ(plist_get_n_elements(top_->subfolders), 1);
  EXPECT_EQ(team->subfolders, nullptr);
  EXPECT_EQ(plist_get_n_elements(team->abbrevs), 3);
  EXPECT_EQ(a->parent, team);
  EXPECT_EQ(b->parent, team);
  EXPECT_EQ(plist_get_index_of(team->abbrevs, a), 1);  // depth first: Sub before Deeper
  EXPECT_EQ(plist_get_index_of(team->abbrevs, b), 2);
}

// The hook thread keeps pointers into the main list until it has acknowledged a new one: the
// old list must still be alive during the hand-over, and the new one already in place.
const abbr_folder* g_old_top;
std::string g_seen_during_handover;

TEST_F(LibraryTest, OldMainListOutlivesTheHandOver) {
  folder(top_, "Work");
  abbr_create_sandbox();
  abbr_get_absolute_parent_folder(ABBR_SANDBOX_LIST)->name = "Renamed";
  g_old_top = top_;
  g_seen_during_handover.clear();
  abbr_set_main_list_handover([]() {
    g_seen_during_handover = g_old_top->name + "->" + abbr_get_absolute_parent_folder(ABBR_MAIN_LIST)->name;
    return 1;
  });
  EXPECT_EQ(abbr_flush_sandbox_to_main(), 1);
  EXPECT_EQ(g_seen_during_handover, "Everything->Renamed");
}

}  // namespace
