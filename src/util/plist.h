// plist: the doubly linked list of untyped pointers that holds every collection.
//
// A list is identified by its first node; the empty list is nullptr. Every operation that can
// change the first node returns the new first node, and callers always store that result.
// A node may own its data through a free function; freeing or deleting such a node frees the
// data with it. Not thread-safe: each list belongs to one thread at a time.
#pragma once

#include <cstddef>
#include <iterator>
#include <string>

typedef void (*plist_free_func)(void* data);
typedef int (*plist_compare_func)(const void* a, const void* b);
typedef int (*plist_compare_func_plusplus)(const void* a, const void* b, void* user_data);
typedef int (*plist_match_func)(const void* data, const void* key);
typedef void* (*plist_copy_func)(const void* data);

struct plist {
  void* data;
  plist* next;
  plist* prev;
  plist_free_func free_func;  // (nullable) frees `data` together with the node
};

// A one-node list.
plist* plist_alloc_set(void* data, plist_free_func free_func);
// Links a new node at the end; returns the first node.
plist* plist_append(plist* list, void* data, plist_free_func free_func);
// Negative position appends; 0 puts the node first; k makes it the k-th element (from 0),
// appended when the list is shorter.
plist* plist_insert(plist* list, void* data, plist_free_func free_func, int position);
// Links list b after list a.
plist* plist_append_plist(plist* a, plist* b);

// Unlinks the first node whose data pointer is `data` (identity, not content) and frees the
// node but not the data. Data not in the list leaves the list unchanged.
plist* plist_remove(plist* list, const void* data);
// Unlinks `node` (which must belong to `list`) and frees the node but not the data.
plist* plist_remove_element(plist* list, plist* node);
// Unlinks `node` and frees it, freeing its data with the node's free function.
plist* plist_delete_element(plist* list, plist* node);
// Unlinks the first node holding `data` and frees it with its data.
plist* plist_delete(plist* list, const void* data);
// Unlinks the n-th node (plist_get_nth rules) and frees it with its data.
plist* plist_delete_nth(plist* list, int n);

// Frees every node, calling each node's free function on its data first.
void plist_free(plist* list);
// Frees the nodes only.
void plist_free_all_but_data(plist* list);

// n counts from 0; a negative n means the last element; an n past the end gives nullptr.
plist* plist_get_nth(plist* list, int n);
void* plist_get_nth_data(plist* list, int n);
// A new one-node list holding the n-th data pointer, without a free function; nullptr when
// there is no such element.
plist* plist_copy_nth(plist* list, int n);
plist* plist_get_last(plist* list);

// Index of the node holding that pointer, -1 when absent.
int plist_get_index_of(plist* list, const void* data);
int plist_get_n_elements(const plist* list);
// Exchanges the data (and their free functions) of two positions; out-of-range indexes do
// nothing.
void plist_swap_index(plist* list, int i, int j);

// First node for which match(data, key) returns exactly 1, and its index (-1 when none).
plist* plist_search_for(plist* list, const void* key, plist_match_func match, int* index_out);
// Match function for lists of std::string*: 1 when the strings are equal ignoring ASCII case.
int plist_search_func_strcasecmp(const void* data, const void* key);

// A new list with the same data pointers and no free functions.
plist* plist_duplicate(plist* list);
// A new list whose data are copy(data); each node keeps the source node's free function.
plist* plist_duplicate_data_too(plist* list, plist_copy_func copy);

// Stable ascending merge sort: a right-hand element is taken first only when
// compare(left, right) > 0, so equal elements keep their order.
plist* plist_sort(plist* list, plist_compare_func compare);
plist* plist_sort_plusplus(plist* list, plist_compare_func_plusplus compare, void* user_data);

// ---- Lists of strings: each node owns a heap std::string. ----

void plist_free_string(void* data);  // deletes a std::string*
plist* plist_append_string(plist* list, const std::string& s);
inline std::string& plist_str(plist* node) { return *static_cast<std::string*>(node->data); }

// ---- Typed iteration: for (abbr_folder* f : plist_range<abbr_folder>(list)) ----
// The loop must not unlink the node it is visiting.
template <typename T>
class plist_range {
 public:
  class iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = T*;
    using difference_type = std::ptrdiff_t;
    using pointer = T**;
    using reference = T*;
    explicit iterator(plist* n) : node_(n) {}
    T* operator*() const { return static_cast<T*>(node_->data); }
    iterator& operator++() {
      node_ = node_->next;
      return *this;
    }
    bool operator!=(const iterator& o) const { return node_ != o.node_; }
    bool operator==(const iterator& o) const { return node_ == o.node_; }

   private:
    plist* node_;
  };
  explicit plist_range(plist* list) : list_(list) {}
  iterator begin() const { return iterator(list_); }
  iterator end() const { return iterator(nullptr); }

 private:
  plist* list_;
};

// ---- pstack: a stack of untyped pointers on top of plist. It never owns its data. ----

struct pstack {
  plist* top;  // first node = top of the stack
};

pstack* pstack_new();
void pstack_push(pstack* stack, void* data);
// Returns and removes the top; nullptr when empty.
void* pstack_pop(pstack* stack);
// Returns the top without removing it; nullptr when empty.
void* pstack_peek(const pstack* stack);
// Frees the stack, not the data.
void pstack_delete(pstack* stack);
