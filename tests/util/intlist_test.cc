#include "util/intlist.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

std::vector<int> ints(const plist* l) {
  std::vector<int> out;
  for (; l; l = l->next) out.push_back(plist_int(l));
  return out;
}

TEST(IntList, ParsesHotkeyStrings) {
  plist* l = plist_ints_from_string("17 18 84", ' ', false);
  EXPECT_EQ(ints(l), (std::vector<int>{17, 18, 84}));
  EXPECT_EQ(plist_ints_to_string(l, ' '), "17 18 84");
  EXPECT_TRUE(plist_contains_int(l, 84));
  EXPECT_FALSE(plist_contains_int(l, 16));
  EXPECT_EQ(plist_get_nth_int(l, -1, 0), 84);
  EXPECT_EQ(plist_get_nth_int(l, 3, -5), -5);
  plist_free(l);

  // Only the first trigger key counts; blanks around it are not pieces.
  l = plist_ints_from_string("  32 17", ' ', true);
  EXPECT_EQ(ints(l), (std::vector<int>{32}));
  plist_free(l);

  l = plist_ints_from_string("17  x -3", ' ', false);
  EXPECT_EQ(ints(l), (std::vector<int>{17, 0, -3}));
  l = plist_sort(l, plist_int_compare);
  EXPECT_EQ(ints(l), (std::vector<int>{-3, 0, 17}));
  plist_free(l);

  EXPECT_EQ(plist_ints_from_string("", ' ', false), nullptr);
  EXPECT_EQ(plist_ints_from_string("   ", ' ', true), nullptr);
  EXPECT_EQ(plist_ints_to_string(nullptr, ' '), "");
}

TEST(CharList, DecodesUtf8AndSkipsBrokenBytes) {
  // The delimiter default ends in a line feed and a tab; é and € are multi-byte.
  plist* l = plist_chars_from_utf8(",.\xC3\xA9\xE2\x82\xAC \n\t");
  EXPECT_EQ(ints(l), (std::vector<int>{',', '.', 0xE9, 0x20AC, ' ', '\n', '\t'}));
  EXPECT_TRUE(plist_contains_char(l, 0x20AC));
  EXPECT_FALSE(plist_contains_char(l, 0x82));
  EXPECT_EQ(plist_chars_to_utf8(l), ",.\xC3\xA9\xE2\x82\xAC \n\t");
  plist_free(l);

  // A lone continuation byte and a truncated sequence at the end are skipped.
  l = plist_chars_from_utf8("a\x82" "b\xE2\x82");
  EXPECT_EQ(ints(l), (std::vector<int>{'a', 'b'}));
  plist_free(l);
  EXPECT_EQ(plist_chars_from_utf8(""), nullptr);
}

}  // namespace
