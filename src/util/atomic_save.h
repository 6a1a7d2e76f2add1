// Saving a file so that a failure at any point leaves the old file whole.
#pragma once

#include <string>

// Writes `data` to a new temporary file in the target's folder (created with its parents when
// missing), flushes it to disk and renames it over `path`, then flushes the folder. On any
// failure the temporary file is removed, the target is untouched and false is returned.
bool save_file_atomically(const std::string& path, const std::string& data);
