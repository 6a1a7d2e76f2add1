// Cost of one typed key through the matcher, for libraries of 1k, 10k and 100k abbreviations,
// with the linear walk and with the tail index. The library looks like a real one: nested
// folders (some disabled), short mnemonic texts, autocorrect-style words that do occur in prose,
// all three trigger modes and within-words rules; the typing is plain English prose.
#include <benchmark/benchmark.h>

#include <random>
#include <string>

#include "library/abbr.h"
#include "monitor/matcher.h"
#include "monitor/mon.h"
#include "monitor/mon_internal.h"
#include "settings/settings.h"

namespace {

const char kProse[] =
    "The quick brown fox jumps over the lazy dog. Thanks for your email, I will get back to you "
    "by the end of the week with the figures we discussed. Please find attached the report; let "
    "me know if anything is unclear, or if you would like to go through it together on a call. "
    "Best regards, and have a nice weekend! P.S. the meeting on Tuesday has moved to 10:30 in "
    "the small room next to the kitchen, teh projector there works again. ";

const char* const kSyllables[] = {"ad", "br", "ca", "de", "em", "fo", "gr", "hi", "in", "jo", "ke",
                                  "lo", "ma", "ne", "or", "pa", "qu", "re", "si", "th", "ur", "ve",
                                  "wa", "xy", "yo", "zu", "st", "ch", "sh", "ly"};
const char* const kWords[] = {"teh", "adn", "recieve", "wich", "becuase", "thier", "btw", "asap",
                              "fyi", "imo", "omw", "ty", "brb", "sig", "addr", "tel"};

// Mnemonic texts: two to four syllables, sometimes with a prefix or a digit, so that a big
// library holds mostly distinct texts as real ones do.
std::string make_text(std::mt19937& rng) {
  unsigned kind = rng() % 10;
  std::string s;
  if (kind == 1) s = ";";
  if (kind == 2) s = "/";
  int n = 2 + static_cast<int>(rng() % 3);
  for (int i = 0; i < n; ++i) s += kSyllables[rng() % (sizeof kSyllables / sizeof *kSyllables)];
  if (kind == 3) s += std::to_string(rng() % 10);
  return s;
}

void build_library(int count) {
  abbr_free_all_folder_lists();
  std::mt19937 rng(12345);
  abbr_folder* top = abbr_create_absolute_parent_folder();
  abbr_add_subfolder_to_folder(ABBR_MAIN_LIST, nullptr, top);
  std::vector<abbr_folder*> folders{top};
  for (int i = 0; i < count / 40 + 1; ++i) {
    abbr_folder* parent = folders[rng() % folders.size()];
    abbr_folder* f = abbr_new_subfolder_of(parent, "folder");
    abbr_add_subfolder_to_folder(ABBR_MAIN_LIST, parent, f);
    f->disabled = rng() % 10 == 0;
    folders.push_back(f);
  }
  for (int i = 0; i < count; ++i) {
    abbr_folder* f = folders[rng() % folders.size()];
    abbr_abbrev* a = abbr_create_new_abbrev(ABBR_TYPE_TEXT, f);
    // A few autocorrect words and short forms that prose does contain, some with variations.
    const size_t nwords = sizeof kWords / sizeof *kWords;
    std::string texts = static_cast<size_t>(i) < 2 * nwords ? kWords[static_cast<size_t>(i) % nwords] : make_text(rng);
    if (rng() % 8 == 0) texts += "|" + make_text(rng);
    a->abbrevs = abbr_get_lst_of_abbrevs_from_string(texts);
    a->replacement = "Replacement text number " + std::to_string(i) + ", long enough to be realistic.";
    a->trigger_mode = 3 + rng() % 3;
    a->case_mode = rng() % 3;
    unsigned w = rng() % 10;
    a->anywhere = w < 7 ? 0 : (w < 9 ? 1 : 2);
    abbr_add_abbrev_to_folder(f, a, -1);
  }
}

void set_prefs() {
  setting_set("delim_chars", ",.?!()<>[]{}:;\"/\\-' \n\t");
  setting_set("trigger_hotkey", "17");
  setting_set_int("textexpander_mode", 0);
  setting_set_int("show_tooltips", 0);
  mon_prefs_reloaded();
}

void BM_KeyThroughMatcher(benchmark::State& state) {
  set_prefs();
  mon_matcher_set_index_enabled(state.range(1) != 0);
  build_library(static_cast<int>(state.range(0)));
  mon_adjust_key_buffer_size();
  const std::string prose = kProse;
  size_t i = 0;
  int64_t matches = 0;
  for (auto _ : state) {
    char c = prose[i];
    i = (i + 1) % prose.size();
    mon_add_char_to_key_buffer(c);
    plat_key_event ev{WM_KEYDOWN, static_cast<uint32_t>(c), 0, 0, 0};
    const char utf8[2] = {c, 0};
    abbrev_match* m = nullptr;
    int r = mon_was_abbrev_typed_by_user(ev, utf8, &m);
    if (r & 1) {
      // What the replacement's clean-up does.
      ++matches;
      abbrev_match_free(m);
      mon_clear_key_buffer();
    }
    benchmark::DoNotOptimize(r);
  }
  state.SetItemsProcessed(state.iterations());
  state.counters["expansions_per_1k_keys"] =
      benchmark::Counter(static_cast<double>(matches) * 1000.0 / static_cast<double>(state.iterations()));
  mon_set_abbrev_waiting_to_expand(nullptr);
  mon_free_key_buffer();
  mon_matcher_index_free();
  abbr_free_all_folder_lists();
}

}  // namespace

BENCHMARK(BM_KeyThroughMatcher)
    ->ArgNames({"abbrevs", "index"})
    ->Args({1000, 0})
    ->Args({10000, 0})
    ->Args({100000, 0})
    ->Args({1000, 1})
    ->Args({10000, 1})
    ->Args({100000, 1})
    ->Unit(benchmark::kMicrosecond);
