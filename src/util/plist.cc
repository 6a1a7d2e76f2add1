#include "util/plist.h"

#include <strings.h>

#include <cstdlib>

#include "util/die.h"

static plist* node_new(void* data, plist_free_func free_func) {
  plist* n = static_cast<plist*>(xmalloc(sizeof(plist)));
  n->data = data;
  n->next = nullptr;
  n->prev = nullptr;
  n->free_func = free_func;
  return n;
}

plist* plist_alloc_set(void* data, plist_free_func free_func) { return node_new(data, free_func); }

plist* plist_get_last(plist* list) {
  if (!list) return nullptr;
  while (list->next) list = list->next;
  return list;
}

plist* plist_append(plist* list, void* data, plist_free_func free_func) {
  plist* n = node_new(data, free_func);
  if (!list) return n;
  plist* last = plist_get_last(list);
  last->next = n;
  n->prev = last;
  return list;
}

plist* plist_insert(plist* list, void* data, plist_free_func free_func, int position) {
  if (position < 0 || !list) return plist_append(list, data, free_func);
  if (position == 0) {
    plist* n = node_new(data, free_func);
    n->next = list;
    list->prev = n;
    return n;
  }
  plist* at = list;
  for (int i = 0; i < position && at; i++) at = at->next;
  if (!at) return plist_append(list, data, free_func);
  plist* n = node_new(data, free_func);
  n->prev = at->prev;
  n->next = at;
  at->prev->next = n;
  at->prev = n;
  return list;
}

plist* plist_append_plist(plist* a, plist* b) {
  if (!a) return b;
  if (!b) return a;
  plist* last = plist_get_last(a);
  last->next = b;
  b->prev = last;
  return a;
}

static plist* unlink_node(plist* list, plist* node) {
  if (node->prev) node->prev->next = node->next;
  if (node->next) node->next->prev = node->prev;
  if (node == list) list = node->next;
  node->next = node->prev = nullptr;
  return list;
}

static plist* find_node(plist* list, const void* data) {
  for (plist* n = list; n; n = n->next)
    if (n->data == data) return n;
  return nullptr;
}

plist* plist_remove_element(plist* list, plist* node) {
  if (!list || !node) return list;
  list = unlink_node(list, node);
  free(node);
  return list;
}

plist* plist_delete_element(plist* list, plist* node) {
  if (!list || !node) return list;
  list = unlink_node(list, node);
  if (node->free_func) node->free_func(node->data);
  free(node);
  return list;
}

plist* plist_remove(plist* list, const void* data) {
  return plist_remove_element(list, find_node(list, data));
}

plist* plist_delete(plist* list, const void* data) {
  return plist_delete_element(list, find_node(list, data));
}

plist* plist_delete_nth(plist* list, int n) { return plist_delete_element(list, plist_get_nth(list, n)); }

void plist_free(plist* list) {
  while (list) {
    plist* next = list->next;
    if (list->free_func) list->free_func(list->data);
    free(list);
    list = next;
  }
}

void plist_free_all_but_data(plist* list) {
  while (list) {
    plist* next = list->next;
    free(list);
    list = next;
  }
}

plist* plist_get_nth(plist* list, int n) {
  if (n < 0) return plist_get_last(list);
  for (int i = 0; list && i < n; i++) list = list->next;
  return list;
}

void* plist_get_nth_data(plist* list, int n) {
  plist* node = plist_get_nth(list, n);
  return node ? node->data : nullptr;
}

plist* plist_copy_nth(plist* list, int n) {
  plist* node = plist_get_nth(list, n);
  return node ? node_new(node->data, nullptr) : nullptr;
}

int plist_get_index_of(plist* list, const void* data) {
  int i = 0;
  for (plist* n = list; n; n = n->next, i++)
    if (n->data == data) return i;
  return -1;
}

int plist_get_n_elements(const plist* list) {
  int count = 0;
  for (; list; list = list->next) count++;
  return count;
}

void plist_swap_index(plist* list, int i, int j) {
  if (i < 0 || j < 0) return;
  plist* a = plist_get_nth(list, i);
  plist* b = plist_get_nth(list, j);
  if (!a || !b || a == b) return;
  void* d = a->data;
  plist_free_func f = a->free_func;
  a->data = b->data;
  a->free_func = b->free_func;
  b->data = d;
  b->free_func = f;
}

plist* plist_search_for(plist* list, const void* key, plist_match_func match, int* index_out) {
  int i = 0;
  for (plist* n = list; n; n = n->next, i++) {
    if (match(n->data, key) == 1) {
      if (index_out) *index_out = i;
      return n;
    }
  }
  if (index_out) *index_out = -1;
  return nullptr;
}

int plist_search_func_strcasecmp(const void* data, const void* key) {
  if (!data || !key) return 0;
  const std::string* a = static_cast<const std::string*>(data);
  const std::string* b = static_cast<const std::string*>(key);
  return strcasecmp(a->c_str(), b->c_str()) == 0 ? 1 : 0;
}

plist* plist_duplicate(plist* list) {
  plist* out = nullptr;
  plist* tail = nullptr;
  for (plist* n = list; n; n = n->next) {
    plist* c = node_new(n->data, nullptr);
    if (!out) {
      out = c;
    } else {
      tail->next = c;
      c->prev = tail;
    }
    tail = c;
  }
  return out;
}

plist* plist_duplicate_data_too(plist* list, plist_copy_func copy) {
  plist* out = plist_duplicate(list);
  plist* src = list;
  for (plist* n = out; n; n = n->next, src = src->next) {
    n->data = copy(src->data);
    n->free_func = src->free_func;
  }
  return out;
}

namespace {

// The comparison is carried by a small functor so both sort entry points share one merge sort.
struct sort_cmp {
  plist_compare_func plain;
  plist_compare_func_plusplus plusplus;
  void* user_data;
  int operator()(const void* a, const void* b) const {
    return plain ? plain(a, b) : plusplus(a, b, user_data);
  }
};

plist* merge(plist* left, plist* right, const sort_cmp& cmp) {
  plist head{};
  plist* tail = &head;
  while (left && right) {
    plist* take;
    if (cmp(left->data, right->data) > 0) {
      take = right;
      right = right->next;
    } else {
      take = left;
      left = left->next;
    }
    tail->next = take;
    take->prev = tail;
    tail = take;
  }
  plist* rest = left ? left : right;
  tail->next = rest;
  if (rest) rest->prev = tail;
  plist* first = head.next;
  if (first) first->prev = nullptr;
  return first;
}

plist* merge_sort(plist* list, const sort_cmp& cmp) {
  if (!list || !list->next) return list;
  // Middle node: one pointer moves one step, the other two steps at a time.
  plist* slow = list;
  plist* fast = list->next;
  while (fast && fast->next) {
    slow = slow->next;
    fast = fast->next->next;
  }
  plist* right = slow->next;
  slow->next = nullptr;
  right->prev = nullptr;
  return merge(merge_sort(list, cmp), merge_sort(right, cmp), cmp);
}

}  // namespace

plist* plist_sort(plist* list, plist_compare_func compare) {
  return merge_sort(list, sort_cmp{compare, nullptr, nullptr});
}

plist* plist_sort_plusplus(plist* list, plist_compare_func_plusplus compare, void* user_data) {
  return merge_sort(list, sort_cmp{nullptr, compare, user_data});
}

void plist_free_string(void* data) { delete static_cast<std::string*>(data); }

plist* plist_append_string(plist* list, const std::string& s) {
  return plist_append(list, new std::string(s), plist_free_string);
}

pstack* pstack_new() {
  pstack* s = new pstack;
  s->top = nullptr;
  return s;
}

void pstack_push(pstack* stack, void* data) { stack->top = plist_insert(stack->top, data, nullptr, 0); }

void* pstack_pop(pstack* stack) {
  if (!stack || !stack->top) return nullptr;
  void* data = stack->top->data;
  stack->top = plist_remove_element(stack->top, stack->top);
  return data;
}

void* pstack_peek(const pstack* stack) { return stack && stack->top ? stack->top->data : nullptr; }

void pstack_delete(pstack* stack) {
  if (!stack) return;
  plist_free_all_but_data(stack->top);
  delete stack;
}
