// Helpers shared by the quiverex-cli commands that read a library file.
#pragma once

#include <string>

// Loads `path` into the main list, printing the loader's messages on standard error. CLI_OK
// when it loaded cleanly, CLI_USAGE when there is no such file, CLI_PROBLEM otherwise.
int cli_load_library(const std::string& path);

// Keeps a field on one line: tab, line feed and carriage return are written as \t, \n and \r.
// Backslashes stay as they are, since folder paths are made of them.
std::string cli_one_line(const std::string& s);
