// The balloon that previews a waiting abbreviation's expansion next to the text caret.
//
// The tooltip window and its owner belong to one thread, which must pump messages; every call
// here is made on that thread.
#pragma once

#include <string>

#include "platform/win32/w32.h"

// Creates the "tooltips_class32" window (top-most, always shown, no prefix processing, balloon
// style) with one tracking tool owned by `owner`. Null on failure.
HWND w32_tooltip_create(HWND owner);
// Moves the balloon's tip to the screen point and shows the text without taking the focus.
void w32_tooltip_show(HWND tooltip, HWND owner, int x, int y, const std::string& utf8);
void w32_tooltip_hide(HWND tooltip, HWND owner);
// Where the balloon points: the left end of the bottom of the foreground application's caret,
// in screen coordinates. False when the application reports no caret, or (with
// `reject_empty_caret`) a caret rectangle of all zeros.
bool w32_tooltip_caret_point(bool reject_empty_caret, POINT* out);
