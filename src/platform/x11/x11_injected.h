// Tells our own XTest key events from the user's when they come back as raw events.
//
// The X server does not mark injected events. What we know: our events arrive in the order we
// sent them; the server drops a press of a key that is already down (the user may hold it), but
// never a release; and a key the user presses on a real keyboard comes from that keyboard's
// device, while ours, and those of other programs that fake input, come from the XTEST device.
//
// Not thread-safe: the owner locks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <utility>

class x11_injected_events {
 public:
  // One key event we are about to send, in sending order.
  void sent(uint32_t keycode, bool down);
  // One raw key event, in the server's order. True when it is ours, which is then forgotten.
  // `from_xtest` says the event came from a device that carries faked input.
  bool take(uint32_t keycode, bool down, bool from_xtest);
  void clear() { sent_.clear(); }
  size_t pending() const { return sent_.size(); }

 private:
  std::deque<std::pair<uint32_t, bool>> sent_;  // oldest first
};
