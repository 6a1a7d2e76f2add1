// Key translation with the layout Wine takes from the X server (US in Xvfb).
#include "platform/win32/w32.h"
#include "platform/win32/win32_platform.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(Win32Layout, TranslatesKeysOfTheUsLayout) {
  platform* p = w32_platform();
  plat_layout us = reinterpret_cast<plat_layout>(GetKeyboardLayout(0));
  ASSERT_NE(us, 0u);
  EXPECT_EQ(p->layout_language(us), 0x0409);
  EXPECT_EQ(p->layout_name(us), "us");

  uint8_t state[256];
  memset(state, 0, sizeof state);
  std::string out;
  EXPECT_EQ(p->to_unicode('A', 0x1E, state, &out, us), 1);
  EXPECT_EQ(out, "a");
  state[VK_SHIFT] = 0x80;
  EXPECT_EQ(p->to_unicode('2', 0x03, state, &out, us), 1);
  EXPECT_EQ(out, "@");
  state[VK_SHIFT] = 0;
  EXPECT_EQ(p->to_unicode(VK_F5, 0x3F, state, &out, us), 0);

  EXPECT_EQ(p->vk_key_scan(U'a', us), 'A');
  EXPECT_EQ(p->vk_key_scan(U'A', us), 0x100 | 'A');
  EXPECT_EQ(p->vk_key_scan(U'?', us), 0x100 | VK_OEM_2);
  EXPECT_EQ(p->vk_key_scan(U'\u20AC', us), -1) << "no key of the US layout types the euro";
  EXPECT_EQ(p->vk_key_scan(U'\U0001F600', us), -1);

  EXPECT_EQ(p->map_virtual_key('A', MAPVK_VK_TO_VSC, us), 0x1Eu);
  EXPECT_EQ(p->map_virtual_key(VK_RCONTROL, MAPVK_VK_TO_VSC, us), 0x11Du) << "the fixed table wins";
  EXPECT_EQ(p->map_virtual_key(0x1E, MAPVK_VSC_TO_VK, us), static_cast<uint32_t>('A'));
  EXPECT_EQ(p->map_virtual_key('A', MAPVK_VK_TO_CHAR, us), static_cast<uint32_t>('A'));
}

}  // namespace
