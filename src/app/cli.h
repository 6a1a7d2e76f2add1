// quiverex-cli: the command-line companion. Each command lives in its own cli_<name>.cc and
// registers itself with a static cli_command object, so commands are added without touching
// the dispatcher.
#pragma once

#include <string>
#include <vector>

// Exit codes: 0 success, 1 the command ran and found a problem (a bad library, ...),
// 2 a usage error (unknown command, missing argument, missing file).
enum { CLI_OK = 0, CLI_PROBLEM = 1, CLI_USAGE = 2 };

typedef int (*cli_func)(const std::vector<std::string>& args);

struct cli_command {
  // `usage` is the argument synopsis shown by --help ("FILE [FOLDER-PATH]");
  // `summary` is one line saying what the command does.
  cli_command(const char* name, const char* usage, const char* summary, cli_func func);
};

// Prints "quiverex-cli: <message>" to standard error and returns CLI_USAGE.
int cli_usage_error(const std::string& message);
