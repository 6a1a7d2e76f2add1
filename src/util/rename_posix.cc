// rename() replaces an existing target on POSIX systems, so "only when free" needs help.
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <cerrno>

#include "util/strutil.h"

bool rename_no_replace(const std::string& from, const std::string& to) {
#ifdef RENAME_NOREPLACE
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
#endif
  // File systems without the flag: a hard link fails when the name is taken.
  if (link(from.c_str(), to.c_str()) != 0) return false;
  unlink(from.c_str());
  return true;
}
