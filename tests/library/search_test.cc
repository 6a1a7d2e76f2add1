#include "library/search.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "settings/settings.h"

namespace {

std::vector<std::string> strings(plist* l) {
  std::vector<std::string> out;
  for (std::string* s : plist_range<std::string>(l)) out.push_back(*s);
  return out;
}

struct split_row {
  const char* query;
  std::vector<std::string> or_groups;
  std::vector<std::string> not_terms;
};

TEST(QuerySplitting, KeywordsNeedUpperCaseAndBlanks) {
  const split_row rows[] = {
      {"cat OR dog", {"cat", "dog"}, {}},
      {"cat AND dog NOT bird", {"cat AND dog"}, {"bird"}},
      {"cat or dog", {"cat or dog"}, {}},
      {"NOT bird", {"NOT bird"}, {}},
      {" NOT bird", {""}, {"bird"}},
      {"", {""}, {}},
      {"a NOT b OR c NOT d", {"a", "c"}, {"b", "d"}},
      {"x NOT y AND z", {"x AND z"}, {"y"}},
      {"a NOT  OR b", {"a", "b"}, {}},
      {"a NOT NOT b", {"a"}, {"NOT b"}},
  };
  for (const split_row& r : rows) {
    plist* groups = nullptr;
    plist* nots = nullptr;
    search_get_OR_NOTs(r.query, &groups, &nots);
    EXPECT_EQ(strings(groups), r.or_groups) << r.query;
    EXPECT_EQ(strings(nots), r.not_terms) << r.query;
    plist_free(groups);
    plist_free(nots);
  }
}

// A small library in the sandbox, which is what the search box looks at:
//   Animals:        cat "Cat food" -> meow;  dg "Dog" -> woof at the bird;  Sig "École" (case sensitive)
//   Animals\Birds:  brd "Bird" -> tweet (folder disabled)
//   Tools:          ed "Editor" (program launcher);  web "Web" (website launcher);  sig|sg "Signature"
class SearchTest : public ::testing::Test {
 protected:
  void SetUp() override {
    abbr_free_all_folder_lists();
    __setting_list_free(prefs_lst);
    prefs_lst = nullptr;
    top_ = abbr_create_absolute_parent_folder();
    abbr_add_subfolder_to_folder(ABBR_SANDBOX_LIST, nullptr, top_);
    animals_ = folder(top_, "Animals");
    birds_ = folder(animals_, "Birds");
    tools_ = folder(top_, "Tools");
    cat_ = text(animals_, "cat", "meow", "Cat food");
    text(animals_, "dg", "woof at the bird", "Dog");
    text(animals_, "Sig", "x", "École")->case_mode = ABBR_CASE_SENSITIVE;
    text(birds_, "brd", "tweet", "Bird");
    abbr_abbrev* ed = add(tools_, ABBR_TYPE_PROGRAM, "ed", "Editor");
    ed->program.path = "/usr/bin/mousepad";
    add(tools_, ABBR_TYPE_WEBSITE, "web", "Web")->website.address = "https://example.org/";
    text(tools_, "sig|sg", "Best regards", "Signature")->case_mode = ABBR_CASE_INSENSITIVE;
    abbr_set_folder_enabled(birds_, false, false);
  }
  void TearDown() override {
    abbr_free_all_folder_lists();
    __setting_list_free(prefs_lst);
    prefs_lst = nullptr;
  }

  abbr_folder* folder(abbr_folder* parent, const char* name) {
    abbr_folder* f = abbr_new_subfolder_of(parent, name);
    abbr_add_subfolder_to_folder(ABBR_SANDBOX_LIST, parent, f);
    return f;
  }
  abbr_abbrev* add(abbr_folder* parent, uint8_t type, const char* abbrevs, const char* desc) {
    abbr_abbrev* a = abbr_create_new_abbrev(type, parent);
    a->abbrevs = abbr_get_lst_of_abbrevs_from_string(abbrevs);
    a->description = desc;
    abbr_add_abbrev_to_folder(parent, a, -1);
    return a;
  }
  abbr_abbrev* text(abbr_folder* parent, const char* abbrevs, const char* replacement, const char* desc) {
    abbr_abbrev* a = add(parent, ABBR_TYPE_TEXT, abbrevs, desc);
    a->replacement = replacement;
    return a;
  }

  // Descriptions of what the primitive finds, in order.
  static std::vector<std::string> find(abbr_folder* f, const char* term, unsigned flags,
                                       std::vector<std::string> ands = {}, std::vector<std::string> nots = {},
                                       const abbr_abbrev* excluded = nullptr) {
    plist* and_list = nullptr;
    plist* not_list = nullptr;
    for (const std::string& s : ands) and_list = plist_append_string(and_list, s);
    for (const std::string& s : nots) not_list = plist_append_string(not_list, s);
    plist* found = abbr_find_abbrevs_containing_string(f, term, excluded, flags, and_list, not_list);
    plist_free(and_list);
    plist_free(not_list);
    return descriptions(found);
  }
  static std::vector<std::string> query(const char* text, unsigned flags = 15) {
    return descriptions(search_run_query(nullptr, text, flags));
  }
  static std::vector<std::string> descriptions(plist* found) {
    std::vector<std::string> out;
    for (abbr_abbrev* a : plist_range<abbr_abbrev>(found)) out.push_back(a->description);
    plist_free_all_but_data(found);
    return out;
  }

  abbr_folder *top_, *animals_, *birds_, *tools_;
  abbr_abbrev* cat_;
};

using V = std::vector<std::string>;

TEST_F(SearchTest, EachFieldOnlyWhenItsFlagIsSet) {
  EXPECT_EQ(find(nullptr, "meow", SEARCH_REPLACEMENT), V{"Cat food"});
  EXPECT_EQ(find(nullptr, "meow", SEARCH_DESCRIPTION | SEARCH_ABBREVIATIONS), V{});
  EXPECT_EQ(find(nullptr, "food", SEARCH_DESCRIPTION), V{"Cat food"});
  EXPECT_EQ(find(nullptr, "food", SEARCH_ABBREVIATIONS | SEARCH_REPLACEMENT), V{});
  // Any one of the abbreviation texts.
  EXPECT_EQ(find(nullptr, "sg", SEARCH_ABBREVIATIONS), V{"Signature"});
  // Launchers are found by their target.
  EXPECT_EQ(find(nullptr, "mousepad", SEARCH_REPLACEMENT), V{"Editor"});
  EXPECT_EQ(find(nullptr, "example.org", SEARCH_REPLACEMENT), V{"Web"});
}

TEST_F(SearchTest, WholeFieldAndCase) {
  EXPECT_EQ(find(nullptr, "cat", SEARCH_DESCRIPTION | SEARCH_WHOLE_FIELD), V{});
  EXPECT_EQ(find(nullptr, "cat FOOD", SEARCH_DESCRIPTION | SEARCH_WHOLE_FIELD), V{"Cat food"});
  EXPECT_EQ(find(nullptr, "cat FOOD", SEARCH_DESCRIPTION | SEARCH_WHOLE_FIELD | SEARCH_MATCH_CASE), V{});
  // Without regard to case beyond ASCII.
  EXPECT_EQ(find(nullptr, "éCOLE", SEARCH_DESCRIPTION), V{"École"});
  EXPECT_EQ(find(nullptr, "SIG", SEARCH_ABBREVIATIONS), (V{"École", "Signature"}));
  EXPECT_EQ(find(nullptr, "SIG", SEARCH_ABBREVIATIONS | SEARCH_MATCH_CASE), V{});
  // The record's own case mode decides for abbreviation texts, either way.
  EXPECT_EQ(find(nullptr, "SIG", SEARCH_ABBREVIATIONS | SEARCH_CASE_OF_RECORD), V{"Signature"});
  EXPECT_EQ(find(nullptr, "SIG", SEARCH_ABBREVIATIONS | SEARCH_CASE_OF_RECORD | SEARCH_MATCH_CASE),
            V{"Signature"});
  // ...but not for the other fields.
  EXPECT_EQ(find(nullptr, "école", SEARCH_DESCRIPTION | SEARCH_CASE_OF_RECORD | SEARCH_MATCH_CASE), V{});
  // Broken UTF-8 is compared byte for byte, its ASCII letters still without regard to case.
  cat_->description = "Cat\xC3 FOOD\xE2\x82";
  EXPECT_EQ(find(nullptr, "cat\xC3 food\xE2", SEARCH_DESCRIPTION), V{cat_->description});
  EXPECT_EQ(find(nullptr, "cat food", SEARCH_DESCRIPTION), V{});
}

TEST_F(SearchTest, WhichFoldersAndRecords) {
  const unsigned all = SEARCH_DESCRIPTION | SEARCH_ABBREVIATIONS | SEARCH_REPLACEMENT;
  // Depth first, a folder's own records before its subfolders'.
  EXPECT_EQ(find(nullptr, "", all), (V{"Cat food", "Dog", "École", "Bird", "Editor", "Web", "Signature"}));
  EXPECT_EQ(find(animals_, "", all), (V{"Cat food", "Dog", "École"}));
  EXPECT_EQ(find(animals_, "", all | SEARCH_SUBFOLDERS), (V{"Cat food", "Dog", "École", "Bird"}));
  EXPECT_EQ(find(nullptr, "bird", all | SEARCH_SKIP_DISABLED), V{"Dog"});
  EXPECT_EQ(find(nullptr, "", all | SEARCH_FIRST_ONLY, {}, {}, cat_), V{"Dog"});
  // Only the sandbox is searched without a folder.
  abbr_folder* main_top = abbr_create_absolute_parent_folder();
  abbr_add_subfolder_to_folder(ABBR_MAIN_LIST, nullptr, main_top);
  text(main_top, "m", "meow", "main list");
  EXPECT_EQ(find(nullptr, "meow", all), V{"Cat food"});
}

TEST_F(SearchTest, AndTermsReplaceTheTermAndNotTermsExclude) {
  const unsigned all = SEARCH_DESCRIPTION | SEARCH_ABBREVIATIONS | SEARCH_REPLACEMENT;
  // The terms may match different fields.
  EXPECT_EQ(find(nullptr, "ignored", all, {"dog", "woof"}), V{"Dog"});
  EXPECT_EQ(find(nullptr, "dog", all, {"dog", "meow"}), V{});
  EXPECT_EQ(find(nullptr, "", all, {}, {"bird", "a"}), V{"École"});
}

TEST_F(SearchTest, QueriesFromTheBox) {
  // OR groups in order, each record once, in its first place.
  EXPECT_EQ(query("dog OR cat"), (V{"Dog", "Cat food"}));
  EXPECT_EQ(query("cat OR bird"), (V{"Cat food", "Dog", "Bird"}));
  EXPECT_EQ(query("dog OR woof OR cat"), (V{"Dog", "Cat food"}));
  EXPECT_EQ(query("bird AND woof NOT tweet"), V{"Dog"});
  EXPECT_EQ(query("cat or dog"), V{});
  EXPECT_EQ(query(" NOT bird"), (V{"Cat food", "École", "Editor", "Web", "Signature"}));
}

struct flags_row {
  search_options options;
  bool text_empty;
  unsigned flags;
};

TEST(SearchBoxFlags, FollowThePreferences) {
  const flags_row rows[] = {
      {{0, 0, 0, 0}, false, 1 | 2 | 4 | 8},        // the defaults
      {{0, 0, 0, 0}, true, 1 | 2 | 4},             // an empty box stays in the folder
      {{1, 0, 0, 0}, false, 2 | 4 | 8},            // no descriptions
      {{0, 1, 1, 0}, false, 1 | 8},                // descriptions alone
      {{1, 1, 1, 0}, false, 1 | 2 | 4 | 8},        // nothing switched on searches everything
      {{1, 1, 0, 0}, false, 4 | 8},                // replacements alone
      {{0, 0, 0, 1}, false, 1 | 2 | 4 | 8 | 256},  // disabled folders left out
      {{0, 0, 0, 1}, true, 1 | 2 | 4},             // ...but not by an empty box
  };
  for (const flags_row& r : rows) {
    const search_options& o = r.options;
    EXPECT_EQ(search_flags_for_box(o, r.text_empty), r.flags)
        << o.dont_search_description << o.dont_search_abbreviation << o.dont_search_replacement
        << o.dont_search_disabled_folders << " empty " << r.text_empty;
  }
}

TEST_F(SearchTest, MenuItemsChangeWhatTheBoxSearches) {
  for (const search_menu_item& item : search_menu_items)
    EXPECT_EQ(search_menu_item_is_active(item), item.inverted);
  // Unticking "Search _Replacements" and "Search _Quiverextions" leaves the descriptions.
  search_menu_item_set_active(search_menu_items[2], false);
  search_menu_item_set_active(search_menu_items[1], false);
  EXPECT_EQ(setting_get_int("dont_search_replacement"), 1);
  EXPECT_EQ(query("meow", search_flags_for_box(search_options_from_prefs(), false)), V{});
  EXPECT_EQ(query("food", search_flags_for_box(search_options_from_prefs(), false)), V{"Cat food"});
  // Ticking "Search in Di_sabled Folders" off hides the disabled folder's records.
  EXPECT_EQ(query("bird", search_flags_for_box(search_options_from_prefs(), false)), (V{"Bird"}));
  search_menu_item_set_active(search_menu_items[3], false);
  EXPECT_EQ(query("bird", search_flags_for_box(search_options_from_prefs(), false)), V{});
  search_menu_item_set_active(search_menu_items[4], true);
  EXPECT_EQ(setting_get_int("only_search_selected"), 1);
}

}  // namespace
