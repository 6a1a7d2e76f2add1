// Thread messages between a hook-style thread and the threads that ask it for things.
#include "platform/win32/win32_platform.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "wine_harness.h"

namespace {

// Answers every WM_MON_HELLO carrying an asker's id with WM_MON_RESPONSE (lParam doubled),
// and ends on WM_MON_QUIT after answering it, like the monitor's thread.
void answering_thread(std::atomic<plat_thread_id>* tid, std::atomic<int>* handled) {
  platform* p = w32_platform();
  *tid = p->current_thread_id();
  plat_msg m;
  while (p->get_message(&m, 0, 0) > 0) {
    if (m.message == WM_MON_HELLO && m.wparam) {
      p->post_thread_message(static_cast<plat_thread_id>(m.wparam), WM_MON_RESPONSE,
                             static_cast<uintptr_t>(m.lparam * 2), 0);
      ++*handled;
    } else if (m.message == WM_MON_QUIT) {
      p->post_thread_message(static_cast<plat_thread_id>(m.wparam), WM_MON_RESPONSE, 1, 0);
      return;
    }
  }
}

TEST(Win32ThreadMessages, RequestsAndFilteredRepliesRoundTrip) {
  platform* p = w32_platform();
  std::atomic<plat_thread_id> tid{0};
  std::atomic<int> handled{0};
  std::thread t(answering_thread, &tid, &handled);
  while (tid == 0) Sleep(1);

  // The queue exists only once the thread waits for messages: post until it lands.
  int tries = 0;
  while (!p->post_thread_message(tid, WM_MON_HELLO, 0, 0)) {
    ASSERT_LT(++tries, 500);
    Sleep(10);
  }

  // A message of our own queued before the reply must survive a filtered wait.
  plat_thread_id me = p->current_thread_id();
  ASSERT_TRUE(p->post_thread_message(me, WM_MON_CLEAR_KEY_BUFFER, 7, 8));
  ASSERT_TRUE(p->post_thread_message(tid, WM_MON_HELLO, me, 21));
  plat_msg reply;
  ASSERT_EQ(p->get_message(&reply, WM_MON_RESPONSE, WM_MON_RESPONSE), 1);
  EXPECT_EQ(reply.message, WM_MON_RESPONSE);
  EXPECT_EQ(reply.wparam, 42u);
  plat_msg earlier;
  ASSERT_EQ(p->get_message(&earlier, 0, 0), 1);
  EXPECT_EQ(earlier.message, WM_MON_CLEAR_KEY_BUFFER);
  EXPECT_EQ(earlier.wparam, 7u);
  EXPECT_EQ(earlier.lparam, 8);

  ASSERT_TRUE(p->post_thread_message(tid, WM_MON_QUIT, me, 0));
  ASSERT_EQ(p->get_message(&reply, WM_MON_RESPONSE, WM_MON_RESPONSE), 1);
  EXPECT_EQ(reply.wparam, 1u);
  t.join();
  EXPECT_EQ(handled, 1);
  EXPECT_FALSE(p->post_thread_message(tid, WM_MON_HELLO, 0, 0)) << "the thread has ended";

  ASSERT_TRUE(p->post_thread_message(me, WM_QUIT, 5, 0));
  EXPECT_EQ(p->get_message(&reply, 0, 0), 0);
  EXPECT_EQ(reply.message, WM_QUIT);
}

TEST(Win32ThreadMessages, AThreadHasAQueueOnceItAsksForItsId) {
  platform* p = w32_platform();
  std::atomic<plat_thread_id> tid{0};
  std::atomic<int> step{0};
  std::thread t([&] {
    tid = GetCurrentThreadId();
    while (step == 0) Sleep(1);
    p->current_thread_id();
    step = 2;
    while (step == 2) Sleep(1);
  });
  while (tid == 0) Sleep(1);
  EXPECT_FALSE(p->post_thread_message(tid, WM_MON_HELLO, 0, 0)) << "no queue yet";
  step = 1;
  while (step == 1) Sleep(1);
  EXPECT_TRUE(p->post_thread_message(tid, WM_MON_HELLO, 0, 0));
  step = 3;
  t.join();
}

}  // namespace
