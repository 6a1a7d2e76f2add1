// Hotkey strings as the preferences window shows them: "17 32" reads "Ctrl+Space".
#pragma once

#include <string>
#include <vector>

// "Ctrl+Shift+S" for "17 16 83"; codes without a name read "Key 0xNN". Empty for "".
std::string hotkey_text(const std::string& codes);
// The names of the keys shown, for keys typed into a hotkey field: the virtual-key code of
// a key called `name` by hotkey_text, or 0.
unsigned hotkey_code_from_name(const std::string& name);

// One hotkey of the preferences: its preference key and whether it is switched on.
struct hotkey_pref {
  std::string key;
  std::string codes;
  bool enabled;
};
// For each hotkey, the indexes of the other enabled hotkeys with the same keys (order of the
// modifiers does not matter). Disabled or empty hotkeys clash with nothing.
std::vector<std::vector<size_t>> hotkey_find_duplicates(const std::vector<hotkey_pref>& hotkeys);
