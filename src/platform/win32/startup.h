// The Windows-only steps of the program's start: the command line as Windows holds it, running
// elevated on the user's wish, starting the program again, and the single-instance rule.
//
// The decisions are plain functions of their inputs; the functions that act (start a program,
// look for or talk to the running instance) say so. UI thread, during start-up and quitting.
#pragma once

#include <optional>
#include <string>
#include <vector>

// The running program's command line split by the shell's rules (CommandLineToArgvW on
// GetCommandLineW), in UTF-8, program first. Unlike the C runtime's narrow arguments these keep
// characters outside the ANSI code page. None when the system cannot split the line.
std::optional<std::vector<std::string>> w32_command_line_arguments();

// The arguments start-up reads, in UTF-8: each one from the wide vector when that has it, else
// the narrow argument of the C runtime converted from the ANSI code page. As many as the longer
// of the two vectors has.
std::vector<std::string> w32_program_arguments(const std::optional<std::vector<std::string>>& wide, int argc,
                                               const char* const* argv);

// Joins arguments into one parameter string that CommandLineToArgvW splits back into the same
// arguments (quotes only where needed, so plain options stay as they are: "--admin --portable").
std::string w32_join_parameters(const std::vector<std::string>& args);

// Starts `exe` through the shell with `verb` (null: the default verb; "runas" asks for
// elevation), the joined `args`, no working folder and a normal window. Does not wait. False
// when the shell refused (also when the user declined elevation).
bool w32_shell_start(const std::string& exe, const wchar_t* verb, const std::vector<std::string>& args);

// Whether this start should hand over to an elevated one: the user asked for elevation once
// (preference "ucm" is 1) and the first argument after the program is not "--admin" in any case
// (a missing one counts as not). `args` starts with the program.
bool w32_should_elevate(int ucm, const std::vector<std::string>& args);
// What the elevated start gets: "--admin", and "--portable" after it in portable mode (portable
// mode needs that option first, so the elevated start checks it elsewhere).
std::vector<std::string> w32_elevation_arguments(bool portable);
// The elevation step. When w32_should_elevate holds, starts `exe` with "runas" and the arguments
// above and returns true: the caller then exits with 0, whether or not the elevated start
// happened (a declined prompt only means no start). False: go on starting.
bool w32_elevate_if_wanted(int ucm, const std::vector<std::string>& args, const std::string& exe,
                           bool portable);

// How long a restarted program lets the old process close before it goes on.
constexpr unsigned W32_RESTART_WAIT_MS = 2345;

// The single-instance step. Restarting: waits `restart_wait_ms`, looks for the running
// instance once more, ignores the answer and returns false. Otherwise, when another instance's
// hidden window exists, asks it to show its main window and hands over `import_path` (failures
// on the way are skipped) and returns true: the caller ends this start with 0. False when
// nobody else runs.
bool w32_single_instance_step(bool restarting, const std::optional<std::string>& import_path,
                              unsigned restart_wait_ms = W32_RESTART_WAIT_MS);
