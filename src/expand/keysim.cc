#include "expand/keysim.h"

#include <glib.h>

#include <chrono>
#include <memory>
#include <thread>

#include "core/gvar.h"
#include "expand/clipboard_output.h"
#include "expand/keysim_insert.h"
#include "monitor/mon.h"
#include "expand/launch.h"
#include "settings/prefs.h"
#include "util/strutil.h"

std::atomic<plat_thread_id> g_keysim_tid{0};
std::atomic<int> g_expanding_right_now{0};
std::atomic<int> g_keysim_om{0};

int keysim_get_output_method() { return g_keysim_om; }
int g_ctrl_down = 0, g_alt_down = 0, g_altgr_down = 0, g_shift_down = 0;
int g_pause_for_extended_keys = 0;

namespace {

keysim_app_hooks app_hooks{};

void real_sleep(int ms) {
  if (ms > 0) std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}
std::atomic<keysim_sleep_func> sleep_func{real_sleep};

// The running thread, and one that was asked to end but not yet joined. Touched only by the
// thread that starts and stops the monitor.
std::unique_ptr<std::thread> keysim_thread;
std::unique_ptr<std::thread> ended_thread;

// Scan codes that the system's own translation gets wrong or leaves out for these keys
// (values above 255 carry the extended prefix in the high byte).
const int mVKtoSC[][2] = {
    {162, 29},  {163, 285}, {164, 56},  {165, 312}, {160, 42},  {161, 310}, {91, 347},
    {92, 348},  {110, 83},  {144, 325}, {111, 309}, {106, 55},  {109, 74},  {107, 78},
    {96, 82},   {97, 79},   {98, 80},   {99, 81},   {100, 75},  {101, 76},  {102, 77},
    {103, 71},  {104, 72},  {105, 73},  {-1, -1},
};

constexpr uint16_t LANG_HEBREW = 0x040D;

void send(uint32_t vk, uint32_t scan, uint32_t flags) { plat()->send_key(vk, scan, flags); }

bool focus_moved(plat_window target) {
  return !setting_get_int("cont_window_changed") && plat()->foreground_window() != target;
}

std::string utf8_of(char32_t ch) {
  char buf[6];
  int n = g_unichar_to_utf8(static_cast<gunichar>(ch), buf);
  return std::string(buf, n);
}

// What a character's key code asks for. Only the Shift bit and the Ctrl bit as it has always
// been read (value 8) count; characters that need Ctrl+Alt go through the AltGr rule instead.
struct char_modifiers {
  bool shift = false, ctrl = false, altgr = false;
};
char_modifiers get_ctrl_alt_shift_state_from_VkKeyScan_code(int16_t code) {
  char_modifiers m;
  if (static_cast<uint16_t>(code) == 0xFFFF) return m;
  unsigned hi = (static_cast<uint16_t>(code) >> 8) & 0xFF;
  m.shift = (hi & 1) != 0;
  m.ctrl = (hi & 8) != 0;
  m.altgr = (hi & 6) == 6;
  if (hi == 6) m.shift = false;
  return m;
}

void send_unicode(const std::vector<uint16_t>& units_down_up) {
  std::vector<plat_input> in;
  for (size_t i = 0; i < units_down_up.size(); i++) {
    uint32_t flags = KEYEVENTF_UNICODE | (i >= units_down_up.size() / 2 ? KEYEVENTF_KEYUP : 0);
    in.push_back({0, units_down_up[i], flags});
  }
  plat()->send_input(in.data(), static_cast<unsigned>(in.size()));
}

void grab_clipboard_keysim_thread() {
  std::optional<std::string> text = clipboard_get_text_contents_wait();
  if (text && app_hooks.grabbed_clipboard_text) {
    auto* copy = new std::string(substitute_str(*text, "\r\n", "\n", true, false));
    g_idle_add(
        [](gpointer data) -> gboolean {
          auto* s = static_cast<std::string*>(data);
          if (app_hooks.grabbed_clipboard_text) app_hooks.grabbed_clipboard_text(*s);
          delete s;
          return G_SOURCE_REMOVE;
        },
        copy);
  }
  clipboard_restore_contents();
}

}  // namespace

void keysim_set_app_hooks(const keysim_app_hooks& hooks) { app_hooks = hooks; }
const keysim_app_hooks& keysim_get_app_hooks() { return app_hooks; }

void keysim_count_presses(int n) {
  g_idle_add(
      [](gpointer data) -> gboolean {
        setting_set_int("presses", setting_get_int("presses") + GPOINTER_TO_INT(data));
        return G_SOURCE_REMOVE;
      },
      GINT_TO_POINTER(n));
}

void keysim_mark_expanded() {
  g_idle_add(
      [](gpointer) -> gboolean {
        gvar_set("expanded", "1");
        return G_SOURCE_REMOVE;
      },
      nullptr);
}

void keysim_set_sleep_func(keysim_sleep_func fn) { sleep_func = fn ? fn : real_sleep; }
void keysim_sleep(int ms) { sleep_func.load()(ms); }

uint32_t ___MapVirtualKey(uint32_t vk, unsigned map_type) {
  for (int i = 0; mVKtoSC[i][0] != -1; i++)
    if (static_cast<uint32_t>(mVKtoSC[i][0]) == vk) return static_cast<uint32_t>(mVKtoSC[i][1]);
  return plat()->map_virtual_key(vk, map_type, plat()->window_layout(plat()->foreground_window()));
}

uint32_t keysim_scan_for_vk(uint32_t vk) { return ___MapVirtualKey(vk, MAPVK_VK_TO_VSC) & 0xFF; }

// ---- The thread ----

void keysim_thread_proc() {
  g_keysim_tid = plat()->current_thread_id();
  for (;;) {
    plat_msg m{};
    int r = plat()->get_message(&m, 0, 0);
    if (r == 0) break;
    if (r < 0) continue;
    if (m.message == WM_KEYSIM_QUIT) break;
    switch (m.message) {
      case WM_KEYSIM_REPLACE: {
        auto** slot = reinterpret_cast<typed_abbrev_info**>(m.wparam);
        if (slot && *slot) keysim_replace_typed_abbreviation_keysim_thread(*slot);
        if (m.lparam == 1) typed_abbrev_info_free(slot);
        break;
      }
      case WM_KEYSIM_PREPPY:
        keysim_replace_typed_abbreviation_preppy_keysim_thread();
        break;
      case WM_KEYSIM_GRAB_CLIPBOARD:
        grab_clipboard_keysim_thread();
        break;
      default:
        break;
    }
  }
}

int keysim_create_thread() {
  if (keysim_thread) return 1;
  g_keysim_tid = 0;
  try {
    keysim_thread = std::make_unique<std::thread>(keysim_thread_proc);
  } catch (const std::system_error&) {
    return 0;
  }
  while (g_keysim_tid == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  // The post fails until the thread's first get_message has made its queue.
  while (!plat()->post_thread_message(g_keysim_tid, WM_KEYSIM_STARTED, 0, 0))
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  return 1;
}

void keysim_destroy_thread() {
  if (!keysim_thread) return;
  plat()->post_thread_message(g_keysim_tid, WM_KEYSIM_QUIT, 0, 0);
  keysim_wait_thread_ended();
  ended_thread = std::move(keysim_thread);
  g_keysim_tid = 0;
}

void keysim_wait_thread_ended() {
  if (ended_thread && ended_thread->joinable()) ended_thread->join();
  ended_thread.reset();
}

void keysim_replace_typed_abbreviation(typed_abbrev_info** slot) {
  if (!slot || !*slot) return;
  plat()->post_thread_message(g_keysim_tid, WM_KEYSIM_REPLACE, reinterpret_cast<uintptr_t>(slot), 1);
}

void keysim_replace_typed_abbreviation_preppy() {
  plat()->post_thread_message(g_keysim_tid, WM_KEYSIM_PREPPY, 0, 0);
}

void keysim_grab_clipboard() { plat()->post_thread_message(g_keysim_tid, WM_KEYSIM_GRAB_CLIPBOARD, 0, 0); }

// ---- One replacement ----

void keysim_replace_typed_abbreviation_keysim_thread(typed_abbrev_info* tai) {
  g_expanding_right_now = 1;
  if (app_hooks.hotkeys_unregister_all) app_hooks.hotkeys_unregister_all();

  tai->text_to_type = keysim_get_text_to_type(tai, tai->abbrev, tai->typed.c_str(), 0, &tai->cursor_back,
                                              &tai->capitalise, nullptr);
  keysim_replace_typed_abbreviation_preppy_keysim_thread();

  if (g_keysim_om == 1) {
    // Read for its side of the preferences only: the backup is always made.
    (void)setting_get_int("clipboard_restore");
    clipboard_backup_contents();
  }
  play_sound_before_abbrev_replacement();
  if (keysim_delete_typed_abbrev(tai)) keysim_handle_abbrev_replacement(tai);
  keysim_do_after_replace_cleanup();

  if (g_keysim_om == 1) {
    clipboard_buf_free();
    clipboard_restore_contents();
  }
  keysim_free_ii_state();
  keysim_mark_expanded();

  g_expanding_right_now = 0;
  if (app_hooks.hotkeys_register_all) app_hooks.hotkeys_register_all();
  if (app_hooks.hotkey_handle_acm_hotkeys) app_hooks.hotkey_handle_acm_hotkeys();
}

void keysim_replace_typed_abbreviation_preppy_keysim_thread() {
  if (g_keysim_om == 0) mon_caps_lock_preppy();
  std::string cls = plat()->window_class(mon_get_typed_hwnd(), 260);
  // InDesign takes the lone Ctrl press as a command.
  if (cls != "indesign") {
    uint32_t scan = keysim_scan_for_vk(VK_CONTROL);
    send(VK_CONTROL, scan, KEYEVENTF_EXTENDEDKEY);
    send(VK_CONTROL, scan, KEYEVENTF_EXTENDEDKEY | KEYEVENTF_KEYUP);
    for (uint32_t vk : {VK_LCONTROL, VK_RCONTROL}) {
      send(vk, SC_CONTROL, 0);
      send(vk, SC_CONTROL, KEYEVENTF_KEYUP);
    }
  }
  if (g_keysim_om == 1) {
    bool shift = false;
    for (uint32_t vk : {VK_SHIFT, VK_LSHIFT, VK_RSHIFT})
      shift = shift || (plat()->get_async_key_state(vk) & 0x8000) || (plat()->get_key_state(vk) & 0x8000);
    if (!shift) return;
  }
  uint32_t scan = keysim_scan_for_vk(VK_SHIFT);
  send(VK_SHIFT, scan, KEYEVENTF_EXTENDEDKEY);
  send(VK_SHIFT, scan, KEYEVENTF_EXTENDEDKEY | KEYEVENTF_KEYUP);
  send(VK_LSHIFT, SC_LSHIFT, 0);
  send(VK_LSHIFT, SC_LSHIFT, KEYEVENTF_KEYUP);
  send(VK_RSHIFT, SC_RSHIFT, KEYEVENTF_EXTENDEDKEY);
  send(VK_RSHIFT, SC_RSHIFT, KEYEVENTF_EXTENDEDKEY | KEYEVENTF_KEYUP);
}

void keysim_do_after_replace_cleanup() {
  plat_thread_id hook = mon_hook_thread_id();
  plat()->post_thread_message(hook, WM_MON_CLEAR_KEY_BUFFER, 0, 0);
  plat()->post_thread_message(hook, WM_MON_RESTORE_MODIFIERS, 0, 0);
  if (g_keysim_om == 0) plat()->post_thread_message(hook, WM_MON_RESTORE_CAPS_LOCK, 0, 0);
  plat()->post_thread_message(hook, WM_MON_END_TEMP_DISABLE, 0, 0);
  if (app_hooks.refresh_state_if_enabled) app_hooks.refresh_state_if_enabled();
}

int keysim_do_output_typed_delim(const typed_abbrev_info* tai) {
  if (setting_get_int("textexpander_mode")) return prefs_get_default_trigger_mode() == ABBR_TRIGGER_WORD_END;
  return tai && tai->abbrev && tai->abbrev->trigger_mode == ABBR_TRIGGER_WORD_END;
}

std::string keysim_get_text_to_type(typed_abbrev_info* tai, const abbr_abbrev* a, const char* typed,
                                    int no_cursor, int* cursor_back, int* capitalise, plist* guard) {
  if (!a || !typed) return "";
  plist* own_guard = guard ? nullptr : plist_append_string(nullptr, typed);
  int back = 0, cap = 0;
  std::string text = insertion_macros_execute(a->replacement, no_cursor, &back, guard ? guard : own_guard);
  plist_free(own_guard);
  text = abbr_convert_exp_to_correct_case(text.c_str(), a, typed, &cap).value_or("");
  if (tai) {
    g_keysim_om = repl_output_method(text.c_str(), static_cast<long>(text.size()));
    if (tai->trigger_char && keysim_do_output_typed_delim(tai)) {
      text += utf8_of(tai->trigger_char);
      if (back) back++;
    }
  }
  if (cursor_back) *cursor_back = back;
  if (capitalise) *capitalise = cap;
  return text;
}

int keysim_delete_typed_abbrev(typed_abbrev_info* tai) {
  if (tai->from_menu) return 1;
  if (!tai->abbrev || tai->typed.empty()) return 0;
  // extra_erase: keys that completed the abbreviation and reached the application anyway,
  // because the system could not hold them back (the monitor counts them).
  long n = g_utf8_strlen(tai->typed.c_str(), -1) + (tai->dead_key_pending ? 1 : 0) +
           static_cast<long>(tai->extra_erase);
  if (n < 1) return 1;
  plat_window target = static_cast<plat_window>(tai->target_window);
  // Chrome's address bar opens a search menu on "/" and swallows a Backspace that comes too
  // quickly after the menu has changed.
  plat_window fg = plat()->foreground_window();
  bool chrome = tai->typed[0] == '/' && fg != 0 && fg == plat()->find_top_level_window("Chrome_WidgetWin_1");
  uint32_t scan = keysim_scan_for_vk(VK_BACK);
  for (long i = 0; i < n; i++) {
    if (focus_moved(target)) return 0;
    if (chrome && i == n - 1) {
      g_pause_for_extended_keys = 1;
      keysim_sleep(50);
    }
    send(VK_BACK, scan, 0);
    send(VK_BACK, scan, KEYEVENTF_KEYUP);
    g_pause_for_extended_keys = 0;
  }
  return 1;
}

void keysim_handle_abbrev_replacement(typed_abbrev_info* tai) {
  plat_window target = static_cast<plat_window>(tai->target_window);
  if (tai->abbrev && abbr_is_launcher(tai->abbrev)) {
    if (app_hooks.launchpad_window && target != 0 && target == app_hooks.launchpad_window() &&
        app_hooks.launchpad_hide)
      app_hooks.launchpad_hide();
    launcher_launch_from_abbrev(tai->abbrev);
    tai->text_to_type.reset();
    return;
  }
  if (tai->text_to_type)
    keysim_simutype_text(*tai->text_to_type, target, &tai->cursor_back, tai->capitalise, 0, 0, tai);
  uint32_t scan = keysim_scan_for_vk(VK_LEFT);
  for (int i = 0; i < tai->cursor_back; i++) {
    send(VK_LEFT, scan, 0);
    send(VK_LEFT, scan, KEYEVENTF_KEYUP);
  }
  // Notepad leaves its caret invisible after injected typing until the pointer moves over it.
  plat_window fg = plat()->foreground_window();
  plat_rect r{};
  if (fg != 0 && fg == plat()->find_top_level_window("Notepad") && plat()->window_rect(fg, &r)) {
    size_t moves = tai->text_to_type ? tai->text_to_type->size() + 1 : 6;
    for (size_t i = 0; i < moves; i++) {
      int d = i % 2 == 0 ? 25 : 28;
      plat()->move_pointer(r.left + d, r.top + d);
      keysim_sleep(1);
    }
    keysim_sleep(1);
  }
  tai->text_to_type.reset();
}

// ---- Typing ----

int keysim_simutype_text(const std::string& text, plat_window target, int* cursor_back, int capitalise,
                         int literal, int unused, typed_abbrev_info* tai) {
  (void)unused;
  plat_layout layout = plat()->window_layout(target);
  uint16_t language = plat()->layout_language(layout);
  int pause = 0;
  if (setting_get_int("pause_for")) {
    pause = setting_get_int("pause_ms");
    if (pause == 0 || pause > 1000) pause = 5;
  }
  g_ctrl_down = g_alt_down = g_altgr_down = g_shift_down = 0;

  // Some windows ignore injected keys but accept posted characters.
  bool wm_char = str_caseeq(plat()->window_class(target, 260), "Maxthon2_Frame");
  bool clipboard = !wm_char && g_keysim_om == 1;
  plat_window char_window = 0;
  if (wm_char) {
    char_window = plat()->focus_window();
    keysim_sleep(100);
  } else if (clipboard) {
    clipboard_buf_setup(text.size());
  }

  int back = cursor_back ? *cursor_back : 0;
  int presses = 0, result = 1;
  bool typed_any = false, shift_held = false;
  const size_t size = text.size();
  size_t i = 0;
  while (i < size) {
    if (focus_moved(target)) {
      result = 0;
      break;
    }
    bool tail = back > 0 && static_cast<long>(i) >= static_cast<long>(size) - back;
    if (!literal && text[i] == '%' && i + 1 < size && text[i + 1] == '(') {
      int typed = 0, macro_len = 0;
      int r = keysim_handle_this_macro(text, i, layout, target, &typed, &macro_len);
      if (r > 0) {
        if (typed == -1) {
          back = 0;
          result = 0;
          break;
        }
        if (tail) back = back - macro_len + typed;
        i += r;
        continue;
      }
      if (r == -1) {
        if (tail) back--;
        i++;
        continue;
      }
    }
    if (clipboard) {
      if (text[i] == '\n') clipboard_buf_append_char('\r');
      clipboard_buf_append_char(text[i]);
      i++;
      continue;
    }

    gunichar ch = g_utf8_get_char_validated(text.c_str() + i, static_cast<gssize>(size - i));
    if (ch == static_cast<gunichar>(-1) || ch == static_cast<gunichar>(-2)) {
      i++;
      continue;
    }
    size_t next = i + (g_utf8_next_char(text.c_str() + i) - (text.c_str() + i));
    if (capitalise == 1 && !typed_any) ch = g_unichar_toupper(ch);
    typed_any = true;

    int16_t code = wm_char ? -1 : plat()->vk_key_scan(ch, layout);
    // Windows layouts give a line feed as Ctrl+Return, whose Ctrl bit is never pressed here, so
    // a line break is typed as Return; backends that have no key for it get the same.
    if (ch == '\n' && !wm_char && static_cast<uint16_t>(code) == 0xFFFF) code = 0x0200 | VK_RETURN;
    bool has_key = static_cast<uint16_t>(code) != 0xFFFF;
    char_modifiers need = get_ctrl_alt_shift_state_from_VkKeyScan_code(code);
    uint32_t vk = static_cast<uint16_t>(code) & 0xFF;
    uint32_t scan = 0;
    if (has_key) {
      int16_t lower = plat()->vk_key_scan(g_unichar_tolower(ch), layout);
      scan = plat()->map_virtual_key(static_cast<uint16_t>(lower) & 0xFF, MAPVK_VK_TO_VSC, layout);
      if (scan == 0) scan = plat()->map_virtual_key(vk, MAPVK_VK_TO_VSC, layout);
    }

    bool press_shift = need.shift && !g_shift_down && !shift_held;
    bool press_ctrl = need.ctrl && !g_ctrl_down;
    bool press_altgr = need.altgr && !g_altgr_down;
    if (press_altgr) send(VK_RMENU, SC_ALT, KEYEVENTF_EXTENDEDKEY);
    if (press_shift) send(VK_LSHIFT, SC_LSHIFT, 0);
    if (need.shift && !g_shift_down) shift_held = true;
    if (press_ctrl && !need.altgr) {
      send(VK_CONTROL, keysim_scan_for_vk(VK_CONTROL), KEYEVENTF_EXTENDEDKEY);
      keysim_sleep(5);
    }

    if (wm_char) {
      plat()->post_char(char_window, ch == '\n' ? U'\r' : static_cast<char32_t>(ch));
    } else if (language == LANG_HEBREW && (ch == '.' || ch == '[')) {
      // The Hebrew layout's own keys for these give the wrong characters in many programs.
      send_unicode({static_cast<uint16_t>(ch), static_cast<uint16_t>(ch)});
      presses++;
    } else if (ch < 0x100) {
      if (has_key) {
        plat_input in[2] = {{vk, scan, 0}, {vk, scan, KEYEVENTF_KEYUP}};
        plat()->send_input(in, 2);
      } else {
        send_unicode({static_cast<uint16_t>(ch), static_cast<uint16_t>(ch)});
      }
      presses++;
    } else {
      gunichar2 units[2] = {0, 0};
      glong n_units = 0;
      gunichar2* u16 = g_ucs4_to_utf16(&ch, 1, nullptr, &n_units, nullptr);
      for (glong k = 0; k < n_units && k < 2; k++) units[k] = u16[k];
      g_free(u16);
      if (!has_key) {
        std::vector<plat_input> in = {{0, units[0], KEYEVENTF_UNICODE},
                                      {0, units[1], KEYEVENTF_UNICODE},
                                      {0, units[0], KEYEVENTF_UNICODE | KEYEVENTF_KEYUP},
                                      {0, units[1], KEYEVENTF_UNICODE | KEYEVENTF_KEYUP}};
        plat()->send_input(in.data(), 4);
      } else {
        plat_input in[4] = {{vk, scan, 0}, {vk, scan, 0}, {vk, scan, KEYEVENTF_KEYUP}, {vk, scan, KEYEVENTF_KEYUP}};
        plat()->send_input(in, 4);
      }
      presses++;
    }
    if (pause) keysim_sleep(pause);

    if (press_altgr) send(VK_RMENU, SC_ALT, KEYEVENTF_EXTENDEDKEY | KEYEVENTF_KEYUP);
    if (shift_held) {
      // Keep Shift down across a run of capitals, but never into a macro.
      bool keep = false;
      if (!literal && next < size) {
        bool macro = next + 1 < size && text[next] == '%' && text[next + 1] == '(' &&
                     !keysim_is_escaped_at(text, next) &&
                     keysim_parse_valid_macro(text.c_str() + next, nullptr, nullptr, nullptr, nullptr, 0);
        gunichar nc = g_utf8_get_char_validated(text.c_str() + next, static_cast<gssize>(size - next));
        if (!macro && nc != static_cast<gunichar>(-1) && nc != static_cast<gunichar>(-2)) {
          int16_t ncode = plat()->vk_key_scan(nc, layout);
          unsigned hi = (static_cast<uint16_t>(ncode) >> 8) & 0xFF;
          keep = get_ctrl_alt_shift_state_from_VkKeyScan_code(ncode).shift && hi != 6;
        }
      }
      if (!keep) {
        send(VK_LSHIFT, SC_LSHIFT, KEYEVENTF_KEYUP);
        shift_held = false;
      }
    }
    if (press_ctrl && !need.altgr) {
      send(VK_CONTROL, keysim_scan_for_vk(VK_CONTROL), KEYEVENTF_EXTENDEDKEY | KEYEVENTF_KEYUP);
      keysim_sleep(5);
    }
    i++;
  }
  if (shift_held) send(VK_LSHIFT, SC_LSHIFT, KEYEVENTF_KEYUP);
  if (clipboard) clipboard_buf_paste(0, tai);
  if (presses) keysim_count_presses(presses);
  if (cursor_back) *cursor_back = back;
  return result;
}

mon_callbacks keysim_monitor_callbacks() {
  mon_callbacks cb;
  cb.keysim_create_thread = [] { return keysim_create_thread() ? g_keysim_tid.load() : plat_thread_id{0}; };
  cb.keysim_destroy_thread = [] {
    keysim_destroy_thread();
    keysim_wait_thread_ended();
  };
  cb.keysim_user_typed_char_in_ii = keysim_user_typed_char_in_ii;
  cb.keysim_user_typed_backspace_in_ii = keysim_user_typed_backspace_in_ii;
  cb.keysim_output_method = keysim_get_output_method;
  return cb;
}
