#include "settings/hotkey_text.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "platform/vk.h"
#include "util/strutil.h"

namespace {

struct key_name {
  unsigned code;
  const char* name;
};
const key_name NAMES[] = {
    {VK_CONTROL, "Ctrl"}, {VK_SHIFT, "Shift"},  {VK_MENU, "Alt"},       {VK_LWIN, "Win"},
    {VK_RWIN, "Win"},     {VK_SPACE, "Space"},  {VK_RETURN, "Enter"},   {VK_TAB, "Tab"},
    {VK_ESCAPE, "Esc"},   {VK_BACK, "Backspace"}, {VK_INSERT, "Insert"}, {VK_DELETE, "Delete"},
    {VK_HOME, "Home"},    {VK_END, "End"},      {VK_PRIOR, "Page Up"},  {VK_NEXT, "Page Down"},
    {VK_LEFT, "Left"},    {VK_RIGHT, "Right"},  {VK_UP, "Up"},          {VK_DOWN, "Down"},
    {VK_PAUSE, "Pause"},  {VK_CAPITAL, "Caps Lock"}, {VK_SCROLL, "Scroll Lock"},
};

std::string name_of(unsigned code) {
  for (const key_name& k : NAMES)
    if (k.code == code) return k.name;
  if ((code >= '0' && code <= '9') || (code >= 'A' && code <= 'Z')) return std::string(1, static_cast<char>(code));
  if (code >= VK_F1 && code <= VK_F24) return "F" + std::to_string(code - VK_F1 + 1);
  if (code >= VK_NUMPAD0 && code <= VK_NUMPAD9) return "Num " + std::to_string(code - VK_NUMPAD0);
  return strprintf("Key 0x%02X", code);
}

std::vector<unsigned> codes_of(const std::string& codes) {
  std::vector<unsigned> out;
  plist* parts = strsplit(codes, " ");
  for (std::string* part : plist_range<std::string>(parts)) {
    if (part->empty()) continue;
    char* end = nullptr;
    unsigned long v = strtoul(part->c_str(), &end, 10);
    if (end && !*end && v > 0 && v < 256) out.push_back(static_cast<unsigned>(v));
  }
  plist_free(parts);
  return out;
}

}  // namespace

std::string hotkey_text(const std::string& codes) {
  std::string out;
  for (unsigned c : codes_of(codes)) {
    if (!out.empty()) out += '+';
    out += name_of(c);
  }
  return out;
}

unsigned hotkey_code_from_name(const std::string& name) {
  for (unsigned c = 1; c < 256; c++)
    if (name_of(c) == name) return c;
  return 0;
}

std::vector<std::vector<size_t>> hotkey_find_duplicates(const std::vector<hotkey_pref>& hotkeys) {
  std::vector<std::vector<unsigned>> sets;
  for (const hotkey_pref& h : hotkeys) {
    std::vector<unsigned> c = h.enabled ? codes_of(h.codes) : std::vector<unsigned>{};
    std::sort(c.begin(), c.end());
    sets.push_back(c);
  }
  std::vector<std::vector<size_t>> out(hotkeys.size());
  for (size_t i = 0; i < sets.size(); i++)
    for (size_t j = 0; j < sets.size(); j++)
      if (i != j && !sets[i].empty() && sets[i] == sets[j]) out[i].push_back(j);
  return out;
}
