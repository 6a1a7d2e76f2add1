#include "util/kvlist.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::vector<std::string> keys(kvlist* l) {
  std::vector<std::string> out;
  for (kvlist* e = l; e; e = e->next) out.push_back(e->key);
  return out;
}

void expect_consistent(kvlist* l) {
  kvlist* prev = nullptr;
  for (kvlist* e = l; e; e = e->next) {
    EXPECT_EQ(e->prev, prev);
    prev = e;
  }
}

// A value that counts how often it was freed.
struct counted {
  int* frees;
};
void free_counted(void* p) {
  counted* c = static_cast<counted*>(p);
  ++*c->frees;
  delete c;
}

TEST(KvlistLookup, KeysIgnoreCaseAndFirstEntryWins) {
  kvlist* l = nullptr;
  l = kvlist_append_string(l, "Label", "first");
  l = kvlist_append(l, "count", reinterpret_cast<void*>(intptr_t{7}), KVLIST_TYPE_INTEGER, nullptr);
  l = kvlist_append_string(l, "LABEL", "second");

  int64_t type = 0;
  void* v = kvlist_lookup_value(l, "label", &type);
  ASSERT_NE(v, nullptr);
  EXPECT_EQ(*static_cast<std::string*>(v), "first");
  EXPECT_EQ(type, KVLIST_TYPE_STRING);

  EXPECT_EQ(kvlist_lookup_value(l, "missing", &type), nullptr);
  EXPECT_EQ(type, -1);

  EXPECT_EQ(kvlist_lookup_value_type(l, "COUNT", KVLIST_TYPE_INTEGER), reinterpret_cast<void*>(intptr_t{7}));
  EXPECT_EQ(kvlist_lookup_value_type(l, "count", KVLIST_TYPE_STRING), nullptr);
  EXPECT_EQ(kvlist_get_from_key_type(l, "label", KVLIST_TYPE_INTEGER), nullptr);
  EXPECT_EQ(kvlist_get_from_key(l, "label"), l);
  EXPECT_EQ(kvlist_lookup_string(l, "count"), nullptr);
  kvlist_free(l);
}

TEST(KvlistLookup, ByStringValueOnlyConsidersStringEntries) {
  kvlist* l = nullptr;
  // Data entries hold text too but are not strings.
  l = kvlist_append(l, "", new std::string("abc-def"), KVLIST_TYPE_DATA, plist_free_string);
  l = kvlist_append_string(l, "", "ABC-DEF");
  l = kvlist_append_string(l, "", "abc-def");
  l = kvlist_append(l, "", nullptr, KVLIST_TYPE_STRING, nullptr);
  EXPECT_EQ(kvlist_lookup_by_string_value(l, "abc-DEF"), kvlist_get_nth(l, 1));
  EXPECT_EQ(kvlist_lookup_by_string_value(l, "abc"), nullptr);
  EXPECT_EQ(kvlist_lookup_by_string_value(nullptr, "abc"), nullptr);
  kvlist_free(l);
}

TEST(KvlistChange, SetValueFreesTheOldValueWithTheOldFreeFunction) {
  int frees = 0;
  kvlist* l = kvlist_append_string(nullptr, "x", "1");
  l = kvlist_append(l, "Mode", new counted{&frees}, KVLIST_TYPE_DATA, free_counted);

  l = kvlist_set_value(l, "mode", reinterpret_cast<void*>(intptr_t{2}), KVLIST_TYPE_INTEGER, nullptr);
  EXPECT_EQ(frees, 1);
  kvlist* e = kvlist_get_nth(l, 1);
  EXPECT_EQ(e->key, "Mode");  // the entry keeps its key's spelling
  EXPECT_EQ(e->type, KVLIST_TYPE_INTEGER);
  EXPECT_EQ(e->free_func, nullptr);

  // Setting the value an entry already holds must not free it.
  counted* c = new counted{&frees};
  l = kvlist_set_value(l, "mode", c, KVLIST_TYPE_DATA, free_counted);
  l = kvlist_set_value(l, "MODE", c, KVLIST_TYPE_DATA, free_counted);
  EXPECT_EQ(frees, 1);

  l = kvlist_set_value(l, "new", new std::string("n"), KVLIST_TYPE_STRING, plist_free_string);
  EXPECT_EQ(keys(l), (std::vector<std::string>{"x", "Mode", "new"}));
  kvlist_free(l);
  EXPECT_EQ(frees, 2);

  kvlist* fresh = kvlist_set_value(nullptr, "k", nullptr, KVLIST_TYPE_EMPTY_ARRAY, nullptr);
  ASSERT_NE(fresh, nullptr);
  EXPECT_EQ(fresh->key, "k");
  kvlist_free(fresh);
}

TEST(KvlistChange, RemoveKeepsTheValueDeleteFreesIt) {
  int frees = 0;
  counted* kept = new counted{&frees};
  kvlist* l = nullptr;
  l = kvlist_append(l, "a", kept, KVLIST_TYPE_DATA, free_counted);
  l = kvlist_append(l, "b", new counted{&frees}, KVLIST_TYPE_DATA, free_counted);
  counted* third = new counted{&frees};
  l = kvlist_append(l, "c", third, KVLIST_TYPE_DATA, free_counted);
  l = kvlist_append(l, "B", new counted{&frees}, KVLIST_TYPE_DATA, free_counted);

  l = kvlist_remove_by_key(l, "A");  // first entry: the head moves
  EXPECT_EQ(keys(l), (std::vector<std::string>{"b", "c", "B"}));
  EXPECT_EQ(frees, 0);
  free_counted(kept);
  EXPECT_EQ(frees, 1);

  l = kvlist_delete_by_key(l, "b");  // only the first of the two
  EXPECT_EQ(keys(l), (std::vector<std::string>{"c", "B"}));
  EXPECT_EQ(frees, 2);
  expect_consistent(l);

  counted other{&frees};
  EXPECT_EQ(kvlist_delete_by_value(l, &other), l);  // not in the list: unchanged
  l = kvlist_delete_by_value(l, third);
  EXPECT_EQ(keys(l), (std::vector<std::string>{"B"}));
  EXPECT_EQ(frees, 3);

  EXPECT_EQ(kvlist_remove_by_key(l, "zz"), l);
  l = kvlist_delete_element(l, kvlist_get_nth(l, -1));
  EXPECT_EQ(l, nullptr);
  EXPECT_EQ(frees, 4);
}

// A date-like value kvlist does not know: a heap int freed with this function.
void free_heap_int(void* p) { delete static_cast<int*>(p); }
void* copy_heap_int(const void* p, uint32_t) { return new int(*static_cast<const int*>(p)); }

// A group dictionary as the property-list reader builds it: strings, a borrowed number, a
// nested dictionary, an array of scalars and an array of dictionaries.
kvlist* sample_group() {
  kvlist* info = kvlist_append_string(nullptr, "groupName", "Mail");
  kvlist* uuids = kvlist_append_string(kvlist_append_string(nullptr, "", "U1"), "", "U2");
  plist* snippets = nullptr;
  snippets = plist_append(snippets, kvlist_append_string(nullptr, "abbreviation", "sig"), nullptr);
  snippets = plist_append(snippets, kvlist_append_string(nullptr, "abbreviation", "addr"), nullptr);

  kvlist* g = nullptr;
  g = kvlist_append_string(g, "name", "Mail");
  g = kvlist_append(g, "expandAfterMode", reinterpret_cast<void*>(intptr_t{2}), KVLIST_TYPE_INTEGER, nullptr);
  g = kvlist_append(g, "groupInfo", info, KVLIST_TYPE_DICT, kvlist_free_value);
  g = kvlist_append(g, "snippetUUIDs", uuids, KVLIST_TYPE_SCALAR_ARRAY, kvlist_free_value);
  g = kvlist_append(g, "snippetsTE2", snippets, KVLIST_TYPE_DICT_ARRAY, kvlist_free_dict_array);
  g = kvlist_append(g, "creationDate", new int(1234), KVLIST_TYPE_DATE, free_heap_int);
  g = kvlist_append(g, "empty", nullptr, KVLIST_TYPE_EMPTY_ARRAY, nullptr);
  return g;
}

TEST(KvlistDuplicate, CopiesEveryLevelAndSharesNothingOwned) {
  kvlist* src = sample_group();
  kvlist* dup = kvlist_duplicate(src, copy_heap_int);
  expect_consistent(dup);
  ASSERT_EQ(keys(dup), keys(src));
  for (kvlist *s = src, *d = dup; s; s = s->next, d = d->next) {
    EXPECT_EQ(d->type, s->type) << s->key;
    EXPECT_EQ(d->free_func, s->free_func) << s->key;
    if (s->free_func)
      EXPECT_NE(d->value, s->value) << s->key;
    else
      EXPECT_EQ(d->value, s->value) << s->key;
  }

  // Changing the source at every level leaves the copy as it was.
  *static_cast<std::string*>(kvlist_lookup_value(src, "name", nullptr)) = "changed";
  kvlist* info = static_cast<kvlist*>(kvlist_lookup_value(src, "groupInfo", nullptr));
  info = kvlist_set_value(info, "groupName", new std::string("changed"), KVLIST_TYPE_STRING, plist_free_string);
  kvlist* uuids = static_cast<kvlist*>(kvlist_lookup_value(src, "snippetUUIDs", nullptr));
  *static_cast<std::string*>(uuids->next->value) = "changed";
  plist* snippets = static_cast<plist*>(kvlist_lookup_value(src, "snippetsTE2", nullptr));
  kvlist* first = static_cast<kvlist*>(snippets->data);
  *static_cast<std::string*>(first->value) = "changed";
  *static_cast<int*>(kvlist_lookup_value(src, "creationDate", nullptr)) = 0;
  kvlist_free(src);

  EXPECT_EQ(*kvlist_lookup_string(dup, "name"), "Mail");
  kvlist* dinfo = static_cast<kvlist*>(kvlist_lookup_value_type(dup, "groupinfo", KVLIST_TYPE_DICT));
  EXPECT_EQ(*kvlist_lookup_string(dinfo, "groupName"), "Mail");
  kvlist* duuids = static_cast<kvlist*>(kvlist_lookup_value(dup, "snippetUUIDs", nullptr));
  EXPECT_NE(kvlist_lookup_by_string_value(duuids, "u2"), nullptr);
  plist* dsnips = static_cast<plist*>(kvlist_lookup_value(dup, "snippetsTE2", nullptr));
  ASSERT_EQ(plist_get_n_elements(dsnips), 2);
  EXPECT_EQ(*kvlist_lookup_string(static_cast<kvlist*>(dsnips->data), "abbreviation"), "sig");
  EXPECT_EQ(*kvlist_lookup_string(static_cast<kvlist*>(dsnips->next->data), "abbreviation"), "addr");
  EXPECT_EQ(*static_cast<int*>(kvlist_lookup_value(dup, "creationDate", nullptr)), 1234);
  kvlist_free(dup);
  EXPECT_EQ(kvlist_duplicate(nullptr, nullptr), nullptr);
}

TEST(KvlistDuplicateDeathTest, UnknownOwnedValueWithoutCopyFunctionAborts) {
  kvlist* l = kvlist_append(nullptr, "d", new int(1), KVLIST_TYPE_DATE, free_heap_int);
  EXPECT_DEATH(kvlist_duplicate(l, nullptr), "no copy function");
  kvlist_free(l);
}

}  // namespace
