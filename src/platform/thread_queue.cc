#include "platform/thread_queue.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <deque>
#include <map>
#include <memory>
#include <mutex>

#include "util/die.h"

namespace {

struct thread_queue {
  std::mutex lock;
  std::deque<plat_msg> messages;  // under lock
  int fd = -1;                    // eventfd, written by posters, drained by the owner
  ~thread_queue() {
    if (fd >= 0) close(fd);
  }
};

std::mutex g_queues_lock;
std::map<plat_thread_id, std::shared_ptr<thread_queue>>& queues() {
  static auto* m = new std::map<plat_thread_id, std::shared_ptr<thread_queue>>;
  return *m;
}

std::atomic<plat_thread_id> g_next_id{1};

// Removes the thread's queue when the thread ends, so later posts fail.
struct thread_slot {
  plat_thread_id id = g_next_id.fetch_add(1);
  std::shared_ptr<thread_queue> queue;
  ~thread_slot() {
    if (!queue) return;
    std::lock_guard<std::mutex> g(g_queues_lock);
    queues().erase(id);
  }
};
thread_local thread_slot t_slot;

std::shared_ptr<thread_queue> find_queue(plat_thread_id tid) {
  std::lock_guard<std::mutex> g(g_queues_lock);
  auto it = queues().find(tid);
  return it == queues().end() ? nullptr : it->second;
}

void signal(thread_queue& q) {
  uint64_t one = 1;
  // A full counter still leaves the descriptor readable, which is all the waiter needs.
  ssize_t r = write(q.fd, &one, sizeof one);
  (void)r;
}

}  // namespace

plat_thread_id plat_queue_thread_id() { return t_slot.id; }

void plat_queue_create() {
  if (t_slot.queue) return;
  auto q = std::make_shared<thread_queue>();
  q->fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (q->fd < 0) die();
  std::lock_guard<std::mutex> g(g_queues_lock);
  queues()[t_slot.id] = q;
  t_slot.queue = q;
}

bool plat_queue_post(plat_thread_id tid, uint32_t msg, uintptr_t wparam, intptr_t lparam) {
  auto q = find_queue(tid);
  if (!q) return false;
  {
    std::lock_guard<std::mutex> g(q->lock);
    q->messages.push_back(plat_msg{msg, wparam, lparam});
  }
  signal(*q);
  return true;
}

bool plat_queue_wake(plat_thread_id tid) {
  auto q = find_queue(tid);
  if (!q) return false;
  signal(*q);
  return true;
}

bool plat_queue_take(plat_msg* out, uint32_t msg_min, uint32_t msg_max) {
  plat_queue_create();
  thread_queue& q = *t_slot.queue;
  std::lock_guard<std::mutex> g(q.lock);
  bool any = msg_min == 0 && msg_max == 0;
  for (auto it = q.messages.begin(); it != q.messages.end(); ++it) {
    if (any || (it->message >= msg_min && it->message <= msg_max)) {
      *out = *it;
      q.messages.erase(it);
      return true;
    }
  }
  return false;
}

int plat_queue_fd() {
  plat_queue_create();
  return t_slot.queue->fd;
}

void plat_queue_drain_wake() {
  uint64_t n;
  while (read(plat_queue_fd(), &n, sizeof n) > 0) {
  }
}
