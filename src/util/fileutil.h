// File helpers. Paths are UTF-8 on every platform; the Windows build converts them to UTF-16
// at the system calls, so names outside the ANSI code page work there too.
#pragma once

#include <cstdio>
#include <ctime>
#include <optional>
#include <string>

// Opens a file like fopen, with a UTF-8 path.
FILE* file_open(const std::string& path, const char* mode);

// Deletes a file; false when it could not be deleted.
bool file_remove(const std::string& path);

// Reads the stream in blocks of 524288 elements of `element_size` bytes, growing the buffer to
// the total plus one byte after each block (room for a terminator the caller writes).
// The buffer is malloc'd (caller frees); returns false on a read error.
bool read_entire_file(FILE* stream, char** buffer_out, size_t element_size, size_t* length_out);
// Convenience: the whole file as a string; nullopt when it cannot be opened or read.
std::optional<std::string> read_file_to_string(const std::string& path);

// Reads the next physical line whole, whatever its length, in chunks of 8192 bytes up to and
// including a line feed or up to the end of the file. The line feed stays in the line. False at
// the end of the file with nothing read, and on a read error.
bool read_whole_line(FILE* stream, std::string* line_out);

// Creates or truncates the file and writes exactly `length` bytes; true only when all were
// written and the file was closed without error.
bool dump_data_to_file(const std::string& path, const void* data, size_t length);

// Up to `tries` times: 8 random alphanumeric characters joined to `folder` (or "." when empty)
// with the path separator, created exclusively (owner-only permissions on POSIX, the temporary
// attribute on Windows). Returns an open binary stream for writing and the path, or nullptr
// (and an empty path) when every try failed.
FILE* secure_open_temp_file(std::string* path_out, const std::string& folder, int tries);

// Creates a folder with all missing parents (mode 0700 for new folders on POSIX). True when the
// folder exists afterwards.
bool mkdir_p(const std::string& path, char separator);

// Flushes the file behind `stream` to disk and closes it; false on any error.
bool fsync_and_close(FILE* stream);
// Atomically replaces `target` by `temp` and flushes the folder entry to disk.
// On failure `temp` is left in place and errno describes the failure.
bool rename_durable(const std::string& temp, const std::string& target);

// Renames `from` to `to` only when `to` does not exist yet; false (errno EEXIST) when it does.
bool rename_no_replace(const std::string& from, const std::string& to);

// The platform's path separator ('/' here, '\\' on Windows).
char path_separator();
bool file_exists(const std::string& path);
bool dir_exists(const std::string& path);
// Last modification time; 0 when the file cannot be examined.
time_t file_mtime(const std::string& path);

// The platform halves of the helpers above, for fileutil.cc only.
// Creates `path` exclusively for writing; on failure sets *name_taken when the name exists.
FILE* fileutil_create_new(const std::string& path, bool* name_taken);
// Creates one folder; true when it was created or already exists.
bool fileutil_make_dir(const std::string& path);
