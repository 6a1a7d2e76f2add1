#include "platform/x11/x11_injected.h"

namespace {
// Events the hook never saw (no hook running) must not pile up.
constexpr size_t MAX_PENDING = 4096;
}  // namespace

void x11_injected_events::sent(uint32_t keycode, bool down) {
  if (sent_.size() >= MAX_PENDING) sent_.pop_front();
  sent_.emplace_back(keycode, down);
}

bool x11_injected_events::take(uint32_t keycode, bool down, bool from_xtest) {
  if (!from_xtest) return false;
  // Ours is the oldest one still expected, unless presses before it were dropped by the
  // server. A release before it is never dropped: with one in between, this event cannot be
  // ours and is another program's.
  for (size_t i = 0; i < sent_.size(); ++i) {
    if (sent_[i].first == keycode && sent_[i].second == down) {
      sent_.erase(sent_.begin(), sent_.begin() + static_cast<std::ptrdiff_t>(i) + 1);
      return true;
    }
    if (!sent_[i].second) return false;
  }
  return false;
}
