#include "platform/keytables.h"

#include "platform/vk.h"

namespace {

struct position {
  uint32_t scan;
  bool extended;
  uint32_t vk;
};

// The US assignment. Keypad digits are listed as with Num Lock on; the navigation meaning of
// the same positions is handled in plat_scan_to_vk.
const position k_us[] = {
    {0x01, false, VK_ESCAPE}, {0x02, false, '1'}, {0x03, false, '2'}, {0x04, false, '3'},
    {0x05, false, '4'}, {0x06, false, '5'}, {0x07, false, '6'}, {0x08, false, '7'},
    {0x09, false, '8'}, {0x0A, false, '9'}, {0x0B, false, '0'}, {0x0C, false, VK_OEM_MINUS},
    {0x0D, false, VK_OEM_PLUS}, {0x0E, false, VK_BACK}, {0x0F, false, VK_TAB},
    {0x10, false, 'Q'}, {0x11, false, 'W'}, {0x12, false, 'E'}, {0x13, false, 'R'},
    {0x14, false, 'T'}, {0x15, false, 'Y'}, {0x16, false, 'U'}, {0x17, false, 'I'},
    {0x18, false, 'O'}, {0x19, false, 'P'}, {0x1A, false, VK_OEM_4}, {0x1B, false, VK_OEM_6},
    {0x1C, false, VK_RETURN}, {0x1D, false, VK_LCONTROL}, {0x1E, false, 'A'},
    {0x1F, false, 'S'}, {0x20, false, 'D'}, {0x21, false, 'F'}, {0x22, false, 'G'},
    {0x23, false, 'H'}, {0x24, false, 'J'}, {0x25, false, 'K'}, {0x26, false, 'L'},
    {0x27, false, VK_OEM_1}, {0x28, false, VK_OEM_7}, {0x29, false, VK_OEM_3},
    {0x2A, false, VK_LSHIFT}, {0x2B, false, VK_OEM_5}, {0x2C, false, 'Z'}, {0x2D, false, 'X'},
    {0x2E, false, 'C'}, {0x2F, false, 'V'}, {0x30, false, 'B'}, {0x31, false, 'N'},
    {0x32, false, 'M'}, {0x33, false, VK_OEM_COMMA}, {0x34, false, VK_OEM_PERIOD},
    {0x35, false, VK_OEM_2}, {0x36, false, VK_RSHIFT}, {0x37, false, VK_MULTIPLY},
    {0x38, false, VK_LMENU}, {0x39, false, VK_SPACE}, {0x3A, false, VK_CAPITAL},
    {0x3B, false, VK_F1}, {0x3C, false, VK_F1 + 1}, {0x3D, false, VK_F1 + 2},
    {0x3E, false, VK_F1 + 3}, {0x3F, false, VK_F1 + 4}, {0x40, false, VK_F1 + 5},
    {0x41, false, VK_F1 + 6}, {0x42, false, VK_F1 + 7}, {0x43, false, VK_F1 + 8},
    {0x44, false, VK_F1 + 9}, {0x45, false, VK_PAUSE}, {0x46, false, VK_SCROLL},
    {0x47, false, VK_NUMPAD7}, {0x48, false, VK_NUMPAD8}, {0x49, false, VK_NUMPAD9},
    {0x4A, false, VK_SUBTRACT}, {0x4B, false, VK_NUMPAD4}, {0x4C, false, VK_NUMPAD5},
    {0x4D, false, VK_NUMPAD6}, {0x4E, false, VK_ADD}, {0x4F, false, VK_NUMPAD1},
    {0x50, false, VK_NUMPAD2}, {0x51, false, VK_NUMPAD3}, {0x52, false, VK_NUMPAD0},
    {0x53, false, VK_DECIMAL}, {0x56, false, VK_OEM_102}, {0x57, false, VK_F1 + 10},
    {0x58, false, VK_F12}, {0x64, false, VK_F13}, {0x65, false, VK_F13 + 1},
    {0x66, false, VK_F13 + 2}, {0x67, false, VK_F13 + 3}, {0x68, false, VK_F13 + 4},
    {0x69, false, VK_F13 + 5}, {0x6A, false, VK_F13 + 6}, {0x6B, false, VK_F13 + 7},
    {0x6C, false, VK_F13 + 8}, {0x6D, false, VK_F13 + 9}, {0x6E, false, VK_F13 + 10},
    {0x76, false, VK_F24}, {0x1C, true, VK_RETURN}, {0x1D, true, VK_RCONTROL},
    {0x35, true, VK_DIVIDE}, {0x37, true, VK_SNAPSHOT}, {0x38, true, VK_RMENU},
    {0x45, true, VK_NUMLOCK}, {0x46, true, VK_CANCEL}, {0x47, true, VK_HOME},
    {0x48, true, VK_UP}, {0x49, true, VK_PRIOR}, {0x4B, true, VK_LEFT}, {0x4D, true, VK_RIGHT},
    {0x4F, true, VK_END}, {0x50, true, VK_DOWN}, {0x51, true, VK_NEXT}, {0x52, true, VK_INSERT},
    {0x53, true, VK_DELETE}, {0x5B, true, VK_LWIN}, {0x5C, true, VK_RWIN}, {0x5D, true, VK_APPS},
};

// German: Y and Z trade places, and the punctuation keys carry the codes German Windows
// gives them.
const position k_de[] = {
    {0x15, false, 'Z'},         {0x2C, false, 'Y'},          {0x0C, false, VK_OEM_4},
    {0x0D, false, VK_OEM_6},    {0x29, false, VK_OEM_5},     {0x1A, false, VK_OEM_1},
    {0x1B, false, VK_OEM_PLUS}, {0x27, false, VK_OEM_3},     {0x28, false, VK_OEM_7},
    {0x2B, false, VK_OEM_2},    {0x35, false, VK_OEM_MINUS},
};

bool is_de(const std::string& layout) { return layout.rfind("de", 0) == 0; }

// Keypad positions with Num Lock off.
uint32_t keypad_navigation(uint32_t scan) {
  switch (scan) {
    case 0x47: return VK_HOME;
    case 0x48: return VK_UP;
    case 0x49: return VK_PRIOR;
    case 0x4B: return VK_LEFT;
    case 0x4C: return VK_CLEAR;
    case 0x4D: return VK_RIGHT;
    case 0x4F: return VK_END;
    case 0x50: return VK_DOWN;
    case 0x51: return VK_NEXT;
    case 0x52: return VK_INSERT;
    case 0x53: return VK_DELETE;
    default: return 0;
  }
}

}  // namespace

uint32_t plat_scan_to_vk(const std::string& layout, uint32_t scan, bool extended, bool numlock) {
  if (!extended && !numlock) {
    if (uint32_t vk = keypad_navigation(scan)) return vk;
  }
  if (is_de(layout)) {
    for (const position& p : k_de)
      if (p.scan == scan && p.extended == extended) return p.vk;
  }
  for (const position& p : k_us)
    if (p.scan == scan && p.extended == extended) return p.vk;
  return 0;
}

uint32_t plat_vk_to_scan(const std::string& layout, uint32_t vk, bool* extended) {
  if (vk == VK_SHIFT) vk = VK_LSHIFT;
  if (vk == VK_CONTROL) vk = VK_LCONTROL;
  if (vk == VK_MENU) vk = VK_LMENU;
  if (is_de(layout)) {
    for (const position& p : k_de) {
      if (p.vk == vk) {
        *extended = p.extended;
        return p.scan;
      }
    }
  }
  for (const position& p : k_us) {
    if (p.vk != vk) continue;
    // A key the German table moved away is not at its US position.
    bool moved = false;
    if (is_de(layout)) {
      for (const position& d : k_de)
        if (d.scan == p.scan && d.extended == p.extended) moved = true;
    }
    if (moved) continue;
    *extended = p.extended;
    return p.scan;
  }
  *extended = false;
  return 0;
}

uint16_t plat_layout_language_id(const std::string& layout) {
  std::string base = layout.substr(0, layout.find_first_of("(+:,"));
  static const struct {
    const char* name;
    uint16_t id;
  } k_langs[] = {{"us", 0x0409}, {"gb", 0x0809}, {"de", 0x0407}, {"ch", 0x0807},
                 {"at", 0x0C07}, {"fr", 0x040C}, {"es", 0x0C0A}, {"it", 0x0410},
                 {"il", 0x040D}, {"ru", 0x0419}, {"pl", 0x0415}, {"se", 0x041D},
                 {"no", 0x0414}, {"dk", 0x0406}, {"fi", 0x040B}, {"nl", 0x0413},
                 {"pt", 0x0816}, {"br", 0x0416}, {"jp", 0x0411}, {"ca", 0x0C0C}};
  for (const auto& l : k_langs)
    if (base == l.name) return l.id;
  return 0;
}

uint32_t plat_sided_vk(uint32_t vk, bool extended) {
  if (vk == VK_SHIFT) return extended ? VK_RSHIFT : VK_LSHIFT;
  if (vk == VK_CONTROL) return extended ? VK_RCONTROL : VK_LCONTROL;
  if (vk == VK_MENU) return extended ? VK_RMENU : VK_LMENU;
  return vk;
}

uint32_t plat_generic_vk(uint32_t vk) {
  if (vk == VK_LSHIFT || vk == VK_RSHIFT) return VK_SHIFT;
  if (vk == VK_LCONTROL || vk == VK_RCONTROL) return VK_CONTROL;
  if (vk == VK_LMENU || vk == VK_RMENU) return VK_MENU;
  return vk;
}
