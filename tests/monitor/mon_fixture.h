// Common set-up of the monitor tests: the fake window system, a library built in the test,
// preferences set by hand, a user who types, and a stand-in for the replacement thread that
// takes each request and sends the clean-up messages back as the real one does. The test's
// own thread plays the hook thread (the hooks are installed on it and called right away) and
// the replacement thread (requests are posted to its queue).
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

#include "library/abbr.h"
#include "monitor/matcher.h"
#include "monitor/mon.h"
#include "monitor/mon_internal.h"
#include "platform/fake/fake_platform.h"
#include "settings/settings.h"

// What the replacement thread was handed.
struct seen_request {
  std::string description;
  std::string typed;
  uint32_t trigger_vk, shift_down, trigger_char, dead_key_pending, from_menu, extra_erase;
  uintptr_t target_window;
};

// The fake backend, counting keyboard-hook installations (the watchdog reinstalls).
class counting_fake : public fake_platform {
 public:
  std::atomic<int> keyboard_hook_installs{0};
  bool install_keyboard_hook(plat_key_hook fn, void* user) override {
    ++keyboard_hook_installs;
    return fake_platform::install_keyboard_hook(fn, user);
  }
};

class MonTest : public ::testing::Test {
 protected:
  static constexpr uint32_t kMarker = WM_APP + 400;
  counting_fake fake;
  abbr_folder* top = nullptr;

  void SetUp() override {
    plat_set(&fake);
    fake.add_window(100, "Editor", "notes");
    fake.add_window(200, "Other", "other");
    fake.set_foreground(100);
    mon_set_keysim_thread(fake.current_thread_id());
    setting_set("trigger_hotkey", "17");
    setting_set("delim_chars", ",.?!()<>[]{}:;\"/\\-' \n\t");
    setting_set_int("textexpander_mode", 0);
    setting_set_int("cont_window_changed", 1);
    mon_prefs_reloaded();
    top = abbr_create_absolute_parent_folder();
    abbr_add_subfolder_to_folder(ABBR_MAIN_LIST, nullptr, top);
    fake.install_keyboard_hook(mon_keyboard_LL_hook_func, nullptr);
    fake.install_mouse_hook(mon_mouse_LL_hook_func, nullptr);
  }

  void TearDown() override {
    fake.uninstall_keyboard_hook();
    fake.uninstall_mouse_hook();
    pump([](const plat_msg&) {});  // the thread's queue outlives the test
    mon_set_keysim_thread(0);
    typed_abbrev_info_free(&tai);
    mon_free_key_buffer();
    mon_matcher_index_free();
    mon_reset_hook_state();
    mon_hook_set_temp_disable(0);
    mon_set_ii_mode_enabled(0);
    mon_set_tooltip_funcs(mon_tooltip_funcs{});
    mon_hide_tooltip_window();
    __setting_list_free(cycle_lst);
    cycle_lst = nullptr;
    abbr_free_all_folder_lists();
    mon_prefs_freed();
    __setting_list_free(prefs_lst);
    prefs_lst = nullptr;
    plat_set(nullptr);
  }

  abbr_abbrev* add(abbr_folder* f, const std::string& text, const std::string& description,
                   uint32_t trigger = ABBR_TRIGGER_IMMEDIATELY, uint8_t anywhere = 0,
                   uint32_t case_mode = ABBR_CASE_INSENSITIVE) {
    abbr_abbrev* a = abbr_create_new_abbrev(ABBR_TYPE_TEXT, f);
    a->abbrevs = abbr_get_lst_of_abbrevs_from_string(text);
    a->replacement = "<" + description + ">";
    a->description = description;
    a->trigger_mode = trigger;
    a->anywhere = anywhere;
    a->case_mode = case_mode;
    abbr_add_abbrev_to_folder(f, a, -1);
    return a;
  }
  abbr_folder* subfolder(abbr_folder* parent, const std::string& name) {
    abbr_folder* f = abbr_new_subfolder_of(parent, name);
    abbr_add_subfolder_to_folder(ABBR_MAIN_LIST, parent, f);
    return f;
  }
  // The library is complete: size the key buffer as the hand-over does.
  void ready() { mon_adjust_key_buffer_size(); }

  // ---- The user ----

  // The hook sees the key state from before its own event, as on Windows.
  plat_verdict key(uint32_t vk, bool down) { return fake.feed_key(vk, down); }
  plat_verdict tap(uint32_t vk) {
    plat_verdict v = key(vk, true);
    key(vk, false);
    return v;
  }
  // Types ASCII text on the US layout; returns the verdict of the last key-down.
  plat_verdict type(const std::string& text) {
    plat_verdict v = PLAT_PASS;
    for (char c : text) {
      int16_t code = fake.vk_key_scan(static_cast<unsigned char>(c), 0);
      bool shift = (code >> 8) & 1;
      if (shift) key(VK_LSHIFT, true);
      v = tap(code & 0xFF);
      if (shift) key(VK_LSHIFT, false);
    }
    return v;
  }
  void click() { mon_mouse_LL_hook_func(plat_mouse_event{WM_LBUTTONDOWN, 5, 5}, nullptr); }

  // ---- The queue of this thread ----

  // Runs the pending hook calls (our own injected keys) and hands every message to `f`,
  // until the queue is empty.
  template <typename F>
  void pump(F f) {
    bool more = false;
    for (int round = 0; round < 2 || more; ++round) {
      more = false;
      fake.post_thread_message(fake.current_thread_id(), kMarker, 0, 0);
      plat_msg m;
      while (fake.get_message(&m, 0, 0) == 1 && m.message != kMarker) {
        more = true;
        f(m);
      }
    }
  }

  // Takes every request handed over since the last call and finishes it as the replacement
  // thread would, without typing anything.
  std::vector<seen_request> replacements() {
    std::vector<seen_request> out;
    pump([&](const plat_msg& m) {
      if (m.message != WM_KEYSIM_REPLACE) {
        mon_handle_hook_thread_message(m);
        return;
      }
      EXPECT_EQ(m.lparam, 1);
      auto** slot = reinterpret_cast<typed_abbrev_info**>(m.wparam);
      typed_abbrev_info* r = *slot;
      out.push_back({r->abbrev->description, r->typed, r->trigger_vk, r->shift_down, r->trigger_char,
                     r->dead_key_pending, r->from_menu, r->extra_erase, r->target_window});
      typed_abbrev_info_free(slot);
      plat_thread_id me = fake.current_thread_id();
      for (uint32_t c : {WM_MON_CLEAR_KEY_BUFFER, WM_MON_RESTORE_MODIFIERS, WM_MON_RESTORE_CAPS_LOCK,
                         WM_MON_END_TEMP_DISABLE})
        fake.post_thread_message(me, c, 0, 0);
    });
    return out;
  }
  // The descriptions of the abbreviations expanded since the last call.
  std::vector<std::string> expanded() {
    std::vector<std::string> out;
    for (const seen_request& r : replacements()) out.push_back(r.description);
    return out;
  }
  std::string buffer_tail(size_t n) {
    if (!key_buffer) return "";
    std::string all(key_buffer, static_cast<size_t>(key_bufsize));
    std::string tail = all.substr(all.size() - n);
    tail.erase(0, tail.find_first_not_of('\0'));
    return tail;
  }
};

using strings = std::vector<std::string>;
