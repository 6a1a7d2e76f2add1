// The fake backend: an in-memory desktop for unit tests of the monitor and the expansion engine.
//
// Tests script the user's side (key presses, mouse clicks, the foreground window, the keyboard
// layout, the clipboard, hotkey presses) and read back, in order, everything the program did
// through the contract: injected key events, posted characters, clipboard changes, hotkey
// registrations, launches and sounds. A small model of the focused application turns the keys
// that reach it (user keys the hook passed, and injected keys) into text, so a test can assert
// what the user would see.
//
// Deterministic: nothing sleeps, retries happen instantly, and hook callbacks run only on the
// thread that installed them, from its get_message(), in the order events were pushed.
// Thread-safe: every method may be called from any thread.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/platform.h"
#include "platform/thread_queue.h"

// One thing the program did, in the order it happened.
struct fake_record {
  enum kind_t {
    INPUT,              // an injected key event: input
    POST_CHAR,          // post_char: window, ch
    CLIPBOARD_SET,      // clipboard_set_text: text, selections
    CLIPBOARD_RESTORE,  // clipboard_restore: formats (names joined by ",") in text
    HOTKEY_REGISTER,    // id, modifiers, vk
    HOTKEY_UNREGISTER,  // id
    LAUNCH,             // launch
    SOUND,
    POINTER_MOVE,  // x, y
  };
  kind_t kind = INPUT;
  plat_input input{};
  plat_window window = 0;
  char32_t ch = 0;
  std::string text;
  unsigned selections = 0;
  int id = 0;
  unsigned modifiers = 0;
  uint32_t vk = 0;
  plat_launch launch;
  int x = 0, y = 0;
};

class fake_platform : public plat_queued_platform {
 public:
  fake_platform();

  // ---- Scripting ----

  // "us", "us(intl)" (dead ' ` ^ ~ ") or "de" (z/y swapped, umlauts, AltGr+q = @, dead ^ and ´).
  // Unknown names select "us". Resets the dead-key states.
  void set_layout(const std::string& name);
  void set_capabilities(unsigned caps) { caps_ = caps; }
  // Late hooks, as on X11: the system's key state (get_async_key_state) changes as soon as an
  // event happens, and the hook thread's get_message() serves queued messages before it runs
  // the hook for the event; flush_hook_events() runs it at once.
  void set_late_hooks(bool late);
  // Runs `fn` once, on the injecting thread, just before the program's next injection reaches
  // the system: what the user does at that moment.
  void before_next_injection(std::function<void()> fn);

  // A physical key event. Delivered to the keyboard hook on its thread when one is installed
  // (the application receives the key when the hook passes it); else straight to the
  // application. scan 0 means the layout's scan code for the key.
  void push_key(uint32_t vk, bool down, uint32_t scan = 0, uint32_t extra_flags = 0);
  // Presses and releases a key; with the given modifier keys held around it.
  void tap_key(uint32_t vk, const std::vector<uint32_t>& held = {});
  // Types the text the way a user would on the current layout (modifiers and dead keys
  // included); false when a character has no key.
  bool type_text(const std::string& utf8);
  // Calls the keyboard hook right here, on the calling thread, and returns its verdict (for
  // single-threaded tests); PASS when no hook is installed.
  plat_verdict feed_key(uint32_t vk, bool down, uint32_t scan = 0, uint32_t extra_flags = 0);
  void push_mouse(uint32_t msg, int x = 0, int y = 0);

  // Windows: make one known, then put it in front. Window 0 is "no window".
  void add_window(plat_window w, const std::string& cls, const std::string& title,
                  const std::string& process = "", plat_window parent = 0);
  void set_foreground(plat_window w);
  void set_caret(bool known, plat_rect r = {});

  // The focused application's text, as the keys left it (typing goes in at its caret, which
  // Backspace, Left and Right move); set_app_text puts the caret at the end.
  std::string app_text();
  void set_app_text(const std::string& utf8);

  // Clipboard: formats by name with raw bytes. Text is the format "text".
  void set_clipboard_formats(const std::vector<std::pair<std::string, std::string>>& formats);
  std::vector<std::pair<std::string, std::string>> clipboard_formats();
  // The next n attempts to open the clipboard fail (another application holds it).
  void lock_clipboard_for(int n_attempts);
  // Simulates an application reading the clipboard text (clipboard_wait_fetched sees it).
  void fetch_clipboard();

  // A combination another program has taken: registering it fails.
  void take_hotkey(unsigned modifiers, uint32_t vk);
  // Presses a registered combination: calls the hotkey handler on the calling thread. False
  // when nothing is registered for it.
  bool press_hotkey(unsigned modifiers, uint32_t vk);

  void set_browsers(const std::vector<plat_browser>& b);
  void set_launch_result(bool ok);

  // Everything recorded so far, and a reset.
  std::vector<fake_record> records();
  void clear_records();
  // Only the injected key events, in order.
  std::vector<plat_input> injected();

  // ---- The contract ----

  unsigned capabilities() override;
  int get_message(plat_msg* out, uint32_t msg_min, uint32_t msg_max) override;
  void raise_thread_priority() override {}
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

  // A key of the fake layout: what a virtual key gives at a shift level.
  struct layout_key {
    char32_t ch;
    bool dead;
  };

 private:
  struct window_info {
    std::string cls, title, process;
    plat_window parent;
  };
  struct pending_event {
    bool is_key;
    plat_key_event key;
    plat_mouse_event mouse;
  };

  // All private helpers expect lock_ held.
  plat_key_event make_event(uint32_t vk, bool down, uint32_t scan, uint32_t flags);
  void deliver_locked(const pending_event& ev);
  // A key event the hook thread will see (or, without a hook, the application at once).
  void queue_key_locked(pending_event ev);
  void run_before_injection();
  static void update_state(uint8_t state[256], const plat_key_event& ev);
  void app_receive(const plat_key_event& ev);
  bool open_clipboard(int attempts);
  const layout_key* lookup(uint32_t vk, int level) const;
  int level_of(const uint8_t state[256], uint32_t vk) const;
  void inject(const plat_input& in);
  std::unique_lock<std::mutex> deliver_pending(std::unique_lock<std::mutex> g);

  std::mutex lock_;
  unsigned caps_ = PLAT_CAP_SWALLOW;
  bool late_hooks_ = false;
  std::function<void()> before_injection_;
  uint8_t late_async_[256] = {};  // the system's key state with late hooks
  std::string layout_ = "us";
  std::map<std::pair<uint32_t, int>, layout_key> keys_;  // (vk, level 0..3) -> key
  char32_t dead_translate_ = 0;  // to_unicode's pending dead key
  char32_t dead_app_ = 0;        // the application's pending dead key
  char32_t app_high_surrogate_ = 0;  // first half of an injected surrogate pair
  uint8_t state_[256] = {};
  std::u32string app_text_;
  size_t app_caret_ = 0;

  plat_thread_id kb_hook_tid_ = 0, mouse_hook_tid_ = 0;
  plat_key_hook kb_hook_ = nullptr;
  void* kb_user_ = nullptr;
  plat_mouse_hook mouse_hook_ = nullptr;
  void* mouse_user_ = nullptr;
  std::vector<pending_event> pending_;  // events for the hook thread, oldest first
  uint32_t time_ = 0;

  std::map<plat_window, window_info> windows_;
  plat_window foreground_ = 0;
  bool caret_known_ = false;
  plat_rect caret_{};

  std::vector<std::pair<std::string, std::string>> clipboard_;
  std::string primary_;
  int clipboard_locked_ = 0;
  bool clipboard_fetched_ = false;

  hotkey_func hotkey_fn_ = nullptr;
  void* hotkey_user_ = nullptr;
  std::map<int, std::pair<unsigned, uint32_t>> hotkeys_;
  std::set<std::pair<unsigned, uint32_t>> taken_;

  std::vector<plat_browser> browsers_;
  bool launch_result_ = true;
  std::vector<fake_record> records_;
};
