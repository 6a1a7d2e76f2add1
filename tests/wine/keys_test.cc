// The pure translations of the backend: hook structures to events and browser command lines.
#include "platform/win32/keys.h"

#include <gtest/gtest.h>

namespace {

KBDLLHOOKSTRUCT kbd(DWORD vk, DWORD scan, DWORD flags) {
  KBDLLHOOKSTRUCT k{};
  k.vkCode = vk;
  k.scanCode = scan;
  k.flags = flags;
  return k;
}

TEST(Win32KeyDecode, DownAndUpComeFromTheMessage) {
  plat_key_event down = w32_decode_key_event(WM_KEYDOWN, kbd('A', 0x1E, 0));
  EXPECT_TRUE(down.down());
  EXPECT_EQ(down.flags, 0u);

  // Wine leaves LLKHF_UP off the key-up of an injected Unicode character.
  plat_key_event up = w32_decode_key_event(WM_KEYUP, kbd(VK_PACKET, 0xD83D, LLKHF_INJECTED));
  EXPECT_FALSE(up.down());
  EXPECT_EQ(up.flags, LLKHF_UP | LLKHF_INJECTED);
  EXPECT_EQ(up.scan, 0xD83Du) << "the character, not a key position";

  plat_key_event sysup = w32_decode_key_event(WM_SYSKEYUP, kbd(VK_RMENU, 0x38, LLKHF_EXTENDED | LLKHF_UP));
  EXPECT_EQ(sysup.flags, LLKHF_UP | LLKHF_EXTENDED);
  plat_key_event sysdown = w32_decode_key_event(WM_SYSKEYDOWN, kbd('F', 0x21, 0x20));
  EXPECT_TRUE(sysdown.down());
  EXPECT_EQ(sysdown.flags, 0u) << "the Alt-down and lower-integrity bits are not the engine's";
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
