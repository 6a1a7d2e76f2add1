// What the application receives: held-back dead keys must reach it exactly once, composed.
#include "mon_fixture.h"

namespace {

class AppTextTest : public MonTest {
 protected:
  std::vector<std::string> typed;

  void SetUp() override {
    MonTest::SetUp();
    fake.set_layout("us(intl)");
    add(top, "caf\xC3\xA9", "coffee");
    ready();
  }
  // The dead acute key, then e (not AltGr+e, which this layout also has).
  void acute_e() {
    tap_slowly(VK_OEM_7);
    tap_slowly('E');
  }
  // A person types slowly next to the hook: each key arrives after the previous one has been
  // handled, replays included.
  void tap_slowly(uint32_t vk, const std::vector<uint32_t>& held = {}) {
    for (uint32_t m : held) push(m, true);
    push(vk, true);
    push(vk, false);
    for (uint32_t m : held) push(m, false);
  }
  void push(uint32_t vk, bool down) {
    fake.push_key(vk, down);
    settle();
  }
  void type_slowly(const std::string& text) {
    for (char c : text) {
      ASSERT_TRUE(fake.type_text(std::string(1, c)));
      settle();
    }
  }
  void settle() {
    for (const seen_request& r : replacements()) typed.push_back(r.typed);
  }
};

TEST_F(AppTextTest, DeadKeysReachTheApplicationOnceAndComposed) {
  type_slowly("r");
  acute_e();
  type_slowly("sum");
  acute_e();
  type_slowly(" ");
  tap_slowly(VK_OEM_7, {VK_LSHIFT});  // dead diaeresis, then Shift+u
  tap_slowly('U', {VK_LSHIFT});
  type_slowly("ber ");
  EXPECT_EQ(fake.app_text(), "r\xC3\xA9sum\xC3\xA9 \xC3\x9C" "ber ");
  EXPECT_TRUE(typed.empty());

  type_slowly("caf");
  acute_e();
  EXPECT_EQ(typed, std::vector<std::string>{"caf\xC3\xA9"});
  EXPECT_EQ(fake.app_text(), "r\xC3\xA9sum\xC3\xA9 \xC3\x9C" "ber caf\xC3\xA9");
  // Nothing of the replay is left over to let a later dead key through unseen.
  acute_e();
  EXPECT_EQ(buffer_tail(2), "\xC3\xA9");
  EXPECT_EQ(fake.app_text(), "r\xC3\xA9sum\xC3\xA9 \xC3\x9C" "ber caf\xC3\xA9\xC3\xA9");
}

TEST_F(AppTextTest, ComposingBackendLeavesDeadKeysToTheApplication) {
  fake.set_capabilities(PLAT_CAP_COMPOSES_DEAD_KEYS);
  type_slowly("caf");
  acute_e();
  EXPECT_EQ(typed, std::vector<std::string>{"caf\xC3\xA9"});
  EXPECT_EQ(fake.app_text(), "caf\xC3\xA9");
  EXPECT_TRUE(fake.injected().empty());
}

}  // namespace
