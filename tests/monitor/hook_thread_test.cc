#include <chrono>
#include <condition_variable>
#include <thread>

#include "mon_fixture.h"

namespace {

// Stands in for the replacement thread: takes each request, remembers it, frees it and sends
// the clean-up messages in the order the real thread does.
struct stub_keysim {
  std::thread thread;
  std::atomic<plat_thread_id> tid{0};
  std::mutex lock;
  std::condition_variable cv;
  std::vector<std::string> typed;

  void run() {
    plat_msg msg;
    tid = plat()->current_thread_id();
    while (plat()->get_message(&msg, 0, 0) == 1 && msg.message != WM_KEYSIM_QUIT) {
      if (msg.message != WM_KEYSIM_REPLACE) continue;
      auto** slot = reinterpret_cast<typed_abbrev_info**>(msg.wparam);
      {
        std::lock_guard<std::mutex> g(lock);
        typed.push_back((*slot)->typed);
      }
      typed_abbrev_info_free(slot);
      for (uint32_t m : {WM_MON_CLEAR_KEY_BUFFER, WM_MON_RESTORE_MODIFIERS, WM_MON_RESTORE_CAPS_LOCK,
                         WM_MON_END_TEMP_DISABLE})
        plat()->post_thread_message(mon_hook_thread_id(), m, 0, 0);
      cv.notify_all();
    }
  }
  bool wait_for(size_t n) {
    std::unique_lock<std::mutex> g(lock);
    return cv.wait_for(g, std::chrono::seconds(10), [&] { return typed.size() >= n; });
  }
};

stub_keysim* g_stub = nullptr;

plat_thread_id stub_create() {
  g_stub->thread = std::thread([] { g_stub->run(); });
  while (!g_stub->tid) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  while (!plat()->post_thread_message(g_stub->tid, WM_KEYSIM_STARTED, 0, 0))
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  return g_stub->tid;
}

void stub_destroy() {
  plat()->post_thread_message(g_stub->tid, WM_KEYSIM_QUIT, 0, 0);
  g_stub->thread.join();
}

bool wait_until(const std::function<bool()>& done) {
  for (int i = 0; i < 1000 && !done(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  return done();
}

class HookThreadTest : public MonTest {
 protected:
  stub_keysim stub;
  void SetUp() override {
    MonTest::SetUp();
    // The hook thread installs the hooks.
    fake.uninstall_keyboard_hook();
    fake.uninstall_mouse_hook();
    g_stub = &stub;
    mon_callbacks cb;
    cb.keysim_create_thread = stub_create;
    cb.keysim_destroy_thread = stub_destroy;
    mon_set_callbacks(cb);
    add(top, "btw", "by the way");
  }
  void TearDown() override {
    mon_set_callbacks(mon_callbacks{});
    g_stub = nullptr;
    MonTest::TearDown();
  }
  // The keys go to the hook thread's queue; wait until the hook has seen the last one.
  void user_types(const std::string& text) {
    g_keyboard_hook_called = 0;
    ASSERT_TRUE(fake.type_text(text));
    EXPECT_TRUE(wait_until([] { return g_keyboard_hook_called.load() == 1; }));
  }
};

TEST_F(HookThreadTest, TypedAbbreviationTravelsToTheReplacementAndTypingResumes) {
  ASSERT_EQ(mon_start(), 1);
  EXPECT_EQ(mon_installed_hooks(), 3u);

  user_types("btw");
  ASSERT_TRUE(stub.wait_for(1));
  EXPECT_EQ(stub.typed[0], "btw");
  EXPECT_TRUE(wait_until([] { return mon_hook_get_temp_disable() == 0; }));

  // A new main list arrives through the hand-over; the hook matches against it at once.
  abbr_create_sandbox();
  add(abbr_get_absolute_parent_folder(ABBR_SANDBOX_LIST), "cya", "see you");
  EXPECT_EQ(abbr_flush_sandbox_to_main(), 1);
  user_types(" cya");
  ASSERT_TRUE(stub.wait_for(2));
  EXPECT_EQ(stub.typed[1], "cya");
  EXPECT_TRUE(wait_until([] { return mon_hook_get_temp_disable() == 0; }));

  EXPECT_EQ(mon_stop(0), 1);
  EXPECT_EQ(mon_installed_hooks(), 0u);
  EXPECT_EQ(fake.app_text(), "btw cya");  // passed through, nothing erased by the stand-in
  EXPECT_EQ(mon_hook_thread_id(), 0u);
  abbr_free_folder_list(ABBR_SANDBOX_LIST);
}

TEST_F(HookThreadTest, WatchdogReinstallsHooksAfterLongSilence) {
  ASSERT_EQ(mon_start(), 1);
  int installs = fake.keyboard_hook_installs;
  for (int i = 0; i < 60; ++i) check_if_hooks_need_to_be_reinstalled_timeout_callback();
  // A key resets the count: the next call sees it, then 69 calls without one reinstall.
  user_types("x");
  for (int i = 0; i < 69; ++i) check_if_hooks_need_to_be_reinstalled_timeout_callback();
  EXPECT_EQ(fake.keyboard_hook_installs, installs);
  check_if_hooks_need_to_be_reinstalled_timeout_callback();
  EXPECT_EQ(fake.keyboard_hook_installs, installs + 1);
  EXPECT_EQ(mon_installed_hooks(), 3u);
  EXPECT_EQ(mon_stop(0), 1);
}

}  // namespace
