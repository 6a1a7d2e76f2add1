// The hook against the shared fake backend, whose application model shows what the user would
// see: held-back dead keys must reach the application exactly once, composed.
#include <gtest/gtest.h>

#include "library/abbr.h"
#include "monitor/matcher.h"
#include "monitor/mon.h"
#include "monitor/mon_internal.h"
#include "platform/fake/fake_platform.h"
#include "settings/settings.h"

namespace {

constexpr uint32_t kDone = WM_APP + 400;

class AppTextTest : public ::testing::Test {
 protected:
  fake_platform fake;
  std::vector<std::string> typed;

  void SetUp() override {
    plat_set(&fake);
    fake.set_layout("us(intl)");
    fake.add_window(100, "Editor", "notes");
    fake.set_foreground(100);
    setting_set("trigger_hotkey", "17");
    setting_set("delim_chars", ",.?!()<>[]{}:;\"/\\-' \n\t");
    mon_prefs_reloaded();
    abbr_folder* top = abbr_create_absolute_parent_folder();
    abbr_add_subfolder_to_folder(ABBR_MAIN_LIST, nullptr, top);
    abbr_abbrev* a = abbr_create_new_abbrev(ABBR_TYPE_TEXT, top);
    a->abbrevs = abbr_get_lst_of_abbrevs_from_string("caf\xC3\xA9");
    a->trigger_mode = ABBR_TRIGGER_IMMEDIATELY;
    a->case_mode = ABBR_CASE_INSENSITIVE;
    abbr_add_abbrev_to_folder(top, a, -1);
    mon_adjust_key_buffer_size();
    // This thread is the hook thread and the replacement thread at once.
    mon_set_keysim_thread(fake.current_thread_id());
    fake.install_keyboard_hook(mon_keyboard_LL_hook_func, nullptr);
  }
  void TearDown() override {
    fake.uninstall_keyboard_hook();
    mon_set_keysim_thread(0);
    mon_free_key_buffer();
    mon_matcher_index_free();
    mon_reset_hook_state();
    mon_hook_set_temp_disable(0);
    abbr_free_all_folder_lists();
    mon_prefs_freed();
    __setting_list_free(prefs_lst);
    prefs_lst = nullptr;
    plat_set(nullptr);
  }
  // The dead acute key, then e (not AltGr+e, which this layout also has).
  void acute_e() {
    tap(VK_OEM_7);
    tap('E');
  }
  // A person types slowly next to the hook: each key arrives after the previous one has been
  // handled, replays included.
  void tap(uint32_t vk, const std::vector<uint32_t>& held = {}) {
    for (uint32_t m : held) push(m, true);
    push(vk, true);
    push(vk, false);
    for (uint32_t m : held) push(m, false);
  }
  void push(uint32_t vk, bool down) {
    fake.push_key(vk, down);
    settle();
  }
  void type(const std::string& text) {
    for (char c : text) {
      ASSERT_TRUE(fake.type_text(std::string(1, c)));
      settle();
    }
  }
  // Runs every pending hook call and message, finishing requests as the replacement would
  // (without typing anything).
  void settle() {
    // The first round runs the pending hook calls, whose messages land behind the marker.
    bool more = false;
    for (int round = 0; round < 2 || more; ++round) {
      more = false;
      fake.post_thread_message(fake.current_thread_id(), kDone, 0, 0);
      plat_msg m;
      while (fake.get_message(&m, 0, 0) == 1 && m.message != kDone) {
        more = true;
        if (m.message == WM_KEYSIM_REPLACE) {
          auto** slot = reinterpret_cast<typed_abbrev_info**>(m.wparam);
          typed.push_back((*slot)->typed);
          typed_abbrev_info_free(slot);
          for (uint32_t c : {WM_MON_CLEAR_KEY_BUFFER, WM_MON_RESTORE_MODIFIERS, WM_MON_END_TEMP_DISABLE})
            fake.post_thread_message(fake.current_thread_id(), c, 0, 0);
        } else {
          mon_handle_hook_thread_message(m);
        }
      }
    }
  }
};

TEST_F(AppTextTest, DeadKeysReachTheApplicationOnceAndComposed) {
  type("r");
  acute_e();
  type("sum");
  acute_e();
  type(" ");
  tap(VK_OEM_7, {VK_LSHIFT});  // dead diaeresis, then Shift+u
  tap('U', {VK_LSHIFT});
  type("ber ");
  EXPECT_EQ(fake.app_text(), "r\xC3\xA9sum\xC3\xA9 \xC3\x9C" "ber ");
  EXPECT_TRUE(typed.empty());

  type("caf");
  acute_e();
  EXPECT_EQ(typed, std::vector<std::string>{"caf\xC3\xA9"});
  EXPECT_EQ(fake.app_text(), "r\xC3\xA9sum\xC3\xA9 \xC3\x9C" "ber caf\xC3\xA9");
}

TEST_F(AppTextTest, ComposingBackendLeavesDeadKeysToTheApplication) {
  fake.set_capabilities(PLAT_CAP_COMPOSES_DEAD_KEYS);
  type("caf");
  acute_e();
  EXPECT_EQ(typed, std::vector<std::string>{"caf\xC3\xA9"});
  EXPECT_EQ(fake.app_text(), "caf\xC3\xA9");
  EXPECT_TRUE(fake.injected().empty());
}

}  // namespace
