#include "platform/win32/tooltip.h"

#include <commctrl.h>

#include <cstring>

#include "platform/win32/text.h"

namespace {

// The tool structure without the trailing reserved pointer: the common controls of version 5
// (what a program gets without a version-6 manifest) reject the longer form.
TOOLINFOW tool_for(HWND owner) {
  TOOLINFOW ti;
  memset(&ti, 0, sizeof ti);
  ti.cbSize = TTTOOLINFOW_V2_SIZE;
  ti.uFlags = TTF_TRACK;
  ti.hwnd = owner;
  ti.hinst = GetModuleHandleW(nullptr);
  return ti;
}

}  // namespace

HWND w32_tooltip_create(HWND owner) {
  INITCOMMONCONTROLSEX icc;
  icc.dwSize = sizeof icc;
  icc.dwICC = ICC_BAR_CLASSES;
  InitCommonControlsEx(&icc);
  HWND tt = CreateWindowExW(WS_EX_TOPMOST, TOOLTIPS_CLASSW, nullptr,
                            TTS_ALWAYSTIP | TTS_NOPREFIX | TTS_BALLOON, CW_USEDEFAULT,
                            CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, nullptr, nullptr,
                            GetModuleHandleW(nullptr), nullptr);
  if (!tt) return nullptr;
  TOOLINFOW ti = tool_for(owner);
  wchar_t empty[] = L"";
  ti.lpszText = empty;
  SendMessageW(tt, TTM_ADDTOOLW, 0, reinterpret_cast<LPARAM>(&ti));
  return tt;
}

void w32_tooltip_show(HWND tooltip, HWND owner, int x, int y, const std::string& utf8) {
  std::wstring text = w32_to_utf16(utf8);
  TOOLINFOW ti = tool_for(owner);
  ti.lpszText = text.data();
  SendMessageW(tooltip, TTM_TRACKPOSITION, 0, MAKELPARAM(x, y));
  SendMessageW(tooltip, TTM_ADDTOOLW, 0, reinterpret_cast<LPARAM>(&ti));
  SendMessageW(tooltip, TTM_UPDATETIPTEXTW, 0, reinterpret_cast<LPARAM>(&ti));
  SendMessageW(tooltip, TTM_SETMAXTIPWIDTH, 0, 500);
  SendMessageW(tooltip, TTM_TRACKACTIVATE, TRUE, reinterpret_cast<LPARAM>(&ti));
  ShowWindow(tooltip, SW_SHOWNOACTIVATE);
}

void w32_tooltip_hide(HWND tooltip, HWND owner) {
  TOOLINFOW ti = tool_for(owner);
  wchar_t empty[] = L"";
  ti.lpszText = empty;
  SendMessageW(tooltip, TTM_UPDATETIPTEXTW, 0, reinterpret_cast<LPARAM>(&ti));
  SendMessageW(tooltip, TTM_TRACKACTIVATE, FALSE, reinterpret_cast<LPARAM>(&ti));
  ShowWindow(tooltip, SW_HIDE);
}

bool w32_tooltip_caret_point(bool reject_empty_caret, POINT* out) {
  GUITHREADINFO gti;
  gti.cbSize = sizeof gti;
  if (!GetGUIThreadInfo(0, &gti) || !gti.hwndCaret) return false;
  const RECT& c = gti.rcCaret;
  if (reject_empty_caret && c.left == 0 && c.top == 0 && c.right == 0 && c.bottom == 0) return false;
  POINT p{c.left, c.bottom};
  if (!ClientToScreen(gti.hwndCaret, &p)) return false;
  *out = p;
  return true;
}
