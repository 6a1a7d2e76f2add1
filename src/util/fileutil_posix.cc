#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "util/fileutil.h"
#include "util/strutil.h"

FILE* file_open(const std::string& path, const char* mode) { return fopen(path.c_str(), mode); }

bool file_remove(const std::string& path) { return unlink(path.c_str()) == 0; }

FILE* fileutil_create_new(const std::string& path, bool* name_taken) {
  int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd < 0) {
    *name_taken = errno == EEXIST;
    return nullptr;
  }
  FILE* f = fdopen(fd, "wb");
  if (!f) {
    close(fd);
    unlink(path.c_str());
  }
  return f;
}

bool fileutil_make_dir(const std::string& path) { return mkdir(path.c_str(), 0700) == 0 || errno == EEXIST; }

bool fsync_and_close(FILE* stream) {
  bool ok = fflush(stream) == 0;
  if (ok && fsync(fileno(stream)) != 0) ok = false;
  if (fclose(stream) != 0) ok = false;
  return ok;
}

bool rename_durable(const std::string& temp, const std::string& target) {
  if (rename(temp.c_str(), target.c_str()) != 0) return false;
  std::string dir = path_dirname(target);
  int fd = open(dir.empty() ? "." : dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd >= 0) {
    fsync(fd);  // best effort: the rename itself already happened atomically
    close(fd);
  }
  return true;
}

char path_separator() { return '/'; }

bool file_exists(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0;
}

bool dir_exists(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

time_t file_mtime(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 ? st.st_mtime : 0;
}
