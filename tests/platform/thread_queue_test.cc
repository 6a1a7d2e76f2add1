#include "platform/thread_queue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "platform/fake/fake_platform.h"

TEST(ThreadQueueTest, PostingNeedsTheTargetsQueue) {
  plat_thread_id tid = 0;
  bool created = false;
  std::mutex m;
  std::condition_variable cv;
  bool go_on = false;
  std::thread t([&] {
    std::unique_lock<std::mutex> g(m);
    tid = plat_queue_thread_id();
    cv.notify_all();
    cv.wait(g, [&] { return go_on; });
    plat_queue_create();
    created = true;
    cv.notify_all();
    cv.wait(g, [&] { return !go_on; });
  });
  {
    std::unique_lock<std::mutex> g(m);
    cv.wait(g, [&] { return tid != 0; });
    EXPECT_FALSE(plat_queue_post(tid, WM_MON_HELLO, 0, 0));
    go_on = true;
    cv.notify_all();
    cv.wait(g, [&] { return created; });
    EXPECT_TRUE(plat_queue_post(tid, WM_MON_HELLO, 0, 0));
    go_on = false;
    cv.notify_all();
  }
  t.join();
  EXPECT_FALSE(plat_queue_post(tid, WM_MON_HELLO, 0, 0)) << "an ended thread keeps no queue";
  EXPECT_NE(tid, plat_queue_thread_id());
}

TEST(ThreadQueueTest, FilteredGetLeavesOtherMessagesInOrder) {
  fake_platform fp;
  plat_thread_id me = fp.current_thread_id();
  plat_queue_create();
  ASSERT_TRUE(fp.post_thread_message(me, WM_MON_CLEAR_KEY_BUFFER, 1, 0));
  ASSERT_TRUE(fp.post_thread_message(me, WM_MON_RESPONSE, 7, 0));
  ASSERT_TRUE(fp.post_thread_message(me, WM_MON_END_TEMP_DISABLE, 2, -3));
  plat_msg m{};
  ASSERT_EQ(1, fp.get_message(&m, WM_MON_RESPONSE, WM_MON_RESPONSE));
  EXPECT_EQ(7u, m.wparam);
  ASSERT_EQ(1, fp.get_message(&m, 0, 0));
  EXPECT_EQ(WM_MON_CLEAR_KEY_BUFFER, m.message);
  ASSERT_EQ(1, fp.get_message(&m, 0, 0));
  EXPECT_EQ(WM_MON_END_TEMP_DISABLE, m.message);
  EXPECT_EQ(-3, m.lparam);
  ASSERT_TRUE(fp.post_thread_message(me, WM_QUIT, 0, 0));
  EXPECT_EQ(0, fp.get_message(&m, 0, 0));
}

TEST(ThreadQueueTest, AskerBlocksUntilAnotherThreadAnswers) {
  fake_platform fp;
  plat_queue_create();
  plat_thread_id me = fp.current_thread_id();
  std::atomic<plat_thread_id> worker{0};
  std::thread t([&] {
    plat_queue_create();
    worker = fp.current_thread_id();
    plat_msg m{};
    while (fp.get_message(&m, 0, 0) > 0) {
      if (m.message == WM_MON_QUIT) {
        fp.post_thread_message(static_cast<plat_thread_id>(m.wparam), WM_MON_RESPONSE, 1, 0);
        return;
      }
    }
  });
  while (worker == 0) std::this_thread::yield();
  ASSERT_TRUE(fp.post_thread_message(worker, WM_MON_QUIT, me, 0));
  plat_msg m{};
  ASSERT_EQ(1, fp.get_message(&m, WM_MON_RESPONSE, WM_MON_RESPONSE));
  EXPECT_EQ(1u, m.wparam);
  t.join();
}
