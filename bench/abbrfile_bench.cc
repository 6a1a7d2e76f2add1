// Load and save times of generated libraries of 1k, 10k and 100k abbreviations.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <random>
#include <string>

#include "core/msgbox.h"
#include "library/abbr_file.h"
#include "util/strutil.h"

namespace {

const char* const k_words[] = {"the",     "meeting", "Thursday", "invoice", "regards", "please",  "attached",
                               "schedule", "für",    "café",     "résumé",  "project", "deadline", "&",
                               "<b>",     "\"quoted\"", "it's",  "address", "phone",   "€100",    "tomorrow"};

std::string sentence(std::mt19937& rng, int min_words, int max_words) {
  std::uniform_int_distribution<int> count(min_words, max_words);
  std::uniform_int_distribution<size_t> word(0, sizeof k_words / sizeof k_words[0] - 1);
  std::string s;
  int n = count(rng);
  for (int i = 0; i < n; i++) {
    if (i) s += (i % 13 == 0) ? "\r\n" : (i % 29 == 0 ? "\t" : " ");
    s += k_words[word(rng)];
  }
  return s;
}

// Top folder > 10 folders > 5 subfolders > 4 subfolders (200 leaf folders), abbreviations spread
// over every level; one in twenty is a launcher.
void build_library(int n_abbrevs) {
  abbr_free_all_folder_lists();
  std::mt19937 rng(42);
  abbr_folder* top = abbr_create_absolute_parent_folder();
  abbr_add_subfolder_to_folder(ABBR_MAIN_LIST, nullptr, top);
  std::vector<abbr_folder*> folders;
  for (int i = 0; i < 10; i++) {
    abbr_folder* a = abbr_new_subfolder_of(top, "Area " + std::to_string(i));
    abbr_add_subfolder_to_folder(ABBR_MAIN_LIST, top, a);
    folders.push_back(a);
    for (int j = 0; j < 5; j++) {
      abbr_folder* b = abbr_new_subfolder_of(a, "Topic " + std::to_string(j));
      abbr_add_subfolder_to_folder(ABBR_MAIN_LIST, a, b);
      folders.push_back(b);
      for (int k = 0; k < 4; k++) {
        abbr_folder* c = abbr_new_subfolder_of(b, sentence(rng, 1, 3));
        abbr_add_subfolder_to_folder(ABBR_MAIN_LIST, b, c);
        folders.push_back(c);
      }
    }
  }
  for (int i = 0; i < n_abbrevs; i++) {
    abbr_folder* f = folders[static_cast<size_t>(i) % folders.size()];
    uint8_t type = i % 20 == 0 ? ABBR_TYPE_PROGRAM : i % 20 == 1 ? ABBR_TYPE_WEBSITE : ABBR_TYPE_TEXT;
    abbr_abbrev* a = abbr_create_new_abbrev(type, f);
    std::string abbrevs = ";" + std::to_string(i);
    if (i % 7 == 0) abbrevs += "|alt" + std::to_string(i);
    a->abbrevs = abbr_get_lst_of_abbrevs_from_string(abbrevs);
    a->description = sentence(rng, 2, 6);
    if (type == ABBR_TYPE_TEXT) a->replacement = sentence(rng, 5, 40);
    if (type == ABBR_TYPE_PROGRAM) a->program.path = "C:\\Program Files\\Tool\\tool.exe";
    if (type == ABBR_TYPE_WEBSITE) a->website.address = "https://example.com/search?q=" + std::to_string(i) + "&x=1";
    abbr_add_abbrev_to_folder(f, a, 0);  // order within a folder does not matter; appending is slow
  }
}

int silent(msgbox_kind, msgbox_buttons buttons, const std::string&, void*) { return msgbox_default_answer(buttons); }

std::string bench_file(int n) { return "abbrfile_bench_" + std::to_string(n) + "_" + std::to_string(getpid()) + ".tmk"; }

void BM_Save(benchmark::State& state) {
  int n = static_cast<int>(state.range(0));
  build_library(n);
  std::string path = bench_file(n);
  std::string err;
  for (auto _ : state) {
    if (!abbr_dump_folder_list_to_file(abbr_folder_list(ABBR_MAIN_LIST), path, &err)) state.SkipWithError(err.c_str());
  }
  state.counters["MB"] = static_cast<double>(read_file_to_string(path).value_or("").size()) / 1e6;
  unlink(path.c_str());
  abbr_free_all_folder_lists();
}

void BM_Load(benchmark::State& state) {
  int n = static_cast<int>(state.range(0));
  build_library(n);
  std::string path = bench_file(n);
  std::string err;
  if (!abbr_dump_folder_list_to_file(abbr_folder_list(ABBR_MAIN_LIST), path, &err)) state.SkipWithError(err.c_str());
  msgbox_set_handler(silent, nullptr);
  for (auto _ : state) {
    // Start-up loads into an empty main list; freeing the previous round is not part of a load.
    state.PauseTiming();
    abbr_free_folder_list(ABBR_MAIN_LIST);
    state.ResumeTiming();
    if (!abbr_load_main_list_from_file(path)) state.SkipWithError("load failed");
  }
  msgbox_set_handler(nullptr, nullptr);
  state.counters["abbrevs"] = abbr_get_n_abbrevs_in_folder(abbr_get_absolute_parent_folder(ABBR_MAIN_LIST), true);
  unlink(path.c_str());
  abbr_free_all_folder_lists();
}

}  // namespace

BENCHMARK(BM_Save)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Load)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
