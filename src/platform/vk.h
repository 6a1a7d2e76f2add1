// Key vocabulary shared by every module above the platform backends.
//
// Keys are named by Windows virtual-key codes, scan codes and hook flags on every platform, so
// that hotkey strings and key macros in the user's files mean the same key everywhere. The
// values are the Windows ones and must never change.
#pragma once

#include <cstdint>

// ---- Low-level hook flags of a key event (KBDLLHOOKSTRUCT::flags) ----
constexpr uint32_t LLKHF_EXTENDED = 0x01;
constexpr uint32_t LLKHF_INJECTED = 0x10;
constexpr uint32_t LLKHF_UP = 0x80;

// ---- Flags of an injected key event (keybd_event / SendInput) ----
constexpr uint32_t KEYEVENTF_EXTENDEDKEY = 0x0001;
constexpr uint32_t KEYEVENTF_KEYUP = 0x0002;
constexpr uint32_t KEYEVENTF_UNICODE = 0x0004;  // scan field holds one UTF-16 unit, vk is 0
constexpr uint32_t KEYEVENTF_SCANCODE = 0x0008;

// ---- Hook message codes (the wParam of a low-level hook call) ----
constexpr uint32_t WM_KEYDOWN = 0x0100;
constexpr uint32_t WM_KEYUP = 0x0101;
constexpr uint32_t WM_CHAR = 0x0102;
constexpr uint32_t WM_SYSKEYDOWN = 0x0104;
constexpr uint32_t WM_SYSKEYUP = 0x0105;
constexpr uint32_t WM_MOUSEMOVE = 0x0200;
constexpr uint32_t WM_LBUTTONDOWN = 0x0201;
constexpr uint32_t WM_LBUTTONUP = 0x0202;
constexpr uint32_t WM_RBUTTONDOWN = 0x0204;
constexpr uint32_t WM_RBUTTONUP = 0x0205;
constexpr uint32_t WM_MBUTTONDOWN = 0x0207;
constexpr uint32_t WM_MBUTTONUP = 0x0208;
constexpr uint32_t WM_MOUSEWHEEL = 0x020A;

// ---- Hotkey modifier bits (RegisterHotKey) ----
constexpr unsigned MOD_ALT = 0x0001;
constexpr unsigned MOD_CONTROL = 0x0002;
constexpr unsigned MOD_SHIFT = 0x0004;
constexpr unsigned MOD_WIN = 0x0008;

// ---- MapVirtualKey translation types ----
constexpr unsigned MAPVK_VK_TO_VSC = 0;
constexpr unsigned MAPVK_VSC_TO_VK = 1;
constexpr unsigned MAPVK_VK_TO_CHAR = 2;
constexpr unsigned MAPVK_VSC_TO_VK_EX = 3;

// ---- Virtual-key codes ----
constexpr uint32_t VK_LBUTTON = 0x01;
constexpr uint32_t VK_RBUTTON = 0x02;
constexpr uint32_t VK_CANCEL = 0x03;
constexpr uint32_t VK_MBUTTON = 0x04;
constexpr uint32_t VK_BACK = 0x08;
constexpr uint32_t VK_TAB = 0x09;
constexpr uint32_t VK_CLEAR = 0x0C;
constexpr uint32_t VK_RETURN = 0x0D;
constexpr uint32_t VK_SHIFT = 0x10;
constexpr uint32_t VK_CONTROL = 0x11;
constexpr uint32_t VK_MENU = 0x12;
constexpr uint32_t VK_PAUSE = 0x13;
constexpr uint32_t VK_CAPITAL = 0x14;
constexpr uint32_t VK_ESCAPE = 0x1B;
constexpr uint32_t VK_SPACE = 0x20;
constexpr uint32_t VK_PRIOR = 0x21;
constexpr uint32_t VK_NEXT = 0x22;
constexpr uint32_t VK_END = 0x23;
constexpr uint32_t VK_HOME = 0x24;
constexpr uint32_t VK_LEFT = 0x25;
constexpr uint32_t VK_UP = 0x26;
constexpr uint32_t VK_RIGHT = 0x27;
constexpr uint32_t VK_DOWN = 0x28;
constexpr uint32_t VK_SELECT = 0x29;
constexpr uint32_t VK_PRINT = 0x2A;
constexpr uint32_t VK_SNAPSHOT = 0x2C;
constexpr uint32_t VK_INSERT = 0x2D;
constexpr uint32_t VK_DELETE = 0x2E;
constexpr uint32_t VK_HELP = 0x2F;
// '0'..'9' are 0x30..0x39 and 'A'..'Z' are 0x41..0x5A, as their ASCII codes.
constexpr uint32_t VK_LWIN = 0x5B;
constexpr uint32_t VK_RWIN = 0x5C;
constexpr uint32_t VK_APPS = 0x5D;
constexpr uint32_t VK_SLEEP = 0x5F;
constexpr uint32_t VK_NUMPAD0 = 0x60;
constexpr uint32_t VK_NUMPAD1 = 0x61;
constexpr uint32_t VK_NUMPAD2 = 0x62;
constexpr uint32_t VK_NUMPAD3 = 0x63;
constexpr uint32_t VK_NUMPAD4 = 0x64;
constexpr uint32_t VK_NUMPAD5 = 0x65;
constexpr uint32_t VK_NUMPAD6 = 0x66;
constexpr uint32_t VK_NUMPAD7 = 0x67;
constexpr uint32_t VK_NUMPAD8 = 0x68;
constexpr uint32_t VK_NUMPAD9 = 0x69;
constexpr uint32_t VK_MULTIPLY = 0x6A;
constexpr uint32_t VK_ADD = 0x6B;
constexpr uint32_t VK_SEPARATOR = 0x6C;
constexpr uint32_t VK_SUBTRACT = 0x6D;
constexpr uint32_t VK_DECIMAL = 0x6E;
constexpr uint32_t VK_DIVIDE = 0x6F;
constexpr uint32_t VK_F1 = 0x70;  // VK_F1 + n - 1 is Fn, up to F24 (0x87)
constexpr uint32_t VK_F12 = 0x7B;
constexpr uint32_t VK_F13 = 0x7C;
constexpr uint32_t VK_F24 = 0x87;
constexpr uint32_t VK_NUMLOCK = 0x90;
constexpr uint32_t VK_SCROLL = 0x91;
constexpr uint32_t VK_LSHIFT = 0xA0;
constexpr uint32_t VK_RSHIFT = 0xA1;
constexpr uint32_t VK_LCONTROL = 0xA2;
constexpr uint32_t VK_RCONTROL = 0xA3;
constexpr uint32_t VK_LMENU = 0xA4;
constexpr uint32_t VK_RMENU = 0xA5;
constexpr uint32_t VK_BROWSER_BACK = 0xA6;
constexpr uint32_t VK_BROWSER_FORWARD = 0xA7;
constexpr uint32_t VK_BROWSER_REFRESH = 0xA8;
constexpr uint32_t VK_BROWSER_STOP = 0xA9;
constexpr uint32_t VK_BROWSER_SEARCH = 0xAA;
constexpr uint32_t VK_BROWSER_FAVORITES = 0xAB;
constexpr uint32_t VK_BROWSER_HOME = 0xAC;
constexpr uint32_t VK_VOLUME_MUTE = 0xAD;
constexpr uint32_t VK_VOLUME_DOWN = 0xAE;
constexpr uint32_t VK_VOLUME_UP = 0xAF;
constexpr uint32_t VK_MEDIA_NEXT_TRACK = 0xB0;
constexpr uint32_t VK_MEDIA_PREV_TRACK = 0xB1;
constexpr uint32_t VK_MEDIA_STOP = 0xB2;
constexpr uint32_t VK_MEDIA_PLAY_PAUSE = 0xB3;
constexpr uint32_t VK_OEM_1 = 0xBA;       // US: ;:
constexpr uint32_t VK_OEM_PLUS = 0xBB;    // every layout: the key whose character is +
constexpr uint32_t VK_OEM_COMMA = 0xBC;   // every layout: the key whose character is ,
constexpr uint32_t VK_OEM_MINUS = 0xBD;   // every layout: the key whose character is -
constexpr uint32_t VK_OEM_PERIOD = 0xBE;  // every layout: the key whose character is .
constexpr uint32_t VK_OEM_2 = 0xBF;       // US: /?
constexpr uint32_t VK_OEM_3 = 0xC0;       // US: `~
constexpr uint32_t VK_OEM_4 = 0xDB;       // US: [{
constexpr uint32_t VK_OEM_5 = 0xDC;       // US: \|
constexpr uint32_t VK_OEM_6 = 0xDD;       // US: ]}
constexpr uint32_t VK_OEM_7 = 0xDE;       // US: '"
constexpr uint32_t VK_OEM_8 = 0xDF;
constexpr uint32_t VK_OEM_102 = 0xE2;  // the extra key left of Z on 102-key keyboards
constexpr uint32_t VK_PACKET = 0xE7;   // carrier of an injected Unicode character

// Scan codes of set 1; extended keys add the 0xE0 prefix, which the hook reports as
// LLKHF_EXTENDED rather than in the scan code.
constexpr uint32_t SC_LSHIFT = 0x2A;
constexpr uint32_t SC_RSHIFT = 0x36;
constexpr uint32_t SC_CONTROL = 0x1D;
constexpr uint32_t SC_ALT = 0x38;
constexpr uint32_t SC_CAPSLOCK = 0x3A;
