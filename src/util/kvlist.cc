#include "util/kvlist.h"

#include <cstdio>
#include <cstdlib>

#include "util/strutil.h"

void kvlist_free_value(void* list) { kvlist_free(static_cast<kvlist*>(list)); }

void kvlist_free_dict_array(void* list) {
  plist* l = static_cast<plist*>(list);
  for (plist* n = l; n; n = n->next) kvlist_free(static_cast<kvlist*>(n->data));
  plist_free_all_but_data(l);
}

static kvlist* last_entry(kvlist* list) {
  if (!list) return nullptr;
  while (list->next) list = list->next;
  return list;
}

kvlist* kvlist_append(kvlist* list, std::string_view key, void* value, uint32_t type,
                      plist_free_func free_func) {
  kvlist* e = new kvlist{std::string(key), value, type, free_func, nullptr, nullptr};
  if (!list) return e;
  kvlist* last = last_entry(list);
  last->next = e;
  e->prev = last;
  return list;
}

kvlist* kvlist_append_string(kvlist* list, std::string_view key, std::string_view text) {
  return kvlist_append(list, key, new std::string(text), KVLIST_TYPE_STRING, plist_free_string);
}

kvlist* kvlist_set_value(kvlist* list, std::string_view key, void* value, uint32_t type,
                         plist_free_func free_func) {
  kvlist* e = kvlist_get_from_key(list, key);
  if (!e) return kvlist_append(list, key, value, type, free_func);
  if (e->free_func && e->value != value) e->free_func(e->value);
  e->value = value;
  e->type = type;
  e->free_func = free_func;
  return list;
}

kvlist* kvlist_append_kvlist(kvlist* a, kvlist* b) {
  if (!a) return b;
  if (!b) return a;
  kvlist* last = last_entry(a);
  last->next = b;
  b->prev = last;
  return a;
}

kvlist* kvlist_get_from_key(kvlist* list, std::string_view key) {
  for (kvlist* e = list; e; e = e->next)
    if (str_caseeq(e->key, key)) return e;
  return nullptr;
}

kvlist* kvlist_get_from_key_type(kvlist* list, std::string_view key, uint32_t type) {
  kvlist* e = kvlist_get_from_key(list, key);
  return e && e->type == type ? e : nullptr;
}

void* kvlist_lookup_value(kvlist* list, std::string_view key, int64_t* type_out) {
  kvlist* e = kvlist_get_from_key(list, key);
  if (type_out) *type_out = e ? static_cast<int64_t>(e->type) : -1;
  return e ? e->value : nullptr;
}

void* kvlist_lookup_value_type(kvlist* list, std::string_view key, uint32_t type) {
  kvlist* e = kvlist_get_from_key_type(list, key, type);
  return e ? e->value : nullptr;
}

const std::string* kvlist_lookup_string(kvlist* list, std::string_view key) {
  return static_cast<const std::string*>(kvlist_lookup_value_type(list, key, KVLIST_TYPE_STRING));
}

kvlist* kvlist_lookup_by_string_value(kvlist* list, std::string_view text) {
  for (kvlist* e = list; e; e = e->next)
    if (e->type == KVLIST_TYPE_STRING && e->value && str_caseeq(*static_cast<std::string*>(e->value), text))
      return e;
  return nullptr;
}

kvlist* kvlist_get_nth(kvlist* list, int n) {
  if (n < 0) return last_entry(list);
  for (int i = 0; list && i < n; i++) list = list->next;
  return list;
}

int kvlist_get_n_elements(const kvlist* list) {
  int n = 0;
  for (; list; list = list->next) n++;
  return n;
}

static kvlist* unlink_entry(kvlist* list, kvlist* e) {
  if (e->prev) e->prev->next = e->next;
  if (e->next) e->next->prev = e->prev;
  if (e == list) list = e->next;
  e->next = e->prev = nullptr;
  return list;
}

kvlist* kvlist_remove_by_key(kvlist* list, std::string_view key) {
  kvlist* e = kvlist_get_from_key(list, key);
  if (!e) return list;
  list = unlink_entry(list, e);
  delete e;
  return list;
}

kvlist* kvlist_delete_element(kvlist* list, kvlist* entry) {
  if (!list || !entry) return list;
  list = unlink_entry(list, entry);
  if (entry->free_func) entry->free_func(entry->value);
  delete entry;
  return list;
}

kvlist* kvlist_delete_by_key(kvlist* list, std::string_view key) {
  return kvlist_delete_element(list, kvlist_get_from_key(list, key));
}

kvlist* kvlist_delete_by_value(kvlist* list, const void* value) {
  kvlist* e = list;
  while (e && e->value != value) e = e->next;
  return kvlist_delete_element(list, e);
}

void kvlist_free(kvlist* list) {
  while (list) {
    kvlist* next = list->next;
    if (list->free_func) list->free_func(list->value);
    delete list;
    list = next;
  }
}

static void* copy_value(const kvlist* e, kvlist_copy_func copy);

static plist* copy_dict_array(const plist* src, kvlist_copy_func copy) {
  plist* out = nullptr;
  for (const plist* n = src; n; n = n->next)
    out = plist_append(out, kvlist_duplicate(static_cast<const kvlist*>(n->data), copy), n->free_func);
  return out;
}

static void* copy_value(const kvlist* e, kvlist_copy_func copy) {
  if (!e->free_func || !e->value) return e->value;
  if (e->free_func == plist_free_string) return new std::string(*static_cast<const std::string*>(e->value));
  if (e->free_func == kvlist_free_value) return kvlist_duplicate(static_cast<const kvlist*>(e->value), copy);
  if (e->free_func == kvlist_free_dict_array) return copy_dict_array(static_cast<const plist*>(e->value), copy);
  if (!copy) {
    fprintf(stderr, "kvlist_duplicate: no copy function for the value of \"%s\" (type %u)\n", e->key.c_str(),
            static_cast<unsigned>(e->type));
    abort();
  }
  return copy(e->value, e->type);
}

kvlist* kvlist_duplicate(const kvlist* list, kvlist_copy_func copy) {
  kvlist* out = nullptr;
  kvlist* last = nullptr;
  for (const kvlist* e = list; e; e = e->next) {
    kvlist* c = new kvlist{e->key, copy_value(e, copy), e->type, e->free_func, nullptr, last};
    if (last)
      last->next = c;
    else
      out = c;
    last = c;
  }
  return out;
}
