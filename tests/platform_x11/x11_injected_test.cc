#include "platform/x11/x11_injected.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct raw_event {
  uint32_t keycode;
  bool down;
  bool from_xtest;
};

// Sends `ours`, replays `arrived` in the server's order and tells for each arrival whose it
// was taken for: 'o' ours, 'u' the user's (or another program's).
std::string whose(const std::vector<std::pair<uint32_t, bool>>& ours, const std::vector<raw_event>& arrived,
                  x11_injected_events* tracker) {
  for (const auto& o : ours) tracker->sent(o.first, o.second);
  std::string out;
  for (const raw_event& e : arrived) out += tracker->take(e.keycode, e.down, e.from_xtest) ? 'o' : 'u';
  return out;
}

TEST(X11InjectedEvents, AKeyFromARealKeyboardIsNeverOurs) {
  x11_injected_events t;
  // The user presses "h" on the keyboard while the replacement types "h".
  EXPECT_EQ(whose({{43, true}, {43, false}},
                  {{43, true, false}, {43, true, true}, {43, false, false}, {43, false, true}}, &t),
            "uouo");
  EXPECT_EQ(t.pending(), 0u);
}

TEST(X11InjectedEvents, AnotherProgramsFakedKeyCrossingOursLeavesOnlyItsOwnEventToTheUser) {
  x11_injected_events t;
  // Our release of the held Ctrl and the Ctrl taps that follow; the other program's Ctrl
  // release reaches the server first.
  std::vector<std::pair<uint32_t, bool>> ours = {{37, false}, {105, true}, {105, false}, {37, true}, {37, false}};
  std::vector<raw_event> arrived = {{37, false, true},  {37, false, true}, {105, true, true},
                                    {105, false, true}, {37, true, true},  {37, false, true}};
  // Which of the two first releases is whose cannot be told and does not matter; all that
  // follows must be ours.
  EXPECT_EQ(whose(ours, arrived, &t), "ouoooo");
  EXPECT_EQ(t.pending(), 0u);

  // A key of the other program that we send later does not jump the queue.
  EXPECT_EQ(whose({{37, false}, {38, true}}, {{38, true, true}, {37, false, true}, {38, true, true}}, &t), "uoo");
  EXPECT_EQ(t.pending(), 0u);
}

TEST(X11InjectedEvents, APressTheServerDroppedIsSkipped) {
  x11_injected_events t;
  // The user held "a": the server dropped our press but delivers our release.
  EXPECT_EQ(whose({{38, true}, {38, false}, {39, true}}, {{38, false, true}, {39, true, true}}, &t), "oo");
  EXPECT_EQ(t.pending(), 0u);
}

}  // namespace
