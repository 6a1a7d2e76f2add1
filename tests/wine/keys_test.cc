// The pure translations of the backend: hook structures to events, the fixed scan-code table,
// layout names and browser command lines.
#include "platform/win32/keys.h"

#include <gtest/gtest.h>

namespace {

KBDLLHOOKSTRUCT kbd(DWORD vk, DWORD scan, DWORD flags) {
  KBDLLHOOKSTRUCT k{};
  k.vkCode = vk;
  k.scanCode = scan;
  k.flags = flags;
  k.time = 1234;
  return k;
}

TEST(Win32KeyDecode, DownAndUpComeFromTheMessage) {
  plat_key_event down = w32_decode_key_event(WM_KEYDOWN, kbd('A', 0x1E, 0));
  EXPECT_TRUE(down.down());
  EXPECT_EQ(down.vk, 'A');
  EXPECT_EQ(down.scan, 0x1Eu);
  EXPECT_EQ(down.flags, 0u);
  EXPECT_EQ(down.time, 1234u);

  // Wine leaves LLKHF_UP off the key-up of an injected Unicode character.
  plat_key_event up = w32_decode_key_event(WM_KEYUP, kbd(VK_PACKET, 0xE9, LLKHF_INJECTED));
  EXPECT_FALSE(up.down());
  EXPECT_EQ(up.flags, LLKHF_UP | LLKHF_INJECTED);

  plat_key_event sysup = w32_decode_key_event(WM_SYSKEYUP, kbd(VK_RMENU, 0x38, LLKHF_EXTENDED | LLKHF_UP));
  EXPECT_EQ(sysup.flags, LLKHF_UP | LLKHF_EXTENDED);
  plat_key_event sysdown = w32_decode_key_event(WM_SYSKEYDOWN, kbd('F', 0x21, 0x20));
  EXPECT_TRUE(sysdown.down());
  EXPECT_EQ(sysdown.flags, 0u) << "the Alt-down and lower-integrity bits are not the engine's";
}

TEST(Win32KeyDecode, MouseButtonsOnly) {
  MSLLHOOKSTRUCT m{};
  m.pt = {12, 34};
  plat_mouse_event ev{};
  ASSERT_TRUE(w32_decode_mouse_event(WM_RBUTTONDOWN, m, &ev));
  EXPECT_EQ(ev.msg, WM_RBUTTONDOWN);
  EXPECT_EQ(ev.x, 12);
  EXPECT_EQ(ev.y, 34);
  EXPECT_FALSE(w32_decode_mouse_event(WM_MOUSEMOVE, m, &ev));
  EXPECT_FALSE(w32_decode_mouse_event(WM_MOUSEWHEEL, m, &ev));
}

TEST(Win32KeyDecode, FixedScanCodesCarryTheExtendedPrefix) {
  EXPECT_EQ(w32_vk_to_sc_fixed(VK_RCONTROL), 0x11Du);
  EXPECT_EQ(w32_vk_to_sc_fixed(VK_RMENU), 0x138u);
  EXPECT_EQ(w32_vk_to_sc_fixed(VK_RSHIFT), 0x136u);
  EXPECT_EQ(w32_vk_to_sc_fixed(VK_LSHIFT), 0x2Au);
  EXPECT_EQ(w32_vk_to_sc_fixed(VK_NUMPAD0), 82u);
  EXPECT_EQ(w32_vk_to_sc_fixed(VK_NUMPAD9), 73u);
  EXPECT_EQ(w32_vk_to_sc_fixed('A'), 0u);
}

TEST(Win32KeyDecode, InputKeepsEveryField) {
  INPUT in = w32_make_input({0, 0xD83D, KEYEVENTF_UNICODE | KEYEVENTF_KEYUP});
  EXPECT_EQ(in.type, static_cast<DWORD>(INPUT_KEYBOARD));
  EXPECT_EQ(in.ki.wVk, 0);
  EXPECT_EQ(in.ki.wScan, 0xD83D);
  EXPECT_EQ(in.ki.dwFlags, static_cast<DWORD>(KEYEVENTF_UNICODE | KEYEVENTF_KEYUP));
  EXPECT_EQ(in.ki.dwExtraInfo, 0u);
}

TEST(Win32Names, LayoutsByIdentifierThenLanguage) {
  EXPECT_EQ(w32_layout_short_name(0x0409, "00020409"), "us(intl)");
  EXPECT_EQ(w32_layout_short_name(0x0409, "00000409"), "us");
  EXPECT_EQ(w32_layout_short_name(0x0407, ""), "de");
  EXPECT_EQ(w32_layout_short_name(0x040D, ""), "il");
  EXPECT_EQ(w32_layout_short_name(0x7777, ""), "");
}

TEST(Win32Names, BrowserProgramFromOpenCommand) {
  EXPECT_EQ(w32_extract_browser_exe_from_open_command(
                "\"C:\\Program Files\\Mozilla Firefox\\firefox.exe\" -osint -url \"%1\""),
            "C:\\Program Files\\Mozilla Firefox\\firefox.exe");
  EXPECT_EQ(w32_extract_browser_exe_from_open_command("C:\\opera\\launcher.exe %1"),
            "C:\\opera\\launcher.exe");
  EXPECT_EQ(w32_extract_browser_exe_from_open_command("  iexplore.exe"), "iexplore.exe");
  EXPECT_EQ(w32_extract_browser_exe_from_open_command("\"C:\\unterminated"), "C:\\unterminated");
  EXPECT_EQ(w32_extract_browser_exe_from_open_command(""), "");
}

}  // namespace
