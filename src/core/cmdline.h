// The desktop program's command line.
//
// Options are matched without regard to case, as the program has always done. Parsing is a
// pure function so that every rule can be checked without starting anything.
#pragma once

#include <optional>
#include <string>
#include <vector>

struct core_cmdline {
  bool restarting = false;  // started by a restart of the previous process: never hands over
  bool admin = false;       // started elevated on the user's request
  bool systray = false;     // start with the main window hidden
  bool portable = false;    // seen anywhere (portable mode itself needs it first, see gvar.h)
  bool help = false;
  bool version = false;
  std::optional<std::string> import_path;  // completed against the current folder
  std::vector<std::string> unknown;        // arguments that are no option we know
};

// Reads argv[1..argc-1]. "--import" takes the next argument as the file to import, which is
// completed with core_complete_import_path; scanning goes on with the argument after it.
core_cmdline core_parse_cmdline(int argc, const char* const* argv, const std::string& current_dir);

// The program's own arguments in UTF-8, program first (implemented per system: Windows reads its
// UTF-16 command line, so names outside the ANSI code page survive, and falls back to the C
// runtime's narrow arguments).
std::vector<std::string> core_program_arguments(int argc, const char* const* argv);
// core_parse_cmdline over `args`, completing an import path against the current folder.
core_cmdline core_parse_program_cmdline(const std::vector<std::string>& args);

// True when any argument, argument 0 included, is "--systray" in any case.
bool should_start_in_systray(int argc, const char* const* argv);

// Completes a path to import for this system (implemented per system, see below).
std::string core_complete_import_path(const std::string& path, const std::string& current_dir);

// The Windows rule, kept as it has always been: drop one trailing backslash from the current
// folder (two when it ends in two); when the path's folder part (all before its last
// backslash, or the whole path) differs from that folder ignoring case, the current folder and
// a backslash go in front. So only a path whose folder is the current folder stays untouched.
std::string core_complete_import_path_windows(const std::string& path, const std::string& current_dir);
// The POSIX rule: absolute paths stay, relative ones get the current folder in front.
std::string core_complete_import_path_posix(const std::string& path, const std::string& current_dir);

// The text of --help.
std::string core_cmdline_usage(const char* program);
