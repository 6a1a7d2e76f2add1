// The X11 backend.
//
// Connections: the hook thread opens its own (XInput2 raw key and button events on the root
// window plus XKB state events, read from inside get_message); one shared connection, under a
// lock, serves queries and XTest injection from any thread; the clipboard runs a thread with a
// connection of its own, because selection requests must be answered while other threads
// wait; hotkeys use a connection watched by the default GLib main context (the UI thread's
// main loop).
//
// The backend cannot swallow keys: raw events are copies, the application always gets the
// key. Dead keys are composed here with the locale's compose table.
#pragma once

#include <atomic>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/platform.h"
#include "platform/thread_queue.h"
#include "platform/x11/x11_injected.h"

typedef struct _XDisplay Display;
class x11_translator;
class x11_clipboard;
class x11_hotkeys;
class x11_caret;

class x11_platform : public plat_queued_platform {
 public:
  // Connects to the display (null: $DISPLAY); null when that fails or XInputExtension 2, XTEST
  // or XKEYBOARD is missing. Call before any other Xlib or GTK use in the process, because it
  // turns on Xlib's thread support.
  static std::unique_ptr<x11_platform> open(const char* display_name = nullptr);
  ~x11_platform() override;

  unsigned capabilities() override;
  int get_message(plat_msg* out, uint32_t msg_min, uint32_t msg_max) override;
  void raise_thread_priority() override;
  void flush_hook_events() override;
  bool install_keyboard_hook(plat_key_hook fn, void* user) override;
  bool uninstall_keyboard_hook() override;
  bool install_mouse_hook(plat_mouse_hook fn, void* user) override;
  bool uninstall_mouse_hook() override;
  bool get_keyboard_state(uint8_t state[256]) override;
  int16_t get_key_state(uint32_t vk) override;
  int16_t get_async_key_state(uint32_t vk) override;
  plat_layout window_layout(plat_window w) override;
  uint16_t layout_language(plat_layout layout) override;
  std::string layout_name(plat_layout layout) override;
  int to_unicode(uint32_t vk, uint32_t scan, const uint8_t state[256], std::string* utf8_out,
                 plat_layout layout) override;
  int16_t vk_key_scan(char32_t ch, plat_layout layout) override;
  uint32_t map_virtual_key(uint32_t code, unsigned map_type, plat_layout layout) override;
  unsigned send_input(const plat_input* inputs, unsigned n) override;
  void send_key(uint32_t vk, uint32_t scan, uint32_t flags) override;
  bool post_char(plat_window w, char32_t ch) override;
  plat_window foreground_window() override;
  std::string window_class(plat_window w, size_t max_len) override;
  std::string window_title(plat_window w, size_t max_len) override;
  plat_window window_parent(plat_window w) override;
  uint32_t window_process_id(plat_window w) override;
  std::string window_process_name(plat_window w) override;
  plat_window find_top_level_window(const std::string& cls) override;
  bool window_rect(plat_window w, plat_rect* out) override;
  plat_window focus_window() override;
  bool caret_rect(plat_rect* out) override;
  bool attach_thread_input(plat_window w, bool attach) override;
  void move_pointer(int x, int y) override;
  std::optional<std::string> clipboard_get_text(unsigned selection) override;
  bool clipboard_set_text(const std::string& utf8, unsigned selections, int attempts,
                          int interval_ms) override;
  bool clipboard_wait_fetched(int timeout_ms) override;
  std::unique_ptr<plat_clipboard_backup> clipboard_backup(int attempts, int interval_ms) override;
  bool clipboard_restore(const plat_clipboard_backup& backup, int attempts,
                         int interval_ms) override;
  void set_hotkey_handler(hotkey_func fn, void* user) override;
  bool register_hotkey(int id, unsigned modifiers, uint32_t vk) override;
  bool unregister_hotkey(int id) override;
  bool launch(const plat_launch& what) override;
  std::vector<plat_browser> list_browsers() override;
  void play_expansion_sound() override;

 private:
  x11_platform() = default;

  // A keycode with no symbols, lent to characters the layout lacks.
  struct spare_key {
    uint32_t keycode;
    uint32_t keysym = 0;      // what it types now; 0 when unmapped
    int64_t last_use_us = 0;  // when it was last pressed (monotonic)
  };

  // All with q_lock_ held.
  void refresh_keymap_locked();
  void rescan_spares_locked();
  void read_events_locked();
  void check_keymap_events_locked();
  uint32_t keycode_for_vk_locked(uint32_t vk, bool extended);
  void fake_key_locked(uint32_t keycode, bool down);
  void type_unicode_locked(char32_t ch);
  std::string layout_name_locked();
  unsigned current_group_locked();

  // Hook thread only.
  bool open_hook_connection();
  void close_hook_connection_if_unused();  // with hook_lock_ held
  void process_hook_events();
  void handle_raw_key(uint32_t keycode, bool down, uint32_t time, int source_device);

  Display* q_ = nullptr;  // shared connection, under q_lock_
  std::recursive_mutex q_lock_;
  int xkb_event_base_ = 0;
  // Keymap state, under q_lock_.
  std::unique_ptr<x11_translator> tr_;
  std::string xkb_layouts_, xkb_variants_;
  uint32_t vk_of_keycode_[256] = {};  // with Num Lock on
  uint32_t vk_of_keycode_nonum_[256] = {};
  std::vector<spare_key> spares_;
  int64_t last_keymap_check_us_ = 0;
  bool keymap_stale_ = false;  // a layout change was seen and not yet read
  // Kept from XKB state and root property events on the shared connection; "known" turns
  // false when the value must be asked for again.
  unsigned group_ = 0;
  bool group_known_ = false;
  bool switches_group_[256] = {};        // keycodes whose first level changes the group
  unsigned long net_active_window_ = 0;  // the atom
  unsigned long active_ = 0;             // _NET_ACTIVE_WINDOW, 0 when absent
  bool active_known_ = false;
  std::map<std::pair<unsigned, char32_t>, int16_t> key_scan_cache_;  // (group, char) -> result
  char32_t pending_high_surrogate_ = 0;

  // Our own XTest key events, oldest first, so the hook can mark them injected.
  std::mutex injected_lock_;
  x11_injected_events injected_;
  // The devices that carry faked input (XTest); the other keyboards are the user's alone.
  std::vector<int> xtest_devices_;

  // Hook thread state.
  std::mutex hook_lock_;  // guards the callback pointers
  // Written by the hook thread, read by every thread's get_message.
  std::atomic<Display*> hook_dpy_{nullptr};
  std::atomic<plat_thread_id> hook_tid_{0};
  int xi_opcode_ = 0;
  plat_key_hook kb_hook_ = nullptr;
  void* kb_user_ = nullptr;
  plat_mouse_hook mouse_hook_ = nullptr;
  void* mouse_user_ = nullptr;
  // Key state as the hook thread has seen it (keyboard state as of the current event).
  std::atomic<uint8_t> tracked_[256] = {};
  // Keycodes of ordinary keys that someone other than us holds down, as the hook thread saw
  // them; cleared when we release one ourselves.
  std::atomic<bool> held_by_user_[256] = {};
  std::atomic<bool> tracking_{false};
  std::atomic<unsigned> hook_group_{0};

  std::unique_ptr<x11_clipboard> clipboard_;
  std::unique_ptr<x11_hotkeys> hotkeys_;
  std::unique_ptr<x11_caret> caret_;  // UI thread only, see x11_caret.h
};
