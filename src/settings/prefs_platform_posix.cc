#include "settings/prefs_platform.h"

// X11 has no time-out after which a slow input listener is dropped.
void prefs_platform_adjust_hook_timeout() {}
