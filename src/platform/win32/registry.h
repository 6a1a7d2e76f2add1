// Registry access for the program: UTF-8 names and values here, UTF-16 at the registry.
//
// Reads give none when the key or value is absent or of another type; writes create the key
// when needed and report success. Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/win32/w32.h"

// A string value (REG_SZ, or REG_EXPAND_SZ with its variables expanded). An empty value name
// reads the key's default value.
std::optional<std::string> reg_get_key_string_value(HKEY root, const std::string& key,
                                                    const std::string& value);
// The same, accepting REG_SZ only and never expanding.
std::optional<std::string> reg_get_key_string_value_sz(HKEY root, const std::string& key,
                                                       const std::string& value);
// A string value of a key the caller opened.
std::optional<std::string> reg_get_open_key_string_value(HKEY key, const std::string& value);

bool reg_set_key_string_value(HKEY root, const std::string& key, const std::string& value,
                              const std::string& data);
// As above; on failure *err (when given) receives the system's message for the error.
bool reg_set_key_string_value_err(HKEY root, const std::string& key, const std::string& value,
                                  const std::string& data, std::string* err);

// The path of `key` below the hive of the user this process runs as ("<SID>\key", to be
// opened under HKEY_USERS): an elevated start run under another account still reaches the
// user's own settings. None when the user's SID cannot be read.
std::optional<std::string> build_reg_path_for_user(const std::string& key);
std::optional<std::string> reg_get_key_string_value_for_user(const std::string& key,
                                                             const std::string& value);
bool reg_set_key_string_value_for_user(const std::string& key, const std::string& value,
                                       const std::string& data);

std::optional<uint32_t> reg_get_key_dword_value(HKEY root, const std::string& key,
                                                const std::string& value);
bool reg_set_key_dword_value(HKEY root, const std::string& key, const std::string& value,
                             uint32_t data);
// True when the value is gone afterwards (also when it never existed).
bool reg_delete_value(HKEY root, const std::string& key, const std::string& value);

// The names of a key's direct subkeys, in the registry's order; empty when it cannot be read.
std::vector<std::string> reg_enum_subkeys(HKEY root, const std::string& key);

// Browsers registered under HKEY_LOCAL_MACHINE\SOFTWARE\Clients\StartMenuInternet: the
// subkey name, its default value and the program of its "shell\open\command".
std::vector<plat_browser> w32_web_browser_list_get();
