// Time of one search from the search box (which runs on every change of its text) over
// generated sandboxes of 10k and 100k abbreviations, for a plain term and for a query with
// OR, AND and NOT.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "library/search.h"

namespace {

const char* const k_vocabulary[] = {"please",  "find",   "attached", "invoice", "regards",
                                    "Müller",  "straße", "café",     "meeting", "Thursday",
                                    "address", "phone",  "ÉTÉ",      "deadline"};
const size_t k_vocabulary_size = sizeof k_vocabulary / sizeof k_vocabulary[0];

// Deterministic text of `n` words picked by a simple linear congruential sequence.
std::string words(unsigned& seed, int n) {
  std::string s;
  for (int i = 0; i < n; i++) {
    seed = seed * 1103515245u + 12345u;
    if (i) s += ' ';
    s += k_vocabulary[(seed >> 16) % k_vocabulary_size];
  }
  return s;
}

// Ten folders of twenty subfolders each; abbreviations spread over all of them.
void fill_sandbox(int n_abbrevs) {
  abbr_free_all_folder_lists();
  abbr_folder* top = abbr_create_absolute_parent_folder();
  abbr_add_subfolder_to_folder(ABBR_SANDBOX_LIST, nullptr, top);
  std::vector<abbr_folder*> folders;
  for (int i = 0; i < 10; i++) {
    abbr_folder* area = abbr_new_subfolder_of(top, "Area " + std::to_string(i));
    abbr_add_subfolder_to_folder(ABBR_SANDBOX_LIST, top, area);
    for (int j = 0; j < 20; j++) {
      abbr_folder* sub = abbr_new_subfolder_of(area, "Sub " + std::to_string(j));
      abbr_add_subfolder_to_folder(ABBR_SANDBOX_LIST, area, sub);
      folders.push_back(sub);
    }
  }
  unsigned seed = 7;
  for (int i = 0; i < n_abbrevs; i++) {
    abbr_folder* f = folders[static_cast<size_t>(i) % folders.size()];
    abbr_abbrev* a = abbr_create_new_abbrev(ABBR_TYPE_TEXT, f);
    a->abbrevs = abbr_get_lst_of_abbrevs_from_string(";k" + std::to_string(i));
    a->description = words(seed, 3);
    a->replacement = words(seed, 30);
    abbr_add_abbrev_to_folder(f, a, 0);
  }
}

void run(benchmark::State& state, const char* query) {
  fill_sandbox(static_cast<int>(state.range(0)));
  unsigned flags = search_flags_for_box(search_options(), false);
  size_t hits = 0;
  for (auto _ : state) {
    plist* found = search_run_query(nullptr, query, flags);
    hits = static_cast<size_t>(plist_get_n_elements(found));
    plist_free_all_but_data(found);
  }
  state.counters["hits"] = static_cast<double>(hits);
  abbr_free_all_folder_lists();
}

void BM_SearchTerm(benchmark::State& state) { run(state, "Thursday deadline"); }
void BM_SearchQuery(benchmark::State& state) { run(state, "invoice AND straße OR café AND été NOT müller"); }

}  // namespace

BENCHMARK(BM_SearchTerm)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SearchQuery)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
