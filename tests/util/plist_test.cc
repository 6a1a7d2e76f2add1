#include "util/plist.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct item {
  int key;
  int tag;
};

int by_key(const void* a, const void* b) {
  return static_cast<const item*>(a)->key - static_cast<const item*>(b)->key;
}

int by_key_dir(const void* a, const void* b, void* desc) {
  int r = by_key(a, b);
  return *static_cast<int*>(desc) ? -r : r;
}

std::vector<int> tags(plist* l) {
  std::vector<int> out;
  for (item* it : plist_range<item>(l)) out.push_back(it->tag);
  return out;
}

// Checks that the previous links mirror the next links.
void expect_consistent(plist* l) {
  plist* prev = nullptr;
  for (plist* n = l; n; n = n->next) {
    EXPECT_EQ(n->prev, prev);
    prev = n;
  }
}

// Equal keys keep their order, ascending and descending alike.
TEST(PlistSort, Stable) {
  item items[] = {{3, 0}, {1, 1}, {3, 2}, {2, 3}, {1, 4}, {3, 5}, {2, 6}};
  plist* l = nullptr;
  for (item& it : items) l = plist_append(l, &it, nullptr);
  l = plist_sort(l, by_key);
  EXPECT_EQ(tags(l), (std::vector<int>{1, 4, 3, 6, 0, 2, 5}));
  expect_consistent(l);
  int desc = 1;
  l = plist_sort_plusplus(l, by_key_dir, &desc);
  EXPECT_EQ(tags(l), (std::vector<int>{0, 2, 5, 3, 6, 1, 4}));
  expect_consistent(l);
  plist_free(l);
  EXPECT_EQ(plist_sort(nullptr, by_key), nullptr);
}

TEST(PlistIndex, NegativeMeansLastAndPastTheEndIsNone) {
  int a = 1, b = 2, c = 3;
  plist* l = plist_append(plist_append(plist_append(nullptr, &a, nullptr), &b, nullptr), &c, nullptr);
  EXPECT_EQ(plist_get_nth_data(l, -1), &c);
  EXPECT_EQ(plist_get_nth_data(l, -7), &c);
  EXPECT_EQ(plist_get_nth(l, 3), nullptr);
  EXPECT_EQ(plist_get_nth_data(l, 0), &a);
  EXPECT_EQ(plist_get_index_of(l, &b), 1);
  EXPECT_EQ(plist_get_index_of(l, nullptr), -1);
  EXPECT_EQ(plist_get_nth(nullptr, -1), nullptr);
  plist_free(l);
}

TEST(PlistInsert, PositionRules) {
  int v[5] = {0, 1, 2, 3, 4};
  plist* l = nullptr;
  l = plist_insert(l, &v[1], nullptr, 5);   // empty list: appended
  l = plist_insert(l, &v[0], nullptr, 0);   // first
  l = plist_insert(l, &v[3], nullptr, -1);  // appended
  l = plist_insert(l, &v[2], nullptr, 2);   // becomes element 2
  l = plist_insert(l, &v[4], nullptr, 99);  // past the end: appended
  for (int i = 0; i < 5; i++) EXPECT_EQ(plist_get_nth_data(l, i), &v[i]);
  expect_consistent(l);
  plist_free(l);
}

TEST(PlistRemove, ByIdentityNotContent) {
  std::string x = "same", y = "same";
  plist* l = plist_append(plist_append(nullptr, &x, nullptr), &y, nullptr);
  std::string other = "same";
  EXPECT_EQ(plist_remove(l, &other), l);
  EXPECT_EQ(plist_get_n_elements(l), 2);
  l = plist_remove(l, &x);
  ASSERT_EQ(plist_get_n_elements(l), 1);
  EXPECT_EQ(l->data, &y);
  EXPECT_EQ(l->prev, nullptr);
  plist_free(l);
}

TEST(PlistOwnership, DeleteFreesDataRemoveDoesNot) {
  static int freed;
  freed = 0;
  auto count_free = [](void*) { freed++; };
  int a, b, c;
  plist* l = nullptr;
  l = plist_append(l, &a, count_free);
  l = plist_append(l, &b, count_free);
  l = plist_append(l, &c, count_free);
  l = plist_remove(l, &b);
  EXPECT_EQ(freed, 0);
  l = plist_delete_nth(l, 0);
  EXPECT_EQ(freed, 1);
  EXPECT_EQ(l->data, &c);
  plist* dup = plist_duplicate(l);
  plist_free(dup);  // the copy has no free functions
  EXPECT_EQ(freed, 1);
  plist_free(l);
  EXPECT_EQ(freed, 2);
}

TEST(PlistSearch, FirstExactMatchWithIndex) {
  plist* l = nullptr;
  for (const char* s : {"Alpha", "beta", "BETA"}) l = plist_append_string(l, s);
  std::string key = "Beta";
  int index = 99;
  plist* hit = plist_search_for(l, &key, plist_search_func_strcasecmp, &index);
  ASSERT_NE(hit, nullptr);
  EXPECT_EQ(plist_str(hit), "beta");
  EXPECT_EQ(index, 1);
  std::string none = "gamma";
  EXPECT_EQ(plist_search_for(l, &none, plist_search_func_strcasecmp, &index), nullptr);
  EXPECT_EQ(index, -1);
  plist_free(l);
}

}  // namespace
