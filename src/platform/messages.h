// Thread and window message ids. The values are fixed: other instances of the program and
// the message queues of every backend rely on them.
#pragma once

#include <cstdint>

constexpr uint32_t WM_QUIT = 18;
constexpr uint32_t WM_TIMER = 0x0113;
constexpr uint32_t WM_HOTKEY = 786;
constexpr uint32_t WM_APP = 0x8000;

// Requests to the hook thread; a request that wants an answer carries the asker's thread id in
// wParam and is answered with WM_MON_RESPONSE.
constexpr uint32_t WM_MON_INSTALL_KB_HOOK = WM_APP + 186;       // 32954
constexpr uint32_t WM_MON_UNINSTALL_KB_HOOK = WM_APP + 187;     // 32955
constexpr uint32_t WM_MON_INSTALL_MOUSE_HOOK = WM_APP + 188;    // 32956
constexpr uint32_t WM_MON_UNINSTALL_MOUSE_HOOK = WM_APP + 189;  // 32957
constexpr uint32_t WM_MON_RESTORE_MODIFIERS = WM_APP + 190;     // 32958
constexpr uint32_t WM_MON_HELLO = WM_APP + 191;                 // 32959
constexpr uint32_t WM_MON_CLEAR_KEY_BUFFER = WM_APP + 192;      // 32960
constexpr uint32_t WM_MON_QUIT = WM_APP + 193;                  // 32961
constexpr uint32_t WM_MON_RESPONSE = WM_APP + 194;              // 32962
constexpr uint32_t WM_MON_ADJUST_KEY_BUFFER = WM_APP + 195;     // 32963
constexpr uint32_t WM_MON_ADJUST_KEY_BUFFER_CLEAR = WM_APP + 196;  // 32964
constexpr uint32_t WM_MON_RESTORE_CAPS_LOCK = WM_APP + 197;     // 32965
constexpr uint32_t WM_MON_END_TEMP_DISABLE = WM_APP + 198;      // 32966
constexpr uint32_t WM_MON_DESTROY_TOOLTIP = WM_APP + 206;       // 32974
constexpr uint32_t WM_MON_EXPAND_ABBREV = WM_APP + 209;         // 32977

// Requests to the replacement (keysim) thread.
constexpr uint32_t WM_KEYSIM_STARTED = WM_APP + 199;         // 32967
constexpr uint32_t WM_KEYSIM_REPLACE = WM_APP + 200;         // 32968
constexpr uint32_t WM_KEYSIM_QUIT = WM_APP + 201;            // 32969
constexpr uint32_t WM_KEYSIM_PREPPY = WM_APP + 208;          // 32976
constexpr uint32_t WM_KEYSIM_GRAB_CLIPBOARD = WM_APP + 210;  // 32978

// Messages to the running instance's hidden window from a second start of the program.
constexpr uint32_t MSG_SHOW_MAIN_WINDOW = 32970;  // 0x80CA
constexpr uint32_t MSG_IMPORT_FILE = 32971;       // 0x80CB
