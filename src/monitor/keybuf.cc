// The key buffer: what the user typed lately, right-aligned so that every abbreviation can be
// compared with the buffer's tail without knowing how much was typed.
#include <glib.h>

#include <cstdlib>
#include <cstring>

#include "monitor/matcher.h"
#include "monitor/mon_internal.h"
#include "settings/settings.h"
#include "util/strutil.h"

char* key_buffer = nullptr;
int32_t key_bufsize = 0;

namespace {

void shift_left_one(char byte) {
  memmove(key_buffer, key_buffer + 1, static_cast<size_t>(key_bufsize) - 1);
  key_buffer[key_bufsize - 1] = byte;
}

void shift_right_one() {
  memmove(key_buffer + 1, key_buffer, static_cast<size_t>(key_bufsize) - 1);
  key_buffer[0] = '\0';
}

bool is_browser_class(const std::string& cls) {
  return cls == "Chrome_WidgetWin_0" || cls == "IEFrame" || cls == "OperaWindowClass" ||
         cls == "MozillaWindowClass" || str_caseeq(cls, "{1C03B488-D53B-4a81-97F8-754559640193}");
}

bool async_down(uint32_t vk) { return (plat()->get_async_key_state(vk) & 0x8000) != 0; }

}  // namespace

void mon_add_char_to_key_buffer(char byte) {
  if (!key_buffer || key_bufsize < 1) return;
  shift_left_one(byte);
}

void mon_clear_key_buffer() {
  if (key_buffer) memset(key_buffer, 0, static_cast<size_t>(key_bufsize));
}

void mon_simulate_backspace_in_key_buffer() {
  if (!key_buffer || key_bufsize < 1) return;
  shift_right_one();
}

void mon_backspace_char_in_key_buffer() {
  if (!key_buffer || key_bufsize < 1) return;
  const char* end = key_buffer + key_bufsize;
  const char* start = g_utf8_find_prev_char(key_buffer, end);
  int n = start ? static_cast<int>(end - start) : 1;
  for (int i = 0; i < n; ++i) shift_right_one();
}

void mon_free_key_buffer() {
  free(key_buffer);
  key_buffer = nullptr;
  key_bufsize = 0;
}

void mon_adjust_key_buffer_size() {
  plist* abbrevs = nullptr;
  abbr_get_all_folders_and_abbrevs_from_folder_list(abbr_folder_list(ABBR_MAIN_LIST), nullptr,
                                                     &abbrevs);
  size_t longest = 0;
  for (abbr_abbrev* a : plist_range<abbr_abbrev>(abbrevs))
    for (plist* t = a->abbrevs; t; t = t->next)
      if (plist_str(t).size() > longest) longest = plist_str(t).size();
  plist_free_all_but_data(abbrevs);
  mon_matcher_index_build();
  if (longest == 0) {
    mon_free_key_buffer();
    return;
  }
  int32_t size = static_cast<int32_t>(longest) + 256;
  if (size != key_bufsize) {
    key_buffer = resize_back_buffer(key_buffer, static_cast<size_t>(key_bufsize), static_cast<size_t>(size));
    key_bufsize = size;
  }
}

int mon_clear_key_buffer_key_pressed(const plat_key_event& ev) {
  uint32_t vk = ev.vk;
  if (vk == VK_MENU) return 1;
  if (vk == VK_ESCAPE) return setting_get_int("textexpander_mode") == 1 ? 0 : 1;
  if (vk >= VK_PRIOR && vk <= VK_DOWN) return 1;
  if (vk == VK_DELETE) return 1;
  if (vk >= VK_LWIN && vk <= VK_APPS) return 1;
  // Ctrl+T opens a tab: whatever was typed in the old tab is not in front of the caret any more.
  if (vk == 'T' && async_down(VK_CONTROL) && !async_down(VK_MENU) && !async_down(VK_SHIFT)) {
    plat_window fg = plat()->foreground_window();
    if (is_browser_class(plat()->window_class(fg, 63))) return 1;
  }
  return 0;
}

int mon_key_pressed(const std::string& utf8, const plat_key_event& ev) {
  if (!key_buffer || key_bufsize < 1 || utf8.empty()) return 4;
  gunichar c = g_utf8_get_char_validated(utf8.c_str(), static_cast<gssize>(utf8.size()));
  bool valid = c != static_cast<gunichar>(-1) && c != static_cast<gunichar>(-2);
  if (valid && (c == '\r' || c == '\n' || mon_gunichar_isprint(c)))
    for (char b : utf8) mon_add_char_to_key_buffer(b);
  if (ev.vk == VK_BACK) mon_backspace_char_in_key_buffer();
  return 4;
}
