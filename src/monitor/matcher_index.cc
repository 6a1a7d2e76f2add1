// The tail index of the matcher.
//
// A text can only end the buffer if its last characters, lower-cased, equal the buffer's last
// characters lower-cased: a byte-exact compare implies it, and the case-insensitive compare
// walks both sides character by character in step, so it implies it too. Each text is filed
// under its last min(3, length) characters; a key then looks up the buffer's last one, two and
// three characters and runs the ordinary per-text test on the few texts found. Entries keep
// their walk position, so merging the buckets by position restores the walk's order. Texts that
// are not valid UTF-8 are checked on every key.
#include <glib.h>

#include <algorithm>
#include <string>
#include <unordered_map>
#include <vector>

#include "monitor/matcher.h"
#include "monitor/mon_internal.h"

namespace {

constexpr int kTailChars = 3;

struct idx_entry {
  uint32_t top;           // index of the top-level folder the entry lies in
  abbr_folder* folder;    // its own folder (the disabled flag is read at match time)
  abbr_abbrev* abbrev;
  const std::string* text;
  int position;
};

struct tail_index {
  std::vector<idx_entry> entries;  // in walk order
  std::unordered_map<std::string, std::vector<uint32_t>> buckets[kTailChars];
  std::vector<uint32_t> always;
  plist* built_for = nullptr;
};

tail_index* g_index = nullptr;
bool g_index_enabled = true;

void append_folded(std::string* out, gunichar c) {
  char tmp[8];
  int n = g_unichar_to_utf8(g_unichar_tolower(c), tmp);
  out->append(tmp, static_cast<size_t>(n));
}

// The lower-cased last `k` characters of a valid UTF-8 text, oldest first, or false when it
// has fewer.
bool folded_tail(const char* begin, const char* end, int k, std::string* out) {
  gunichar chars[kTailChars];
  const char* p = end;
  for (int i = 0; i < k; ++i) {
    const char* prev = g_utf8_find_prev_char(begin, p);
    if (!prev) return false;
    chars[k - 1 - i] = g_utf8_get_char(prev);
    p = prev;
  }
  out->clear();
  for (int i = 0; i < k; ++i) append_folded(out, chars[i]);
  return true;
}

void add_tree(tail_index* idx, abbr_folder* folder, uint32_t top) {
  int position = 0;
  for (plist* node = folder->abbrevs; node; node = node->next, ++position) {
    auto* a = static_cast<abbr_abbrev*>(node->data);
    if (a->type == ABBR_TYPE_FOURTH) continue;
    for (plist* t = a->abbrevs; t; t = t->next) {
      const std::string& s = plist_str(t);
      if (s.empty()) continue;
      auto id = static_cast<uint32_t>(idx->entries.size());
      idx->entries.push_back({top, folder, a, &s, position});
      if (!g_utf8_validate(s.data(), static_cast<gssize>(s.size()), nullptr)) {
        idx->always.push_back(id);
        continue;
      }
      long nchars = g_utf8_strlen(s.data(), static_cast<gssize>(s.size()));
      int k = static_cast<int>(std::min<long>(nchars, kTailChars));
      std::string key;
      folded_tail(s.data(), s.data() + s.size(), k, &key);
      idx->buckets[k - 1][key].push_back(id);
    }
  }
  for (abbr_folder* sub : plist_range<abbr_folder>(folder->subfolders)) add_tree(idx, sub, top);
}

}  // namespace

void mon_matcher_index_free() {
  delete g_index;
  g_index = nullptr;
}

void mon_matcher_index_build() {
  mon_matcher_index_free();
  if (!g_index_enabled) return;
  auto* idx = new tail_index;
  idx->built_for = abbr_folder_list(ABBR_MAIN_LIST);
  uint32_t top = 0;
  for (abbr_folder* f : plist_range<abbr_folder>(idx->built_for)) add_tree(idx, f, top++);
  g_index = idx;
}

void mon_matcher_set_index_enabled(bool on) {
  g_index_enabled = on;
  if (!on) mon_matcher_index_free();
}

bool mon_matcher_index_ready() {
  return g_index && g_index->built_for == abbr_folder_list(ABBR_MAIN_LIST);
}

plist* mon_matcher_index_candidates() {
  if (!g_index || !key_buffer) return nullptr;
  const tail_index& idx = *g_index;
  std::vector<uint32_t> ids(idx.always);
  std::string key;
  const char* end = key_buffer + key_bufsize;
  for (int k = 1; k <= kTailChars; ++k) {
    if (!folded_tail(key_buffer, end, k, &key)) break;
    auto it = idx.buckets[k - 1].find(key);
    if (it != idx.buckets[k - 1].end()) ids.insert(ids.end(), it->second.begin(), it->second.end());
  }
  std::sort(ids.begin(), ids.end());
  plist* out = nullptr;
  bool found = false;
  uint32_t top = 0;
  for (uint32_t id : ids) {
    const idx_entry& e = idx.entries[id];
    if (found && e.top != top) break;
    if (e.folder->disabled || !mon_text_matches_buffer_tail(e.abbrev, *e.text)) continue;
    found = true;
    top = e.top;
    auto* m = new abbrev_match;
    m->abbrev = e.abbrev;
    m->text = e.text;
    m->position = e.position;
    out = plist_append(out, m, abbrev_match_free);
  }
  return out;
}

plist* mon_matcher_linear_candidates() {
  for (abbr_folder* top : plist_range<abbr_folder>(abbr_folder_list(ABBR_MAIN_LIST))) {
    plist* c = mon_walk_through_abbrevs_in_all_folders_get_potential_matches(top);
    if (c) return c;
  }
  return nullptr;
}
