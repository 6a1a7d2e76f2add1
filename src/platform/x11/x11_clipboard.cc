#include "platform/x11/x11_clipboard.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <algorithm>
#include <deque>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

namespace {

// One saved target: its name, the type and format it was delivered in, and the bytes.
struct saved_target {
  std::string name;
  Atom type;
  int format;
  std::string data;
};

class x11_backup : public plat_clipboard_backup {
 public:
  std::vector<saved_target> targets;
  std::vector<std::string> formats() const override {
    std::vector<std::string> names;
    for (const saved_target& t : targets) names.push_back(t.name);
    return names;
  }
};

// Targets that describe the selection or act on it rather than hold data.
bool is_meta_target(const std::string& name) {
  return name == "TARGETS" || name == "MULTIPLE" || name == "TIMESTAMP" ||
         name == "SAVE_TARGETS" || name == "DELETE" || name.rfind("INSERT_", 0) == 0 ||
         name == "_GTK_SAVE_TARGETS";
}

}  // namespace

struct x11_clipboard::impl {
  Display* d = nullptr;
  Window win = 0;
  Atom a_clipboard, a_primary, a_targets, a_utf8, a_text, a_plain_utf8, a_incr, a_prop;
  int wake_fd = -1;
  std::thread thread;

  std::mutex lock;  // guards jobs, stop, fetched
  std::condition_variable cv;
  std::deque<std::function<void()>> jobs;
  bool stop = false;
  bool fetched = false;

  // What we serve while we own a selection (clipboard thread only).
  std::map<Atom, std::vector<saved_target>> served;

  // Data larger than one request goes out in pieces (the INCR protocol): the requestor
  // deletes the property to ask for the next piece, and an empty piece ends the transfer.
  static constexpr size_t k_chunk = 64 * 1024;
  struct transfer {
    Window requestor;
    Atom property;
    saved_target data;
    size_t offset;
  };
  std::vector<transfer> transfers;

  void run() {
    for (;;) {
      std::deque<std::function<void()>> todo;
      {
        std::lock_guard<std::mutex> g(lock);
        if (stop) return;
        todo.swap(jobs);
      }
      for (auto& job : todo) job();
      handle_pending();
      pollfd p[2] = {{ConnectionNumber(d), POLLIN, 0}, {wake_fd, POLLIN, 0}};
      poll(p, 2, -1);
      uint64_t n;
      while (read(wake_fd, &n, sizeof n) > 0) {
      }
    }
  }

  // Runs a job on the clipboard thread and waits for it.
  template <typename T>
  T call(std::function<T()> fn) {
    std::mutex m;
    std::condition_variable done_cv;
    bool done = false;
    T result{};
    {
      std::lock_guard<std::mutex> g(lock);
      jobs.push_back([&] {
        T r = fn();
        std::lock_guard<std::mutex> g2(m);
        result = std::move(r);
        done = true;
        done_cv.notify_all();
      });
    }
    uint64_t one = 1;
    ssize_t w = write(wake_fd, &one, sizeof one);
    (void)w;
    std::unique_lock<std::mutex> g(m);
    done_cv.wait(g, [&] { return done; });
    return result;
  }

  void handle_pending() {
    while (XPending(d)) {
      XEvent e;
      XNextEvent(d, &e);
      handle(e);
    }
  }

  void handle(XEvent& e) {
    if (e.type == PropertyNotify && e.xproperty.state == PropertyDelete) {
      send_next_piece(e.xproperty.window, e.xproperty.atom);
    } else if (e.type == SelectionClear) {
      served.erase(e.xselectionclear.selection);
    } else if (e.type == SelectionRequest) {
      answer(e.xselectionrequest);
    }
  }

  void answer(const XSelectionRequestEvent& r) {
    XSelectionEvent reply{};
    reply.type = SelectionNotify;
    reply.display = r.display;
    reply.requestor = r.requestor;
    reply.selection = r.selection;
    reply.target = r.target;
    reply.time = r.time;
    reply.property = None;
    Atom prop = r.property == None ? r.target : r.property;
    auto it = served.find(r.selection);
    if (it != served.end()) {
      if (r.target == a_targets) {
        std::vector<Atom> list{a_targets};
        for (const saved_target& t : it->second) list.push_back(XInternAtom(d, t.name.c_str(), False));
        XChangeProperty(d, r.requestor, prop, XA_ATOM, 32, PropModeReplace,
                        reinterpret_cast<unsigned char*>(list.data()), list.size());
        reply.property = prop;
      } else {
        char* name = XGetAtomName(d, r.target);
        std::string target = name ? name : "";
        if (name) XFree(name);
        for (const saved_target& t : it->second) {
          if (t.name != target) continue;
          if (t.data.size() > k_chunk) {
            XSelectInput(d, r.requestor, PropertyChangeMask);
            long total = static_cast<long>(t.data.size());
            XChangeProperty(d, r.requestor, prop, a_incr, 32, PropModeReplace,
                            reinterpret_cast<unsigned char*>(&total), 1);
            transfers.push_back(transfer{r.requestor, prop, t, 0});
          } else {
            int unit = t.format == 32 ? sizeof(long) : t.format / 8;
            XChangeProperty(d, r.requestor, prop, t.type, t.format, PropModeReplace,
                            reinterpret_cast<const unsigned char*>(t.data.data()),
                            t.data.size() / unit);
          }
          reply.property = prop;
          if (r.target == a_utf8 || r.target == XA_STRING || r.target == a_text ||
              r.target == a_plain_utf8) {
            std::lock_guard<std::mutex> g(lock);
            fetched = true;
            cv.notify_all();
          }
          break;
        }
      }
    }
    XSendEvent(d, r.requestor, False, 0, reinterpret_cast<XEvent*>(&reply));
    XFlush(d);
  }

  void send_next_piece(Window requestor, Atom property) {
    for (auto it = transfers.begin(); it != transfers.end(); ++it) {
      if (it->requestor != requestor || it->property != property) continue;
      const saved_target& t = it->data;
      int unit = t.format == 32 ? sizeof(long) : t.format / 8;
      size_t n = std::min(k_chunk, t.data.size() - it->offset);
      n -= n % unit;
      XChangeProperty(d, requestor, property, t.type, t.format, PropModeReplace,
                      reinterpret_cast<const unsigned char*>(t.data.data() + it->offset),
                      n / unit);
      it->offset += n;
      if (n == 0) {
        XSelectInput(d, requestor, NoEventMask);
        transfers.erase(it);
      }
      XFlush(d);
      return;
    }
  }

  // Waits until the connection has something to read; false when the deadline passed.
  bool wait_for_events(std::chrono::steady_clock::time_point deadline) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                    deadline - std::chrono::steady_clock::now())
                    .count();
    if (left <= 0) return false;
    pollfd p{ConnectionNumber(d), POLLIN, 0};
    poll(&p, 1, static_cast<int>(left));
    return true;
  }

  // Asks the owner of a selection for a target and waits (serving requests meanwhile) for the
  // answer, at most 1 s (per piece of a large transfer).
  std::optional<saved_target> convert(Atom selection, Atom target) {
    XDeleteProperty(d, win, a_prop);
    XConvertSelection(d, selection, target, a_prop, win, CurrentTime);
    XFlush(d);
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    for (;;) {
      while (XPending(d)) {
        XEvent e;
        XNextEvent(d, &e);
        if (e.type == SelectionNotify && e.xselection.requestor == win &&
            e.xselection.selection == selection) {
          if (e.xselection.property == None) return std::nullopt;
          bool incr = false;
          auto t = read_property(&incr);
          return incr ? read_incremental(deadline) : t;
        }
        handle(e);
      }
      if (!wait_for_events(deadline)) return std::nullopt;
    }
  }

  // Collects the pieces of an INCR transfer: each new value of our property is one piece,
  // and deleting it asks for the next; an empty piece ends it. Each piece restarts the clock.
  std::optional<saved_target> read_incremental(std::chrono::steady_clock::time_point deadline) {
    saved_target whole{"", None, 8, ""};
    for (;;) {
      while (XPending(d)) {
        XEvent e;
        XNextEvent(d, &e);
        if (e.type == PropertyNotify && e.xproperty.window == win &&
            e.xproperty.atom == a_prop && e.xproperty.state == PropertyNewValue) {
          bool incr = false;
          auto piece = read_property(&incr);
          if (!piece) return std::nullopt;
          if (piece->data.empty()) return whole;
          whole.type = piece->type;
          whole.format = piece->format;
          whole.data += piece->data;
          deadline = std::chrono::steady_clock::now() + std::chrono::seconds(1);
          continue;
        }
        handle(e);
      }
      if (!wait_for_events(deadline)) return std::nullopt;
    }
  }

  // Reads and deletes our property; *incr tells that the owner started an INCR transfer
  // (the deletion asks for its first piece).
  std::optional<saved_target> read_property(bool* incr) {
    Atom type;
    int format;
    unsigned long n, after;
    unsigned char* data = nullptr;
    if (XGetWindowProperty(d, win, a_prop, 0, 1 << 24, True, AnyPropertyType, &type, &format, &n,
                           &after, &data) != Success)
      return std::nullopt;
    if (type == a_incr) {
      *incr = true;
      if (data) XFree(data);
      return std::nullopt;
    }
    if (type == None) {
      if (data) XFree(data);
      return std::nullopt;
    }
    // Xlib hands 32-bit items as longs.
    int unit = format == 32 ? sizeof(long) : format / 8;
    saved_target t{"", type, format, ""};
    if (format == 32) {
      std::vector<uint32_t> items(n);
      for (unsigned long i = 0; i < n; ++i) items[i] = reinterpret_cast<long*>(data)[i];
      t.data.assign(reinterpret_cast<char*>(items.data()), n * 4);
    } else {
      t.data.assign(reinterpret_cast<char*>(data), n * unit);
    }
    if (data) XFree(data);
    return t;
  }

  bool own(Atom selection, std::vector<saved_target> targets) {
    served[selection] = std::move(targets);
    XSetSelectionOwner(d, selection, win, CurrentTime);
    bool ok = XGetSelectionOwner(d, selection) == win;
    if (!ok) served.erase(selection);
    return ok;
  }

  // Data of format 32 is kept as 32-bit items; Xlib wants longs when setting it again.
  static std::string as_longs(const saved_target& t) {
    if (t.format != 32) return t.data;
    std::string out;
    for (size_t i = 0; i + 4 <= t.data.size(); i += 4) {
      long v = *reinterpret_cast<const uint32_t*>(t.data.data() + i);
      out.append(reinterpret_cast<const char*>(&v), sizeof v);
    }
    return out;
  }
};

std::unique_ptr<x11_clipboard> x11_clipboard::start(const char* display_name) {
  auto p = std::make_unique<impl>();
  p->d = XOpenDisplay(display_name);
  if (!p->d) return nullptr;
  Display* d = p->d;
  p->win = XCreateSimpleWindow(d, DefaultRootWindow(d), 0, 0, 1, 1, 0, 0, 0);
  XSelectInput(d, p->win, PropertyChangeMask);
  p->a_clipboard = XInternAtom(d, "CLIPBOARD", False);
  p->a_primary = XA_PRIMARY;
  p->a_targets = XInternAtom(d, "TARGETS", False);
  p->a_utf8 = XInternAtom(d, "UTF8_STRING", False);
  p->a_text = XInternAtom(d, "TEXT", False);
  p->a_plain_utf8 = XInternAtom(d, "text/plain;charset=utf-8", False);
  p->a_incr = XInternAtom(d, "INCR", False);
  p->a_prop = XInternAtom(d, "QUIVEREX_SELECTION", False);
  p->wake_fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  XFlush(d);
  impl* raw = p.get();
  p->thread = std::thread([raw] { raw->run(); });
  return std::unique_ptr<x11_clipboard>(new x11_clipboard(std::move(p)));
}

x11_clipboard::x11_clipboard(std::unique_ptr<impl> p) : p_(std::move(p)) {}

x11_clipboard::~x11_clipboard() {
  {
    std::lock_guard<std::mutex> g(p_->lock);
    p_->stop = true;
  }
  uint64_t one = 1;
  ssize_t w = write(p_->wake_fd, &one, sizeof one);
  (void)w;
  p_->thread.join();
  XDestroyWindow(p_->d, p_->win);
  XCloseDisplay(p_->d);
  close(p_->wake_fd);
}

std::optional<std::string> x11_clipboard::get_text(unsigned selection) {
  impl* p = p_.get();
  return p->call<std::optional<std::string>>([p, selection]() -> std::optional<std::string> {
    Atom sel = selection == PLAT_SEL_PRIMARY ? p->a_primary : p->a_clipboard;
    auto t = p->convert(sel, p->a_utf8);
    if (!t) t = p->convert(sel, XA_STRING);
    if (!t) return std::nullopt;
    return t->data;
  });
}

bool x11_clipboard::set_text(const std::string& utf8, unsigned selections) {
  impl* p = p_.get();
  {
    std::lock_guard<std::mutex> g(p->lock);
    p->fetched = false;
  }
  return p->call<bool>([p, utf8, selections] {
    std::vector<saved_target> targets;
    for (Atom a : {p->a_utf8, p->a_plain_utf8, XA_STRING, p->a_text}) {
      char* name = XGetAtomName(p->d, a);
      targets.push_back(saved_target{name, a == p->a_plain_utf8 ? a : p->a_utf8, 8, utf8});
      XFree(name);
    }
    bool ok = true;
    if (selections & PLAT_SEL_CLIPBOARD) ok &= p->own(p->a_clipboard, targets);
    if (selections & PLAT_SEL_PRIMARY) ok &= p->own(p->a_primary, targets);
    return ok;
  });
}

bool x11_clipboard::wait_fetched(int timeout_ms) {
  std::unique_lock<std::mutex> g(p_->lock);
  return p_->cv.wait_for(g, std::chrono::milliseconds(timeout_ms), [this] { return p_->fetched; });
}

std::unique_ptr<plat_clipboard_backup> x11_clipboard::backup() {
  impl* p = p_.get();
  return p->call<std::unique_ptr<plat_clipboard_backup>>(
      [p]() -> std::unique_ptr<plat_clipboard_backup> {
        if (XGetSelectionOwner(p->d, p->a_clipboard) == None) return nullptr;
        auto list = p->convert(p->a_clipboard, p->a_targets);
        if (!list) return nullptr;
        auto b = std::make_unique<x11_backup>();
        for (size_t i = 0; i + 4 <= list->data.size(); i += 4) {
          Atom a = *reinterpret_cast<const uint32_t*>(list->data.data() + i);
          char* name = XGetAtomName(p->d, a);
          if (!name) continue;
          std::string n = name;
          XFree(name);
          if (is_meta_target(n)) continue;
          auto t = p->convert(p->a_clipboard, a);
          if (!t) continue;  // a target that cannot be read is left out
          t->name = n;
          b->targets.push_back(std::move(*t));
        }
        return b;
      });
}

bool x11_clipboard::restore(const plat_clipboard_backup& backup) {
  const auto* b = dynamic_cast<const x11_backup*>(&backup);
  if (!b) return false;
  impl* p = p_.get();
  std::vector<saved_target> targets;
  for (const saved_target& t : b->targets)
    targets.push_back(saved_target{t.name, t.type, t.format, impl::as_longs(t)});
  return p->call<bool>([p, targets] { return p->own(p->a_clipboard, targets); });
}
