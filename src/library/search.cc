// The library search and the search box's query language and options.
#include "library/search.h"

#include <glib.h>

#include <string>
#include <unordered_set>
#include <vector>

#include "settings/settings.h"
#include "util/strutil.h"

const char SEARCH_PLACEHOLDER[] = "Search...";
const char SEARCH_TOOLTIP[] =
    "Ctrl+F. Searches Quiverextions, descriptions, and replacement text in all folders. "
    "Click the magnifying glass icon to fine-tune your search.";

const search_menu_item search_menu_items[SEARCH_N_MENU_ITEMS] = {
    {"Search _Descriptions", "dont_search_description", true},
    {"Search _Quiverextions", "dont_search_abbreviation", true},
    {"Search _Replacements", "dont_search_replacement", true},
    {"Search in Di_sabled Folders", "dont_search_disabled_folders", true},
    {"Only Search Within Selected Folder", "only_search_selected", false},
};

namespace {

// Folds `s` for a comparison without regard to case into `out`, reusing its storage: every
// character becomes its Unicode lower case. A byte that starts no valid character is copied as
// it is. This runs over every searched field of every record on each change of the search
// box's text, so it neither allocates nor goes through GLib for ASCII, which most text is.
void fold_into(std::string_view s, std::string& out) {
  out.resize(s.size());
  size_t o = 0;
  size_t i = 0;
  while (i < s.size()) {
    unsigned char c = static_cast<unsigned char>(s[i]);
    if (c < 0x80) {
      out[o++] = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
      i++;
      continue;
    }
    gunichar u = g_utf8_get_char_validated(s.data() + i, static_cast<gssize>(s.size() - i));
    if (u == static_cast<gunichar>(-1) || u == static_cast<gunichar>(-2)) {
      out[o++] = static_cast<char>(c);
      i++;
      continue;
    }
    // A lower-case letter may take more bytes than its capital: make room for the rest.
    if (out.size() < o + 6 + (s.size() - i)) out.resize(o + 6 + (s.size() - i));
    o += static_cast<size_t>(g_unichar_to_utf8(g_unichar_tolower(u), &out[o]));
    i += static_cast<size_t>(g_utf8_skip[c]);
  }
  out.resize(o);
}

struct search_term {
  std::string exact;
  std::string folded;
};

search_term make_term(std::string_view s) {
  search_term t{std::string(s), std::string()};
  fold_into(s, t.folded);
  return t;
}

// The searched fields of one record, prepared once so that every term of a query compares
// against the same folded copies. The buffers are reused from record to record.
class record_fields {
 public:
  explicit record_fields(unsigned flags) : flags_(flags) {}

  void load(const abbr_abbrev* a) {
    bool match_case = flags_ & SEARCH_MATCH_CASE;
    if (flags_ & SEARCH_DESCRIPTION) {
      desc_ = a->description;
      if (!match_case) fold_into(desc_, desc_folded_);
    }
    if (flags_ & SEARCH_ABBREVIATIONS) {
      abbrevs_case_ = flags_ & SEARCH_CASE_OF_RECORD ? a->case_mode == ABBR_CASE_SENSITIVE : match_case;
      n_abbrevs_ = 0;
      for (const std::string* s : plist_range<std::string>(a->abbrevs)) {
        if (n_abbrevs_ == abbrevs_.size()) abbrevs_.emplace_back();
        std::string& slot = abbrevs_[n_abbrevs_++];
        if (abbrevs_case_)
          slot.assign(*s);
        else
          fold_into(*s, slot);
      }
    }
    if (flags_ & SEARCH_REPLACEMENT) {
      if (a->type == ABBR_TYPE_TEXT) {
        repl_ = a->replacement;
      } else {
        repl_buf_ = abbr_abbrev_exp_to_display_string(a);
        repl_ = repl_buf_;
      }
      if (!match_case) fold_into(repl_, repl_folded_);
    }
  }

  // Tried in the order description, abbreviation texts, replacement.
  bool matches(const search_term& t) const {
    bool match_case = flags_ & SEARCH_MATCH_CASE;
    if (flags_ & SEARCH_DESCRIPTION) {
      if (match_case ? field_matches(desc_, t.exact) : field_matches(desc_folded_, t.folded)) return true;
    }
    if (flags_ & SEARCH_ABBREVIATIONS) {
      const std::string& term = abbrevs_case_ ? t.exact : t.folded;
      for (size_t i = 0; i < n_abbrevs_; i++)
        if (field_matches(abbrevs_[i], term)) return true;
    }
    if (flags_ & SEARCH_REPLACEMENT) {
      if (match_case ? field_matches(repl_, t.exact) : field_matches(repl_folded_, t.folded)) return true;
    }
    return false;
  }

 private:
  bool field_matches(std::string_view field, std::string_view term) const {
    if (flags_ & SEARCH_WHOLE_FIELD) return field == term;
    return field.find(term) != std::string_view::npos;
  }

  unsigned flags_;
  std::string_view desc_;
  std::string desc_folded_;
  bool abbrevs_case_ = false;
  std::vector<std::string> abbrevs_;  // exact or folded, as abbrevs_case_ says
  size_t n_abbrevs_ = 0;
  std::string_view repl_;
  std::string repl_buf_;
  std::string repl_folded_;
};

// A result list appended to at its end in constant time.
struct result_list {
  plist* head = nullptr;
  plist* tail = nullptr;

  void add(void* data) {
    plist* n = plist_append(tail, data, nullptr);
    tail = tail ? tail->next : n;
    if (!head) head = n;
  }
};

struct search_walk {
  unsigned flags;
  const abbr_abbrev* excluded;
  search_term term;
  bool use_and_terms;
  std::vector<search_term> and_terms;
  std::vector<search_term> not_terms;
  record_fields fields;
  result_list found;
  bool done = false;

  void consider(abbr_abbrev* a) {
    if (a == excluded) return;
    if ((flags & SEARCH_SKIP_DISABLED) && a->parent && a->parent->disabled) return;
    fields.load(a);
    if (use_and_terms) {
      for (const search_term& t : and_terms)
        if (!fields.matches(t)) return;
    } else if (!fields.matches(term)) {
      return;
    }
    for (const search_term& t : not_terms)
      if (fields.matches(t)) return;
    found.add(a);
    if (flags & SEARCH_FIRST_ONLY) done = true;
  }

  // Depth first, a folder's own records before its subfolders.
  void walk(abbr_folder* f, bool deep) {
    for (abbr_abbrev* a : plist_range<abbr_abbrev>(f->abbrevs)) {
      consider(a);
      if (done) return;
    }
    if (!deep) return;
    for (abbr_folder* sub : plist_range<abbr_folder>(f->subfolders)) {
      walk(sub, true);
      if (done) return;
    }
  }
};

std::vector<search_term> make_terms(plist* list) {
  std::vector<search_term> out;
  for (plist* n = list; n; n = n->next)
    if (n->data) out.push_back(make_term(plist_str(n)));
  return out;
}

}  // namespace

plist* abbr_find_abbrevs_containing_string(abbr_folder* folder, std::string_view term,
                                           const abbr_abbrev* excluded, unsigned flags, plist* and_terms,
                                           plist* not_terms) {
  search_walk w{flags,
                excluded,
                make_term(term),
                and_terms != nullptr,
                make_terms(and_terms),
                make_terms(not_terms),
                record_fields(flags),
                result_list(),
                false};
  if (folder) {
    w.walk(folder, flags & SEARCH_SUBFOLDERS);
  } else {
    for (abbr_folder* top : plist_range<abbr_folder>(abbr_folder_list(ABBR_SANDBOX_LIST))) {
      w.walk(top, true);
      if (w.done) break;
    }
  }
  return w.found.head;
}

void search_get_OR_NOTs(std::string_view text, plist** or_groups, plist** not_terms) {
  static const std::string_view kNot = " NOT ";
  static const std::string_view kEnds[] = {" AND ", " OR ", " NOT "};
  std::string rest(text);
  plist* nots = nullptr;
  for (size_t at; (at = rest.find(kNot)) != std::string::npos;) {
    size_t start = at + kNot.size();
    size_t end = rest.size();
    for (std::string_view kw : kEnds) {
      size_t p = rest.find(kw, start);
      if (p < end) end = p;
    }
    if (end > start) nots = plist_append_string(nots, rest.substr(start, end - start));
    rest.erase(at, end - at);
  }
  *or_groups = rest.empty() ? plist_append_string(nullptr, std::string()) : strsplit(rest, " OR ");
  *not_terms = nots;
}

plist* search_run_query(abbr_folder* folder, std::string_view text, unsigned flags) {
  plist* groups = nullptr;
  plist* nots = nullptr;
  search_get_OR_NOTs(text, &groups, &nots);
  bool several = groups && groups->next;
  std::unordered_set<const void*> seen;
  result_list out;
  for (plist* g = groups; g; g = g->next) {
    plist* ands = strsplit(plist_str(g), " AND ");
    plist* found = abbr_find_abbrevs_containing_string(folder, plist_str(g), nullptr, flags, ands, nots);
    plist_free(ands);
    for (plist* n = found; n; n = n->next)
      if (!several || seen.insert(n->data).second) out.add(n->data);
    plist_free_all_but_data(found);
  }
  plist_free(groups);
  plist_free(nots);
  return out.head;
}

search_options search_options_from_prefs() {
  search_options o;
  o.dont_search_description = setting_get_int("dont_search_description");
  o.dont_search_abbreviation = setting_get_int("dont_search_abbreviation");
  o.dont_search_replacement = setting_get_int("dont_search_replacement");
  o.dont_search_disabled_folders = setting_get_int("dont_search_disabled_folders");
  return o;
}

unsigned search_flags_for_box(const search_options& o, bool text_empty) {
  unsigned flags = 0;
  if (!o.dont_search_description) flags |= SEARCH_DESCRIPTION;
  if (!o.dont_search_abbreviation) flags |= SEARCH_ABBREVIATIONS;
  if (!o.dont_search_replacement) flags |= SEARCH_REPLACEMENT;
  if (o.dont_search_abbreviation && o.dont_search_replacement)
    flags = o.dont_search_description ? SEARCH_DESCRIPTION | SEARCH_ABBREVIATIONS | SEARCH_REPLACEMENT
                                      : SEARCH_DESCRIPTION;
  if (!text_empty) {
    flags |= SEARCH_SUBFOLDERS;
    if (o.dont_search_disabled_folders == 1) flags |= SEARCH_SKIP_DISABLED;
  }
  return flags;
}

bool search_menu_item_is_active(const search_menu_item& item) {
  int value = setting_get_int(item.pref);
  return item.inverted ? value == 0 : value != 0;
}

void search_menu_item_set_active(const search_menu_item& item, bool active) {
  setting_set_int(item.pref, item.inverted ? !active : active);
}
