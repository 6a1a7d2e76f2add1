// Thread message queues for backends whose system has none (X11, the fake): one queue per
// thread, each with a file descriptor that becomes readable when something was posted, so a
// backend can wait on the queue and its display connection in one poll().
//
// Thread-safe. A thread's queue exists from its first plat_queue_create() (called by the
// backend's get_message) until the thread ends; posting to a thread without a queue fails,
// as on Windows.
#pragma once

#include <cstdint>

#include "platform/platform.h"

// A small number unique to the calling thread for the life of the process; never 0.
plat_thread_id plat_queue_thread_id();
// Creates the calling thread's queue if it has none.
void plat_queue_create();
// Appends a message; false when the thread has no queue.
bool plat_queue_post(plat_thread_id tid, uint32_t msg, uintptr_t wparam, intptr_t lparam);
// Makes the thread's wake-up descriptor readable without posting anything (a backend that
// queued input of its own for that thread); false when the thread has no queue.
bool plat_queue_wake(plat_thread_id tid);
// Removes the first message of the calling thread's queue with msg_min <= id <= msg_max (both
// 0: any) into *out. Non-blocking; false when there is none.
bool plat_queue_take(plat_msg* out, uint32_t msg_min, uint32_t msg_max);
// The calling thread's wake-up descriptor (creates the queue). Wait for POLLIN on it, then
// call plat_queue_drain_wake() before looking at the queue again.
int plat_queue_fd();
void plat_queue_drain_wake();

// The thread half of the contract for backends that use these queues; they add get_message.
class plat_queued_platform : public platform {
 public:
  plat_thread_id current_thread_id() override {
    plat_queue_create();
    return plat_queue_thread_id();
  }
  bool post_thread_message(plat_thread_id tid, uint32_t msg, uintptr_t wparam,
                           intptr_t lparam) override {
    return plat_queue_post(tid, msg, wparam, lparam);
  }
};
