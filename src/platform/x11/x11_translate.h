// Pure key translation for the X11 backend: X keycodes to and from virtual keys and scan
// codes, and keys to characters through xkbcommon with the locale's compose table (the
// ToUnicodeEx role). No X connection is involved, so all of it is unit-tested with keymaps
// compiled from the system's XKB data.
#pragma once

#include <xkbcommon/xkbcommon-compose.h>
#include <xkbcommon/xkbcommon.h>

#include <cstdint>
#include <string>

// X keycodes are evdev codes + 8; evdev codes below 89 equal set-1 scan codes.
// The set-1 position of a keycode; 0 when it has none. *extended gets the 0xE0 prefix.
uint32_t x11_keycode_to_scan(uint32_t keycode, bool* extended);
// The keycode at a set-1 position; 0 when none.
uint32_t x11_scan_to_keycode(uint32_t scan, bool extended);

// The virtual key of a keycode on a keymap's group: letters follow their base character
// (so layouts that move letters keep them right), everything else its position on the named
// layout (platform/keytables.h).
uint32_t x11_keycode_to_vk(xkb_keymap* keymap, xkb_layout_index_t group, uint32_t keycode,
                           const std::string& layout_name, bool numlock);

// The layout name ("us", "us(intl)", "de") of a group, from the comma-separated layout and
// variant lists of the XKB rules names.
std::string x11_layout_name(const std::string& layouts, const std::string& variants,
                            xkb_layout_index_t group);

// Keysym-to-character translation with dead keys, for one keyboard. Owns its xkbcommon
// objects; used by one thread at a time.
class x11_translator {
 public:
  // Takes a reference on the keymap. The compose table comes from the locale (LC_ALL,
  // LC_CTYPE, LANG; en_US.UTF-8 when that locale has none); dead keys give no characters
  // without one.
  explicit x11_translator(xkb_keymap* keymap);
  ~x11_translator();
  x11_translator(const x11_translator&) = delete;
  x11_translator& operator=(const x11_translator&) = delete;

  // Swaps in a new keymap (layout changed); the pending dead key is forgotten.
  void set_keymap(xkb_keymap* keymap);
  xkb_keymap* keymap() const { return keymap_; }

  // The text a key press gives with the modifiers of a Windows-style key state (Shift, Ctrl,
  // Alt, right Alt as AltGr, Caps Lock and Num Lock toggles) on a group: -1 for a dead key
  // (or any unfinished compose sequence), 0 for none, else the number of characters in
  // *utf8_out. Feeds the compose state, so call it once per key press.
  int translate(uint32_t keycode, const uint8_t state[256], xkb_layout_index_t group,
                std::string* utf8_out);

  // The VkKeyScan role: the keycode and the Windows shift state (1 Shift, 6 AltGr, 7 both)
  // that type `ch` on the group; false when no key types it. Keypad keys are avoided.
  bool find_char(char32_t ch, xkb_layout_index_t group, uint32_t* keycode, int* shift_state);

 private:
  xkb_mod_mask_t mask_for(const uint8_t state[256], uint32_t keycode);

  xkb_context* ctx_;
  xkb_keymap* keymap_;
  xkb_state* state_;
  xkb_compose_table* compose_table_;
  xkb_compose_state* compose_state_;
};
