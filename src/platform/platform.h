// The platform contract: everything the engine asks of the window system.
//
// The engine (monitor, expansion, hotkeys, clipboard output, launchers) talks to the operating
// system only through `platform`. A backend (Win32, X11, or the scriptable fake used by unit
// tests) implements it in its own library; the program installs one with plat_set() at start-up.
//
// Vocabulary: keys are Windows virtual-key codes and set-1 scan codes with the Windows hook
// and injection flags (platform/vk.h); thread message ids are in platform/messages.h. Text is
// UTF-8 throughout; UTF-16 appears only where a Windows-shaped call needs it (Unicode key
// events carry one UTF-16 unit each, as SendInput does).
//
// Threads, modelled on Windows because that is the strictest case:
// - A thread's message queue exists from its first current_thread_id() or get_message() call;
//   post_thread_message() to a thread without a queue fails. A thread that sends a request
//   asks for its own id first, so the answer can never arrive before its queue.
// - Low-level hooks belong to the thread that installed them: their callbacks run on that
//   thread, from inside its get_message(). Keyboard and key state are read on that thread.
// - Hotkeys are registered on the UI thread, and their callbacks run there, from the default
//   GLib main context (the main loop GTK runs).
// - Everything else may be called from any thread unless its comment says otherwise.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/messages.h"
#include "platform/vk.h"

typedef uint32_t plat_thread_id;  // 0 is no thread
typedef uintptr_t plat_window;    // an opaque top-level or child window; 0 is none
typedef uintptr_t plat_layout;    // an opaque keyboard layout (HKL / XKB group); 0 is "current"

// One low-level keyboard event, as the keyboard hook sees it.
struct plat_key_event {
  uint32_t msg;    // WM_KEYDOWN, WM_KEYUP, WM_SYSKEYDOWN or WM_SYSKEYUP
  uint32_t vk;     // virtual key; VK_PACKET for an injected Unicode character
  uint32_t scan;   // scan code without the extended prefix; the character for VK_PACKET
  uint32_t flags;  // LLKHF_EXTENDED | LLKHF_INJECTED | LLKHF_UP
  uint32_t time;   // milliseconds, monotonic, for ordering only
  bool down() const { return msg == WM_KEYDOWN || msg == WM_SYSKEYDOWN; }
};

// One low-level mouse event: only button presses and releases are reported.
struct plat_mouse_event {
  uint32_t msg;  // WM_LBUTTONDOWN, WM_RBUTTONDOWN, WM_MBUTTONDOWN or the matching ...UP
  int x, y;      // screen position
};

// What a hook decides. Backends without PLAT_CAP_SWALLOW treat every verdict as PASS.
enum plat_verdict { PLAT_PASS = 0, PLAT_SWALLOW = 1 };

// Hook callbacks; `user` is the pointer given when the hook was installed.
typedef plat_verdict (*plat_key_hook)(const plat_key_event& ev, void* user);
typedef plat_verdict (*plat_mouse_hook)(const plat_mouse_event& ev, void* user);

// One injected key event (an INPUT of type keyboard). For a Unicode event vk is 0, `scan`
// holds one UTF-16 unit and flags include KEYEVENTF_UNICODE; a character outside the BMP is
// sent as its two surrogate units, like Windows.
struct plat_input {
  uint32_t vk;
  uint32_t scan;
  uint32_t flags;  // KEYEVENTF_EXTENDEDKEY | KEYEVENTF_KEYUP | KEYEVENTF_UNICODE | ..._SCANCODE
};

// One thread message.
struct plat_msg {
  uint32_t message;
  uintptr_t wparam;
  intptr_t lparam;
};

struct plat_rect {
  int left, top, right, bottom;
};

// Selections a clipboard call works on. Windows has only the clipboard; X11 also has PRIMARY,
// which terminals paste with Shift+Insert.
constexpr unsigned PLAT_SEL_CLIPBOARD = 1;
constexpr unsigned PLAT_SEL_PRIMARY = 2;

// What a backend can and cannot do; the monitor adapts to the missing pieces.
constexpr unsigned PLAT_CAP_SWALLOW = 1;  // hooks may swallow keys (the application never sees them)
// The backend composes dead keys itself: the application always receives the dead key, and
// to_unicode() gives -1 for it and the composed character for the key after it. Without this
// bit the monitor holds the dead key back and replays it.
constexpr unsigned PLAT_CAP_COMPOSES_DEAD_KEYS = 2;
constexpr unsigned PLAT_CAP_PRIMARY_SELECTION = 4;  // PLAT_SEL_PRIMARY is meaningful

// A snapshot of every format (Windows) or target (X11) the clipboard offered, taken by
// clipboard_backup() and put back by clipboard_restore(). Owned by its taker.
class plat_clipboard_backup {
 public:
  virtual ~plat_clipboard_backup() = default;
  // Names of the saved formats/targets, in the order they were offered (e.g. "image/png",
  // "UTF8_STRING", or "CF_UNICODETEXT").
  virtual std::vector<std::string> formats() const = 0;
};

// A program, file, folder or address to open (the ShellExecuteEx role).
struct plat_launch {
  std::string verb = "open";  // "open", or "runas" to ask for elevation where that exists
  std::string file;           // program, document, folder or URL
  std::string parameters;     // command-line parameters for a program, may be empty
  std::string directory;      // working folder, may be empty
  int show = 1;               // 1 normal, 2 minimized, 3 maximized
};

// An installed web browser.
struct plat_browser {
  std::string key;           // stable identifier, what a website launcher stores
  std::string display_name;  // for the user
  std::string exe;           // the program to run with the address as parameter
};

class platform {
 public:
  virtual ~platform() = default;

  virtual unsigned capabilities() = 0;  // PLAT_CAP_* bits

  // ---- Threads and their message queues ----

  // The calling thread's id; readies its message queue (PeekMessage does that on Windows).
  virtual plat_thread_id current_thread_id() = 0;
  // Appends a message to that thread's queue. False when the thread has no queue yet (it has
  // not called get_message) or no longer exists.
  virtual bool post_thread_message(plat_thread_id tid, uint32_t msg, uintptr_t wparam,
                                   intptr_t lparam) = 0;
  // Blocks until a message with msg_min <= id <= msg_max arrives (both 0: any message) and
  // removes it; earlier messages outside the filter stay queued. Hook callbacks of this thread
  // run while it waits. Returns 1, 0 when the message is WM_QUIT, -1 on failure. A filtered
  // wait does not see WM_QUIT (Windows keeps it outside every filter range): a thread that
  // must end on WM_QUIT waits without a filter.
  virtual int get_message(plat_msg* out, uint32_t msg_min, uint32_t msg_max) = 0;
  // Runs the current thread at the highest priority the system grants (the hook thread);
  // failure is harmless.
  virtual void raise_thread_priority() = 0;

  // ---- Low-level hooks (called on the hook thread, which then loops on get_message) ----

  // True when the hook is installed (or already was). Replaces an earlier callback.
  virtual bool install_keyboard_hook(plat_key_hook fn, void* user) = 0;
  // True when the hook is gone afterwards, including when it was already gone.
  virtual bool uninstall_keyboard_hook() = 0;
  virtual bool install_mouse_hook(plat_mouse_hook fn, void* user) = 0;
  virtual bool uninstall_mouse_hook() = 0;
  // Called on the hook thread outside any hook callback: runs the hook callbacks for every
  // input event the system has already processed, so the hooks' picture of the keyboard is
  // complete before the caller acts on it. Where the system calls the hooks before an event
  // changes the key state, that picture is always complete and this does nothing.
  virtual void flush_hook_events() = 0;

  // ---- Keyboard state ----

  // The 256-entry key state of the calling thread as of the event being handled: high bit
  // down, low bit toggled (GetKeyboardState). False on failure.
  virtual bool get_keyboard_state(uint8_t state[256]) = 0;
  // GetKeyState: bit 15 set when down, bit 0 when toggled, as the calling thread sees it.
  virtual int16_t get_key_state(uint32_t vk) = 0;
  // GetAsyncKeyState: bit 15 set when the key is physically down right now.
  virtual int16_t get_async_key_state(uint32_t vk) = 0;

  // ---- Keyboard layout and translation ----

  // The layout that the window's application types with (0: the foreground window's).
  virtual plat_layout window_layout(plat_window w) = 0;
  // Language id of a layout in Windows terms (0x0409 US English, 0x0407 German, 0x040D
  // Hebrew); 0 when unknown.
  virtual uint16_t layout_language(plat_layout layout) = 0;
  // Short name of a layout ("us", "de"; "us(intl)" for a variant), for the preferences.
  virtual std::string layout_name(plat_layout layout) = 0;
  // The ToUnicodeEx role: the text the key produces with the given key state. -1 for a dead
  // key (the next call gives the composed character), 0 for none, else the number of
  // characters written to *utf8_out. Mutates the layout's dead-key state, like the original.
  virtual int to_unicode(uint32_t vk, uint32_t scan, const uint8_t state[256],
                         std::string* utf8_out, plat_layout layout) = 0;
  // The VkKeyScanEx role: low byte the virtual key, high byte the shift state (1 Shift, 2 Ctrl,
  // 4 Alt; 6 is AltGr); -1 when no key of the layout produces the character.
  virtual int16_t vk_key_scan(char32_t ch, plat_layout layout) = 0;
  // The MapVirtualKeyEx role (MAPVK_*); 0 when there is no translation.
  virtual uint32_t map_virtual_key(uint32_t code, unsigned map_type, plat_layout layout) = 0;

  // ---- Injection ----

  // Injects the events in order as one batch (SendInput); returns how many were injected.
  // Injected events reach the hooks with LLKHF_INJECTED where the backend can tell.
  virtual unsigned send_input(const plat_input* inputs, unsigned n) = 0;
  // One key event (keybd_event).
  virtual void send_key(uint32_t vk, uint32_t scan, uint32_t flags) = 0;
  // Posts a character message to a window (the WM_CHAR fallback for windows that ignore
  // injected keys). False when the backend cannot.
  virtual bool post_char(plat_window w, char32_t ch) = 0;

  // ---- Windows ----

  virtual plat_window foreground_window() = 0;
  // Window class (at most max_len bytes): the WM_CLASS class on X11.
  virtual std::string window_class(plat_window w, size_t max_len) = 0;
  virtual std::string window_title(plat_window w, size_t max_len) = 0;
  virtual plat_window window_parent(plat_window w) = 0;
  // Process id and executable name (basename) of the window's owner; 0/"" when unknown.
  virtual uint32_t window_process_id(plat_window w) = 0;
  virtual std::string window_process_name(plat_window w) = 0;
  // First top-level window of that class, 0 when none.
  virtual plat_window find_top_level_window(const std::string& cls) = 0;
  virtual bool window_rect(plat_window w, plat_rect* out) = 0;
  // The window with the keyboard focus in the foreground application, and its text caret in
  // screen coordinates. Either may fail: many applications report no caret.
  virtual plat_window focus_window() = 0;
  virtual bool caret_rect(plat_rect* out) = 0;
  // Attaches the calling thread's input state to the window's thread (AttachThreadInput), so
  // that get_keyboard_state() reflects that application. Backends without per-thread input
  // state do nothing and return true.
  virtual bool attach_thread_input(plat_window w, bool attach) = 0;
  virtual void move_pointer(int x, int y) = 0;

  // ---- Clipboard ----

  // Unicode text of the selection, or none when it holds no text or cannot be read (one
  // attempt; callers retry as they see fit).
  virtual std::optional<std::string> clipboard_get_text(unsigned selection) = 0;
  // Makes the text the content of the given selections (PLAT_SEL_* bits), replacing every
  // format. Opens the clipboard with up to `attempts` tries `interval_ms` apart. False when it
  // could not.
  virtual bool clipboard_set_text(const std::string& utf8, unsigned selections, int attempts,
                                  int interval_ms) = 0;
  // After clipboard_set_text: waits until some application has read the text, at most
  // timeout_ms. True when a read was seen; backends that cannot tell wait and return false.
  virtual bool clipboard_wait_fetched(int timeout_ms) = 0;
  // Copies every format/target of the clipboard selection; null when it could not be opened.
  // A format that cannot be copied is left out.
  virtual std::unique_ptr<plat_clipboard_backup> clipboard_backup(int attempts,
                                                                   int interval_ms) = 0;
  // Puts every saved format back on the clipboard selection, in the saved order.
  virtual bool clipboard_restore(const plat_clipboard_backup& backup, int attempts,
                                 int interval_ms) = 0;

  // ---- Global hotkeys ----

  // Called on the registering thread with the hotkey's id (the WM_HOTKEY role).
  typedef void (*hotkey_func)(int id, void* user);
  virtual void set_hotkey_handler(hotkey_func fn, void* user) = 0;
  // modifiers: MOD_* bits; False when the combination is taken or invalid.
  virtual bool register_hotkey(int id, unsigned modifiers, uint32_t vk) = 0;
  virtual bool unregister_hotkey(int id) = 0;

  // ---- Launching ----

  // Opens a program, file, folder or URL; false when nothing could be started.
  virtual bool launch(const plat_launch& what) = 0;
  virtual std::vector<plat_browser> list_browsers() = 0;

  // ---- Sound ----

  // Plays the short expansion sound without waiting for it; silent when there is no device.
  virtual void play_expansion_sound() = 0;
};

// The active backend: null until the program (or a test) installs one. The pointer is read
// by every thread; set it before any of them starts and clear it after they have ended.
platform* plat();
void plat_set(platform* p);

