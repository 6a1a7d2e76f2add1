#include "settings/settings.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "util/strutil.h"

namespace fs = std::filesystem;

namespace {

using pairs = std::vector<std::pair<std::string, std::string>>;

pairs entries(const setting* list) {
  pairs out;
  for (const setting* e = list; e; e = e->next) out.emplace_back(e->name, e->value);
  return out;
}

class TempDir : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/qx_settings_XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    dir_ = tmpl;
  }
  void TearDown() override { fs::remove_all(dir_); }
  std::string path(const std::string& name) const { return dir_ + "/" + name; }
  std::string write(const std::string& name, const std::string& text) {
    std::string p = path(name);
    EXPECT_TRUE(dump_data_to_file(p, text.data(), text.size()));
    return p;
  }
  std::vector<std::string> files() const {
    std::vector<std::string> out;
    for (const auto& e : fs::directory_iterator(dir_)) out.push_back(e.path().filename().string());
    return out;
  }
  // Loads `text` as a file; the list (or nullptr) and the error.
  std::pair<setting*, std::optional<std::string>> load(const std::string& text) {
    std::optional<std::string> err;
    setting* l = __settings_load_from_file(write("in.lt", text).c_str(), &err);
    return {l, err};
  }
  std::string dir_;
};

TEST(SettingsListTest, SetGetAndAtoiSemantics) {
  setting* l = nullptr;
  EXPECT_STREQ(__setting_get(nullptr, "x"), "");
  l = __setting_set(l, "a", "12abc");
  l = __setting_set(l, "b", "abc");
  l = __setting_set(l, "A", "  -42 ");
  l = __setting_set(l, "c", nullptr);
  l = __setting_set(l, nullptr, "ignored");
  l = __setting_set_int(l, "min", -2147483647 - 1);
  EXPECT_EQ(entries(l), (pairs{{"a", "  -42 "}, {"b", "abc"}, {"c", ""}, {"min", "-2147483648"}}));
  EXPECT_EQ(__setting_get_int(l, "A"), -42);
  EXPECT_EQ(__setting_get_int(l, "b"), 0);
  EXPECT_EQ(__setting_get_int(l, "min"), -2147483647 - 1);
  EXPECT_EQ(__setting_get_int(l, "absent"), 0);
  EXPECT_STREQ(__setting_get(l, "absent"), "");
  EXPECT_TRUE(__setting_does_exist(l, "C"));
  EXPECT_EQ(__setting_get_offset_by_name(l, "B"), 1);
  EXPECT_EQ(__setting_get_offset_by_name(l, "zz"), -1);
  l = __setting_set(l, "b", "12abc");
  EXPECT_EQ(__setting_get_int(l, "b"), 12);
  __setting_list_free(l);
}

TEST(SettingsListTest, DeleteRelinksAndReturnsTheNewHead) {
  setting* l = nullptr;
  for (const char* n : {"a", "b", "c"}) l = __setting_set(l, n, n);
  setting* same = __setting_delete(l, "absent");
  EXPECT_EQ(same, l);
  l = __setting_delete(l, "A");
  EXPECT_STREQ(l->name, "b");
  l = __setting_delete(l, "c");
  EXPECT_EQ(entries(l), (pairs{{"b", "b"}}));
  EXPECT_EQ(l->prev, nullptr);
  EXPECT_EQ(l->next, nullptr);
  l = __setting_delete(l, "b");
  EXPECT_EQ(l, nullptr);
}

// Ownership mistakes show up as leaks or double frees under AddressSanitizer.
TEST(SettingsListTest, OwnershipOfSetAndCopy) {
  setting* l = __setting_set_choose_copy(nullptr, copy_string("k"), 0, copy_string("v1"), 0);
  l = __setting_set_choose_copy(l, copy_string("K"), 0, copy_string("v2"), 0);
  char keep[] = "kept by the caller";
  l = __setting_set_choose_copy(l, keep, 1, keep, 1);
  l = __setting_set_choose_copy(l, copy_string("nullval"), 0, nullptr, 0);
  l = __setting_append(l, copy_string("k"), copy_string("v3"));
  setting* c = __setting_list_copy(l);
  __setting_list_free(l);
  // A name that occurs twice keeps the later value at the earlier position.
  EXPECT_EQ(entries(c), (pairs{{"k", "v3"}, {keep, keep}, {"nullval", ""}}));
  __setting_list_free(c);
}

using SettingsFileTest = TempDir;

// Backslashes and quotes are escaped on disk; line breaks in a value span physical lines.
TEST_F(SettingsFileTest, ValuesAreEscapedOnDiskAndReadBack) {
  const std::pair<pairs, std::string> cases[] = {
      {{{"dir", "C:\\Users\\me\\"}, {"say", "he said \"hi\\\""}, {"na\"me", "x"}},
       "\"dir\"=\"C:\\\\Users\\\\me\\\\\"\n"
       "\"say\"=\"he said \\\"hi\\\\\\\"\"\n"
       "\"na\\\"me\"=\"x\"\n"},
      {{{"text", "one\ntwo\r\n\"three\"\n"}, {"after", "x"}},
       "\"text\"=\"one\ntwo\r\n\\\"three\\\"\n\"\n\"after\"=\"x\"\n"},
  };
  for (const auto& [values, on_disk] : cases) {
    setting* l = nullptr;
    for (const auto& [name, value] : values) l = __setting_set(l, name.c_str(), value.c_str());
    std::string p = path("out.lt");
    ASSERT_EQ(__settings_dump_to_file(l, p.c_str()), 0);
    EXPECT_EQ(read_file_to_string(p).value(), on_disk);
    std::optional<std::string> err;
    setting* back = __settings_load_from_file(p.c_str(), &err);
    EXPECT_FALSE(err);
    EXPECT_EQ(entries(back), values);
    __setting_list_free(l);
    __setting_list_free(back);
  }
}

TEST_F(SettingsFileTest, WhiteSpaceBlankLinesAndWindowsLineEnds) {
  auto [l, err] = load("\n   \t\n  \"a\"  =\t \"1\"  \r\n\r\n\"b\"=\"2\"\t\n\n\"A\"=\"3\"");
  EXPECT_FALSE(err);
  EXPECT_EQ(entries(l), (pairs{{"a", "3"}, {"b", "2"}}));
  __setting_list_free(l);
}

TEST_F(SettingsFileTest, OneBadLineDiscardsTheWholeFile) {
  const char* bad[] = {
      "\"a\"=\"1\"\n\"b\"=\"2",            // three quotes on the last line
      "\"a\"=\"1\"\n\"b\"=\"2\"\"\n",      // five quotes, never four again
      "\"a\"=\"1\"\nx\"b\"=\"2\"\n",       // a byte before the first quote
      "\"a\"=\"1\"\n\"b\" x= \"2\"\n",     // a byte before the equals sign
      "\"a\"=\"1\"\n\"b\"\"2\"\"\"\n",     // no equals sign
      "\"a\"=\"1\"\n\"b\"=\"2\";\n",       // a byte after the value
      "\"a\"=\"1\"\n\"b\"=x\"2\"\n",       // a byte before the value's quote
      "\"a\"=\"1\\\"\n",                   // the escaped quote does not close the value
  };
  for (const char* text : bad) {
    auto [l, err] = load(text);
    EXPECT_EQ(l, nullptr) << text;
    ASSERT_TRUE(err) << text;
    EXPECT_EQ(*err, "Invalid setting file.");
    EXPECT_EQ(__setting_get_file_existed_from_err_msg(err), 1);
  }
}

TEST_F(SettingsFileTest, EmptyAndMissingFiles) {
  for (const char* text : {"", "\n \r\n\t\n"}) {
    auto [l, err] = load(text);
    EXPECT_EQ(l, nullptr);
    EXPECT_FALSE(err);
  }
  std::optional<std::string> err;
  time_t mtime = 12345;
  EXPECT_EQ(__settings_load_from_file_mtime(path("missing.lt").c_str(), &err, &mtime), nullptr);
  EXPECT_EQ(mtime, 0);
  ASSERT_TRUE(err);
  EXPECT_EQ(*err, "Unable to open setting file for reading.");
  EXPECT_EQ(__setting_get_file_existed_from_err_msg(err), 0);
  EXPECT_EQ(__setting_get_file_existed_from_err_msg(std::nullopt), 0);
}

TEST_F(SettingsFileTest, ReaderMergesIntoAGivenListAndReportsTheTime) {
  std::string p = write("in.lt", "\"B\"=\"new\"\n\"c\"=\"3\"\n");
  struct stat st;
  ASSERT_EQ(stat(p.c_str(), &st), 0);
  setting* l = __setting_set(nullptr, "a", "1");
  l = __setting_set(l, "b", "old");
  time_t mtime = 0;
  l = __settings_load_from_file_lst_given(p.c_str(), l, nullptr, &mtime);
  EXPECT_EQ(mtime, st.st_mtime);
  EXPECT_EQ(entries(l), (pairs{{"a", "1"}, {"b", "new"}, {"c", "3"}}));
  // An invalid file frees the given list too (ASan reports a leak otherwise).
  std::string bad = write("bad.lt", "\"x\"=\"");
  EXPECT_EQ(__settings_load_from_file_lst_given(bad.c_str(), l, nullptr, nullptr), nullptr);
}

using SettingsSaveTest = TempDir;

TEST_F(SettingsSaveTest, CreatesMissingFoldersAndLeavesNoTemporaryFiles) {
  std::string p = path("a/b/prefs.lt");
  setting* l = __setting_set(nullptr, "k", "1");
  ASSERT_EQ(__settings_dump_to_file(l, p.c_str()), 0);
  l = __setting_set(l, "k", "2");
  ASSERT_EQ(__settings_dump_to_file(l, p.c_str()), 0);
  EXPECT_EQ(read_file_to_string(p).value(), "\"k\"=\"2\"\n");
  fs::remove_all(path("a"));
  // A target that cannot be replaced (here a folder) fails without leftovers.
  fs::create_directories(path("prefs.lt/inside"));
  EXPECT_EQ(__settings_dump_to_file(l, path("prefs.lt").c_str()), 1);
  EXPECT_EQ(files(), std::vector<std::string>{"prefs.lt"});
  __setting_list_free(l);
}

TEST_F(SettingsSaveTest, AWriteThatFailsHalfWayLeavesTheOldFile) {
  const std::string old_text = "\"k\"=\"old\"\n";
  std::string p = write("prefs.lt", old_text);
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    // The child may write at most 4 KiB per file: the new list is far bigger, so the write
    // fails part of the way through, as on a full disk.
    signal(SIGXFSZ, SIG_IGN);
    struct rlimit lim;
    getrlimit(RLIMIT_FSIZE, &lim);
    lim.rlim_cur = 4096;
    setrlimit(RLIMIT_FSIZE, &lim);
    setting* l = nullptr;
    for (int i = 0; i < 2000; i++) l = __setting_set_int(l, strprintf("key%d", i).c_str(), i);
    _exit(__settings_dump_to_file(l, p.c_str()) == 1 ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << "the failed save reported success";
  EXPECT_EQ(read_file_to_string(p).value(), old_text);
  EXPECT_EQ(files(), std::vector<std::string>{"prefs.lt"});
}

}  // namespace
