// Finding the abbreviation that the user has just completed, and deciding when it expands.
#include <glib.h>

#include <cctype>
#include <cstring>
#include <ctime>

#include "monitor/matcher.h"
#include "monitor/mon_internal.h"
#include "settings/prefs.h"
#include "settings/settings.h"
#include "util/intlist.h"
#include "util/strutil.h"

std::atomic<int> g_no_apostrophe_delim{0};
std::atomic<int> g_focus_fix{0};
std::atomic<int> g_pause_for{0};
std::atomic<uint32_t> g_trigger_vk_pressed{0};
plist* cached_trigger_hotkey = nullptr;
std::mutex g_trigger_hotkey_lock;
setting* cycle_lst = nullptr;

namespace {
abbrev_match* g_abbrev_waiting_to_expand = nullptr;

bool textexpander_mode() { return setting_get_int("textexpander_mode") == 1; }

// The code point of the character just before p, 0 at the buffer's start or for a byte that
// starts no valid character.
gunichar char_before(const char* buf, const char* p) {
  const char* prev = g_utf8_find_prev_char(buf, p);
  if (!prev) return 0;
  gunichar q = g_utf8_get_char_validated(prev, p - prev);
  if (q == static_cast<gunichar>(-1) || q == static_cast<gunichar>(-2)) return 0;
  return q;
}
}  // namespace

abbrev_match* abbrev_match_duplicate(const abbrev_match* m) {
  if (!m) return nullptr;
  return new abbrev_match(*m);
}

void abbrev_match_free(void* m) { delete static_cast<abbrev_match*>(m); }

abbrev_match* mon_get_abbrev_waiting_to_expand() { return g_abbrev_waiting_to_expand; }

void mon_set_abbrev_waiting_to_expand(abbrev_match* m) {
  if (g_abbrev_waiting_to_expand != m) abbrev_match_free(g_abbrev_waiting_to_expand);
  g_abbrev_waiting_to_expand = m;
}

int mon_isprint(uint32_t c) { return c < 128 && isprint(static_cast<int>(c)); }

int mon_gunichar_isprint(uint32_t c) {
  return mon_isprint(c) || g_unichar_isprint(c) || c == '\n';
}

int mon_gunichar_isprint_get(const char* utf8) {
  gunichar c = g_utf8_get_char_validated(utf8, -1);
  if (c == static_cast<gunichar>(-1) || c == static_cast<gunichar>(-2)) return 0;
  return mon_gunichar_isprint(c);
}

bool mon_text_matches_buffer_tail(const abbr_abbrev* a, const std::string& s) {
  size_t n = s.size();
  if (n == 0 || n >= static_cast<size_t>(key_bufsize)) return false;
  const char* p = key_buffer + key_bufsize - n;
  if (a->anywhere != 1) {
    bool compare;
    if (a->anywhere == 0) {
      int no_apos = g_no_apostrophe_delim.load(std::memory_order_relaxed);
      if (!g_unichar_isalnum(char_before(key_buffer, p))) {
        if (no_apos == 0) compare = true;
        else if (no_apos == 1) compare = p[-1] != '\'';
        else compare = p[-1] == '\0';
      } else {
        compare = p[-1] == '\0';
      }
    } else {
      // Only what was typed since the buffer was last emptied.
      compare = p[-1] == '\0';
    }
    if (!compare) return false;
  }
  if (a->case_mode == ABBR_CASE_INSENSITIVE || a->case_mode == ABBR_CASE_ADAPT)
    return g_utf8_strncasecmp(p, s.c_str(), n) == 0;
  return strncmp(p, s.c_str(), n) == 0;
}

plist* mon_walk_through_abbrevs_get_potential_matches(plist* abbrevs) {
  plist* out = nullptr;
  if (!key_buffer) return nullptr;
  int position = 0;
  for (plist* node = abbrevs; node; node = node->next, ++position) {
    auto* a = static_cast<abbr_abbrev*>(node->data);
    if (a->type == ABBR_TYPE_FOURTH) continue;
    for (plist* t = a->abbrevs; t; t = t->next) {
      const std::string& s = plist_str(t);
      if (!mon_text_matches_buffer_tail(a, s)) continue;
      auto* m = new abbrev_match;
      m->abbrev = a;
      m->text = &s;
      m->position = position;
      out = plist_append(out, m, abbrev_match_free);
    }
  }
  return out;
}

plist* mon_walk_through_abbrevs_in_all_folders_get_potential_matches(abbr_folder* folder) {
  // A disabled folder hides only its own abbreviations; each subfolder keeps its own flag.
  plist* out = folder->disabled ? nullptr : mon_walk_through_abbrevs_get_potential_matches(folder->abbrevs);
  for (abbr_folder* sub : plist_range<abbr_folder>(folder->subfolders))
    out = plist_append_plist(out, mon_walk_through_abbrevs_in_all_folders_get_potential_matches(sub));
  return out;
}

namespace {
int compare_by_strlen_desc(const void* a, const void* b) {
  auto* x = static_cast<const abbrev_match*>(a);
  auto* y = static_cast<const abbrev_match*>(b);
  if (!x->text || !y->text) return (!x->text) - (!y->text);
  size_t lx = x->text->size(), ly = y->text->size();
  return lx < ly ? 1 : (lx > ly ? -1 : 0);
}
}  // namespace

plist* mon_abbrev_match_plist_sort_ascending_by_strlen(plist* list) {
  return plist_sort(list, compare_by_strlen_desc);
}

abbrev_match* mon_choose_candidate(plist* candidates) {
  candidates = mon_abbrev_match_plist_sort_ascending_by_strlen(candidates);
  int n = plist_get_n_elements(candidates);
  if (n == 0) return nullptr;
  int i = 0;
  if (n > 1) {
    g_random_set_seed(static_cast<guint32>(time(nullptr)));
    i = g_random_int_range(0, n - 1);
  }
  auto* drawn = static_cast<abbrev_match*>(plist_get_nth_data(candidates, i));
  std::string key = abbr_abbrev_lst_to_string(drawn->abbrev->abbrevs);
  if (__setting_does_exist(cycle_lst, key.c_str())) {
    i = __setting_get_int(cycle_lst, key.c_str()) + 1;
    if (i >= n) i = 0;
  }
  cycle_lst = __setting_set_int(cycle_lst, key.c_str(), i);
  abbrev_match* chosen = abbrev_match_duplicate(static_cast<abbrev_match*>(plist_get_nth_data(candidates, i)));
  plist_free(candidates);
  return chosen;
}

int mon_walk_through_abbrevs_in_all_folders_check_typed(abbr_folder* folder, abbrev_match** out) {
  plist* candidates = mon_walk_through_abbrevs_in_all_folders_get_potential_matches(folder);
  if (!candidates) return 0;
  *out = mon_choose_candidate(candidates);
  return 1;
}

abbrev_match* mon_find_typed_abbrev() {
  if (!key_buffer) return nullptr;
  if (mon_matcher_index_ready()) return mon_choose_candidate(mon_matcher_index_candidates());
  abbrev_match* m = nullptr;
  for (abbr_folder* top : plist_range<abbr_folder>(abbr_folder_list(ABBR_MAIN_LIST)))
    if (mon_walk_through_abbrevs_in_all_folders_check_typed(top, &m)) return m;
  return nullptr;
}

int mon_vk_is_trigger_vk(uint32_t vk) {
  const plist* keys = cached_trigger_hotkey;
  if (plist_contains_int(keys, static_cast<int>(vk))) return 1;
  if ((vk == VK_LCONTROL || vk == VK_RCONTROL) && plist_contains_int(keys, VK_CONTROL)) return 1;
  if ((vk == VK_LSHIFT || vk == VK_RSHIFT) && plist_contains_int(keys, VK_SHIFT)) return 1;
  if ((vk == VK_LMENU || vk == VK_RMENU) && plist_contains_int(keys, VK_MENU)) return 1;
  return 0;
}

int mon_trigger_hotkey_pressed(const plat_key_event& ev) { return mon_vk_is_trigger_vk(ev.vk); }

int mon_key_is_delim(const plat_key_event& ev, const char* utf8, int* printable, int* length) {
  gunichar c = 0;
  if (utf8 && *utf8) {
    c = g_utf8_get_char_validated(utf8, -1);
    if (c == static_cast<gunichar>(-1) || c == static_cast<gunichar>(-2)) c = 0;
  }
  c = g_unichar_tolower(c);
  if (c == '\r') c = '\n';
  if (ev.vk == VK_ESCAPE) c = 27;
  *printable = mon_gunichar_isprint(c);
  char tmp[8];
  *length = g_unichar_to_utf8(c, tmp);
  if (ev.vk == VK_LSHIFT || ev.vk == VK_RSHIFT) return 2;
  bool te = setting_get_int("textexpander_mode") != 0;
  const char* delims = setting_get("delim_chars");
  size_t len = strlen(delims);
  for (size_t i = 0; i < len; ++i) {
    gunichar d = g_utf8_get_char_validated(delims + i, static_cast<gssize>(len - i));
    if (d == static_cast<gunichar>(-1) || d == static_cast<gunichar>(-2)) continue;
    if (g_unichar_tolower(d) != c) continue;
    // Outside the TextExpander mode only printable characters end a word: Tab, although it is
    // in the default list, moves the focus in many applications and so never triggers there.
    if (te || mon_gunichar_isprint(c)) return 0;
  }
  return 1;
}

uint32_t mon_effective_trigger_mode(const abbr_abbrev* a) {
  if (textexpander_mode()) return static_cast<uint32_t>(prefs_get_default_trigger_mode());
  return a->trigger_mode;
}

int mon_was_abbrev_typed_by_user(const plat_key_event& ev, const char* utf8, abbrev_match** match_out) {
  *match_out = nullptr;
  bool te = textexpander_mode();
  bool printable_char = utf8 && *utf8 && (mon_gunichar_isprint_get(utf8) || utf8[0] == '\r');
  if (printable_char) mon_hide_tooltip_window();

  int printable = 0, length = 0;
  int d = mon_key_is_delim(ev, utf8, &printable, &length);

  if (abbrev_match* w = g_abbrev_waiting_to_expand) {
    w->trigger_printable = printable;
    w->trigger_length = length;
    uint32_t m = mon_effective_trigger_mode(w->abbrev);
    if (!te && m == ABBR_TRIGGER_TRIGGER_KEY) {
      if (mon_trigger_hotkey_pressed(ev)) {
        *match_out = abbrev_match_duplicate(w);
        mon_set_abbrev_waiting_to_expand(nullptr);
        g_trigger_vk_pressed = ev.vk;
        return 9;
      }
    } else if (m == ABBR_TRIGGER_WORD_END || (te && m == ABBR_TRIGGER_TRIGGER_KEY)) {
      if (d == 0) {
        *match_out = abbrev_match_duplicate(w);
        mon_set_abbrev_waiting_to_expand(nullptr);
        return 9;
      }
      if (d == 2) return 2;
      mon_set_abbrev_waiting_to_expand(nullptr);
    }
  }

  abbrev_match* match = mon_find_typed_abbrev();
  if (!match) {
    mon_set_abbrev_waiting_to_expand(nullptr);
    return 2;
  }

  uint32_t m = mon_effective_trigger_mode(match->abbrev);
  bool waits = m == ABBR_TRIGGER_TRIGGER_KEY || m == ABBR_TRIGGER_WORD_END;
  bool tooltip = false;
  if (match->abbrev->type <= ABBR_TYPE_WEBSITE && setting_get_int("show_tooltips") != 0) {
    bool wec = setting_get_int("show_tooltips_wec") != 0;
    bool trig = setting_get_int("show_tooltips_trigger") != 0;
    if (wec && !te && !waits) {
      mon_set_abbrev_waiting_to_expand(nullptr);
      *match_out = match;
      return 1;
    }
    if (m == ABBR_TRIGGER_TRIGGER_KEY && !trig) {
      mon_set_abbrev_waiting_to_expand(match);
      return 2;
    }
    tooltip = (m == ABBR_TRIGGER_TRIGGER_KEY && trig) || (wec && m == ABBR_TRIGGER_WORD_END) || (te && waits);
  }
  if (tooltip && (printable_char || ev.vk == VK_BACK) && !mon_clear_key_buffer_key_pressed(ev))
    mon_schedule_tooltip(match, mon_get_typed_abbrev(match));

  if (waits) {
    mon_set_abbrev_waiting_to_expand(match);
    return 2;
  }
  mon_set_abbrev_waiting_to_expand(nullptr);
  *match_out = match;
  return 1;
}

std::string mon_get_typed_abbrev(const abbrev_match* m) {
  if (!m || !m->text || !key_buffer) return std::string();
  size_t n = m->text->size();
  size_t end = static_cast<size_t>(key_bufsize);
  uint32_t mode = mon_effective_trigger_mode(m->abbrev);
  if ((mode == ABBR_TRIGGER_TRIGGER_KEY || mode == ABBR_TRIGGER_WORD_END) && m->trigger_printable) {
    size_t t = static_cast<size_t>(m->trigger_length);
    if (t > end) return std::string();
    end -= t;
  }
  if (n > end) return std::string();
  return std::string(key_buffer + end - n, n);
}
