// The hidden top-level window through which a second start of the program reaches the
// running one, and on which global hotkeys are registered.
//
// All functions except the lookups and the hand-over belong to the thread that created the
// window (the UI thread): its messages are handled there, from that thread's message loop.
#pragma once

#include <optional>
#include <string>

#include "platform/win32/w32.h"

// Class and title of the window, and the class the earlier product used for its own.
constexpr wchar_t W32_INVISIWIN_CLASS[] = L"________WinTolmekMsgWinCls________";
constexpr wchar_t W32_TOLMEK_INVISIWIN_CLASS[] = L"__WinTolmekMsgWinCls__";

// What the window's messages do. Any callback may be null; all run on the window's thread.
struct w32_invisiwin_handlers {
  void (*show_main_window)(void* user) = nullptr;
  // `path` is the UTF-8 path another start handed over.
  void (*import_file)(const std::string& path, void* user) = nullptr;
  // Log-off or shutdown; the program quits from here.
  void (*end_session)(void* user) = nullptr;
  // The machine woke from sleep; low-level hooks may have been dropped.
  void (*resumed)(void* user) = nullptr;
  void* user = nullptr;
};

// Registers the class and creates the window on the calling thread (a normal top-level window
// of style 0 and size 0, not a message-only one, so that other processes find it). Returns the
// existing window when there is one. Null on failure.
HWND w32_invisiwin_create(HINSTANCE inst, const w32_invisiwin_handlers& handlers);
void w32_invisiwin_destroy();
// The window, or null; any thread.
HWND w32_invisiwin_hwnd();
// Replaces the handlers; the window's thread only.
void w32_invisiwin_set_handlers(const w32_invisiwin_handlers& handlers);
// WM_HOTKEY goes here, apart from the other handlers: the platform's hotkey calls set it,
// before or after the window exists.
void w32_invisiwin_set_hotkey_handler(void (*fn)(int id, void* user), void* user);

// The running instance's window (or the earlier product's), null when none runs.
HWND w32_check_if_quiverex_already_running();
HWND w32_check_if_tolmek_already_running();

// Lets a process of lower integrity raise this one (the show message), but not hand it files.
// False when the system has no message filter (before Vista) or refuses.
bool w32_invisiwin_admit_show_message();

// The second start's side: asks the running instance to show its main window and, with a
// path, to import that file. The path is written into the other process's memory, whose
// address goes with the import message. False when any step failed (the rest is skipped).
bool w32_hand_over_to_running_instance(HWND target, const std::optional<std::string>& import_path);
