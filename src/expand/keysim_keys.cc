// Key and control macros: %(Key ...), %(KeyDown ...), %(KeyUp ...), %(Delay ...),
// %(Input ...)/%(Fill ...) and %(Launch ...), executed at their place while a text is typed.
#include <glib.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "expand/clipboard_output.h"
#include "expand/keysim.h"
#include "expand/keysim_monitor.h"
#include "util/strutil.h"

setting* g_input_vars = nullptr;

namespace {

// Searched in order, first match wins. The extended flags of Right Shift, Alt and Left Ctrl look
// odd but are what the keys have always been sent with; "+" separates the keys of a combination,
// so the plus key is reachable only as Plus or Add.
const keysim_key_name key_table[] = {
    {"Shift", 16, 0},
    {"LShift", 160, 0},
    {"RShift", 161, 1},
    {"Control", 17, 1},
    {"Ctrl", 17, 1},
    {"LControl", 162, 0},
    {"LCtrl", 162, 0},
    {"RControl", 163, 1},
    {"RCtrl", 163, 1},
    {"Alt", 18, 1},
    {"LAlt", 164, 0},
    {"RAlt", 165, 1},
    {"Win", 91, 1},
    {"LWin", 91, 1},
    {"RWin", 92, 1},
    {"Menu", 93, 1},
    {"App", 93, 1},
    {"Application", 93, 1},
    {"Backspace", 8, 0},
    {"BkSp", 8, 0},
    {"Tab", 9, 0},
    {"Clear", 12, 0},
    {"Return", 13, 0},
    {"Enter", 13, 0},
    {"Pause", 19, 0},
    {"CapsLock", 20, 0},
    {"NumLock", 144, 0},
    {"ScrollLock", 145, 0},
    {"Escape", 27, 0},
    {"Esc", 27, 0},
    {"PageUp", 33, 1},
    {"PgUp", 33, 1},
    {"PageDown", 34, 1},
    {"PgDown", 34, 1},
    {"PgDn", 34, 1},
    {"End", 35, 1},
    {"Home", 36, 1},
    {"Left", 37, 1},
    {"Right", 39, 1},
    {"Up", 38, 1},
    {"Down", 40, 1},
    {"PrtScr", 44, 0},
    {"PrintScreen", 44, 0},
    {"Insert", 45, 1},
    {"Ins", 45, 1},
    {"Delete", 46, 1},
    {"Del", 46, 1},
    {"Space", 32, 0},
    {"F1", 112, 0},
    {"F2", 113, 0},
    {"F3", 114, 0},
    {"F4", 115, 0},
    {"F5", 116, 0},
    {"F6", 117, 0},
    {"F7", 118, 0},
    {"F8", 119, 0},
    {"F9", 120, 0},
    {"F10", 121, 0},
    {"F11", 122, 0},
    {"F12", 123, 0},
    {"F13", 124, 0},
    {"F14", 125, 0},
    {"F15", 126, 0},
    {"F16", 127, 0},
    {"F17", 128, 0},
    {"F18", 129, 0},
    {"F19", 130, 0},
    {"F20", 131, 0},
    {"F21", 132, 0},
    {"F22", 133, 0},
    {"F23", 134, 0},
    {"F24", 135, 0},
    {"a", 65, 0},
    {"b", 66, 0},
    {"c", 67, 0},
    {"d", 68, 0},
    {"e", 69, 0},
    {"f", 70, 0},
    {"g", 71, 0},
    {"h", 72, 0},
    {"i", 73, 0},
    {"j", 74, 0},
    {"k", 75, 0},
    {"l", 76, 0},
    {"m", 77, 0},
    {"n", 78, 0},
    {"o", 79, 0},
    {"p", 80, 0},
    {"q", 81, 0},
    {"r", 82, 0},
    {"s", 83, 0},
    {"t", 84, 0},
    {"u", 85, 0},
    {"v", 86, 0},
    {"w", 87, 0},
    {"x", 88, 0},
    {"y", 89, 0},
    {"z", 90, 0},
    {"0", 48, 0},
    {"1", 49, 0},
    {"2", 50, 0},
    {"3", 51, 0},
    {"4", 52, 0},
    {"5", 53, 0},
    {"6", 54, 0},
    {"7", 55, 0},
    {"8", 56, 0},
    {"9", 57, 0},
    {"Numpad0", 96, 0},
    {"Numpad1", 97, 0},
    {"Numpad2", 98, 0},
    {"Numpad3", 99, 0},
    {"Numpad4", 100, 0},
    {"Numpad5", 101, 0},
    {"Numpad6", 102, 0},
    {"Numpad7", 103, 0},
    {"Numpad8", 104, 0},
    {"Numpad9", 105, 0},
    {"NumpadDivide", 111, 1},
    {"Numpad/", 111, 1},
    {"NumpadMultiply", 106, 0},
    {"Numpad*", 106, 0},
    {"NumpadSubtract", 109, 0},
    {"Numpad-", 109, 0},
    {"NumpadDecimal", 110, 0},
    {"NumpadPeriod", 110, 0},
    {"Numpad.", 110, 0},
    {"NumpadAdd", 107, 0},
    {"NumpadPlus", 107, 0},
    {"Plus", 187, 0},
    {"Add", 187, 0},
    {",", 188, 0},
    {"Comma", 188, 0},
    {"-", 189, 0},
    {"Minus", 189, 0},
    {".", 190, 0},
    {"Period", 190, 0},
};
constexpr int key_table_size = sizeof(key_table) / sizeof(key_table[0]);
static_assert(key_table_size == 137, "the key table has 137 rows");

constexpr uint16_t LANG_US_ENGLISH = 0x0409;

bool starts_with_case(const char* text, const char* prefix) {
  size_t n = strlen(prefix);
  return g_ascii_strncasecmp(text, prefix, n) == 0 && strlen(text) >= n;
}

bool is_space(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f'; }

// Text of the input field the user is filling in; written by the monitor thread.
std::mutex ii_lock;
std::string g_user_typed_ii;

void free_key_action(void* p) { delete static_cast<keysim_key_action*>(p); }

void free_key_group(void* p) {
  auto* g = static_cast<keysim_key_group*>(p);
  plist_free(g->actions);
  delete g;
}

plist* append_action(plist* actions, uint32_t vk, int action, int extended) {
  return plist_append(actions, new keysim_key_action{vk, action, extended}, free_key_action);
}

// Looks a key up with the non-US Alt rule applied: a lone Alt on a layout other than US English
// is sent as Left Alt, because there Alt alone may act as AltGr.
void lookup_key(const std::string& name, plat_layout layout, uint32_t* vk, int* extended) {
  key_name_to_vk_action(name, vk, nullptr, extended, layout);
  if (*vk == 18 && plat()->layout_language(layout) != LANG_US_ENGLISH) {
    *vk = 164;
    *extended = 0;
  }
}

std::string trim(const std::string& s) {
  size_t b = 0, e = s.size();
  while (b < e && is_space(s[b])) b++;
  while (e > b && is_space(s[e - 1])) e--;
  return s.substr(b, e - b);
}

// Sends whatever waits in the clipboard output buffer before a macro acts, so that the text
// before the macro reaches the target before the macro's keys or pause.
void flush_clipboard_buffer_if_needed() {
  if (g_keysim_om == 1) clipboard_buf_paste(1, nullptr);
}

}  // namespace

int keysim_key_table_size() { return key_table_size; }
const keysim_key_name& keysim_key_table_row(int i) { return key_table[i]; }

void keysim_key_groups_free(plist* groups) {
  for (plist* n = groups; n; n = n->next) n->free_func = free_key_group;
  plist_free(groups);
}

int keysim_is_escaped_at(const std::string& text, size_t offset) {
  size_t n = 0;
  while (n < offset && text[offset - 1 - n] == '%') n++;
  return n % 2 == 1;
}

int keysim_parse_valid_macro(const char* text, std::string* name, std::string* args,
                             int* len_bytes, int* len_chars, int allow_abbrev_macros) {
  static const char* const prefixes[] = {"%(Key", "%(Delay", "%(Launch", "%(Input", "%(Fill"};
  static const char* const abbrev_prefixes[] = {"%(Abbrev", "%(Quiverextion"};
  bool ok = false;
  for (const char* p : prefixes) ok = ok || starts_with_case(text, p);
  if (allow_abbrev_macros)
    for (const char* p : abbrev_prefixes) ok = ok || starts_with_case(text, p);
  if (!ok) return 0;

  const char* p = text + 2;
  const char* name_begin = p;
  while (*p && !is_space(*p) && *p != ')') p++;
  std::string n(name_begin, p - name_begin);
  bool optional_arg = str_caseeq(n, "Input") || str_caseeq(n, "Fill");
  if (!optional_arg && !is_space(*p)) return 0;
  while (is_space(*p)) p++;
  if (!optional_arg && (*p == ')' || *p == 0)) return 0;

  bool is_launch = str_caseeq(n, "Launch");
  const char* arg_begin = p;
  int quotes = 0;
  while (*p) {
    if (*p == '"') quotes++;
    if (*p == ')' && (!is_launch || quotes % 2 == 0)) break;
    p++;
  }
  if (*p != ')') return 0;

  int bytes = static_cast<int>(p + 1 - text);
  if (name) *name = n;
  if (args) args->assign(arg_begin, p - arg_begin);
  if (len_bytes) *len_bytes = bytes;
  if (len_chars) *len_chars = static_cast<int>(g_utf8_strlen(text, bytes));
  return 1;
}

int keysim_will_do_key_press_at_offset(const std::string& text, size_t offset) {
  if (offset >= text.size() || text.compare(offset, 2, "%(") != 0) return 0;
  if (keysim_is_escaped_at(text, offset)) return 0;
  static const char* const names[] = {"%(Key", "%(Input", "%(Fill", "%(Launch"};
  for (const char* n : names)
    if (starts_with_case(text.c_str() + offset, n)) return 1;
  return 0;
}

void key_name_to_vk_action(const std::string& name, uint32_t* vk, int* action, int* extended,
                           plat_layout layout) {
  (void)action;
  for (const keysim_key_name& row : key_table) {
    if (str_caseeq(name, row.name)) {
      *vk = row.vk;
      *extended = row.extended;
      return;
    }
  }
  *vk = 0;
  *extended = 0;
  if (name.empty() || name.size() > 2) return;
  gunichar ch = g_utf8_get_char_validated(name.c_str(), static_cast<gssize>(name.size()));
  if (ch == static_cast<gunichar>(-1) || ch == static_cast<gunichar>(-2))
    ch = static_cast<unsigned char>(name[0]);
  int16_t code = plat()->vk_key_scan(ch, layout);
  *vk = code < 0 ? 0 : static_cast<uint32_t>(code);
}

plist* key_name_to_vks_and_actions(const std::string& keys, int action, int count, int unused,
                                   plat_layout layout) {
  (void)unused;
  auto* group = new keysim_key_group{count, nullptr};
  uint32_t vk;
  int extended;
  if (keys.find('+') == std::string::npos) {
    lookup_key(keys, layout, &vk, &extended);
    group->actions = append_action(group->actions, vk, action, extended);
  } else {
    plist* parts = strsplit(keys, "+");
    for (plist* n = parts; n; n = n->next) {
      lookup_key(trim(plist_str(n)), layout, &vk, &extended);
      group->actions = append_action(group->actions, vk,
                                     action == KEYSIM_ACTION_PRESS ? KEYSIM_ACTION_DOWN : action, extended);
    }
    plist_free(parts);
    if (action == KEYSIM_ACTION_PRESS) {
      plist* downs = plist_duplicate(group->actions);
      for (plist* n = plist_get_last(downs); n; n = n->prev) {
        auto* a = static_cast<keysim_key_action*>(n->data);
        group->actions = append_action(group->actions, a->vk, KEYSIM_ACTION_UP, a->extended);
      }
      plist_free_all_but_data(downs);
    }
  }
  return plist_append(nullptr, group, free_key_group);
}

void keysim_handle_key_presses(plist* groups) {
  for (keysim_key_group* g : plist_range<keysim_key_group>(groups)) {
    for (int i = 0; i < g->count; i++) {
      for (keysim_key_action* a : plist_range<keysim_key_action>(g->actions)) {
        uint32_t vk = a->vk & 0xFF;
        uint32_t scan = keysim_scan_for_vk(vk);
        uint32_t ext = a->extended ? KEYEVENTF_EXTENDEDKEY : 0;
        if (a->action == KEYSIM_ACTION_DOWN || a->action == KEYSIM_ACTION_PRESS) {
          plat()->send_key(vk, scan, ext);
          if (g_pause_for_extended_keys) keysim_sleep(75);
        }
        if (a->action == KEYSIM_ACTION_UP || a->action == KEYSIM_ACTION_PRESS) {
          plat()->send_key(vk, scan, ext | KEYEVENTF_KEYUP);
          if (g_pause_for_extended_keys) keysim_sleep(75);
        }
        int held = a->action == KEYSIM_ACTION_DOWN ? 1 : 0;
        if (vk == 17 || vk == 162 || vk == 163) {
          g_ctrl_down = held;
          keysim_sleep(5);
        } else if (vk == 18 || vk == 164) {
          g_alt_down = held;
        } else if (vk == 165) {
          g_altgr_down = held;
        } else if (vk == 16 || vk == 160 || vk == 161) {
          g_shift_down = held;
        }
      }
    }
  }
}

int delay_macro_get_ms(const std::string& time) {
  int total = 0;
  size_t i = 0, n = time.size();
  while (i < n) {
    if (!isdigit(static_cast<unsigned char>(time[i]))) break;
    int value = 0;
    while (i < n && isdigit(static_cast<unsigned char>(time[i]))) value = value * 10 + (time[i++] - '0');
    if (i < n && (time[i] == 's' || time[i] == 'S')) {
      total += value * 1000;
      i++;
    } else if (i >= n) {
      total += value;
    } else if (i + 1 < n && g_ascii_strncasecmp(time.c_str() + i, "ms", 2) == 0) {
      total += value;
      i += 2;
    } else {
      break;
    }
  }
  return total;
}

int keysim_handle_this_macro(const std::string& text, size_t offset, plat_layout layout,
                             plat_window target, int* typed, int* macro_len) {
  if (typed) *typed = 0;
  if (keysim_is_escaped_at(text, offset)) return -1;
  std::string name, args;
  int bytes = 0, chars = 0;
  if (!keysim_parse_valid_macro(text.c_str() + offset, &name, &args, &bytes, &chars, 0)) return 0;
  if (macro_len) *macro_len = chars;

  if (g_ascii_strncasecmp(name.c_str(), "Key", 3) == 0) {
    int action;
    if (str_caseeq(name, "KeyDown"))
      action = KEYSIM_ACTION_DOWN;
    else if (str_caseeq(name, "KeyUp"))
      action = KEYSIM_ACTION_UP;
    else if (str_caseeq(name, "Key"))
      action = KEYSIM_ACTION_PRESS;
    else
      return 0;
    plist* parts = strsplit(args, " ");
    if (!parts || plist_str(parts).empty()) {
      plist_free(parts);
      return 0;
    }
    int count = 1;
    if (parts->next && !plist_str(parts->next).empty()) count = atoi(plist_str(parts->next).c_str());
    plist* groups = key_name_to_vks_and_actions(plist_str(parts), action, count, -1, layout);
    plist_free(parts);
    flush_clipboard_buffer_if_needed();
    keysim_handle_key_presses(groups);
    keysim_key_groups_free(groups);
    return bytes;
  }
  if (str_caseeq(name, "Delay")) {
    flush_clipboard_buffer_if_needed();
    int ms = delay_macro_get_ms(args);
    if (ms < 0) return 0;
    keysim_sleep(ms);
    return bytes;
  }
  if (str_caseeq(name, "Input") || str_caseeq(name, "Fill")) {
    flush_clipboard_buffer_if_needed();
    int n = keysim_handle_interactive_input(args, target);
    if (typed) *typed = n;
    return bytes;
  }
  if (str_caseeq(name, "Launch")) {
    flush_clipboard_buffer_if_needed();
    keysim_handle_launch(args);
    return bytes;
  }
  return 0;
}

// ---- Interactive input ----

void keysim_user_typed_char_in_ii(const char* utf8_char) {
  if (!utf8_char || !*utf8_char) return;
  gunichar ch = g_utf8_get_char_validated(utf8_char, -1);
  if (ch == static_cast<gunichar>(-1) || ch == static_cast<gunichar>(-2)) return;
  std::lock_guard<std::mutex> g(ii_lock);
  if (ch == '\r' || ch == '\n')
    g_user_typed_ii += '\n';
  else if (g_unichar_isprint(ch))
    g_user_typed_ii += utf8_char;
}

void keysim_user_typed_backspace_in_ii() {
  std::lock_guard<std::mutex> g(ii_lock);
  if (g_user_typed_ii.empty()) return;
  const char* begin = g_user_typed_ii.c_str();
  const char* last = g_utf8_find_prev_char(begin, begin + g_user_typed_ii.size());
  g_user_typed_ii.resize(last ? last - begin : 0);
}

std::string keysim_get_user_typed_ii() {
  std::lock_guard<std::mutex> g(ii_lock);
  return g_user_typed_ii;
}

void keysim_free_ii_state() {
  {
    std::lock_guard<std::mutex> g(ii_lock);
    g_user_typed_ii.clear();
  }
  __setting_list_free(g_input_vars);
  g_input_vars = nullptr;
}

int keysim_handle_interactive_input(const std::string& name, plat_window target) {
  bool named = !name.empty();
  bool known = named && __setting_does_exist(g_input_vars, name.c_str());
  std::string placeholder = known ? __setting_get(g_input_vars, name.c_str()) : name;
  int placeholder_len = static_cast<int>(g_utf8_strlen(placeholder.c_str(), -1));

  int cursor_back = 0;
  if (!keysim_simutype_text(placeholder, target, &cursor_back, 0, 1, 0, nullptr)) return -1;
  if (known) return placeholder_len;

  // Select the placeholder so that the user's first character replaces it.
  plat()->send_key(VK_SHIFT, keysim_scan_for_vk(VK_SHIFT), 0);
  for (int i = 0; i < placeholder_len; i++) {
    plat()->send_key(VK_LEFT, keysim_scan_for_vk(VK_LEFT), KEYEVENTF_EXTENDEDKEY);
    plat()->send_key(VK_LEFT, keysim_scan_for_vk(VK_LEFT), KEYEVENTF_EXTENDEDKEY | KEYEVENTF_KEYUP);
  }
  plat()->send_key(VK_SHIFT, keysim_scan_for_vk(VK_SHIFT), KEYEVENTF_KEYUP);

  {
    std::lock_guard<std::mutex> g(ii_lock);
    g_user_typed_ii.clear();
  }
  mon_enable_ii_mode();
  bool focus_moved = false;
  for (;;) {
    if (mon_get_user_pressed_ii_continue_key() || mon_get_ii_ended_abruptly()) break;
    if (!setting_get_int("cont_window_changed") && plat()->foreground_window() != target) {
      focus_moved = true;
      break;
    }
    keysim_sleep(10);
  }
  mon_disable_ii_mode();

  if (focus_moved && !named) return -1;
  bool abrupt = focus_moved || mon_get_ii_ended_abruptly();
  if (named) {
    std::string value = keysim_get_user_typed_ii();
    g_input_vars = __setting_set(g_input_vars, name.c_str(), value.c_str());
    std::lock_guard<std::mutex> g(ii_lock);
    g_user_typed_ii.clear();
  }
  if (abrupt) return -1;
  int n = mon_get_n_chars_typed_in_ii_mode();
  if (mon_was_unselect_key_pressed_first_in_ii_mode()) n += placeholder_len;
  return n;
}
