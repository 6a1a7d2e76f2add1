// Single instance over an AF_UNIX stream socket.
//
// The socket lives in a folder of mode 0700, and every connection's peer credentials are
// checked on both ends, so no other user can ask this instance for anything nor pose as it.
// The listening socket and every accepted connection are watched from the GLib main loop, so
// nothing here polls or blocks the UI thread on a slow peer.
#include <errno.h>
#include <fcntl.h>
#include <glib-unix.h>
#include <glib.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

#include "core/instance.h"
#include "util/strutil.h"

namespace {

// A request line is short; anything longer is not from us.
constexpr size_t MAX_REQUEST = 8192;

struct listener {
  int fd = -1;
  guint source = 0;
  std::string address;
  core_instance_handler handler = nullptr;
  void* user = nullptr;
};
listener* g_listener = nullptr;  // UI thread

struct connection {
  int fd;
  std::string line;
};

bool fill_sockaddr(const std::string& address, sockaddr_un* sa) {
  memset(sa, 0, sizeof *sa);
  sa->sun_family = AF_UNIX;
  if (address.size() >= sizeof sa->sun_path) return false;
  memcpy(sa->sun_path, address.c_str(), address.size() + 1);
  return true;
}

bool peer_is_our_user(int fd) {
  struct ucred cred;
  socklen_t len = sizeof cred;
  if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &len) != 0) return false;
  return cred.uid == getuid();
}

void write_all(int fd, const std::string& s) {
  size_t done = 0;
  while (done < s.size()) {
    ssize_t n = send(fd, s.data() + done, s.size() - done, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;
    done += static_cast<size_t>(n);
  }
}

void dispatch(connection* c) {
  const std::string& line = c->line;
  if (!g_listener || !g_listener->handler) return;
  if (line == "show") {
    g_listener->handler(CORE_INSTANCE_SHOW, std::string(), g_listener->user);
    write_all(c->fd, "ok\n");
  } else if (line.compare(0, 7, "import ") == 0 && line.size() > 7) {
    g_listener->handler(CORE_INSTANCE_IMPORT, line.substr(7), g_listener->user);
    write_all(c->fd, "ok\n");
  }
}

gboolean on_connection_readable(gint fd, GIOCondition, gpointer data) {
  connection* c = static_cast<connection*>(data);
  char buf[1024];
  ssize_t n = recv(fd, buf, sizeof buf, MSG_DONTWAIT);
  if (n < 0 && (errno == EAGAIN || errno == EINTR)) return G_SOURCE_CONTINUE;
  bool finished = n <= 0;
  if (n > 0) {
    c->line.append(buf, static_cast<size_t>(n));
    size_t nl = c->line.find('\n');
    if (nl != std::string::npos) {
      c->line.resize(nl);
      dispatch(c);
      finished = true;
    } else if (c->line.size() > MAX_REQUEST) {
      finished = true;
    }
  }
  if (!finished) return G_SOURCE_CONTINUE;
  close(c->fd);
  delete c;
  return G_SOURCE_REMOVE;
}

gboolean on_listener_readable(gint fd, GIOCondition, gpointer) {
  int cfd = accept4(fd, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (cfd < 0) return G_SOURCE_CONTINUE;
  if (!peer_is_our_user(cfd)) {
    close(cfd);
    return G_SOURCE_CONTINUE;
  }
  g_unix_fd_add(cfd, G_IO_IN, on_connection_readable, new connection{cfd, std::string()});
  return G_SOURCE_CONTINUE;
}

// A folder only we may enter: made when missing, refused when it belongs to someone else or
// others may enter it (a prepared folder in /tmp must not catch our socket).
bool private_folder(const std::string& folder) {
  if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) return false;
  struct stat st;
  if (lstat(folder.c_str(), &st) != 0 || !S_ISDIR(st.st_mode) || st.st_uid != getuid()) return false;
  if ((st.st_mode & 0077) != 0 && chmod(folder.c_str(), 0700) != 0) return false;
  return true;
}

int connect_to(const std::string& address, int* error_out) {
  sockaddr_un sa;
  *error_out = 0;
  if (!fill_sockaddr(address, &sa)) {
    *error_out = ENAMETOOLONG;
    return -1;
  }
  int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) {
    *error_out = errno;
    return -1;
  }
  if (connect(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa) != 0) {
    *error_out = errno;
    close(fd);
    return -1;
  }
  return fd;
}

}  // namespace

std::string core_instance_default_address() {
  const char* run = getenv("XDG_RUNTIME_DIR");
  std::string folder;
  if (run && run[0] == '/')
    folder = std::string(run) + "/quiverex";
  else
    folder = strprintf("/tmp/quiverex-%u", static_cast<unsigned>(getuid()));
  return folder + "/instance";
}

core_instance_claim core_instance_claim_address(const std::string& address, core_instance_handler handler,
                                                void* user) {
  if (!private_folder(path_dirname(address))) return CORE_INSTANCE_FAILED;
  sockaddr_un sa;
  if (!fill_sockaddr(address, &sa)) return CORE_INSTANCE_FAILED;

  for (int attempt = 0; attempt < 2; attempt++) {
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) return CORE_INSTANCE_FAILED;
    if (bind(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa) == 0 && listen(fd, 8) == 0) {
      g_listener = new listener;
      g_listener->fd = fd;
      g_listener->address = address;
      g_listener->handler = handler;
      g_listener->user = user;
      g_listener->source = g_unix_fd_add(fd, G_IO_IN, on_listener_readable, nullptr);
      return CORE_INSTANCE_CLAIMED;
    }
    int bind_error = errno;
    close(fd);
    if (bind_error != EADDRINUSE) return CORE_INSTANCE_FAILED;
    // Someone's socket is there: alive when it accepts, left over from a crash when refused.
    int err;
    int probe = connect_to(address, &err);
    if (probe >= 0) {
      bool ours = peer_is_our_user(probe);
      close(probe);
      return ours ? CORE_INSTANCE_OTHER_RUNNING : CORE_INSTANCE_FAILED;
    }
    if (err != ECONNREFUSED && err != ENOENT) return CORE_INSTANCE_FAILED;
    unlink(address.c_str());
  }
  return CORE_INSTANCE_FAILED;
}

void core_instance_release() {
  if (!g_listener) return;
  if (g_listener->source) g_source_remove(g_listener->source);
  close(g_listener->fd);
  unlink(g_listener->address.c_str());
  delete g_listener;
  g_listener = nullptr;
}

bool core_instance_send(const std::string& address, core_instance_request req, const std::string& path,
                        int timeout_ms) {
  if (req == CORE_INSTANCE_IMPORT && (path.empty() || path.find('\n') != std::string::npos)) return false;
  int err;
  int fd = connect_to(address, &err);
  if (fd < 0) return false;
  if (!peer_is_our_user(fd)) {
    close(fd);
    return false;
  }
  write_all(fd, req == CORE_INSTANCE_SHOW ? std::string("show\n") : "import " + path + "\n");
  std::string answer;
  gint64 deadline = g_get_monotonic_time() + static_cast<gint64>(timeout_ms) * 1000;
  while (answer.find('\n') == std::string::npos) {
    gint64 left = (deadline - g_get_monotonic_time()) / 1000;
    if (left <= 0) break;
    pollfd p = {fd, POLLIN, 0};
    int r = poll(&p, 1, static_cast<int>(left));
    if (r < 0 && errno == EINTR) continue;
    if (r <= 0) break;
    char buf[64];
    ssize_t n = recv(fd, buf, sizeof buf, 0);
    if (n <= 0) break;
    answer.append(buf, static_cast<size_t>(n));
  }
  close(fd);
  return answer.compare(0, 3, "ok\n") == 0;
}
