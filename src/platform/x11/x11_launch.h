// Launching, browsers and the expansion sound for the X11 backend (through GIO and
// libcanberra).
#pragma once

#include <vector>

#include "platform/platform.h"

// URLs and documents open in their default application, folders in the file manager; a
// program is started with its parameters in its working folder. False when nothing started.
bool x11_launch(const plat_launch& what);
// Applications that handle http addresses.
std::vector<plat_browser> x11_list_browsers();
// Plays the expansion sound asynchronously; silent without a sound device.
void x11_play_sound();
