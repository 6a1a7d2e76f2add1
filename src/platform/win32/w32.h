// The backend's way in to the Windows API: every file of the backend (and its tests) includes
// this instead of <windows.h>.
//
// The shared key vocabulary declares the Windows constants (WM_KEYDOWN, VK_*, LLKHF_*, ...)
// as typed constants of its own. Declared first, the system's macros of the same names and
// values then only shadow them; the other way round the declarations would not compile.
#pragma once

// clang-format off
#include "platform/platform.h"
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
// clang-format on
