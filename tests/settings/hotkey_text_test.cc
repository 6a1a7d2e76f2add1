#include "settings/hotkey_text.h"

#include <gtest/gtest.h>

namespace {

TEST(HotkeyText, NamesReadBackToTheirCodes) {
  EXPECT_EQ(hotkey_text("17 32"), "Ctrl+Space");
  EXPECT_EQ(hotkey_text("18 16 83"), "Alt+Shift+S");
  EXPECT_EQ(hotkey_text("17 112"), "Ctrl+F1");
  EXPECT_EQ(hotkey_text(""), "");
  EXPECT_EQ(hotkey_text("17  x 0 300 49"), "Ctrl+1");  // junk between codes is skipped
  for (unsigned code : {17u, 16u, 32u, 65u, 57u, 0x87u, 0x60u, 0x2Eu})
    EXPECT_EQ(hotkey_code_from_name(hotkey_text(std::to_string(code))), code) << code;
  EXPECT_EQ(hotkey_code_from_name("Nonsense"), 0u);
}

TEST(HotkeyText, DuplicatesIgnoreOrderAndDisabledHotkeys) {
  std::vector<hotkey_pref> h = {
      {"launchpad_hotkey", "17 32", true},
      {"ed_hotkey", "32 17", true},       // same keys, other order
      {"dmw_hotkey", "17 32", false},     // switched off
      {"acm_hotkey", "18 16 83", true},
      {"quickadd_sel_hotkey", "", true},  // none set
      {"quickadd_clip_hotkey", "", true},
  };
  auto d = hotkey_find_duplicates(h);
  EXPECT_EQ(d[0], std::vector<size_t>{1});
  EXPECT_EQ(d[1], std::vector<size_t>{0});
  EXPECT_TRUE(d[2].empty());
  EXPECT_TRUE(d[3].empty());
  EXPECT_TRUE(d[4].empty());
  EXPECT_TRUE(d[5].empty());
}

}  // namespace
