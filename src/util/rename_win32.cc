// rename() never replaces an existing file on Windows, which is exactly what is wanted here.
#include <cstdio>

#include "util/strutil.h"

bool rename_no_replace(const std::string& from, const std::string& to) {
  return rename(from.c_str(), to.c_str()) == 0;
}
