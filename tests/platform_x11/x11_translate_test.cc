#include "platform/x11/x11_translate.h"

#include <gtest/gtest.h>

#include <memory>

#include "platform/vk.h"

namespace {

// Keycodes of the evdev keymaps (evdev code + 8).
constexpr uint32_t KC_E = 26, KC_Q = 24, KC_Y_POS = 29, KC_Z_POS = 52, KC_APOSTROPHE = 48,
                   KC_SEMICOLON = 47, KC_LBRACKET = 34, KC_SPACE = 65, KC_X = 53, KC_KP7 = 79,
                   KC_RALT = 108, KC_2 = 11;

struct keymap_deleter {
  void operator()(xkb_keymap* k) const { xkb_keymap_unref(k); }
};

class X11TranslateTest : public ::testing::Test {
 protected:
  std::unique_ptr<x11_translator> make(const char* layout, const char* variant) {
    xkb_context* ctx = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    xkb_rule_names names{"evdev", "pc105", layout, variant, nullptr};
    xkb_keymap* km = xkb_keymap_new_from_names(ctx, &names, XKB_KEYMAP_COMPILE_NO_FLAGS);
    xkb_context_unref(ctx);
    EXPECT_NE(nullptr, km) << layout;
    auto t = std::make_unique<x11_translator>(km);
    xkb_keymap_unref(km);
    return t;
  }
  std::string press(x11_translator& t, uint32_t kc, std::initializer_list<uint32_t> held = {},
                    int* n_out = nullptr) {
    uint8_t st[256] = {};
    for (uint32_t vk : held) st[vk] = 0x80;
    std::string s;
    int n = t.translate(kc, st, 0, &s);
    if (n_out) *n_out = n;
    return n == -1 ? "<dead>" : s;
  }
};

}  // namespace

TEST_F(X11TranslateTest, PositionsAndVirtualKeysFollowTheLayout) {
  auto us = make("us", "");
  auto de = make("de", "");
  EXPECT_EQ('Y', x11_keycode_to_vk(us->keymap(), 0, KC_Y_POS, "us", true));
  EXPECT_EQ('Z', x11_keycode_to_vk(de->keymap(), 0, KC_Y_POS, "de", true));
  EXPECT_EQ('Y', x11_keycode_to_vk(de->keymap(), 0, KC_Z_POS, "de", true));
  EXPECT_EQ(VK_OEM_1, x11_keycode_to_vk(us->keymap(), 0, KC_SEMICOLON, "us", true));
  EXPECT_EQ(VK_OEM_3, x11_keycode_to_vk(de->keymap(), 0, KC_SEMICOLON, "de", true)) << "ö";
  EXPECT_EQ(VK_OEM_1, x11_keycode_to_vk(de->keymap(), 0, KC_LBRACKET, "de", true)) << "ü";
  EXPECT_EQ(VK_RMENU, x11_keycode_to_vk(de->keymap(), 0, KC_RALT, "de", true));
  EXPECT_EQ(VK_NUMPAD7, x11_keycode_to_vk(us->keymap(), 0, KC_KP7, "us", true));
  EXPECT_EQ(VK_HOME, x11_keycode_to_vk(us->keymap(), 0, KC_KP7, "us", false));
  bool ext = false;
  EXPECT_EQ(0x38u, x11_keycode_to_scan(KC_RALT, &ext));
  EXPECT_TRUE(ext);
  for (uint32_t kc = 9; kc < 256; ++kc) {
    uint32_t scan = x11_keycode_to_scan(kc, &ext);
    if (scan) {
      EXPECT_EQ(kc, x11_scan_to_keycode(scan, ext)) << kc;
    }
  }
  EXPECT_EQ("us(intl)", x11_layout_name("us,de", "intl,", 0));
  EXPECT_EQ("de", x11_layout_name("us,de", "intl,", 1));
}

TEST_F(X11TranslateTest, DeadKeysComposeThroughTheComposeTable) {
  auto t = make("us", "intl");
  EXPECT_EQ("<dead>", press(*t, KC_APOSTROPHE));
  EXPECT_EQ("é", press(*t, KC_E));
  EXPECT_EQ("<dead>", press(*t, KC_APOSTROPHE, {VK_LSHIFT}));
  EXPECT_EQ("Ü", press(*t, 30 /* u */, {VK_LSHIFT}));
  EXPECT_EQ("<dead>", press(*t, KC_APOSTROPHE));
  EXPECT_EQ("'", press(*t, KC_SPACE)) << "dead key then Space gives the accent";
  EXPECT_EQ("x", press(*t, KC_X)) << "state is clean after a finished sequence";
  EXPECT_EQ("é", press(*t, KC_E, {VK_RMENU})) << "AltGr+e on us intl";
}

TEST_F(X11TranslateTest, GermanAltGrAndShift) {
  auto t = make("de", "");
  EXPECT_EQ("@", press(*t, KC_Q, {VK_RMENU}));
  EXPECT_EQ("@", press(*t, KC_Q, {VK_LCONTROL, VK_LMENU})) << "Ctrl+Alt acts as AltGr";
  EXPECT_EQ("€", press(*t, KC_E, {VK_RMENU}));
  EXPECT_EQ("\"", press(*t, KC_2, {VK_LSHIFT}));
  EXPECT_EQ("y", press(*t, KC_Z_POS));
  uint8_t st[256] = {};
  st[VK_CAPITAL] = 1;
  std::string s;
  EXPECT_EQ(1, t->translate(KC_SEMICOLON, st, 0, &s));
  EXPECT_EQ("Ö", s) << "Caps Lock";
  uint32_t kc = 0;
  int shift = -1;
  ASSERT_TRUE(t->find_char(U'@', 0, &kc, &shift));
  EXPECT_EQ(KC_Q, kc);
  EXPECT_EQ(6, shift);
  ASSERT_TRUE(t->find_char(U'Ä', 0, &kc, &shift));
  EXPECT_EQ(1, shift);
  ASSERT_TRUE(t->find_char(U'7', 0, &kc, &shift));
  EXPECT_EQ(16u, kc) << "main block, not the keypad";
  EXPECT_FALSE(t->find_char(U'é', 0, &kc, &shift));
  EXPECT_FALSE(t->find_char(U'\U0001F600', 0, &kc, &shift));
}
