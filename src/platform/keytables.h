// Key positions: set-1 scan codes and the virtual key each position carries on a layout.
//
// Windows gives every key position of a layout one virtual key. Letters and digits carry their
// own character's code; the punctuation keys carry OEM codes that depend on the layout. These
// tables reproduce that for the layouts we know ("us" and its variants, "de"); any other
// layout uses the US assignment, which keeps every key reachable. Pure functions, any thread.
#pragma once

#include <cstdint>
#include <string>

// The virtual key at a position. `layout` is an XKB-style name ("us", "us(intl)", "de");
// `numlock` decides whether the keypad gives digits or navigation keys. 0 when the position
// carries no key we know.
uint32_t plat_scan_to_vk(const std::string& layout, uint32_t scan, bool extended, bool numlock);
// The position of a virtual key on the layout; 0 when it has none. Generic modifiers
// (VK_SHIFT, VK_CONTROL, VK_MENU) give the left key. *extended receives the 0xE0 prefix.
uint32_t plat_vk_to_scan(const std::string& layout, uint32_t vk, bool* extended);
// The left or right key a generic modifier (VK_SHIFT, VK_CONTROL, VK_MENU) stands for: the
// right one when the event carries the extended flag. Other keys are returned as they are.
uint32_t plat_sided_vk(uint32_t vk, bool extended);
// The generic modifier for a left or right one (VK_LSHIFT -> VK_SHIFT); others unchanged.
uint32_t plat_generic_vk(uint32_t vk);
// Windows language id of a layout name (0x0409 for "us", 0x0407 for "de"); 0 when unknown.
uint16_t plat_layout_language_id(const std::string& layout);
