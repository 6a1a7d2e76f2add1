// The preview balloon at the caret of a real edit control.
#include "platform/win32/tooltip.h"

#include <gtest/gtest.h>

#include <commctrl.h>

#include <cstdlib>
#include <cstring>

#include "platform/win32/text.h"
#include "wine_harness.h"

namespace {

std::string tip_text(HWND tt, HWND owner) {
  wchar_t buf[256] = {0};
  TOOLINFOW ti;
  memset(&ti, 0, sizeof ti);
  ti.cbSize = TTTOOLINFOW_V2_SIZE;
  ti.hwnd = owner;
  ti.lpszText = buf;
  SendMessageW(tt, TTM_GETTEXTW, 256, reinterpret_cast<LPARAM>(&ti));
  return w32_to_utf8(buf);
}

TEST(Win32Tooltip, BalloonAppearsBelowTheCaretAndHides) {
  wine_edit_window win("Quiverex tooltip target");
  ASSERT_TRUE(win.activate());
  ASSERT_TRUE(wine_xdotool("type --delay 20 abc"));
  ASSERT_TRUE(win.wait_for_text("abc"));

  POINT at;
  ASSERT_TRUE(w32_tooltip_caret_point(true, &at)) << "the edit control has a caret";
  RECT edit;
  GetWindowRect(win.edit(), &edit);
  EXPECT_GT(at.x, edit.left) << "the caret is after the typed text";
  EXPECT_LT(at.x, edit.right);
  EXPECT_GT(at.y, edit.top);
  EXPECT_LT(at.y, edit.bottom);

  HWND owner = CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
  HWND tt = w32_tooltip_create(owner);
  ASSERT_NE(tt, nullptr);
  EXPECT_FALSE(IsWindowVisible(tt));

  w32_tooltip_show(tt, owner, at.x, at.y, "Grüße, Welt");
  wine_pump_for(100);
  EXPECT_TRUE(IsWindowVisible(tt));
  EXPECT_EQ(tip_text(tt, owner), "Grüße, Welt");
  RECT r;
  GetWindowRect(tt, &r);
  EXPECT_LE(std::abs(r.left - at.x), 60) << "the balloon sits at the caret";
  EXPECT_LE(std::abs(r.top - at.y), 60);
  EXPECT_NE(GetForegroundWindow(), tt) << "showing it takes no focus";

  w32_tooltip_hide(tt, owner);
  wine_pump_for(50);
  EXPECT_FALSE(IsWindowVisible(tt));
  DestroyWindow(tt);
  DestroyWindow(owner);
}

}  // namespace
