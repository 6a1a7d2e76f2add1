#include "library/abbr_file.h"

#include <glib.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "core/msgbox.h"
#include "util/strutil.h"
#include "model_reset.h"

namespace fs = std::filesystem;

namespace {

const abbrtime T1 = {3, 5, 2021, 14, 7, 9};
const abbrtime T2 = {12, 31, 2024, 23, 59, 58};
const abbrtime T3 = {1, 2, 2020, 3, 4, 5};

std::string data_file(const char* name) { return std::string(QX_TEST_DATA_DIR) + "/" + name; }

std::string slurp(const std::string& path) {
  std::optional<std::string> s = read_file_to_string(path);
  return s ? *s : std::string("<unreadable>");
}

struct shown_box {
  msgbox_kind kind;
  msgbox_buttons buttons;
  std::string text;
};

// Records every box; answers with the scripted answers in turn, then with the default ones.
struct box_recorder {
  std::vector<shown_box> boxes;
  std::vector<int> answers;
  static int handle(msgbox_kind kind, msgbox_buttons buttons, const std::string& text, void* self) {
    auto* r = static_cast<box_recorder*>(self);
    r->boxes.push_back({kind, buttons, text});
    if (r->boxes.size() <= r->answers.size()) return r->answers[r->boxes.size() - 1];
    return msgbox_default_answer(buttons);
  }
};

// Every test starts with empty lists, builtin defaults, no hooks, a recording message box and
// a fresh temporary folder.
class AbbrFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    reset_library_model();
    abbrld_set_hooks({nullptr, nullptr, nullptr, nullptr});
    msgbox_set_handler(box_recorder::handle, &boxes_);
    dir_ = fs::temp_directory_path() / ("qx_file_test_" + std::to_string(getpid()));
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override {
    msgbox_set_handler(nullptr, nullptr);
    abbrld_set_hooks({nullptr, nullptr, nullptr, nullptr});
    abbr_free_all_folder_lists();
    fs::permissions(dir_, fs::perms::owner_all);
    fs::remove_all(dir_);
  }

  std::string path(const char* name) const { return (dir_ / name).string(); }

  abbr_folder* top() { return abbr_get_absolute_parent_folder(ABBR_MAIN_LIST); }
  abbr_folder* child(abbr_folder* f, int n) { return static_cast<abbr_folder*>(plist_get_nth_data(f->subfolders, n)); }
  abbr_abbrev* abbrev(abbr_folder* f, int n) { return static_cast<abbr_abbrev*>(plist_get_nth_data(f->abbrevs, n)); }

  abbr_folder* add_folder(abbr_folder* parent, const char* name) {
    abbr_folder* f = abbr_new_subfolder_of(parent, name);
    abbr_add_subfolder_to_folder(ABBR_MAIN_LIST, parent, f);
    return f;
  }
  abbr_abbrev* add_abbrev(abbr_folder* parent, uint8_t type, const char* abbrevs, const char* desc) {
    abbr_abbrev* a = abbr_create_new_abbrev(type, parent);
    a->abbrevs = abbr_get_lst_of_abbrevs_from_string(abbrevs);
    a->description = desc;
    a->created = a->modified = T1;
    abbr_add_abbrev_to_folder(parent, a, -1);
    return a;
  }

  // The library saved in every_kind.tmk: each kind, folder flag, read-only variant and escape.
  void build_every_kind() {
    abbr_folder* t = abbr_create_absolute_parent_folder();
    abbr_add_subfolder_to_folder(ABBR_MAIN_LIST, nullptr, t);
    abbr_folder* work = add_folder(t, "Work & <Home>");
    work->t = 1;
    work->disabled = 1;
    work->e = 1;
    work->chooser_hotkey = "17 65";
    add_folder(work, "Sub \"q\"")->disabled = 0;
    abbr_abbrev* a = add_abbrev(work, ABBR_TYPE_TEXT, "sig|s||g", "Sig\tline");
    a->replacement = "Best,\r\nMe\nYou\rThem\t\"q\" & <b> 'x' \x1b \u00e9\u20ac\U0001F600";
    a->case_mode = ABBR_CASE_SENSITIVE;
    a->trigger_mode = ABBR_TRIGGER_WORD_END;
    a->anywhere = 1;
    a->modified = T2;
    abbr_abbrev* p = add_abbrev(work, ABBR_TYPE_PROGRAM, "calc", "Calculator");
    p->program.path = "C:\\Windows\\calc.exe";
    p->program.params = "/x \"y\"";
    p->program.run_in = "C:\\Temp";
    p->program.show_mode = 2;
    p->program.run_as_admin = 1;
    p->case_mode = ABBR_CASE_INSENSITIVE;
    p->trigger_mode = ABBR_TRIGGER_TRIGGER_KEY;

    abbr_folder* team = add_folder(t, "Team");
    team->read_only = 1;
    team->source = "https://example.com/team.tmk?a=1&b=2";
    team->update_setting = 1;
    team->f = 1;
    team->last_update = T3;
    team->modified = T2;
    team->last_check = T1;
    abbr_folder* inner = add_folder(team, "Inner");
    inner->read_only = 1;
    inner->source = "x";
    abbr_abbrev* w = add_abbrev(inner, ABBR_TYPE_WEBSITE, "gh", "GitHub");
    w->website.address = "https://github.com/?q=a&b";
    w->website.browser = "firefox";
    w->case_mode = ABBR_CASE_INSENSITIVE;
    w->trigger_mode = ABBR_TRIGGER_IMMEDIATELY;

    abbr_folder* weekly = add_folder(t, "Weekly");
    weekly->read_only = 2;
    weekly->source = "s";
    weekly->update_setting = 4;
    weekly->last_update = weekly->modified = T3;
    weekly->last_check = T1;
    abbr_abbrev* u = add_abbrev(weekly, ABBR_TYPE_FOURTH, "odd||", "");
    u->case_mode = ABBR_CASE_ADAPT;
    u->trigger_mode = ABBR_TRIGGER_IMMEDIATELY;

    abbr_folder* nosource = add_folder(t, "NoSource");
    nosource->read_only = 1;
    abbr_abbrev* empty = add_abbrev(t, ABBR_TYPE_TEXT, "", "");
    empty->case_mode = ABBR_CASE_ADAPT;
    empty->trigger_mode = ABBR_TRIGGER_IMMEDIATELY;
  }

  bool save(const std::string& to, std::string* err = nullptr) {
    return abbr_dump_folder_list_to_file(abbr_folder_list(ABBR_MAIN_LIST), to, err);
  }

  fs::path dir_;
  box_recorder boxes_;
};

// ---- Golden files ----

TEST_F(AbbrFileTest, SavesEveryKindFlagAndEscapeByteExact) {
  build_every_kind();
  std::string err;
  ASSERT_TRUE(save(path(ABBR_FILE_NAME), &err)) << err;
  EXPECT_EQ(slurp(path(ABBR_FILE_NAME)), slurp(data_file("every_kind.tmk")));
  // Only the target is left in the folder: the temporary file was renamed, not copied.
  EXPECT_EQ(std::distance(fs::directory_iterator(dir_), fs::directory_iterator()), 1);
}

TEST_F(AbbrFileTest, GoldenFileLoadsAndSavesBack) {
  ASSERT_TRUE(abbr_load_main_list_from_file(data_file("every_kind.tmk")));
  EXPECT_TRUE(boxes_.boxes.empty());
  ASSERT_TRUE(save(path("again.tmk")));
  // Everything survives except the escape character, which the file has always read back as "!".
  EXPECT_EQ(slurp(path("again.tmk")), substitute_str(slurp(data_file("every_kind.tmk")), "&#33;", "!", true, false));

  abbr_abbrev* a = abbrev(child(top(), 0), 0);
  // CR LF, LF and CR were all saved as "&#10;"; the escape character as "&#33;".
  EXPECT_EQ(a->replacement, "Best,\nMe\nYou\nThem\t\"q\" & <b> 'x' ! \u00e9\u20ac\U0001F600");
  EXPECT_EQ(a->description, "Sig\tline");
  ASSERT_EQ(plist_get_n_elements(a->abbrevs), 2);
  EXPECT_EQ(plist_str(plist_get_nth(a->abbrevs, 1)), "s|g");
}

TEST_F(AbbrFileTest, OldRootNameMixedCaseAndValidation) {
  abbr_set_default_mode_funcs([](int) -> uint32_t { return ABBR_CASE_SENSITIVE; },
                              []() -> uint32_t { return ABBR_TRIGGER_WORD_END; });
  ASSERT_TRUE(abbr_load_main_list_from_file(data_file("old_root.tmk")));
  ASSERT_EQ(plist_get_n_elements(abbr_folder_list(ABBR_MAIN_LIST)), 1);
  EXPECT_EQ(top()->name, "Everything");
  abbr_folder* mail = child(top(), 0);
  ASSERT_NE(mail, nullptr);
  EXPECT_EQ(mail->name, "Mail");
  ASSERT_EQ(plist_get_n_elements(mail->abbrevs), 3);
  abbr_abbrev* ty = abbrev(mail, 0);
  EXPECT_EQ(ty->replacement, "Thank you");
  EXPECT_EQ(ty->case_mode, ABBR_CASE_SENSITIVE);     // 7 -> the preference default
  EXPECT_EQ(ty->trigger_mode, ABBR_TRIGGER_WORD_END);  // 9 -> the preference default
  abbr_abbrev* np = abbrev(mail, 1);
  EXPECT_EQ(np->type, ABBR_TYPE_PROGRAM);
  EXPECT_EQ(np->case_mode, ABBR_CASE_INSENSITIVE);  // launchers do not keep case mode 2
  EXPECT_EQ(np->program.show_mode, 0);               // 3 is not a show mode
  EXPECT_EQ(abbrev(mail, 2)->case_mode, ABBR_CASE_INSENSITIVE);
}

TEST_F(AbbrFileTest, UnknownElementsAreSkippedWithEverythingInside) {
  ASSERT_TRUE(abbr_load_main_list_from_file(data_file("unknown_element.tmk")));
  plist* folders = nullptr;
  plist* abbrevs = nullptr;
  abbr_get_all_folders_and_abbrevs_from_folder_list(abbr_folder_list(ABBR_MAIN_LIST), &folders, &abbrevs);
  std::vector<std::string> names;
  for (abbr_folder* f : plist_range<abbr_folder>(folders)) names.push_back(f->name);
  std::vector<std::string> texts;
  for (abbr_abbrev* a : plist_range<abbr_abbrev>(abbrevs)) texts.push_back(abbr_abbrev_lst_to_string(a->abbrevs));
  plist_free_all_but_data(folders);
  plist_free_all_but_data(abbrevs);
  EXPECT_EQ(names, (std::vector<std::string>{"Everything", "A", "B"}));
  EXPECT_EQ(texts, (std::vector<std::string>{"one", "two", "three"}));
  EXPECT_EQ(abbrev(child(top(), 1), 1)->parent, child(top(), 1));
}

TEST_F(AbbrFileTest, TimesOfTheWrongLengthBecomeTheTimeOfLoading) {
  int64_t before = abbr_time_to_epoch_seconds(abbr_time_now());
  ASSERT_TRUE(abbr_load_main_list_from_file(data_file("bad_times.tmk")));
  int64_t after = abbr_time_to_epoch_seconds(abbr_time_now());
  abbr_folder* f = child(top(), 0);
  for (abbr_abbrev* a : plist_range<abbr_abbrev>(f->abbrevs)) {
    int64_t created = abbr_time_to_epoch_seconds(a->created);
    EXPECT_GE(created, before) << abbr_abbrev_lst_to_string(a->abbrevs);
    EXPECT_LE(created, after) << abbr_abbrev_lst_to_string(a->abbrevs);
  }
  EXPECT_EQ(abbr_time_to_hex_string(abbrev(f, 0)->modified), "030507e50e0709");
  EXPECT_GE(abbr_time_to_epoch_seconds(abbrev(f, 1)->modified), before);
}

// ---- Saving ----

TEST_F(AbbrFileTest, FailedSavesLeaveTheOldFileAndNoTemporaryFile) {
  const std::string old_bytes = "<Quiverex n=\"Everything\" t=\"0\" d=\"0\" w=\"0\" m=\"1\"></Quiverex>";
  ASSERT_TRUE(dump_data_to_file(path(ABBR_FILE_NAME), old_bytes.data(), old_bytes.size()));
  build_every_kind();
  for (int i = 0; i < 200; i++) add_abbrev(top(), ABBR_TYPE_TEXT, "filler", "a description long enough");

  // A write that fails halfway: the file size limit stops it with EFBIG (works as root too).
  struct rlimit old_limit;
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old_limit), 0);
  struct rlimit small = old_limit;
  small.rlim_cur = 4096;
  void (*old_handler)(int) = signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  std::string err;
  bool saved = save(path(ABBR_FILE_NAME), &err);
  setrlimit(RLIMIT_FSIZE, &old_limit);
  signal(SIGXFSZ, old_handler);
  EXPECT_FALSE(saved);
  EXPECT_EQ(err, "Write error -- not all Quiverextions could be saved (File too large).");
  EXPECT_EQ(slurp(path(ABBR_FILE_NAME)), old_bytes);
  EXPECT_EQ(std::distance(fs::directory_iterator(dir_), fs::directory_iterator()), 1);

  // A folder where no file can be created (only meaningful without root's override).
  if (geteuid() != 0) {
    fs::permissions(dir_, fs::perms::owner_read | fs::perms::owner_exec);
    EXPECT_FALSE(save(path(ABBR_FILE_NAME), &err));
    EXPECT_EQ(err, "Unable to create temporary file in directory " + dir_.string());
    fs::permissions(dir_, fs::perms::owner_all);
    EXPECT_EQ(slurp(path(ABBR_FILE_NAME)), old_bytes);
  }

  // A target that cannot be replaced: the temporary file is removed again.
  fs::create_directories(dir_ / "taken" / "inside");
  EXPECT_FALSE(save(path("taken"), &err));
  EXPECT_EQ(err.rfind("Could not move temporary file " + dir_.string() + "/", 0), 0u) << err;
  EXPECT_NE(err.find(" to " + path("taken") + ": "), std::string::npos) << err;
  EXPECT_EQ(std::distance(fs::directory_iterator(dir_), fs::directory_iterator()), 2);
}

TEST_F(AbbrFileTest, SavingCreatesMissingFoldersAndReportsMissingRecords) {
  build_every_kind();
  ASSERT_TRUE(save(path("a/b/c/" ABBR_FILE_NAME)));
  EXPECT_EQ(slurp(path("a/b/c/" ABBR_FILE_NAME)), slurp(data_file("every_kind.tmk")));

  std::string err;
  top()->abbrevs = plist_append(top()->abbrevs, nullptr, nullptr);
  EXPECT_FALSE(save(path("x.tmk"), &err));
  EXPECT_EQ(err, "Empty data.");
  top()->abbrevs = plist_delete_nth(top()->abbrevs, -1);
  top()->subfolders = plist_append(top()->subfolders, nullptr, nullptr);
  EXPECT_FALSE(save(path("x.tmk"), &err));
  EXPECT_EQ(err, "Folder is blank.");
  top()->subfolders = plist_delete_nth(top()->subfolders, -1);
  EXPECT_FALSE(fs::exists(path("x.tmk")));
}

TEST_F(AbbrFileTest, ReadOnlyDataIsLeftOutOnRequest) {
  build_every_kind();
  std::string out;
  ASSERT_TRUE(abbr_dump_folder_to_string(out, child(top(), 1), false, false, false, nullptr));
  EXPECT_EQ(out.substr(0, out.find('>') + 1), "<f n=\"Team\" t=\"0\" d=\"0\" w=\"0\">");
}

TEST_F(AbbrFileTest, SinglePassEscapingMatchesThePairByPairTable) {
  static const conversion_pair table[] = {
      {"&", "&amp;"}, {"<", "&lt;"},     {">", "&gt;"},    {"\r\n", "&#10;"}, {"\n", "&#10;"},
      {"\r", "&#10;"}, {"\t", "&#9;"}, {"\"", "&quot;"}, {"\x1b", "&#33;"}, {nullptr, nullptr},
  };
  const char alphabet[] = "&<>\r\n\t\"\x1b'a;#\xc3\xa9";
  std::mt19937 rng(12345);
  for (int i = 0; i < 3000; i++) {
    std::string s;
    int len = static_cast<int>(rng() % 12);
    for (int j = 0; j < len; j++) s.push_back(alphabet[rng() % (sizeof alphabet - 1)]);
    std::string fast;
    abbr_append_escaped(fast, s);
    ASSERT_EQ(fast, substitute_str_using_conversion_table(s, table, true)) << testing::PrintToString(s);
  }
}

// ---- Loading: failures and messages ----

TEST_F(AbbrFileTest, ParseErrorKeepsWhatWasBuiltAndSaysWhere) {
  const std::string text = "<Quiverex><f n=\"Kept\"><a a=\"ok\"/></f>\n<f n=\"Broken\"><a a=\"x\"></f></Quiverex>";
  ASSERT_TRUE(dump_data_to_file(path("bad.tmk"), text.data(), text.size()));
  EXPECT_FALSE(abbr_load_main_list_from_file(path("bad.tmk")));
  ASSERT_EQ(boxes_.boxes.size(), 1u);
  // expat places a mismatched tag at the name in "</f>", two bytes into it.
  EXPECT_EQ(boxes_.boxes[0].kind, MSGBOX_ERROR);
  EXPECT_EQ(boxes_.boxes[0].buttons, MSGBOX_BUTTONS_OK);
  EXPECT_EQ(boxes_.boxes[0].text,
            "\nError loading abbreviations from file '" + path("bad.tmk") +
                "': mismatched tag at 2 (byte 63).\n\nYour Quiverextion file may have been corrupted by your "
                "system. Consider restoring a backup using the Backup Manager. You may also contact us at "
                "support@quiverex.app and we'll do our best to help as soon as we can!");
  EXPECT_EQ(child(top(), 0)->name, "Kept");
  EXPECT_EQ(abbr_get_n_abbrevs_in_folder(top(), true), 2);
}

TEST_F(AbbrFileTest, MissingFileGivesATopFolderAndMentionsBackupsOnlyWhenThereAreSome) {
  int handovers = 0;
  static int* counter;
  counter = &handovers;
  abbr_set_main_list_handover([]() { return ++*counter; });
  EXPECT_FALSE(abbr_load_main_list_from_file(path("none.tmk")));
  EXPECT_TRUE(boxes_.boxes.empty());  // first start: nothing to say
  ASSERT_NE(top(), nullptr);
  EXPECT_EQ(top()->name, "Everything");
  EXPECT_EQ(handovers, 1);

  abbrld_set_hooks({nullptr, nullptr, nullptr, []() { return true; }});
  abbr_free_all_folder_lists();
  EXPECT_FALSE(abbr_load_main_list_from_file(path("none.tmk")));
  ASSERT_EQ(boxes_.boxes.size(), 1u);
  EXPECT_EQ(boxes_.boxes[0].text.rfind("Unable to load Quiverextion file '" + path("none.tmk") +
                                           "': file doesn't exist.\n\nYou may have accidentally deleted it",
                                       0),
            0u);
  EXPECT_NE(boxes_.boxes[0].text.find("Contact us at support@quiverex.app and we'll do our best to help as soon "
                                      "as possible!"),
            std::string::npos);
  EXPECT_EQ(plist_get_n_elements(abbr_folder_list(ABBR_MAIN_LIST)), 1);
  EXPECT_EQ(handovers, 2);
  abbr_set_main_list_handover(nullptr);
}

TEST_F(AbbrFileTest, FileThatCannotBeOpenedIsRetriedWhileTheUserSaysYes) {
  if (geteuid() == 0) GTEST_SKIP() << "root opens files regardless of their permissions";
  ASSERT_TRUE(dump_data_to_file(path("locked.tmk"), "<Quiverex/>", 11));
  fs::permissions(path("locked.tmk"), fs::perms::none);
  boxes_.answers = {MSGBOX_RESPONSE_YES, MSGBOX_RESPONSE_YES, MSGBOX_RESPONSE_NO};
  EXPECT_FALSE(abbr_load_main_list_from_file(path("locked.tmk")));
  ASSERT_EQ(boxes_.boxes.size(), 3u);
  EXPECT_EQ(boxes_.boxes[2].buttons, MSGBOX_BUTTONS_YES_NO);
  EXPECT_EQ(boxes_.boxes[2].text.rfind("Unable to open Quiverextion file '" + path("locked.tmk") +
                                           "' for reading: Permission denied\n\nClick Yes to try again.",
                                       0),
            0u);
  EXPECT_NE(top(), nullptr);
}

TEST_F(AbbrFileTest, UnreadableFileIsReported) {
  fs::create_directories(dir_ / "adir");  // opens, but reading fails
  EXPECT_FALSE(abbr_load_main_list_from_file(path("adir")));
  ASSERT_EQ(boxes_.boxes.size(), 1u);
  EXPECT_EQ(boxes_.boxes[0].text.rfind("\nFatal error: unable to read from Quiverextion file '" + path("adir") +
                                           "': Is a directory\n\n",
                                       0),
            0u);
  EXPECT_NE(top(), nullptr);
}

TEST_F(AbbrFileTest, BufferPreparation) {
  // A raw escape byte becomes a character reference and loads as "!".
  EXPECT_EQ(abbrld_get_buf_to_pass_to_parser("a\x1b" "b"), "a&#33;b");
  // Invalid UTF-8 becomes the replacement character.
  EXPECT_EQ(abbrld_get_buf_to_pass_to_parser("x\xff" "y\xc3"), "x\xef\xbf\xbdy\xef\xbf\xbd");
  EXPECT_EQ(abbrld_get_buf_to_pass_to_parser(std::string("a\0b", 3)), "a\xef\xbf\xbd" "b");
  EXPECT_EQ(abbrld_get_buf_to_pass_to_parser("<a u=\"http://x/u\"/>"), "<a u=\"http://x/u\"/>");
  // A character outside the XML range goes only together with a following "/u".
  EXPECT_EQ(abbrld_get_buf_to_pass_to_parser("a\x01/ub\x01" "c"), "ab\x01" "c");
  EXPECT_EQ(abbrld_get_buf_to_pass_to_parser("\xef\xbf\xbe/u\xe2\x82\xac/u"), "\xe2\x82\xac/u");

  const std::string raw = "<Quiverex><f n=\"F\"><a a=\"esc\" e=\"1\x1b" "2\xfe\"/></f></Quiverex>";
  EXPECT_TRUE(abbr_load_main_list_from_buffer(raw, "mem"));
  EXPECT_EQ(abbrev(child(top(), 0), 0)->replacement, "1!2\xef\xbf\xbd");
}

// ---- TextExpander data and record hooks ----

struct te_capture {
  std::vector<std::string> texts;
  std::vector<std::string> owners;  // "folder:<name>" or "abbrev:<list string>"
  int folder_ids = 0;
  int abbrev_ids = 0;
};
te_capture* g_te;

TEST_F(AbbrFileTest, TextExpanderElementsGoToTheReaderHookWithTheirRecord) {
  te_capture cap;
  g_te = &cap;
  abbrld_hooks hooks{};
  hooks.te_data_reader = [](const std::string& text, abbr_folder* f, abbr_abbrev* a) -> std::optional<std::string> {
    g_te->texts.push_back(text);
    g_te->owners.push_back(f ? "folder:" + f->name : "abbrev:" + abbr_abbrev_lst_to_string(a->abbrevs));
    if (text.find("bad") != std::string::npos) return std::string("bad data in ") + (f ? f->name : "abbrev");
    return std::nullopt;
  };
  hooks.te_generate_new_uuid_for_folder = [](abbr_folder*) { g_te->folder_ids++; };
  hooks.te_generate_new_uuid_for_abbrev = [](abbr_abbrev*) { g_te->abbrev_ids++; };
  abbrld_set_hooks(hooks);

  const std::string raw =
      "<Quiverex><f n=\"G\"><textexpanderSG k=\"v&amp;w\"><dict><key>a</key><string>x &lt; y</string></dict>"
      "</textexpanderSG><a a=\"s\" e=\"r\"><TextExpander>bad</TextExpander></a><a a=\"t\"/></f>"
      "<f n=\"H\"><awpu>bad</awpu></f></Quiverex>";
  EXPECT_FALSE(abbr_load_main_list_from_buffer(raw, "mem"));
  EXPECT_EQ(cap.texts, (std::vector<std::string>{
                           "<textexpanderSG k=\"v&amp;w\"><dict><key>a</key><string>x &lt; y</string></dict>"
                           "</textexpanderSG>",
                           "<TextExpander>bad</TextExpander>", "<awpu>bad</awpu>"}));
  EXPECT_EQ(cap.owners, (std::vector<std::string>{"folder:G", "abbrev:s", "folder:H"}));
  EXPECT_EQ(cap.folder_ids, 3);  // the top folder, G and H
  EXPECT_EQ(cap.abbrev_ids, 2);
  ASSERT_EQ(boxes_.boxes.size(), 1u);  // errors are gathered into one box
  EXPECT_EQ(boxes_.boxes[0].text,
            "Some errors were found while importing the TextExpander XML data: bad data in abbrev\nbad data in H"
            "\n\nPlease let us know you received this error message: support@quiverex.app");
  // The data elements are not records of their own.
  EXPECT_EQ(abbr_get_n_abbrevs_in_folder(top(), true), 2);
}

// ---- Import ----

TEST_F(AbbrFileTest, ImportPutsTheFileBelowTheGivenFolder) {
  abbr_folder* t = abbr_create_absolute_parent_folder();
  abbr_add_subfolder_to_folder(ABBR_MAIN_LIST, nullptr, t);
  abbr_folder* target = add_folder(t, "Imported");
  std::string err;
  ASSERT_TRUE(abbr_load_abbreviations_from_file(data_file("old_root.tmk"), target, &err)) << err;
  abbr_folder* root = child(target, 0);
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(root->name, "ignored");  // an imported root keeps its own attributes
  EXPECT_EQ(root->parent, target);
  EXPECT_EQ(child(root, 0)->name, "Mail");
  EXPECT_EQ(abbr_get_n_abbrevs_in_folder(target, true), 3);
  EXPECT_EQ(plist_get_n_elements(abbr_folder_list(ABBR_MAIN_LIST)), 1);

  EXPECT_FALSE(abbr_load_abbreviations_from_file("", target, &err));
  EXPECT_EQ(err, "Filename is blank.");
  const std::string bad = "<Quiverex>\n<f n=\"x\">\n<a/></g>";
  ASSERT_TRUE(dump_data_to_file(path("bad.tmk"), bad.data(), bad.size()));
  EXPECT_FALSE(abbr_load_abbreviations_from_file(path("bad.tmk"), target, &err));
  EXPECT_EQ(err, "Malformed file at line 3 (byte 27): mismatched tag");
  EXPECT_TRUE(boxes_.boxes.empty());
}

// ---- Numbered copies ----

TEST_F(AbbrFileTest, NumberedCopiesNeverOverwriteEachOther) {
  // GRegex rather than <regex>: GCC 12 warns inside std::regex under the sanitizers.
  const char* name = "^abbreviations_backup[0-9]+[A-Z][a-z]{2}[0-9]{2}_[0-9]{4}_[0-9]{2}_[0-9]{2}_[0-9]{2}\\.tmk$";
  std::vector<std::string> contents = {"first", "second", "third"};
  for (const std::string& c : contents) {
    ASSERT_TRUE(dump_data_to_file(path(ABBR_FILE_NAME), c.data(), c.size()));
    ASSERT_TRUE(abbr_backup_abbrev_file_in_dir(dir_.string()));
    EXPECT_FALSE(fs::exists(path(ABBR_FILE_NAME)));
  }
  std::vector<std::string> found;
  for (const auto& e : fs::directory_iterator(dir_)) {
    EXPECT_TRUE(g_regex_match_simple(name, e.path().filename().c_str(), GRegexCompileFlags(0), GRegexMatchFlags(0)))
        << e.path();
    found.push_back(slurp(e.path().string()));
  }
  std::sort(found.begin(), found.end());
  std::sort(contents.begin(), contents.end());
  EXPECT_EQ(found, contents);
  EXPECT_FALSE(abbr_backup_abbrev_file_in_dir(dir_.string()));  // nothing left to move
}

// ---- HTML export ----

TEST_F(AbbrFileTest, HtmlExportListsTheFolderAndEverythingBelowIt) {
  abbr_folder* t = abbr_create_absolute_parent_folder();
  abbr_add_subfolder_to_folder(ABBR_MAIN_LIST, nullptr, t);
  abbr_folder* a = add_folder(t, "A");
  abbr_folder* b = add_folder(a, "B");
  add_abbrev(a, ABBR_TYPE_TEXT, "x|y", "")->replacement = "1 < 2\n";
  add_abbrev(b, ABBR_TYPE_WEBSITE, "w", "")->website.address = "https://e.org/?a&b";
  add_abbrev(t, ABBR_TYPE_TEXT, "outside", "");
  EXPECT_EQ(abbr_folder_as_HTML(a),
            "<html><head><meta http-equiv=\"Content-Type\" content=\"text/html; charset=UTF-8\"></head><body>"
            "<table cellspacing=\"5\" cellpadding=\"5\" width=\"100%\" style=\"table-layout: fixed\"><tr>"
            "<td width=\"20%\"><big><b>Quiverextion</b></big></td>"
            "<td width=\"80%\"><big><b>Replacement Text</b></big></td></tr>"
            "<tr><td style=\"word-wrap: break-word\"><b>x|y</b></td>"
            "<td style=\"word-wrap: break-word\">1 &lt; 2&#10;</td></tr>"
            "<tr><td style=\"word-wrap: break-word\"><b>w</b></td>"
            "<td style=\"word-wrap: break-word\">https://e.org/?a&amp;b</td></tr>"
            "</table></body></html>");
}

TEST_F(AbbrFileTest, HtmlExportCutsLongReplacementsBetweenCharacters) {
  abbr_folder* t = abbr_create_absolute_parent_folder();
  abbr_add_subfolder_to_folder(ABBR_MAIN_LIST, nullptr, t);
  std::string euros;
  for (int i = 0; i < ABBR_HTML_MAX_REPLACEMENT; i++) euros += "\u20ac";  // 3 bytes each
  add_abbrev(t, ABBR_TYPE_TEXT, "long", "")->replacement = euros;
  std::string page = abbr_folder_as_HTML(t);
  size_t start = page.find("break-word\">\u20ac") + strlen("break-word\">");
  size_t end = page.find("</td></tr></table>");
  ASSERT_NE(start, std::string::npos);
  std::string cell = page.substr(start, end - start);
  EXPECT_EQ(cell, euros.substr(0, ABBR_HTML_MAX_REPLACEMENT / 3 * 3) + "...");
}

}  // namespace
