// The hook thread: installs the hooks, runs them from its message loop and answers the
// requests of the other threads. Requests that want an answer carry the asker's thread id in
// wParam and are answered with WM_MON_RESPONSE; the asker waits without a time-out.
#include <chrono>
#include <thread>

#include "monitor/matcher.h"
#include "monitor/mon_internal.h"
#include "settings/prefs.h"
#include "settings/settings.h"
#include "util/intlist.h"

std::atomic<int> g_keyboard_hook_called{0};

namespace {
mon_callbacks g_callbacks;
std::atomic<plat_thread_id> g_keysim_tid{0};

std::thread* hookThread = nullptr;  // UI thread only
std::atomic<plat_thread_id> hook_tid{0};
std::atomic<unsigned> g_installed_hooks{0};
bool keyHook = false, mouseHook = false;  // hook thread only

int hook_temp_disable = 0;
std::mutex hook_temp_disable_lock;

int g_watchdog_count = 0;  // UI thread only

// The asker took its id before asking, which readied its queue.
void reply(uintptr_t asker, uintptr_t result) {
  if (asker) plat()->post_thread_message(static_cast<plat_thread_id>(asker), WM_MON_RESPONSE, result, 0);
}

void hook_thread_proc() {
  plat()->raise_thread_priority();
  plat_msg msg;
  // The queue exists only after the first get_message: announce the id, then wait for HELLO.
  hook_tid = plat()->current_thread_id();
  for (;;) {
    int got = plat()->get_message(&msg, 0, 0);
    if (got == -1) continue;
    if (got == 0) break;
    if (!mon_handle_hook_thread_message(msg)) break;
  }
}

// Sends a request that carries the caller's id and waits for the answer.
int ask_hook_thread(uint32_t message) {
  plat_thread_id tid = hook_tid;
  if (!tid || !hookThread) return 0;
  plat_thread_id me = plat()->current_thread_id();
  if (!plat()->post_thread_message(tid, message, me, 0)) return 0;
  return mon_hook_thread_get_response();
}

int main_list_handover() {
  if (!hookThread) return 1;
  return ask_hook_thread(WM_MON_ADJUST_KEY_BUFFER_CLEAR);
}

void post_to_hook_thread(uint32_t message) {
  if (plat_thread_id tid = hook_tid) plat()->post_thread_message(tid, message, 0, 0);
}
}  // namespace

const mon_callbacks& mon_cb() { return g_callbacks; }
void mon_set_callbacks(const mon_callbacks& cb) { g_callbacks = cb; }
void mon_set_keysim_thread(plat_thread_id tid) { g_keysim_tid = tid; }
plat_thread_id mon_get_keysim_thread() { return g_keysim_tid; }
plat_thread_id mon_hook_thread_id() { return hook_tid; }
unsigned mon_installed_hooks() { return g_installed_hooks; }

void mon_hook_set_temp_disable(int v) {
  std::lock_guard<std::mutex> g(hook_temp_disable_lock);
  hook_temp_disable = v;
}

int mon_hook_get_temp_disable() {
  std::lock_guard<std::mutex> g(hook_temp_disable_lock);
  return hook_temp_disable;
}

bool mon_handle_hook_thread_message(const plat_msg& msg) {
  switch (msg.message) {
    case WM_MON_INSTALL_KB_HOOK:
      if (!keyHook) keyHook = plat()->install_keyboard_hook(mon_keyboard_LL_hook_func, nullptr);
      reply(msg.wparam, keyHook ? 1 : 0);
      break;
    case WM_MON_UNINSTALL_KB_HOOK: {
      // The backend reports a hook that the system already dropped as gone, which is success.
      bool ok = !keyHook || plat()->uninstall_keyboard_hook();
      if (ok) keyHook = false;
      reply(msg.wparam, ok ? 1 : 0);
      break;
    }
    case WM_MON_INSTALL_MOUSE_HOOK:
      if (!mouseHook) mouseHook = plat()->install_mouse_hook(mon_mouse_LL_hook_func, nullptr);
      reply(msg.wparam, mouseHook ? 1 : 0);
      break;
    case WM_MON_UNINSTALL_MOUSE_HOOK: {
      bool ok = !mouseHook || plat()->uninstall_mouse_hook();
      if (ok) mouseHook = false;
      reply(msg.wparam, ok ? 1 : 0);
      break;
    }
    case WM_MON_RESTORE_MODIFIERS:
      // A modifier the user let go of while the replacement typed must be known as released
      // before we decide to press it again; and one let go of between that decision and our
      // press came first, leaving our press holding the key for nobody.
      plat()->flush_hook_events();
      mon_restore_all_keyupd_modifiers();
      plat()->flush_hook_events();
      mon_release_restored_modifiers_let_go();
      break;
    case WM_MON_CLEAR_KEY_BUFFER:
      mon_clear_key_buffer();
      mon_set_abbrev_waiting_to_expand(nullptr);
      break;
    case WM_MON_QUIT:
      reply(msg.wparam, 1);
      return false;
    case WM_MON_ADJUST_KEY_BUFFER:
      mon_adjust_key_buffer_size();
      reply(msg.wparam, 1);
      break;
    case WM_MON_ADJUST_KEY_BUFFER_CLEAR:
      // The old main list is about to be freed: nothing may keep pointing into it.
      mon_adjust_key_buffer_size();
      mon_set_abbrev_waiting_to_expand(nullptr);
      reply(msg.wparam, 1);
      break;
    case WM_MON_RESTORE_CAPS_LOCK:
      mon_restore_caps_lock_if_needed();
      break;
    case WM_MON_END_TEMP_DISABLE:
      mon_hook_set_temp_disable(0);
      break;
    case WM_MON_DESTROY_TOOLTIP:
      mon_destroy_tooltip_window_threadunsafe();
      break;
    case WM_MON_EXPAND_ABBREV:
      mon_expand_abbrev_from_menu(reinterpret_cast<abbr_abbrev*>(msg.wparam));
      break;
    default:  // WM_MON_HELLO and anything else
      break;
  }
  return true;
}

int mon_hook_thread_get_response() {
  plat_msg msg;
  while (plat()->get_message(&msg, WM_MON_RESPONSE, WM_MON_RESPONSE) != 1) {
  }
  return static_cast<int>(msg.wparam);
}

int mon_create_hook_thread() {
  if (hookThread) return 1;
  hook_tid = 0;
  hookThread = new std::thread(hook_thread_proc);
  plat_thread_id tid;
  while (!(tid = hook_tid)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  while (!plat()->post_thread_message(tid, WM_MON_HELLO, 0, 0))
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  return 1;
}

void mon_destroy_hook_thread() {
  if (!hookThread) return;
  if (plat()->post_thread_message(hook_tid, WM_MON_QUIT, plat()->current_thread_id(), 0)) {
    mon_hook_thread_get_response();
    hookThread->join();
  } else {
    hookThread->detach();
  }
  delete hookThread;
  hookThread = nullptr;
  hook_tid = 0;
  // The thread has ended: its state can be released from here.
  mon_free_key_buffer();
  mon_matcher_index_free();
  mon_reset_hook_state();
  __setting_list_free(cycle_lst);
  cycle_lst = nullptr;
}

int mon_install_keyboard_hook() {
  int r = ask_hook_thread(WM_MON_INSTALL_KB_HOOK);
  if (r) g_installed_hooks |= 1u;
  return r;
}

int mon_uninstall_keyboard_hook() {
  if (!hookThread) return 1;
  int r = ask_hook_thread(WM_MON_UNINSTALL_KB_HOOK);
  if (r) g_installed_hooks &= ~1u;
  return r;
}

int mon_install_mouse_hook() {
  int r = ask_hook_thread(WM_MON_INSTALL_MOUSE_HOOK);
  if (r) g_installed_hooks |= 2u;
  return r;
}

int mon_uninstall_mouse_hook() {
  if (!hookThread) return 1;
  int r = ask_hook_thread(WM_MON_UNINSTALL_MOUSE_HOOK);
  if (r) g_installed_hooks &= ~2u;
  return r;
}

int mon_start() {
  // Preferences were loaded before the monitor starts; later loads refresh the cached values.
  prefs_set_monitor_callbacks(mon_prefs_reloaded, mon_prefs_freed);
  mon_prefs_reloaded();
  if (!mon_create_hook_thread()) {
    mon_stop(0);
    return 0;
  }
  if (g_callbacks.keysim_create_thread) {
    plat_thread_id k = g_callbacks.keysim_create_thread();
    if (!k) {
      mon_stop(0);
      return 0;
    }
    g_keysim_tid = k;
  }
  if (!mon_install_keyboard_hook() || !mon_install_mouse_hook()) {
    mon_stop(0);
    return 0;
  }
  ask_hook_thread(WM_MON_ADJUST_KEY_BUFFER);
  abbr_set_main_list_handover(main_list_handover);
  return 1;
}

int mon_stop(int force) {
  bool kb = mon_uninstall_keyboard_hook() != 0;
  bool mouse = mon_uninstall_mouse_hook() != 0;
  post_to_hook_thread(WM_MON_CLEAR_KEY_BUFFER);
  if ((!kb || !mouse) && !force) {
    if (g_callbacks.keysim_destroy_thread) g_callbacks.keysim_destroy_thread();
    return 0;
  }
  abbr_set_main_list_handover(nullptr);
  mon_destroy_hook_thread();
  if (g_callbacks.keysim_destroy_thread) g_callbacks.keysim_destroy_thread();
  return 1;
}

void mon_refresh_hooks_if_enabled() {
  if (!(g_installed_hooks & 1u)) return;
  mon_uninstall_mouse_hook();
  mon_uninstall_keyboard_hook();
  mon_install_keyboard_hook();
  mon_install_mouse_hook();
}

void check_if_hooks_need_to_be_reinstalled_timeout_callback() {
  ++g_watchdog_count;
  if (g_keyboard_hook_called.exchange(0) == 1) {
    g_watchdog_count = 0;
  } else if (g_watchdog_count > 68) {
    mon_refresh_hooks_if_enabled();
    g_watchdog_count = 0;
  }
}

void mon_prefs_reloaded() {
  plist* keys = plist_ints_from_string(setting_get("trigger_hotkey"), ' ', true);
  std::lock_guard<std::mutex> g(g_trigger_hotkey_lock);
  plist* old = cached_trigger_hotkey;
  cached_trigger_hotkey = keys;
  plist_free(old);
  g_no_apostrophe_delim = setting_get_int("no_apostrophe_delim");
  g_focus_fix = setting_get_int("ffocusri");
  g_pause_for = setting_get_int("pause_for");
}

void mon_prefs_freed() {
  std::lock_guard<std::mutex> g(g_trigger_hotkey_lock);
  plist_free(cached_trigger_hotkey);
  cached_trigger_hotkey = nullptr;
}
