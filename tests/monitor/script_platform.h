// A small scripted window system for the monitor's tests: a US keyboard with one dead key
// (grave on the ` key), per-thread message queues, hooks that run inside the hook thread's
// get_message, and a record of every injected key and of the messages posted to the
// replacement thread. Unlike the shared fake backend it lets a test set key states directly and
// call the hook without a queue, which the step-by-step hook tests rely on.
#pragma once

#include <glib.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/platform.h"

class script_platform : public platform {
 public:
  struct sent_key {
    uint32_t vk, scan, flags;
  };
  struct posted {
    plat_thread_id tid;
    plat_msg msg;
  };

  unsigned caps = PLAT_CAP_SWALLOW;
  std::array<bool, 256> down_keys{};
  bool caps_lock_on = false;
  plat_window fg = 100;
  std::map<plat_window, std::string> classes;
  plat_rect caret{0, 0, 0, 0};
  bool caret_ok = false;

  std::mutex lock;  // guards everything below
  std::vector<sent_key> sent;
  std::vector<posted> recorded;          // posts to threads without a queue of ours
  std::vector<plat_thread_id> sinks;     // thread ids whose posts are only recorded
  plat_key_hook key_hook = nullptr;
  plat_mouse_hook mouse_hook = nullptr;
  plat_thread_id hook_owner = 0;
  int key_hook_installs = 0;

  // ---- Scripting ----

  void set_down(uint32_t vk, bool d) {
    down_keys[vk & 0xFF] = d;
    if (vk == VK_CAPITAL && d) caps_lock_on = !caps_lock_on;
  }
  std::vector<sent_key> take_sent() {
    std::lock_guard<std::mutex> g(lock);
    std::vector<sent_key> out;
    out.swap(sent);
    return out;
  }
  std::vector<posted> take_recorded() {
    std::lock_guard<std::mutex> g(lock);
    std::vector<posted> out;
    out.swap(recorded);
    return out;
  }
  // Delivers a key event to the hook on the hook thread and waits for its verdict.
  plat_verdict deliver_key(const plat_key_event& ev) {
    item it;
    it.key = ev;
    it.kind = item::KEY;
    return deliver(&it);
  }
  plat_verdict deliver_mouse(const plat_mouse_event& ev) {
    item it;
    it.mouse = ev;
    it.kind = item::MOUSE;
    return deliver(&it);
  }
  bool hook_installed() {
    std::lock_guard<std::mutex> g(lock);
    return key_hook != nullptr;
  }

  // ---- platform ----

  unsigned capabilities() override { return caps; }
  // Readies the calling thread's queue, as the contract says.
  plat_thread_id current_thread_id() override {
    static std::atomic<plat_thread_id> next{1};
    thread_local plat_thread_id id = next++;
    std::lock_guard<std::mutex> g(lock);
    queues[id];
    return id;
  }
  bool post_thread_message(plat_thread_id tid, uint32_t msg, uintptr_t wp, intptr_t lp) override {
    std::lock_guard<std::mutex> g(lock);
    auto q = queues.find(tid);
    if (q == queues.end()) {
      for (plat_thread_id s : sinks)
        if (s == tid) {
          recorded.push_back({tid, {msg, wp, lp}});
          return true;
        }
      return false;
    }
    item it;
    it.kind = item::MSG;
    it.msg = {msg, wp, lp};
    q->second.items.push_back(it);
    q->second.cv.notify_all();
    return true;
  }
  int get_message(plat_msg* out, uint32_t lo, uint32_t hi) override {
    plat_thread_id me = current_thread_id();
    std::unique_lock<std::mutex> g(lock);
    queue& q = queues[me];
    for (;;) {
      bool ran_hook = false;
      for (auto it = q.items.begin(); it != q.items.end(); ++it) {
        if (it->kind != item::MSG) {
          item* target = it->target;
          q.items.erase(it);
          g.unlock();
          plat_verdict v = PLAT_PASS;
          if (target->kind == item::KEY && key_hook) v = key_hook(target->key, nullptr);
          if (target->kind == item::MOUSE && mouse_hook) v = mouse_hook(target->mouse, nullptr);
          g.lock();
          target->verdict = v;
          target->done = true;
          done_cv.notify_all();
          ran_hook = true;
          break;
        }
        if ((lo == 0 && hi == 0) || (it->msg.message >= lo && it->msg.message <= hi)) {
          *out = it->msg;
          q.items.erase(it);
          return out->message == WM_QUIT ? 0 : 1;
        }
      }
      // Messages may have arrived while the hook ran: look again before sleeping.
      if (!ran_hook) q.cv.wait(g);
    }
  }
  void raise_thread_priority() override {}
  bool install_keyboard_hook(plat_key_hook fn, void*) override {
    plat_thread_id me = current_thread_id();
    std::lock_guard<std::mutex> g(lock);
    key_hook = fn;
    hook_owner = me;
    ++key_hook_installs;
    return true;
  }
  bool uninstall_keyboard_hook() override {
    std::lock_guard<std::mutex> g(lock);
    key_hook = nullptr;
    return true;
  }
  bool install_mouse_hook(plat_mouse_hook fn, void*) override {
    std::lock_guard<std::mutex> g(lock);
    mouse_hook = fn;
    return true;
  }
  bool uninstall_mouse_hook() override {
    std::lock_guard<std::mutex> g(lock);
    mouse_hook = nullptr;
    return true;
  }
  bool get_keyboard_state(uint8_t state[256]) override {
    for (int i = 0; i < 256; ++i) state[i] = is_down(static_cast<uint32_t>(i)) ? 0x80 : 0;
    state[VK_CAPITAL] |= caps_lock_on ? 1 : 0;
    return true;
  }
  int16_t get_key_state(uint32_t vk) override {
    int16_t s = is_down(vk) ? static_cast<int16_t>(0x8000) : 0;
    if (vk == VK_CAPITAL && caps_lock_on) s |= 1;
    return s;
  }
  int16_t get_async_key_state(uint32_t vk) override { return is_down(vk) ? static_cast<int16_t>(0x8000) : 0; }
  plat_layout window_layout(plat_window) override { return 1; }
  uint16_t layout_language(plat_layout) override { return 0x0409; }
  std::string layout_name(plat_layout) override { return "us"; }
  int to_unicode(uint32_t vk, uint32_t, const uint8_t st[256], std::string* out, plat_layout) override {
    bool shift = st[VK_SHIFT] & 0x80;
    // Ctrl+letter gives a control character, as on Windows.
    if ((st[VK_CONTROL] & 0x80) && !(st[VK_MENU] & 0x80) && vk >= 'A' && vk <= 'Z') {
      *out = std::string(1, static_cast<char>(vk - 64));
      return 1;
    }
    std::string c = us_char(vk, shift, (st[VK_CAPITAL] & 1) != 0);
    if (vk == VK_OEM_3 && !shift) {
      if (dead_pending) {
        dead_pending = false;
        *out = "``";
        return 2;
      }
      dead_pending = true;
      return -1;
    }
    if (c.empty()) return 0;
    if (dead_pending) {
      dead_pending = false;
      static const std::map<std::string, std::string> grave = {
          {"a", "\xC3\xA0"}, {"e", "\xC3\xA8"}, {"i", "\xC3\xAC"}, {"o", "\xC3\xB2"}, {"u", "\xC3\xB9"}};
      auto it = grave.find(c);
      *out = it != grave.end() ? it->second : "`" + c;
      return static_cast<int>(g_utf8_strlen(out->c_str(), -1));
    }
    *out = c;
    return 1;
  }
  int16_t vk_key_scan(char32_t, plat_layout) override { return -1; }
  uint32_t map_virtual_key(uint32_t code, unsigned, plat_layout) override { return code + 0x100; }
  unsigned send_input(const plat_input* in, unsigned n) override {
    for (unsigned i = 0; i < n; ++i) send_key(in[i].vk, in[i].scan, in[i].flags);
    return n;
  }
  void send_key(uint32_t vk, uint32_t scan, uint32_t flags) override {
    std::lock_guard<std::mutex> g(lock);
    sent.push_back({vk, scan, flags});
  }
  bool post_char(plat_window, char32_t) override { return false; }
  plat_window foreground_window() override { return fg; }
  std::string window_class(plat_window w, size_t) override {
    auto it = classes.find(w);
    return it == classes.end() ? "Editor" : it->second;
  }
  std::string window_title(plat_window, size_t) override { return ""; }
  plat_window window_parent(plat_window) override { return 0; }
  uint32_t window_process_id(plat_window) override { return 0; }
  std::string window_process_name(plat_window) override { return ""; }
  plat_window find_top_level_window(const std::string&) override { return 0; }
  bool window_rect(plat_window, plat_rect*) override { return false; }
  plat_window focus_window() override { return fg; }
  bool caret_rect(plat_rect* out) override {
    *out = caret;
    return caret_ok;
  }
  bool attach_thread_input(plat_window, bool) override { return true; }
  void move_pointer(int, int) override {}
  std::optional<std::string> clipboard_get_text(unsigned) override { return std::nullopt; }
  bool clipboard_set_text(const std::string&, unsigned, int, int) override { return false; }
  bool clipboard_wait_fetched(int) override { return false; }
  std::unique_ptr<plat_clipboard_backup> clipboard_backup(int, int) override { return nullptr; }
  bool clipboard_restore(const plat_clipboard_backup&, int, int) override { return false; }
  void set_hotkey_handler(hotkey_func, void*) override {}
  bool register_hotkey(int, unsigned, uint32_t) override { return false; }
  bool unregister_hotkey(int) override { return false; }
  bool launch(const plat_launch&) override { return false; }
  std::vector<plat_browser> list_browsers() override { return {}; }
  void play_expansion_sound() override {}

  static std::string us_char(uint32_t vk, bool shift, bool caps_on) {
    if (vk >= 'A' && vk <= 'Z') {
      char c = static_cast<char>((shift != caps_on) ? vk : vk + 32);
      return std::string(1, c);
    }
    if (vk >= '0' && vk <= '9') return std::string(1, shift ? ")!@#$%^&*("[vk - '0'] : static_cast<char>(vk));
    switch (vk) {
      case VK_SPACE: return " ";
      case VK_RETURN: return "\r";
      case VK_TAB: return "\t";
      case VK_BACK: return "\b";
      case VK_ESCAPE: return "\x1b";
      case VK_OEM_7: return shift ? "\"" : "'";
      case VK_OEM_PERIOD: return shift ? ">" : ".";
      case VK_OEM_COMMA: return shift ? "<" : ",";
      case VK_OEM_2: return shift ? "?" : "/";
      case VK_OEM_MINUS: return shift ? "_" : "-";
      case VK_OEM_3: return shift ? "~" : "`";
      default: return "";
    }
  }

 private:
  struct item {
    enum { MSG, KEY, MOUSE } kind = MSG;
    plat_msg msg{};
    plat_key_event key{};
    plat_mouse_event mouse{};
    item* target = this;
    plat_verdict verdict = PLAT_PASS;
    bool done = false;
  };
  struct queue {
    std::deque<item> items;
    std::condition_variable cv;
  };
  std::map<plat_thread_id, queue> queues;
  std::condition_variable done_cv;
  bool dead_pending = false;

  bool is_down(uint32_t vk) {
    if (vk == VK_SHIFT) return down_keys[VK_LSHIFT] || down_keys[VK_RSHIFT] || down_keys[VK_SHIFT];
    if (vk == VK_CONTROL) return down_keys[VK_LCONTROL] || down_keys[VK_RCONTROL] || down_keys[VK_CONTROL];
    if (vk == VK_MENU) return down_keys[VK_LMENU] || down_keys[VK_RMENU] || down_keys[VK_MENU];
    return down_keys[vk & 0xFF];
  }

  plat_verdict deliver(item* it) {
    std::unique_lock<std::mutex> g(lock);
    item carrier;
    carrier.kind = it->kind;
    carrier.target = it;
    queues[hook_owner].items.push_back(carrier);
    queues[hook_owner].cv.notify_all();
    done_cv.wait(g, [&] { return it->done; });
    return it->verdict;
  }
};
