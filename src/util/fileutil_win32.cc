// The file helpers on the Windows API. Paths arrive as UTF-8 and are widened for the *W calls,
// because the narrow C runtime calls would read them in the ANSI code page.
#include <windows.h>
#include <fcntl.h>
#include <io.h>

#include <cerrno>
#include <cstdio>

#include "platform/win32/text.h"
#include "util/fileutil.h"

namespace {

// Callers report failures through errno, as on POSIX.
void set_errno_from_last_error() {
  switch (GetLastError()) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
      errno = ENOENT;
      break;
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
      errno = EACCES;
      break;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
      errno = EEXIST;
      break;
    default:
      errno = EIO;
  }
}

}  // namespace

FILE* file_open(const std::string& path, const char* mode) {
  std::string narrow_mode(mode);
  return _wfopen(w32_to_utf16(path).c_str(), std::wstring(narrow_mode.begin(), narrow_mode.end()).c_str());
}

bool file_remove(const std::string& path) {
  if (DeleteFileW(w32_to_utf16(path).c_str())) return true;
  set_errno_from_last_error();
  return false;
}

FILE* fileutil_create_new(const std::string& path, bool* name_taken) {
  std::wstring wide = w32_to_utf16(path);
  HANDLE h = CreateFileW(wide.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, CREATE_NEW,
                         FILE_ATTRIBUTE_TEMPORARY, nullptr);
  if (h == INVALID_HANDLE_VALUE) {
    DWORD err = GetLastError();
    *name_taken = err == ERROR_FILE_EXISTS || err == ERROR_ALREADY_EXISTS;
    return nullptr;
  }
  int fd = _open_osfhandle(reinterpret_cast<intptr_t>(h), _O_WRONLY | _O_BINARY);
  if (fd < 0) {
    CloseHandle(h);
    DeleteFileW(wide.c_str());
    return nullptr;
  }
  FILE* f = _fdopen(fd, "wb");
  if (!f) {
    _close(fd);
    DeleteFileW(wide.c_str());
  }
  return f;
}

bool fileutil_make_dir(const std::string& path) {
  return CreateDirectoryW(w32_to_utf16(path).c_str(), nullptr) || GetLastError() == ERROR_ALREADY_EXISTS;
}

bool fsync_and_close(FILE* stream) {
  bool ok = fflush(stream) == 0;
  if (ok) {
    HANDLE h = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
    if (h == INVALID_HANDLE_VALUE || !FlushFileBuffers(h)) ok = false;
  }
  if (fclose(stream) != 0) ok = false;
  return ok;
}

bool rename_durable(const std::string& temp, const std::string& target) {
  if (MoveFileExW(w32_to_utf16(temp).c_str(), w32_to_utf16(target).c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
    return true;
  set_errno_from_last_error();
  return false;
}

bool rename_no_replace(const std::string& from, const std::string& to) {
  // Without MOVEFILE_REPLACE_EXISTING the move fails when `to` exists.
  if (MoveFileExW(w32_to_utf16(from).c_str(), w32_to_utf16(to).c_str(), MOVEFILE_WRITE_THROUGH)) return true;
  set_errno_from_last_error();
  return false;
}

char path_separator() { return '\\'; }

bool file_exists(const std::string& path) {
  return GetFileAttributesW(w32_to_utf16(path).c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool dir_exists(const std::string& path) {
  DWORD a = GetFileAttributesW(w32_to_utf16(path).c_str());
  return a != INVALID_FILE_ATTRIBUTES && (a & FILE_ATTRIBUTE_DIRECTORY);
}

time_t file_mtime(const std::string& path) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!GetFileAttributesExW(w32_to_utf16(path).c_str(), GetFileExInfoStandard, &data)) return 0;
  ULARGE_INTEGER t;
  t.LowPart = data.ftLastWriteTime.dwLowDateTime;
  t.HighPart = data.ftLastWriteTime.dwHighDateTime;
  // 100-nanosecond steps since 1601 to seconds since 1970.
  return static_cast<time_t>((t.QuadPart - 116444736000000000ULL) / 10000000ULL);
}
