#include "library/abbr_edit.h"

#include <gtest/gtest.h>

#include "model_reset.h"

namespace {

class EditTest : public ::testing::Test {
 protected:
  void SetUp() override {
    reset_library_model();
  }
  void TearDown() override { abbr_free_all_folder_lists(); }
  plist* sandbox() { return abbr_folder_list(ABBR_SANDBOX_LIST); }
};

TEST_F(EditTest, BuildingALibraryFromNothingReachesTheMainListOnlyOnApply) {
  abbr_folder* work = abbr_edit_new_folder(nullptr, "Work");
  EXPECT_EQ(abbr_edit_top_folder()->name, "Everything");
  EXPECT_EQ(work->parent, abbr_edit_top_folder());
  abbr_abbrev* a = abbr_edit_new_abbrev(work, ABBR_TYPE_TEXT);
  EXPECT_EQ(a->abbrevs, nullptr);
  EXPECT_TRUE(abbr_edit_set_text(a, ABBR_EDIT_ABBREVIATIONS, "qq|q||w"));
  EXPECT_TRUE(abbr_edit_set_text(a, ABBR_EDIT_REPLACEMENT, "quick"));
  EXPECT_EQ(abbr_abbrev_lst_to_string(a->abbrevs), "qq|q||w");
  EXPECT_EQ(abbr_folder_list(ABBR_MAIN_LIST), nullptr);

  ASSERT_EQ(abbr_flush_sandbox_to_main(), 1);
  abbr_abbrev* applied = abbr_abbrev_from_uid(abbr_folder_list(ABBR_MAIN_LIST), a->uid);
  ASSERT_NE(applied, nullptr);
  EXPECT_NE(applied, a);
  EXPECT_EQ(applied->replacement, "quick");
  EXPECT_EQ(applied->parent->name, "Work");

  // Cancel: the sandbox is rebuilt from the main list and loses later edits.
  abbr_edit_set_text(a, ABBR_EDIT_REPLACEMENT, "lost");
  abbr_create_sandbox();
  EXPECT_EQ(abbr_abbrev_from_uid(sandbox(), applied->uid)->replacement, "quick");
}

TEST_F(EditTest, UnchangedValuesReportNoChangeAndKeepTheModifiedTime) {
  abbr_abbrev* a = abbr_edit_new_abbrev(abbr_edit_top_folder(), ABBR_TYPE_TEXT);
  a->modified = abbr_time_from_epoch_seconds(1000000000);
  abbrtime old = a->modified;
  EXPECT_FALSE(abbr_edit_set_text(a, ABBR_EDIT_DESCRIPTION, a->description));
  EXPECT_FALSE(abbr_edit_set_text(a, ABBR_EDIT_ABBREVIATIONS, ""));
  EXPECT_FALSE(abbr_edit_set_case_mode(a, a->case_mode));
  EXPECT_FALSE(abbr_edit_set_trigger_mode(a, 9));
  EXPECT_FALSE(abbr_edit_set_anywhere(a, false));
  EXPECT_EQ(abbr_time_to_compare_string(a->modified), abbr_time_to_compare_string(old));
  EXPECT_TRUE(abbr_edit_set_anywhere(a, true));
  EXPECT_NE(abbr_time_to_compare_string(a->modified), abbr_time_to_compare_string(old));

  abbr_abbrev* l = abbr_edit_new_abbrev(abbr_edit_top_folder(), ABBR_TYPE_WEBSITE);
  EXPECT_FALSE(abbr_edit_set_case_mode(l, ABBR_CASE_ADAPT));
  EXPECT_TRUE(abbr_edit_set_case_mode(l, ABBR_CASE_SENSITIVE));
  EXPECT_TRUE(abbr_edit_set_text(l, ABBR_EDIT_WEBSITE_ADDRESS, "https://example.com"));
  EXPECT_EQ(abbr_abbrev_exp_to_display_string(l), "https://example.com");
}

TEST_F(EditTest, FoldersRefuseImpossibleMovesRenamesAndDeletes) {
  abbr_folder* top = abbr_edit_top_folder();
  abbr_folder* a = abbr_edit_new_folder(top, "A");
  abbr_folder* b = abbr_edit_new_folder(a, "B");
  EXPECT_FALSE(abbr_edit_move_folder(a, b));   // below itself
  EXPECT_FALSE(abbr_edit_move_folder(a, a));
  EXPECT_FALSE(abbr_edit_move_folder(top, a)); // the top folder stays on top
  EXPECT_FALSE(abbr_edit_delete_folder(top));
  EXPECT_FALSE(abbr_edit_rename_folder(a, ""));
  EXPECT_TRUE(abbr_edit_move_folder(b, top));
  EXPECT_EQ(b->parent, top);
  EXPECT_EQ(a->subfolders, nullptr);
  EXPECT_EQ(plist_get_n_elements(top->subfolders), 2);

  abbr_abbrev* x = abbr_edit_new_abbrev(a, ABBR_TYPE_TEXT);
  EXPECT_FALSE(abbr_edit_move_abbrev(x, a));
  EXPECT_TRUE(abbr_edit_move_abbrev(x, b));
  EXPECT_EQ(a->abbrevs, nullptr);
  EXPECT_EQ(x->parent, b);
  EXPECT_TRUE(abbr_edit_delete_folder(b));
  EXPECT_EQ(plist_get_n_elements(top->subfolders), 1);
}

TEST_F(EditTest, CopiesGetTheirOwnUidsNextToTheOriginal) {
  abbr_folder* f = abbr_edit_new_folder(nullptr, "F");
  abbr_folder* sub = abbr_edit_new_folder(f, "Sub");
  abbr_abbrev* x = abbr_edit_new_abbrev(f, ABBR_TYPE_TEXT);
  abbr_abbrev* y = abbr_edit_new_abbrev(f, ABBR_TYPE_TEXT);
  abbr_edit_set_text(x, ABBR_EDIT_ABBREVIATIONS, "xx");
  abbr_edit_new_abbrev(sub, ABBR_TYPE_TEXT);

  abbr_abbrev* cx = abbr_edit_duplicate_abbrev(x);
  EXPECT_NE(cx->uid, x->uid);
  EXPECT_EQ(abbr_abbrev_lst_to_string(cx->abbrevs), "xx");
  EXPECT_EQ(plist_get_index_of(f->abbrevs, cx), 1);
  EXPECT_EQ(plist_get_index_of(f->abbrevs, y), 2);

  abbr_folder* cf = abbr_edit_duplicate_folder(f);
  EXPECT_EQ(cf->name, "F (copy)");
  EXPECT_EQ(cf->parent, f->parent);
  plist *folders = nullptr, *abbrevs = nullptr;
  abbr_get_all_folders_and_abbrevs_from_folder(cf, &folders, &abbrevs);
  ASSERT_EQ(plist_get_n_elements(folders), 2);
  ASSERT_EQ(plist_get_n_elements(abbrevs), 4);
  for (abbr_folder* c : plist_range<abbr_folder>(folders))
    EXPECT_EQ(abbr_folder_from_uid(sandbox(), c->uid, nullptr), c);
  for (abbr_abbrev* c : plist_range<abbr_abbrev>(abbrevs)) EXPECT_EQ(abbr_abbrev_from_uid(sandbox(), c->uid), c);
  plist_free_all_but_data(folders);
  plist_free_all_but_data(abbrevs);

  abbr_edit_delete_abbrev(cx);
  EXPECT_EQ(plist_get_n_elements(f->abbrevs), 2);
}

}  // namespace
