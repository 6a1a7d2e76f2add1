// Puts the library model back to what a fresh program has: no folder lists, uid counters at
// their start, the built-in default modes and no main-list hand-over.
#pragma once

#include "library/abbr.h"

inline void reset_library_model() {
  abbr_free_all_folder_lists();
  abbr_reset_uid_counter();
  abbr_reset_abbr_uid_counter();
  abbr_set_default_mode_funcs(nullptr, nullptr);
  abbr_set_main_list_handover(nullptr);
}
