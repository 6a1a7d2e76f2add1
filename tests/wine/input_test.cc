// Keyboard hook and injection against real windows: a test edit window of our own and Wine's
// Notepad. The user's keys come from xdotool through the X server, as a keyboard's would.
#include "platform/win32/win32_platform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <mutex>
#include <vector>

#include "platform/win32/text.h"
#include "wine_harness.h"

namespace {

// A hook thread as the monitor runs it: installs the keyboard hook, then loops on
// get_message until WM_QUIT. Records every event; swallows the keys in `swallow`.
class recording_hook {
 public:
  explicit recording_hook(std::vector<uint32_t> swallow = {}) : swallow_(std::move(swallow)) {
    std::atomic<int> state{0};
    thread_ = std::thread([this, &state] {
      platform* p = w32_platform();
      p->raise_thread_priority();
      tid_ = p->current_thread_id();
      bool ok = p->install_keyboard_hook(&recording_hook::on_key, this) &&
                p->install_mouse_hook(&recording_hook::on_mouse, this);
      state = ok ? 1 : 2;
      plat_msg m;
      while (p->get_message(&m, 0, 0) > 0) {
      }
      p->uninstall_keyboard_hook();
      p->uninstall_mouse_hook();
    });
    while (state == 0) Sleep(1);
    installed_ = state == 1;
  }
  ~recording_hook() {
    // The thread's queue exists once it waits in get_message; retry until the post lands.
    while (!w32_platform()->post_thread_message(tid_, WM_QUIT, 0, 0)) Sleep(5);
    thread_.join();
  }
  bool installed() const { return installed_; }
  std::vector<plat_key_event> events() {
    std::lock_guard<std::mutex> lock(mu_);
    return events_;
  }
  std::vector<plat_mouse_event> mouse_events() {
    std::lock_guard<std::mutex> lock(mu_);
    return mouse_;
  }
  // Waits until a key-up of `vk` was seen.
  bool wait_for_up(uint32_t vk, int timeout_ms = 5000) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    for (;;) {
      for (const plat_key_event& e : events())
        if (e.vk == vk && !e.down()) return true;
      if (std::chrono::steady_clock::now() >= deadline) return false;
      Sleep(10);
    }
  }

 private:
  static plat_verdict on_key(const plat_key_event& ev, void* user) {
    auto* self = static_cast<recording_hook*>(user);
    std::lock_guard<std::mutex> lock(self->mu_);
    self->events_.push_back(ev);
    bool swallow = std::find(self->swallow_.begin(), self->swallow_.end(), ev.vk) != self->swallow_.end();
    return swallow ? PLAT_SWALLOW : PLAT_PASS;
  }

  static plat_verdict on_mouse(const plat_mouse_event& ev, void* user) {
    auto* self = static_cast<recording_hook*>(user);
    std::lock_guard<std::mutex> lock(self->mu_);
    self->mouse_.push_back(ev);
    return PLAT_PASS;
  }

  std::vector<uint32_t> swallow_;
  std::thread thread_;
  std::atomic<DWORD> tid_{0};
  bool installed_ = false;
  std::mutex mu_;
  std::vector<plat_key_event> events_;
  std::vector<plat_mouse_event> mouse_;
};

std::vector<uint32_t> downs(const std::vector<plat_key_event>& evs) {
  std::vector<uint32_t> out;
  for (const plat_key_event& e : evs)
    if (e.down()) out.push_back(e.vk);
  return out;
}

plat_input vk_event(uint32_t vk, bool up) {
  uint32_t scan = w32_platform()->map_virtual_key(vk, MAPVK_VK_TO_VSC, 0);
  return {vk, scan, up ? KEYEVENTF_KEYUP : 0u};
}

plat_input unicode_event(uint16_t unit, bool up) {
  return {0, unit, KEYEVENTF_UNICODE | (up ? KEYEVENTF_KEYUP : 0u)};
}

class Win32Input : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(win_.activate()) << "the test window did not get the focus";
  }
  wine_edit_window win_{"Quiverex input target"};
};

TEST_F(Win32Input, HookSeesUserKeysWithTheirVirtualKeys) {
  recording_hook hook;
  ASSERT_TRUE(hook.installed());
  ASSERT_TRUE(wine_xdotool("key --delay 30 a shift+b Return F5 Right"));
  ASSERT_TRUE(hook.wait_for_up(VK_RIGHT));

  std::vector<plat_key_event> evs = hook.events();
  EXPECT_EQ(downs(evs), (std::vector<uint32_t>{'A', VK_LSHIFT, 'B', VK_RETURN, VK_F5, VK_RIGHT}));
  for (const plat_key_event& e : evs) {
    SCOPED_TRACE(e.vk);
    EXPECT_FALSE(e.flags & LLKHF_INJECTED) << "a user's key is not injected";
    EXPECT_EQ(!e.down(), (e.flags & LLKHF_UP) != 0);
    EXPECT_EQ(e.vk == VK_RIGHT, (e.flags & LLKHF_EXTENDED) != 0);
    if (e.vk == 'A') {
      EXPECT_EQ(e.scan, 0x1Eu);
    }
  }
  EXPECT_TRUE(win_.wait_for_text("aB\r\n")) << win_.text();
}

TEST_F(Win32Input, SwallowedKeyNeverReachesTheApplication) {
  recording_hook hook({'Q'});
  ASSERT_TRUE(hook.installed());
  ASSERT_TRUE(wine_xdotool("type --delay 30 aqqb"));
  ASSERT_TRUE(hook.wait_for_up('B'));
  EXPECT_EQ(downs(hook.events()), (std::vector<uint32_t>{'A', 'Q', 'Q', 'B'}));
  EXPECT_TRUE(win_.wait_for_text("ab")) << win_.text();
}

TEST_F(Win32Input, EveryInjectionFormArrivesExactlyAndIsMarkedInjected) {
  recording_hook hook;
  ASSERT_TRUE(hook.installed());
  platform* p = w32_platform();

  // A layout key by virtual key and scan code, one SendInput per character.
  plat_input h[] = {vk_event('H', false), vk_event('H', true)};
  EXPECT_EQ(p->send_input(h, 2), 2u);
  // A character as a Unicode key event pair.
  plat_input e_acute[] = {unicode_event(0xE9, false), unicode_event(0xE9, true)};
  EXPECT_EQ(p->send_input(e_acute, 2), 2u);
  // Outside the BMP: both surrogates down, then both up, in one batch.
  plat_input grin[] = {unicode_event(0xD83D, false), unicode_event(0xDE00, false),
                       unicode_event(0xD83D, true), unicode_event(0xDE00, true)};
  EXPECT_EQ(p->send_input(grin, 4), 4u);
  // The same four-event shape for a BMP character leaves the second unit 0.
  plat_input euro[] = {unicode_event(0x20AC, false), unicode_event(0, false),
                       unicode_event(0x20AC, true), unicode_event(0, true)};
  EXPECT_EQ(p->send_input(euro, 4), 4u);
  // keybd_event, as the macros press single keys.
  p->send_key('I', p->map_virtual_key('I', MAPVK_VK_TO_VSC, 0), 0);
  p->send_key('I', p->map_virtual_key('I', MAPVK_VK_TO_VSC, 0), KEYEVENTF_KEYUP);

  EXPECT_TRUE(win_.wait_for_text("h\xC3\xA9\xF0\x9F\x98\x80\xE2\x82\xAC" "i")) << win_.text();
  ASSERT_TRUE(hook.wait_for_up('I'));
  std::vector<plat_key_event> evs = hook.events();
  ASSERT_FALSE(evs.empty());
  std::vector<uint32_t> units;
  for (const plat_key_event& e : evs) {
    SCOPED_TRACE(e.vk);
    EXPECT_TRUE(e.flags & LLKHF_INJECTED);
    if (e.vk == VK_PACKET) {
      units.push_back(e.scan);
      EXPECT_EQ(!e.down(), (e.flags & LLKHF_UP) != 0);
    }
  }
  // The Unicode events reach the hook as VK_PACKET carrying their units, in order.
  EXPECT_EQ(units, (std::vector<uint32_t>{0xE9, 0xE9, 0xD83D, 0xDE00, 0xD83D, 0xDE00, 0x20AC, 0,
                                          0x20AC, 0}));
  EXPECT_EQ(downs(evs).front(), 'H');
  EXPECT_EQ(downs(evs).back(), 'I');
}

TEST_F(Win32Input, PostedCharactersReachWindowsThatIgnoreInjection) {
  platform* p = w32_platform();
  plat_window edit = reinterpret_cast<plat_window>(win_.edit());
  for (char32_t ch : {U'x', U'\u00E9', U'\U0001F600'}) EXPECT_TRUE(p->post_char(edit, ch));
  EXPECT_TRUE(win_.wait_for_text("x\xC3\xA9\xF0\x9F\x98\x80")) << win_.text();
  EXPECT_FALSE(p->post_char(0, U'x'));
}

TEST_F(Win32Input, MouseHookSeesButtonsWhereTheyHappened) {
  recording_hook hook;
  ASSERT_TRUE(hook.installed());
  plat_rect r;
  ASSERT_TRUE(w32_platform()->window_rect(reinterpret_cast<plat_window>(win_.hwnd()), &r));
  int x = r.left + 60, y = r.top + 80;
  ASSERT_TRUE(wine_xdotool("mousemove " + std::to_string(x) + " " + std::to_string(y) +
                           " click 1 mousemove " + std::to_string(x + 10) + " " +
                           std::to_string(y) + " click 3"));
  auto deadline = GetTickCount() + 5000;
  while (hook.mouse_events().size() < 4 && GetTickCount() < deadline) Sleep(10);
  std::vector<plat_mouse_event> evs = hook.mouse_events();
  ASSERT_EQ(evs.size(), 4u) << "moves are not reported, only the buttons";
  EXPECT_EQ(evs[0].msg, WM_LBUTTONDOWN);
  EXPECT_EQ(evs[1].msg, WM_LBUTTONUP);
  EXPECT_EQ(evs[2].msg, WM_RBUTTONDOWN);
  EXPECT_EQ(evs[3].msg, WM_RBUTTONUP);
  EXPECT_EQ(evs[0].x, x);
  EXPECT_EQ(evs[0].y, y);
  EXPECT_EQ(evs[2].x, x + 10);
}

TEST_F(Win32Input, ForegroundWindowFocusAndKeyState) {
  platform* p = w32_platform();
  plat_window fg = p->foreground_window();
  EXPECT_EQ(fg, reinterpret_cast<plat_window>(win_.hwnd()));
  EXPECT_EQ(p->window_class(fg, 63), "QxWineTestFrame");
  EXPECT_EQ(p->window_class(fg, 4), "QxWi");
  EXPECT_EQ(p->window_title(fg, 1024), "Quiverex input target");
  EXPECT_EQ(p->window_process_id(fg), GetCurrentProcessId());
  EXPECT_EQ(p->window_process_name(fg), "test_wine.exe");
  EXPECT_EQ(p->find_top_level_window("QxWineTestFrame"), fg);
  EXPECT_EQ(p->focus_window(), reinterpret_cast<plat_window>(win_.edit()));
  EXPECT_EQ(p->window_parent(reinterpret_cast<plat_window>(win_.edit())), fg);
  plat_rect r;
  ASSERT_TRUE(p->window_rect(fg, &r));
  EXPECT_GT(r.right - r.left, 100);

  // A held Shift shows in the physical state, and in this thread's state once attached to
  // the window's input.
  ASSERT_TRUE(p->attach_thread_input(fg, true));
  ASSERT_TRUE(wine_xdotool("keydown shift"));
  bool down = wine_pump_until([&] { return p->get_async_key_state(VK_SHIFT) & 0x8000; }, 3000);
  uint8_t state[256];
  bool got_state = p->get_keyboard_state(state);
  wine_xdotool("keyup shift");
  EXPECT_TRUE(down);
  EXPECT_TRUE(got_state);
  EXPECT_TRUE(p->attach_thread_input(fg, false));
  EXPECT_TRUE(wine_pump_until([&] { return !(p->get_async_key_state(VK_SHIFT) & 0x8000); }, 3000));
}

// Wine's Notepad as a foreign application: found as the foreground window and typed into.
TEST(Win32Notepad, TypedTextArrivesInNotepad) {
  STARTUPINFOW si{};
  si.cb = sizeof si;
  PROCESS_INFORMATION pi;
  wchar_t cmd[] = L"notepad.exe";
  ASSERT_TRUE(CreateProcessW(nullptr, cmd, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi));
  WaitForInputIdle(pi.hProcess, 10000);
  platform* p = w32_platform();
  HWND notepad = nullptr;
  ASSERT_TRUE(wine_pump_until([&] {
    notepad = FindWindowW(L"Notepad", nullptr);
    return notepad != nullptr;
  }, 15000));
  bool front = wine_pump_until([&] {
    SetForegroundWindow(notepad);
    return p->foreground_window() == reinterpret_cast<plat_window>(notepad);
  }, 5000);
  if (front) {
    EXPECT_EQ(p->window_class(p->foreground_window(), 63), "Notepad");
    EXPECT_NE(p->window_title(p->foreground_window(), 1024).find("Notepad"), std::string::npos);
    EXPECT_EQ(p->window_process_name(p->foreground_window()), "notepad.exe");

    std::vector<plat_input> in = {vk_event('O', false), vk_event('O', true),
                                  vk_event('K', false), vk_event('K', true),
                                  unicode_event(0xFC, false), unicode_event(0xFC, true),
                                  unicode_event(0xD83D, false), unicode_event(0xDE00, false),
                                  unicode_event(0xD83D, true), unicode_event(0xDE00, true)};
    EXPECT_EQ(p->send_input(in.data(), static_cast<unsigned>(in.size())), in.size());
    HWND edit = FindWindowExW(notepad, nullptr, L"Edit", nullptr);
    ASSERT_NE(edit, nullptr);
    std::string text;
    bool arrived = wine_pump_until([&] {
      wchar_t buf[256];
      LRESULT n = SendMessageW(edit, WM_GETTEXT, 256, reinterpret_cast<LPARAM>(buf));
      text = w32_to_utf8(buf, static_cast<int>(n));
      return text == "ok\xC3\xBC\xF0\x9F\x98\x80";
    }, 5000);
    EXPECT_TRUE(arrived) << text;
    EXPECT_EQ(p->focus_window(), reinterpret_cast<plat_window>(edit));
  }
  TerminateProcess(pi.hProcess, 0);
  WaitForSingleObject(pi.hProcess, 5000);
  CloseHandle(pi.hProcess);
  CloseHandle(pi.hThread);
  ASSERT_TRUE(front) << "Notepad did not come to the foreground";
}

}  // namespace

namespace {

TEST(Win32Launch, OpensProgramsAndReportsWhatCannotStart) {
  platform* p = w32_platform();
  ASSERT_EQ(FindWindowW(L"Notepad", nullptr), nullptr);
  plat_launch what;
  what.file = "notepad.exe";
  ASSERT_TRUE(p->launch(what));
  HWND notepad = nullptr;
  EXPECT_TRUE(wine_pump_until([&] {
    notepad = FindWindowW(L"Notepad", nullptr);
    return notepad != nullptr;
  }, 15000));
  // An untouched document closes without asking.
  if (notepad) PostMessageW(notepad, WM_CLOSE, 0, 0);
  EXPECT_TRUE(wine_pump_until([] { return FindWindowW(L"Notepad", nullptr) == nullptr; }, 5000));

  what.file = "C:\\no such folder\\nothing.exe";
  EXPECT_FALSE(p->launch(what));
}

}  // namespace
