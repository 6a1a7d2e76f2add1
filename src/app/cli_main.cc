#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "app/cli.h"
#include "util/die.h"

namespace {

struct entry {
  const char* usage;
  const char* summary;
  cli_func func;
};

std::map<std::string, entry>& registry() {
  static std::map<std::string, entry> commands;
  return commands;
}

void print_help() {
  printf("Usage: quiverex-cli COMMAND [ARGUMENTS]\n\n"
         "Works on Quiverex libraries and preferences without a display.\n\nCommands:\n");
  for (const auto& [name, e] : registry()) {
    std::string synopsis = name + (e.usage[0] ? std::string(" ") + e.usage : std::string());
    printf("  %-34s %s\n", synopsis.c_str(), e.summary);
  }
  printf("\nOptions:\n  %-34s %s\n  %-34s %s\n", "--help", "show this help and exit", "--version",
         "show the version and exit");
}

}  // namespace

cli_command::cli_command(const char* name, const char* usage, const char* summary, cli_func func) {
  registry()[name] = entry{usage, summary, func};
}

int cli_usage_error(const std::string& message) {
  fprintf(stderr, "quiverex-cli: %s\n", message.c_str());
  return CLI_USAGE;
}

int main(int argc, char** argv) {
  util_install_oom_handler();
  if (argc < 2) {
    print_help();
    return CLI_USAGE;
  }
  std::string cmd = argv[1];
  if (cmd == "--help" || cmd == "-h" || cmd == "help") {
    print_help();
    return CLI_OK;
  }
  if (cmd == "--version") {
    printf("quiverex-cli %s\n", QX_VERSION);
    return CLI_OK;
  }
  auto it = registry().find(cmd);
  if (it == registry().end())
    return cli_usage_error("unknown command '" + cmd + "' (try 'quiverex-cli --help')");
  return it->second.func(std::vector<std::string>(argv + 2, argv + argc));
}
