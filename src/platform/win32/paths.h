// Where Windows keeps the folders and files the program reads: the application-data folders,
// the program's own file, Word's AutoCorrect lists and Dropbox's host.db. UTF-8 paths.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/win32/w32.h"

// A shell folder (CSIDL_APPDATA, CSIDL_LOCAL_APPDATA, CSIDL_WINDOWS, ...), created when
// missing; none when the system does not know it.
std::optional<std::string> w32_folder_path(int csidl);
// The full path of the running program; none when it cannot be read.
std::optional<std::string> w32_module_file_name();
// Argument 0 of the program's command line as Windows holds it (UTF-16, so names outside the
// ANSI code page survive); none when the command line cannot be split.
std::optional<std::string> w32_command_line_argument0();
// The current folder; none when it cannot be read.
std::optional<std::string> w32_current_dir();
// Word's AutoCorrect lists below the roaming application-data folder:
// "Microsoft\Office\MSO*.acl", in the order the file system lists them. The list numbered
// 0127 holds no language's entries and is left out unless asked for.
std::vector<std::string> w32_autocorrect_list_paths(const std::string& roaming_appdata,
                                                    bool include_0127);
// Dropbox's "host.db" below the roaming and then the local application-data folder (the files
// may not exist).
std::vector<std::string> w32_dropbox_host_db_paths();
