// Pure translations between Windows keyboard structures and the platform vocabulary. They
// touch no system state, so they are tested directly.
#pragma once

#include <cstdint>
#include <string>

#include "platform/win32/w32.h"

// A low-level keyboard hook call as the engine sees it. Down or up is taken from the message
// alone: Wine reports key-ups of VK_PACKET without LLKHF_UP, and Windows sets it consistently
// anyway. Only the extended, injected and up flags are kept. For VK_PACKET the scan code is the
// injected UTF-16 unit.
plat_key_event w32_decode_key_event(WPARAM msg, const KBDLLHOOKSTRUCT& k);

// A low-level mouse hook call: true for a button press or release, which is all the engine
// wants to know about; false for moves and the wheel.
bool w32_decode_mouse_event(WPARAM msg, const MSLLHOOKSTRUCT& m, plat_mouse_event* out);

// The fixed virtual-key to scan-code table consulted before the layout's own mapping. Scan
// codes above 255 carry the 0xE0 prefix in their high byte. 0 when the key is not in it.
uint32_t w32_vk_to_sc_fixed(uint32_t vk);

// One injected keyboard event in SendInput's shape.
INPUT w32_make_input(const plat_input& in);

// Short layout name ("us", "de", "us(intl)") from a language id and, when known, the
// layout's eight-digit identifier as GetKeyboardLayoutName gives it; "" when unknown.
std::string w32_layout_short_name(uint16_t lang, const std::string& klid);

// The program part of a shell command line: the quoted text when it starts with a quote,
// else everything up to the first blank.
std::string w32_extract_browser_exe_from_open_command(const std::string& command);
