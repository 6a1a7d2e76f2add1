// Interactive input (the replacement waits while the user fills in a field) and the preview
// tooltip of a waiting abbreviation.
//
// Each interactive-input value is written by the hook thread and read and reset by the
// replacement thread; each is an atomic of its own, so no two are ever held together.
#include "monitor/mon_internal.h"
#include "settings/settings.h"

namespace {
std::atomic<int> g_ii_mode_enabled{0};
std::atomic<int> g_n_chars_typed_in_ii_mode{0};
std::atomic<int> g_user_pressed_ii_continue_key{0};
std::atomic<int> g_ii_abruptly{0};
std::atomic<int> g_uns_key_p_ii{0};

// Tooltip state: scheduled by the hook thread, shown from the UI's timer thread.
std::mutex tt_lock;
mon_tooltip_funcs tt_funcs;
unsigned tt_timer_id = 0;           // next timer id; only grows
abbr_abbrev* tt_abbrev = nullptr;   // (owned) copy of the abbreviation to preview
std::string tt_typed;
bool tt_visible = false;

void post_to_hook(uint32_t message) {
  if (plat_thread_id tid = mon_hook_thread_id()) plat()->post_thread_message(tid, message, 0, 0);
}

// Drops the preview; returns whether it was on screen. Call with tt_lock held.
bool drop_preview_locked() {
  abbr_abbrev_free(tt_abbrev);
  tt_abbrev = nullptr;
  tt_typed.clear();
  bool was = tt_visible;
  tt_visible = false;
  return was;
}
}  // namespace

void mon_enable_ii_mode() {
  g_n_chars_typed_in_ii_mode = 0;
  g_user_pressed_ii_continue_key = 0;
  g_ii_abruptly = 0;
  g_uns_key_p_ii = 0;
  g_ii_mode_enabled = 1;
  post_to_hook(WM_MON_CLEAR_KEY_BUFFER);
  post_to_hook(WM_MON_RESTORE_MODIFIERS);
  const mon_callbacks& cb = mon_cb();
  if (!cb.keysim_output_method || cb.keysim_output_method() == 0) post_to_hook(WM_MON_RESTORE_CAPS_LOCK);
  post_to_hook(WM_MON_END_TEMP_DISABLE);
  // A fresh hook while the user types: the system may have dropped the old one during a long
  // expansion.
  mon_refresh_hooks_if_enabled();
}

void mon_disable_ii_mode() {
  g_ii_mode_enabled = 0;
  mon_do_before_replace_preppy();
  if (plat_thread_id k = mon_get_keysim_thread()) plat()->post_thread_message(k, WM_KEYSIM_PREPPY, 0, 0);
}

int mon_get_ii_mode_enabled() { return g_ii_mode_enabled; }
void mon_set_ii_mode_enabled(int v) { g_ii_mode_enabled = v; }
int mon_get_user_pressed_ii_continue_key() { return g_user_pressed_ii_continue_key; }
void mon_set_user_pressed_ii_continue_key(int v) { g_user_pressed_ii_continue_key = v; }
int mon_get_n_chars_typed_in_ii_mode() { return g_n_chars_typed_in_ii_mode; }
void mon_reset_n_chars_typed_in_ii_mode() { g_n_chars_typed_in_ii_mode = 0; }
void mon_chars_typed_in_ii_mode(int delta) { g_n_chars_typed_in_ii_mode += delta; }
int mon_was_unselect_key_pressed_first_in_ii_mode() { return g_uns_key_p_ii; }
void mon_set_unselect_key_pressed_first_in_ii_mode(int v) { g_uns_key_p_ii = v; }
int mon_get_ii_ended_abruptly() { return g_ii_abruptly; }
void mon_set_ii_ended_abruptly(int v) { g_ii_abruptly = v; }
bool mon_vk_will_unselect_selected_text(uint32_t vk) { return vk >= VK_PRIOR && vk < 41; }

void mon_set_tooltip_funcs(const mon_tooltip_funcs& f) {
  std::lock_guard<std::mutex> g(tt_lock);
  tt_funcs = f;
}

void mon_schedule_tooltip(const abbrev_match* m, const std::string& typed) {
  mon_tooltip_funcs f;
  unsigned show_id, destroy_id;
  {
    std::lock_guard<std::mutex> g(tt_lock);
    if (!tt_funcs.start_timer) return;
    f = tt_funcs;
    abbr_abbrev_free(tt_abbrev);
    tt_abbrev = abbr_duplicate_abbrev(m->abbrev, m->abbrev->parent, true);
    tt_typed = typed;
    // Older timers are not cancelled: they find that they are no longer the newest pair.
    show_id = tt_timer_id++;
    destroy_id = tt_timer_id++;
  }
  f.start_timer(show_id, 20, mon_show_tooltip);
  f.start_timer(destroy_id, 3020, mon_destroy_tooltip);
}

void mon_show_tooltip(unsigned id) {
  abbr_abbrev* copy;
  std::string typed;
  void (*show)(abbr_abbrev*, const std::string&, int, int);
  {
    std::lock_guard<std::mutex> g(tt_lock);
    if (id + 2 != tt_timer_id || !tt_abbrev || !tt_funcs.show) return;
    show = tt_funcs.show;
    copy = abbr_duplicate_abbrev(tt_abbrev, tt_abbrev->parent, true);
    typed = tt_typed;
  }
  plat_rect caret{0, 0, 0, 0};
  if (!plat()->caret_rect(&caret)) caret = {0, 0, 0, 0};
  bool no_caret = caret.left == 0 && caret.top == 0 && caret.right == 0 && caret.bottom == 0;
  if (no_caret && setting_get_int("dont_tooltip_invalid_cursor")) {
    abbr_abbrev_free(copy);
    return;
  }
  {
    std::lock_guard<std::mutex> g(tt_lock);
    tt_visible = true;
  }
  show(copy, typed, caret.left, caret.bottom);
}

void mon_destroy_tooltip(unsigned id) {
  {
    std::lock_guard<std::mutex> g(tt_lock);
    if (id + 1 != tt_timer_id) return;
  }
  mon_hide_tooltip_window();
}

void mon_hide_tooltip_window() {
  void (*hide)() = nullptr;
  {
    std::lock_guard<std::mutex> g(tt_lock);
    // A preview not yet on screen is dropped too, so its pending show timer finds nothing.
    if (drop_preview_locked()) hide = tt_funcs.hide;
  }
  if (hide) hide();
}

void mon_destroy_tooltip_window_threadunsafe() {
  void (*destroy)() = nullptr;
  {
    std::lock_guard<std::mutex> g(tt_lock);
    drop_preview_locked();
    destroy = tt_funcs.destroy;
  }
  if (destroy) destroy();
}

void mon_destroy_tooltip_window() { post_to_hook(WM_MON_DESTROY_TOOLTIP); }
