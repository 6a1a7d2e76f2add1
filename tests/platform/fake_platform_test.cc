#include "platform/fake/fake_platform.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "platform/keytables.h"

namespace {

// The hook thread as the monitor runs it: install the hook, then pump messages until told to
// stop. The hook swallows X and records every call.
struct hook_thread {
  fake_platform& fp;
  std::vector<plat_key_event> seen;
  std::vector<std::string> chars;
  std::atomic<plat_thread_id> tid{0};
  std::thread thread;

  static plat_verdict hook(const plat_key_event& ev, void* user) {
    auto* self = static_cast<hook_thread*>(user);
    self->seen.push_back(ev);
    if (ev.down() && !(ev.flags & LLKHF_INJECTED)) {
      uint8_t state[256];
      self->fp.get_keyboard_state(state);
      std::string s;
      int n = self->fp.to_unicode(ev.vk, ev.scan, state, &s, 0);
      self->chars.push_back(n == -1 ? "<dead>" : s);
    }
    return ev.vk == 'X' ? PLAT_SWALLOW : PLAT_PASS;
  }

  explicit hook_thread(fake_platform& p) : fp(p) {
    thread = std::thread([this] {
      fp.install_keyboard_hook(hook, this);
      plat_msg m{};
      fp.post_thread_message(fp.current_thread_id(), WM_MON_HELLO, 0, 0);
      fp.get_message(&m, 0, 0);  // the queue exists from here on
      tid = fp.current_thread_id();
      while (fp.get_message(&m, 0, 0) > 0) {
        if (m.message == WM_MON_QUIT) {
          fp.post_thread_message(static_cast<plat_thread_id>(m.wparam), WM_MON_RESPONSE, 1, 0);
          break;
        }
      }
      fp.uninstall_keyboard_hook();
    });
    while (tid == 0) std::this_thread::yield();
  }

  // Waits until the hook thread has handled everything pushed before this call.
  void stop() {
    plat_msg m{};
    fp.post_thread_message(tid, WM_MON_QUIT, fp.current_thread_id(), 0);
    fp.get_message(&m, WM_MON_RESPONSE, WM_MON_RESPONSE);
    thread.join();
  }
};

}  // namespace

TEST(FakeHookTest, HookRunsOnItsThreadAndSwallowedKeysNeverReachTheApplication) {
  fake_platform fp;
  hook_thread h(fp);
  fp.type_text("aXb");
  fp.tap_key(VK_BACK);
  fp.type_text("c!");
  h.stop();
  EXPECT_EQ("ac!", fp.app_text());
  ASSERT_FALSE(h.seen.empty());
  EXPECT_EQ(std::vector<std::string>({"a", "", "X", "b", "\b", "c", "", "!"}), h.chars)
      << "Shift itself gives no character";
  // Shift+1 reaches the hook as left Shift with its scan code, then the digit.
  const plat_key_event& shift = h.seen[h.seen.size() - 4];
  EXPECT_EQ(VK_LSHIFT, shift.vk);
  EXPECT_EQ(SC_LSHIFT, shift.scan);
  EXPECT_EQ(WM_KEYDOWN, shift.msg);
}

TEST(FakeHookTest, InjectedKeysReachTheHookMarkedAndTypeIntoTheApplication) {
  fake_platform fp;
  hook_thread h(fp);
  plat_input in[] = {{VK_LSHIFT, SC_LSHIFT, 0},
                     {'H', 0x23, 0},
                     {'H', 0x23, KEYEVENTF_KEYUP},
                     {VK_LSHIFT, SC_LSHIFT, KEYEVENTF_KEYUP},
                     {0, 0xD83D, KEYEVENTF_UNICODE},
                     {0, 0xDE00, KEYEVENTF_UNICODE},
                     {0, 0xD83D, KEYEVENTF_UNICODE | KEYEVENTF_KEYUP},
                     {0, 0xDE00, KEYEVENTF_UNICODE | KEYEVENTF_KEYUP}};
  EXPECT_EQ(8u, fp.send_input(in, 8));
  h.stop();
  EXPECT_EQ("H\U0001F600", fp.app_text());
  ASSERT_EQ(8u, h.seen.size());
  for (const plat_key_event& ev : h.seen) EXPECT_TRUE(ev.flags & LLKHF_INJECTED);
  EXPECT_EQ(VK_PACKET, h.seen[4].vk);
  EXPECT_TRUE(h.seen[7].flags & LLKHF_UP);
  EXPECT_EQ(8u, fp.injected().size());
  EXPECT_EQ(0, fp.get_async_key_state(VK_LSHIFT) & 0x8000) << "Shift was released again";
}

TEST(FakeHookTest, AltMakesSystemKeysAndLocksToggle) {
  fake_platform fp;
  std::vector<uint32_t> msgs;
  fp.install_keyboard_hook(
      [](const plat_key_event& ev, void* user) {
        static_cast<std::vector<uint32_t>*>(user)->push_back(ev.msg);
        return PLAT_PASS;
      },
      &msgs);
  fp.feed_key(VK_LMENU, true);
  fp.feed_key(VK_TAB, true);
  fp.feed_key(VK_TAB, false);
  fp.feed_key(VK_LMENU, false);
  fp.feed_key(VK_CAPITAL, true);
  fp.feed_key(VK_CAPITAL, false);
  EXPECT_EQ(std::vector<uint32_t>({WM_SYSKEYDOWN, WM_SYSKEYDOWN, WM_SYSKEYUP, WM_SYSKEYUP,
                                   WM_KEYDOWN, WM_KEYUP}),
            msgs);
  EXPECT_EQ(1, fp.get_key_state(VK_CAPITAL));
  fp.uninstall_keyboard_hook();
  fp.type_text("ab");
  EXPECT_EQ("AB", fp.app_text()) << "Caps Lock shifts letters";
}

TEST(FakeLayoutTest, DeadKeysComposeLikeTheSystem) {
  fake_platform fp;
  fp.set_layout("us(intl)");
  uint8_t state[256] = {};
  std::string s;
  EXPECT_EQ(-1, fp.to_unicode(VK_OEM_7, 0x28, state, &s, 0));
  EXPECT_EQ(1, fp.to_unicode('E', 0x12, state, &s, 0));
  EXPECT_EQ("é", s);
  EXPECT_EQ(-1, fp.to_unicode(VK_OEM_7, 0x28, state, &s, 0));
  EXPECT_EQ(2, fp.to_unicode('X', 0x2D, state, &s, 0));
  EXPECT_EQ("´x", s);
  EXPECT_EQ(-1, fp.to_unicode(VK_OEM_7, 0x28, state, &s, 0));
  EXPECT_EQ(1, fp.to_unicode(VK_SPACE, 0x39, state, &s, 0));
  EXPECT_EQ("´", s);
  EXPECT_TRUE(fp.type_text("café"));
  EXPECT_EQ("café", fp.app_text());
}

TEST(FakeLayoutTest, GermanLayoutKeysAndAltGr) {
  fake_platform fp;
  fp.set_layout("de");
  EXPECT_EQ(0x0407, fp.layout_language(0));
  EXPECT_EQ(0x600 | 'Q', fp.vk_key_scan(U'@', 0));
  EXPECT_EQ(VK_OEM_1, fp.vk_key_scan(U'ü', 0));
  EXPECT_EQ(0x100 | '2', fp.vk_key_scan(U'"', 0));
  EXPECT_EQ(-1, fp.vk_key_scan(U'é', 0)) << "only reachable through a dead key";
  EXPECT_EQ(0x15u, fp.map_virtual_key('Z', MAPVK_VK_TO_VSC, 0));
  EXPECT_TRUE(fp.type_text("Grüße zy @ é"));
  EXPECT_EQ("Grüße zy @ é", fp.app_text());
  uint8_t state[256] = {};
  state[VK_CONTROL] = state[VK_LCONTROL] = state[VK_MENU] = state[VK_RMENU] = 0x80;
  std::string s;
  EXPECT_EQ(1, fp.to_unicode('E', 0x12, state, &s, 0));
  EXPECT_EQ("€", s);
  state[VK_MENU] = state[VK_RMENU] = 0;
  EXPECT_EQ(0, fp.to_unicode('E', 0x12, state, &s, 0)) << "Ctrl+E is a shortcut";
}

TEST(KeyTablesTest, PositionsRoundTripOnEachLayout) {
  for (const char* layout : {"us", "de"}) {
    for (uint32_t vk = 1; vk < 256; ++vk) {
      bool ext = false;
      uint32_t scan = plat_vk_to_scan(layout, vk, &ext);
      if (scan == 0) continue;
      uint32_t back = plat_scan_to_vk(layout, scan, ext, true);
      if (vk == VK_SHIFT || vk == VK_CONTROL || vk == VK_MENU) continue;
      if (vk == VK_RETURN) continue;  // also at an extended position (keypad Enter)
      EXPECT_EQ(vk, back) << layout << " vk " << vk;
    }
  }
  EXPECT_EQ('Y', plat_scan_to_vk("de", 0x2C, false, true));
  EXPECT_EQ('Z', plat_scan_to_vk("us(intl)", 0x2C, false, true));
  EXPECT_EQ(VK_HOME, plat_scan_to_vk("us", 0x47, false, false)) << "keypad 7 without Num Lock";
  EXPECT_EQ(VK_NUMPAD7, plat_scan_to_vk("us", 0x47, false, true));
  EXPECT_EQ(VK_HOME, plat_scan_to_vk("us", 0x47, true, true));
  EXPECT_EQ(0x0409, plat_layout_language_id("us(intl)"));
}
