// The typed-abbreviation request: made by the hook thread when an abbreviation has been
// typed (or picked from a menu), handed to the replacement thread, and freed there.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "library/abbr.h"

constexpr uint32_t TAI_TRIGGER_FROM_MENU = 0xFFFFFFFFu;

struct typed_abbrev_info {
  abbr_abbrev* abbrev = nullptr;  // (owned) private copy of the matched abbreviation
  std::string typed;              // the abbreviation as it stands in the key buffer
  // The key that completed a trigger-key or word-ending match; TAI_TRIGGER_FROM_MENU when the
  // expansion comes from a menu; 0 for an immediate match.
  uint32_t trigger_vk = 0;
  uint32_t shift_down = 0;        // 1 when a Shift key was down at the trigger key
  uintptr_t target_window = 0;    // plat_window: foreground window when it was typed
  uint32_t dead_key_pending = 0;  // 1 when a dead key was pending at the trigger key
  uint32_t trigger_char = 0;      // code point of the trigger key's character (CR as LF); 0 none
  // Filled, typed and freed by the replacement thread; none when handed over.
  std::optional<std::string> text_to_type;
  int32_t cursor_back = 0;        // Left presses after typing
  int32_t capitalise = 0;         // 1 = upper-case the first character output
  uint32_t from_menu = 0;         // 1 = nothing typed has to be erased
  // Characters of the trigger key or word-ending character that reached the application
  // although the hook asked to swallow them (backends that cannot swallow): the replacement
  // erases that many more characters before typing.
  uint32_t extra_erase = 0;
};

// Frees the record with its abbreviation and strings and clears the owner's pointer.
void typed_abbrev_info_free(typed_abbrev_info** tai);
