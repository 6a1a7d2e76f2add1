#include "util/strutil.h"

#include <glib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace {

std::vector<std::string> pieces(plist* l) {
  std::vector<std::string> out;
  for (plist* n = l; n; n = n->next) out.push_back(plist_str(n));
  plist_free(l);
  return out;
}

using strs = std::vector<std::string>;

TEST(SubstituteStr, InsertedTextIsNeverRescanned) {
  EXPECT_EQ(substitute_str("aaa", "a", "aa", true, false), "aaaaaa");
  EXPECT_EQ(substitute_str("abab", "ab", "b", true, false), "bb");
  EXPECT_EQ(substitute_str("xax", "a", "", true, false), "xx");
  EXPECT_EQ(substitute_str("text", "", "z", true, false), "text");
  EXPECT_EQ(substitute_str("", "a", "b", true, false), "");
}

TEST(SubstituteStr, CaseInsensitiveSearchInsertsReplacementAsGiven) {
  EXPECT_EQ(substitute_str("Date DATE date", "date", "%d", false, false), "%d %d %d");
  EXPECT_EQ(substitute_str("Date DATE date", "date", "x", true, false), "Date DATE x");
  EXPECT_EQ(substitute_str("aBc", "b", "Xy", false, false), "aXyc");
}

TEST(SubstituteStr, BackslashProtectsAnOccurrenceButNotOneAtTheStart) {
  EXPECT_EQ(substitute_str("\\||", "|", "X", true, true), "\\|X");
  EXPECT_EQ(substitute_str("|a\\|b|", "|", "X", true, true), "Xa\\|bX");
  EXPECT_EQ(substitute_str("\\||", "|", "X", true, false), "\\XX");
  EXPECT_EQ(substitute_str("\\%date", "%DATE", "d", false, true), "\\%date");
}

TEST(SubstituteStr, ConversionTableAppliesPairsInOrderOverThePreviousResult) {
  // The second pair sees what the first produced, so "&lt;" ends as "<" and not "&amp;lt;".
  static const conversion_pair decode[] = {{"&amp;", "&"}, {"&lt;", "<"}, {nullptr, nullptr}};
  EXPECT_EQ(substitute_str_using_conversion_table("&amp;lt; &LT;", decode, true), "< &LT;");
  EXPECT_EQ(substitute_str_using_conversion_table("&amp;lt; &LT;", decode, false), "< <");
  static const conversion_pair remove[] = {{"x", nullptr}, {nullptr, nullptr}};
  EXPECT_EQ(substitute_str_using_conversion_table("axbx", remove, true), "ab");
  static const conversion_pair empty[] = {{nullptr, nullptr}};
  EXPECT_EQ(substitute_str_using_conversion_table("same", empty, true), "same");
}

TEST(EscapeString, EscapesBothCasesOfALetterInTheGivenCase) {
  EXPECT_EQ(escape_string("a|b||", '|'), "a\\|b\\|\\|");
  EXPECT_EQ(escape_string("nN", 'n'), "\\n\\n");
  EXPECT_EQ(unescape_string("a\\|b\\\\x\\", '|'), "a|b\\\\x\\");
  EXPECT_EQ(unescape_string(escape_string("p|q", '|'), '|'), "p|q");
}

TEST(Strsplit, SplitsAtEverySeparator) {
  EXPECT_EQ(pieces(strsplit("a AND b AND c", " AND ")), (strs{"a", "b", "c"}));
  EXPECT_EQ(pieces(strsplit(",a,", ",")), (strs{"", "a", ""}));
  EXPECT_EQ(pieces(strsplit("abc", "")), (strs{"abc"}));
  EXPECT_EQ(strsplit("", ","), nullptr);
}

TEST(Strsplit, NoDoubleKeepsDoubledSeparatorsInThePiece) {
  EXPECT_EQ(pieces(strsplit_no_double("ab|a||b", '|')), (strs{"ab", "a||b"}));
  EXPECT_EQ(pieces(strsplit_no_double("a||", '|')), (strs{"a||"}));
  EXPECT_EQ(pieces(strsplit_no_double("a|||b", '|')), (strs{"a||", "b"}));
  EXPECT_EQ(pieces(strsplit_no_double("|a|", '|')), (strs{"", "a", ""}));
  EXPECT_EQ(strsplit_no_double("", '|'), nullptr);
}

// A fresh folder below the system's temporary folder, removed with everything in it.
class TempDirTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char* d = g_dir_make_tmp("qxutil-XXXXXX", nullptr);
    ASSERT_NE(d, nullptr);
    dir_ = d;
    g_free(d);
  }
  void TearDown() override {
    if (!dir_.empty()) std::filesystem::remove_all(dir_);
  }
  std::vector<std::string> entries() const {
    std::vector<std::string> out;
    for (const auto& e : std::filesystem::directory_iterator(dir_)) out.push_back(e.path().filename());
    return out;
  }
  std::string dir_;
};

std::string pattern(size_t n) {
  std::string s(n, '\0');
  for (size_t i = 0; i < n; i++) s[i] = static_cast<char>((i * 7 + i / 251) & 0xFF);
  return s;
}

using ReadEntireFile = TempDirTest;

TEST_F(ReadEntireFile, ReadsWholeFilesAcrossTheBlockBoundary) {
  const size_t block = 524288;
  const std::string path = dir_ + "/f";
  std::string data;
  // {element size, file size}: the count comes back in elements.
  const std::pair<size_t, size_t> cases[] = {{1, 0},         {1, 5},         {1, block - 1},         {1, block},
                                             {1, block + 1}, {1, 2 * block + 3}, {4, 4 * (block + 2)}};
  for (auto [elem, size] : cases) {
    data = pattern(size);
    ASSERT_TRUE(dump_data_to_file(path, data.data(), data.size()));
    FILE* f = fopen(path.c_str(), "rb");
    ASSERT_NE(f, nullptr);
    char* buf = nullptr;
    size_t len = 12345;
    EXPECT_TRUE(read_entire_file(f, &buf, elem, &len));
    fclose(f);
    ASSERT_NE(buf, nullptr);
    EXPECT_EQ(len, size / elem);
    buf[size] = '\0';  // the promised room for a terminator (the sanitizer checks it)
    EXPECT_TRUE(std::string(buf, size) == data) << "size " << size;
    free(buf);
  }
  EXPECT_EQ(read_file_to_string(path), data);
  EXPECT_EQ(read_file_to_string(dir_ + "/missing"), std::nullopt);
}

TEST_F(ReadEntireFile, WholeLinesOfAnyLength) {
  std::string long_line = std::string(20000, 'x') + "\"=\"";
  std::string text = "\"a\" = \"1\"\n" + long_line + "\n\n  \nlast";
  std::string path = dir_ + "/lines";
  ASSERT_TRUE(dump_data_to_file(path, text.data(), text.size()));
  FILE* f = fopen(path.c_str(), "r");
  ASSERT_NE(f, nullptr);
  std::vector<std::string> lines;
  std::string line;
  while (read_whole_line(f, &line)) lines.push_back(line);
  fclose(f);
  EXPECT_EQ(lines, (strs{"\"a\" = \"1\"\n", long_line + "\n", "\n", "  \n", "last"}));
}

using DumpData = TempDirTest;

TEST_F(DumpData, WritesExactlyTheBytesAndTruncates) {
  std::string path = dir_ + "/out.bin";
  ASSERT_TRUE(dump_data_to_file(path, "a much longer first content", 27));
  const char bytes[] = {'x', '\0', '\r', '\n', 'y'};
  ASSERT_TRUE(dump_data_to_file(path, bytes, sizeof bytes));
  EXPECT_EQ(read_file_to_string(path), std::string(bytes, sizeof bytes));
  ASSERT_TRUE(dump_data_to_file(path, nullptr, 0));
  EXPECT_EQ(read_file_to_string(path), "");
  EXPECT_FALSE(dump_data_to_file(dir_ + "/no/such/folder/f", "x", 1));
}

using TempFile = TempDirTest;

TEST_F(TempFile, CreatesFreshPrivateFilesWithEightAlphanumericNames) {
  std::set<std::string> names;
  for (int i = 0; i < 50; i++) {
    std::string path;
    FILE* f = secure_open_temp_file(&path, dir_, 1);
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(path_dirname(path), dir_);
    std::string name = path_basename(path);
    ASSERT_EQ(name.size(), 8u) << name;
    for (char c : name) ASSERT_TRUE(g_ascii_isalnum(c)) << name;
    names.insert(name);
    fputs("line\n", f);
    ASSERT_TRUE(fsync_and_close(f));
    EXPECT_EQ(read_file_to_string(path), "line\n");
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
  }
  EXPECT_EQ(names.size(), 50u);  // each call made a new file, none was reopened
  EXPECT_EQ(entries().size(), 50u);
}

TEST_F(TempFile, FailsWithoutTriesOrFolderAndClearsThePath) {
  std::string path = "stale";
  EXPECT_EQ(secure_open_temp_file(&path, dir_, 0), nullptr);
  EXPECT_EQ(path, "");
  EXPECT_TRUE(entries().empty());

  path = "stale";
  EXPECT_EQ(secure_open_temp_file(&path, dir_ + "/missing", 5), nullptr);
  EXPECT_EQ(path, "");
}

TEST_F(TempFile, NoFolderMeansTheCurrentFolder) {
  char* old = g_get_current_dir();
  ASSERT_EQ(chdir(dir_.c_str()), 0);
  std::string path;
  FILE* f = secure_open_temp_file(&path, "", 3);
  EXPECT_EQ(chdir(old), 0);
  g_free(old);
  ASSERT_NE(f, nullptr);
  fclose(f);
  EXPECT_EQ(path.substr(0, 2), "./");
  ASSERT_EQ(entries().size(), 1u);
  EXPECT_EQ(entries()[0], path.substr(2));
}

using MkdirP = TempDirTest;

TEST_F(MkdirP, CreatesEveryMissingParent) {
  std::string deep = dir_ + "/a/b/c";
  EXPECT_TRUE(mkdir_p(deep, '/'));
  EXPECT_TRUE(dir_exists(deep));
  EXPECT_TRUE(mkdir_p(deep, '/'));                      // already there
  EXPECT_TRUE(mkdir_p(dir_ + "/a/x/y/", '/'));          // trailing separator
  EXPECT_TRUE(dir_exists(dir_ + "/a/x/y"));
  ASSERT_TRUE(dump_data_to_file(dir_ + "/file", "x", 1));
  EXPECT_FALSE(mkdir_p(dir_ + "/file/sub", '/'));       // a file is in the way
  EXPECT_FALSE(mkdir_p(dir_ + "/file", '/'));
  EXPECT_FALSE(mkdir_p("", '/'));
}

TEST(ResizeBackBuffer, KeepsTheNewestBytesRightAligned) {
  char* buf = resize_back_buffer(nullptr, 0, 4);
  EXPECT_EQ(std::string(buf, 4), std::string(4, '\0'));
  memcpy(buf, "\0abc", 4);
  buf = resize_back_buffer(buf, 4, 6);
  EXPECT_EQ(std::string(buf, 6), std::string("\0\0\0abc", 6));
  buf = resize_back_buffer(buf, 6, 2);
  EXPECT_EQ(std::string(buf, 2), "bc");
  free(buf);
}

TEST(CaseCompare, Utf8IgnoresCaseOfEveryCharacter) {
  EXPECT_EQ(g_utf8_strncasecmp("\xC3\x89" "cole", "\xC3\xA9" "COLE", 6), 0);  // École / éCOLE
  EXPECT_NE(g_utf8_strncasecmp("\xC3\x89" "cole", "ecole", 5), 0);
  EXPECT_EQ(g_utf8_strncasecmp("abcX", "ABCy", 3), 0);  // only n bytes count
  EXPECT_LT(g_utf8_strncasecmp("abc", "ABD", 3), 0);
  EXPECT_GT(g_utf8_strncasecmp("abd", "ABC", 3), 0);
  EXPECT_LT(g_utf8_strncasecmp("ab", "abc", 5), 0);     // stops at the end like strncmp
  EXPECT_EQ(g_utf8_strncasecmp("ab", "AB", 5), 0);
  // Broken bytes are compared as bytes and do not swallow what follows.
  EXPECT_EQ(g_utf8_strncasecmp("\xFF" "a", "\xFF" "A", 2), 0);
  EXPECT_NE(g_utf8_strncasecmp("\xFF" "a", "\xFE" "a", 2), 0);
  // A character cut by the limit is compared bytewise, not read past n.
  EXPECT_EQ(g_utf8_strncasecmp("x\xC3\x89", "X\xC3\xA9", 2), 0);
}

TEST(CaseCompare, OrdersIgnoringAsciiCase) {
  EXPECT_EQ(str_casecmp("abc", "ABC"), 0);
  EXPECT_LT(str_casecmp("ab", "ABC"), 0);
  EXPECT_GT(str_casecmp("b", "A"), 0);
  EXPECT_TRUE(str_caseeq("Snippets Imported", "snippets imported"));
  EXPECT_FALSE(str_caseeq("ab", "abc"));
  EXPECT_TRUE(str_ends_with_case("export.TEXTEXPANDER", ".textexpander"));
  EXPECT_EQ(strprintf("%s=%d", "n", 42), "n=42");
}

}  // namespace
