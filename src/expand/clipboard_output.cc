#include "expand/clipboard_output.h"

#include <glib.h>

#include <memory>

#include "expand/keysim.h"
#include "expand/keysim_insert.h"
#include "platform/platform.h"
#include "settings/settings.h"
#include "util/strutil.h"

namespace {

// The clipboard is shared with every application: each opening is tried this often, this far
// apart, before the operation gives up.
constexpr int CLIPBOARD_ATTEMPTS = 52;
constexpr int CLIPBOARD_INTERVAL_MS = 10;
// Before the paste keys the target needs a moment to see the new clipboard; after them it must
// have read the text before anything changes the clipboard again.
constexpr int PASTE_WAIT_BEFORE_MS = 35;
constexpr int PASTE_WAIT_AFTER_MS = 800;

// Keysim thread only.
std::string clipboard_buf;
std::unique_ptr<plat_clipboard_backup> clipboard_backup_lst;

bool contains_case(const char* text, const char* needle) {
  size_t n = strlen(needle);
  for (const char* p = text; *p; p++)
    if (g_ascii_strncasecmp(p, needle, n) == 0) return true;
  return false;
}

void send_key_event(uint32_t vk, uint32_t flags) { plat()->send_key(vk, keysim_scan_for_vk(vk), flags); }

}  // namespace

int repl_output_method(const char* text, long len) {
  if (!text) return setting_get_int("output_method") == 1 ? 1 : 0;
  bool formatting = contains_case(text, "%(Key Ctrl+B)") || contains_case(text, "%(Key Ctrl+I)") ||
                    contains_case(text, "%(Key Ctrl+U)");
  bool fields = !formatting && (contains_case(text, "%fill") || contains_case(text, "%(Input"));

  // Mail composers and word processors lose the formatting keys' effect when the text arrives
  // by pasting, and their fields need the keys typed in order.
  plat_window fg = plat()->foreground_window();
  std::string title = plat()->window_title(fg, 1024);
  std::string cls = plat()->window_class(fg, 1024);
  if (formatting && title.find("Mail") != std::string::npos && title.find('@') != std::string::npos)
    return 0;
  if ((cls == "OpusApp" || cls == "rctrl_renwnd32") && (formatting || fields)) return 0;

  if (setting_get_int("output_method") == 1) return 1;
  if (len == -1) return 0;
  // Only whether the preference is on matters, not the number it holds.
  if (setting_get_int("use_clipboard_more_than") == 0) return 0;
  if (!formatting && len > 1000) return 1;
  return (formatting || fields) && len > 1750 ? 1 : 0;
}

void clipboard_buf_setup(size_t len) {
  clipboard_buf.clear();
  clipboard_buf.reserve(len + 1);
}

void clipboard_buf_append_char(char byte) {
  if (clipboard_buf.size() == clipboard_buf.capacity()) clipboard_buf.reserve(clipboard_buf.capacity() + 512);
  clipboard_buf.push_back(byte);
}

std::string clipboard_buf_contents() { return clipboard_buf; }

void clipboard_buf_free() {
  clipboard_buf.clear();
  clipboard_buf.shrink_to_fit();
}

bool clipboard_class_pastes_primary(const std::string& window_class) {
  static const char* const terminals[] = {"xterm", "uxterm", "rxvt", "urxvt", "st-256color", "kitty",
                                          "alacritty", "konsole", "terminator", "tilix", "sakura"};
  for (const char* t : terminals)
    if (str_caseeq(window_class, t)) return true;
  return contains_case(window_class.c_str(), "terminal");
}

void clipboard_buf_paste(int reset, const typed_abbrev_info* tai) {
  if (clipboard_buf.empty()) return;
  std::string text = clipboard_buf;
  if (tai && tai->capitalise == 1) text = keysim_upcase_first_char(text);

  bool primary = false;
  if (plat()->capabilities() & PLAT_CAP_PRIMARY_SELECTION) {
    primary = clipboard_class_pastes_primary(plat()->window_class(plat()->foreground_window(), 260));
    // Systems with selections end lines with LF alone; a CR would paste as a second line break.
    text = substitute_str(text, "\r\n", "\n", true, false);
  }
  unsigned selections = primary ? (PLAT_SEL_CLIPBOARD | PLAT_SEL_PRIMARY) : PLAT_SEL_CLIPBOARD;
  if (!plat()->clipboard_set_text(text, selections, CLIPBOARD_ATTEMPTS, CLIPBOARD_INTERVAL_MS)) {
    if (reset) clipboard_buf.clear();
    return;
  }
  keysim_count_presses(static_cast<int>(g_utf8_strlen(text.c_str(), -1)));

  keysim_sleep(PASTE_WAIT_BEFORE_MS);
  uint32_t modifier = primary ? VK_SHIFT : VK_CONTROL;
  uint32_t key = primary ? VK_INSERT : 'V';
  uint32_t key_ext = primary ? KEYEVENTF_EXTENDEDKEY : 0;
  send_key_event(modifier, 0);
  send_key_event(key, key_ext);
  send_key_event(key, key_ext | KEYEVENTF_KEYUP);
  send_key_event(modifier, KEYEVENTF_KEYUP);
  // Backends that see the target fetch the text may go on at once; the others wait it out.
  plat()->clipboard_wait_fetched(PASTE_WAIT_AFTER_MS);
  if (reset) clipboard_buf.clear();
}

void clipboard_backup_contents() {
  clipboard_backup_lst = plat()->clipboard_backup(CLIPBOARD_ATTEMPTS, CLIPBOARD_INTERVAL_MS);
}

void clipboard_restore_contents() {
  if (!clipboard_backup_lst) return;
  plat()->clipboard_restore(*clipboard_backup_lst, CLIPBOARD_ATTEMPTS, CLIPBOARD_INTERVAL_MS);
  clipboard_backup_lst.reset();
}

bool clipboard_has_backup() { return clipboard_backup_lst != nullptr; }

std::optional<std::string> clipboard_get_text_contents() {
  return plat()->clipboard_get_text(PLAT_SEL_CLIPBOARD);
}

std::optional<std::string> clipboard_get_text_contents_wait() {
  for (int i = 0; i < CLIPBOARD_ATTEMPTS; i++) {
    std::optional<std::string> text = clipboard_get_text_contents();
    if (text) return text;
    keysim_sleep(CLIPBOARD_INTERVAL_MS);
  }
  return std::nullopt;
}

void play_sound_before_abbrev_replacement() {
  if (setting_get_int("play_sound")) plat()->play_expansion_sound();
}
