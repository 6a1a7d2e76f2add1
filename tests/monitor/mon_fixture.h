// Common set-up of the monitor tests: a scripted window system, a library built in the test,
// preferences set by hand, a user who types, and a stand-in for the replacement thread that
// takes each request and sends the clean-up messages back as the real one does.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "script_platform.h"
#include "library/abbr.h"
#include "monitor/matcher.h"
#include "monitor/mon.h"
#include "monitor/mon_internal.h"
#include "settings/settings.h"

// What the replacement thread was handed.
struct seen_request {
  std::string description;
  std::string typed;
  uint32_t trigger_vk, shift_down, trigger_char, dead_key_pending, from_menu, extra_erase;
  uintptr_t target_window;
};

class MonTest : public ::testing::Test {
 protected:
  static constexpr plat_thread_id kKeysim = 900000;
  script_platform sp;
  abbr_folder* top = nullptr;

  void SetUp() override {
    plat_set(&sp);
    sp.sinks.push_back(kKeysim);
    mon_set_keysim_thread(kKeysim);
    setting_set("trigger_hotkey", "17");
    setting_set("delim_chars", ",.?!()<>[]{}:;\"/\\-' \n\t");
    setting_set_int("textexpander_mode", 0);
    setting_set_int("cont_window_changed", 1);
    mon_prefs_reloaded();
    top = abbr_create_absolute_parent_folder();
    abbr_add_subfolder_to_folder(ABBR_MAIN_LIST, nullptr, top);
  }

  void TearDown() override {
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

  plat_verdict key(uint32_t vk, bool down) {
    bool alt = sp.down_keys[VK_LMENU] || sp.down_keys[VK_RMENU];
    bool ctrl = sp.down_keys[VK_LCONTROL] || sp.down_keys[VK_RCONTROL];
    plat_key_event ev{};
    ev.vk = vk;
    ev.scan = vk + 0x100;
    bool sys = (alt && !ctrl) || ((vk == VK_LMENU || vk == VK_RMENU) && down);
    ev.msg = down ? (sys ? WM_SYSKEYDOWN : WM_KEYDOWN) : (sys ? WM_SYSKEYUP : WM_KEYUP);
    ev.flags = down ? 0 : LLKHF_UP;
    // The hook sees the key state from before its own event, as on Windows.
    plat_verdict v = mon_keyboard_LL_hook_func(ev, nullptr);
    sp.set_down(vk, down);
    return v;
  }
  plat_verdict tap(uint32_t vk) {
    plat_verdict v = key(vk, true);
    key(vk, false);
    return v;
  }
  // Types ASCII text on the US layout; returns the verdict of the last key-down.
  plat_verdict type(const std::string& text) {
    plat_verdict v = PLAT_PASS;
    for (char c : text) {
      uint32_t vk = 0;
      bool shift = false;
      for (uint32_t k = 0; k < 256 && !vk; ++k)
        for (int s = 0; s < 2 && !vk; ++s)
          if (script_platform::us_char(k, s, false) == std::string(1, c)) {
            vk = k;
            shift = s;
          }
      if (shift) key(VK_LSHIFT, true);
      v = tap(vk);
      if (shift) key(VK_LSHIFT, false);
    }
    return v;
  }
  void click() {
    plat_mouse_event ev{WM_LBUTTONDOWN, 5, 5};
    mon_mouse_LL_hook_func(ev, nullptr);
  }

  // ---- The replacement thread ----

  // Takes every request handed over since the last call and finishes it.
  std::vector<seen_request> replacements() {
    std::vector<seen_request> out;
    for (const script_platform::posted& p : sp.take_recorded()) {
      if (p.tid != kKeysim || p.msg.message != WM_KEYSIM_REPLACE) continue;
      EXPECT_EQ(p.msg.lparam, 1);
      auto** slot = reinterpret_cast<typed_abbrev_info**>(p.msg.wparam);
      typed_abbrev_info* r = *slot;
      out.push_back({r->abbrev->description, r->typed, r->trigger_vk, r->shift_down, r->trigger_char,
                     r->dead_key_pending, r->from_menu, r->extra_erase, r->target_window});
      typed_abbrev_info_free(slot);
      for (uint32_t m : {WM_MON_CLEAR_KEY_BUFFER, WM_MON_RESTORE_MODIFIERS, WM_MON_RESTORE_CAPS_LOCK,
                         WM_MON_END_TEMP_DISABLE})
        mon_handle_hook_thread_message(plat_msg{m, 0, 0});
    }
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
