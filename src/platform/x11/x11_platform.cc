#include "platform/x11/x11_platform.h"

#include <X11/XKBlib.h>
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XInput2.h>
#include <X11/extensions/XTest.h>
#include <glib.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <xkbcommon/xkbcommon-x11.h>

#include <chrono>
#include <cstring>
#include <fstream>
#include <map>

#include "platform/keytables.h"
#include "platform/thread_queue.h"
#include "platform/x11/x11_caret.h"
#include "platform/x11/x11_clipboard.h"
#include "platform/x11/x11_hotkeys.h"
#include "platform/x11/x11_launch.h"
#include "platform/x11/x11_translate.h"
#include "util/die.h"

namespace {

int64_t now_us() {
  return std::chrono::duration_cast<std::chrono::microseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

// Another client may destroy a window between our finding and reading it, and a grab may be
// refused: X errors are expected and must never end the program. Each is recorded for the
// code that asked (x11_last_error).
std::mutex g_errors_lock;
std::map<Display*, int>& errors() {
  static auto* m = new std::map<Display*, int>;
  return *m;
}
int record_error(Display* d, XErrorEvent* e) {
  std::lock_guard<std::mutex> g(g_errors_lock);
  errors()[d] = e->error_code;
  return 0;
}

// Reads a window property as bytes; empty when absent.
std::string get_property(Display* d, Window w, Atom prop, Atom type) {
  Atom actual;
  int format;
  unsigned long n, after;
  unsigned char* data = nullptr;
  if (XGetWindowProperty(d, w, prop, 0, 1 << 16, False, type, &actual, &format, &n, &after,
                         &data) != Success ||
      !data)
    return "";
  std::string out;
  // Xlib hands 32-bit items as longs.
  size_t unit = format == 32 ? sizeof(long) : format / 8;
  if (actual != None) out.assign(reinterpret_cast<char*>(data), n * unit);
  XFree(data);
  return out;
}

Window get_window_property(Display* d, Window w, const char* name) {
  std::string v = get_property(d, w, XInternAtom(d, name, False), XA_WINDOW);
  if (v.size() < sizeof(long)) return 0;
  return static_cast<Window>(*reinterpret_cast<const long*>(v.data()));
}

// The window that carries WM_CLASS, walking up from w: focus often lands on a child of the
// application's top-level window.
Window client_window(Display* d, Window w) {
  Atom wm_class = XInternAtom(d, "WM_CLASS", False);
  for (int depth = 0; w && depth < 32; ++depth) {
    if (!get_property(d, w, wm_class, XA_STRING).empty()) return w;
    Window root, parent, *children = nullptr;
    unsigned n = 0;
    if (!XQueryTree(d, w, &root, &parent, &children, &n)) return 0;
    if (children) XFree(children);
    if (parent == root) return w;
    w = parent;
  }
  return w;
}

// Keys whose state the engine manages itself around an expansion.
bool is_modifier_or_lock(uint32_t vk) {
  vk = plat_generic_vk(vk);
  return vk == VK_SHIFT || vk == VK_CONTROL || vk == VK_MENU || vk == VK_LWIN || vk == VK_RWIN ||
         vk == VK_CAPITAL || vk == VK_NUMLOCK || vk == VK_SCROLL;
}

}  // namespace

int x11_take_error(Display* d) {
  std::lock_guard<std::mutex> g(g_errors_lock);
  auto it = errors().find(d);
  if (it == errors().end()) return 0;
  int code = it->second;
  errors().erase(it);
  return code;
}

std::unique_ptr<x11_platform> x11_platform::open(const char* display_name) {
  XInitThreads();
  Display* d = XOpenDisplay(display_name);
  if (!d) return nullptr;
  int op, ev, err, major = 2, minor = 0;
  int xkb_major = XkbMajorVersion, xkb_minor = XkbMinorVersion, xkb_op, xkb_ev, xkb_err;
  if (!XQueryExtension(d, "XInputExtension", &op, &ev, &err) ||
      XIQueryVersion(d, &major, &minor) != Success || !XTestQueryExtension(d, &ev, &err, &op, &op) ||
      !XkbQueryExtension(d, &xkb_op, &xkb_ev, &xkb_err, &xkb_major, &xkb_minor)) {
    XCloseDisplay(d);
    return nullptr;
  }
  XSetErrorHandler(record_error);
  std::unique_ptr<x11_platform> p(new x11_platform);
  p->q_ = d;
  p->xkb_event_base_ = xkb_ev;
  XkbSelectEvents(d, XkbUseCoreKbd, XkbNewKeyboardNotifyMask | XkbMapNotifyMask,
                  XkbNewKeyboardNotifyMask | XkbMapNotifyMask);
  // The group and the active window are asked for before every typed character; asking the
  // server costs a round trip each time, so both are kept from the change events instead.
  XkbSelectEventDetails(d, XkbUseCoreKbd, XkbStateNotify, XkbGroupStateMask, XkbGroupStateMask);
  p->net_active_window_ = XInternAtom(d, "_NET_ACTIVE_WINDOW", False);
  XSelectInput(d, DefaultRootWindow(d), PropertyChangeMask);
  {
    std::lock_guard<std::recursive_mutex> g(p->q_lock_);
    p->refresh_keymap_locked();
  }
  p->clipboard_ = x11_clipboard::start(display_name);
  p->hotkeys_ = std::make_unique<x11_hotkeys>(display_name);
  // The accessibility bus launcher publishes the bus address on the root window.
  x11_platform* self = p.get();
  p->caret_ = std::make_unique<x11_caret>([self] {
    std::lock_guard<std::recursive_mutex> g(self->q_lock_);
    Atom bus = XInternAtom(self->q_, "AT_SPI_BUS", True);
    return bus != None &&
           !get_property(self->q_, DefaultRootWindow(self->q_), bus, AnyPropertyType).empty();
  });
  return p;
}

x11_platform::~x11_platform() {
  caret_.reset();
  clipboard_.reset();
  hotkeys_.reset();
  std::lock_guard<std::recursive_mutex> g(q_lock_);
  // Give the lent keycodes back so the keymap is as we found it.
  for (spare_key& s : spares_) {
    if (!s.keysym) continue;
    KeySym none[2] = {NoSymbol, NoSymbol};
    XChangeKeyboardMapping(q_, s.keycode, 2, none, 1);
  }
  XSync(q_, False);
  XCloseDisplay(q_);
  if (Display* hd = hook_dpy_) XCloseDisplay(hd);
}

// ---- Keymap ----

// Keycodes the keymap leaves empty are ours to lend. A new keymap (setxkbmap) empties the
// ones we had mapped, so the list is rebuilt with every keymap; a spare that still holds what
// we put there keeps it.
void x11_platform::rescan_spares_locked() {
  std::vector<spare_key> old;
  old.swap(spares_);
  int min_kc, max_kc, per = 0;
  XDisplayKeycodes(q_, &min_kc, &max_kc);
  KeySym* syms = XGetKeyboardMapping(q_, min_kc, max_kc - min_kc + 1, &per);
  for (int kc = min_kc; syms && kc <= max_kc; ++kc) {
    KeySym first = syms[(kc - min_kc) * per];
    bool empty = true;
    for (int i = 0; i < per; ++i)
      if (syms[(kc - min_kc) * per + i] != NoSymbol) empty = false;
    spare_key s{static_cast<uint32_t>(kc)};
    bool was_ours = false;
    for (const spare_key& o : old) {
      if (o.keycode != s.keycode) continue;
      s.last_use_us = o.last_use_us;
      was_ours = o.keysym && o.keysym == first;
      if (was_ours) s.keysym = o.keysym;
    }
    if (empty || was_ours) spares_.push_back(s);
  }
  if (syms) XFree(syms);
}

void x11_platform::refresh_keymap_locked() {
  rescan_spares_locked();
  // xkbcommon reads the keymap over XCB; a short-lived connection keeps Xlib's out of it.
  xcb_connection_t* c = xcb_connect(DisplayString(q_), nullptr);
  xkb_keymap* km = nullptr;
  if (c && !xcb_connection_has_error(c) &&
      xkb_x11_setup_xkb_extension(c, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
                                  XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, nullptr,
                                  nullptr)) {
    xkb_context* ctx = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    int32_t dev = xkb_x11_get_core_keyboard_device_id(c);
    if (ctx && dev >= 0) km = xkb_x11_keymap_new_from_device(ctx, c, dev, XKB_KEYMAP_COMPILE_NO_FLAGS);
    xkb_context_unref(ctx);
  }
  if (c) xcb_disconnect(c);
  if (!km) return;
  if (tr_)
    tr_->set_keymap(km);
  else
    tr_ = std::make_unique<x11_translator>(km);
  xkb_keymap_unref(km);
  key_scan_cache_.clear();
  // The layout and variant names: the fourth and third strings of the rules-names property.
  std::string names = get_property(q_, DefaultRootWindow(q_),
                                   XInternAtom(q_, "_XKB_RULES_NAMES", False), XA_STRING);
  std::vector<std::string> parts;
  size_t start = 0;
  while (start <= names.size()) {
    size_t nul = names.find('\0', start);
    if (nul == std::string::npos) nul = names.size();
    parts.push_back(names.substr(start, nul - start));
    start = nul + 1;
  }
  xkb_layouts_ = parts.size() > 2 ? parts[2] : "us";
  xkb_variants_ = parts.size() > 3 ? parts[3] : "";
  unsigned group = current_group_locked();
  std::string name = x11_layout_name(xkb_layouts_, xkb_variants_, group);
  for (uint32_t kc = 8; kc < 256; ++kc) {
    vk_of_keycode_[kc] = x11_keycode_to_vk(tr_->keymap(), group, kc, name, true);
    vk_of_keycode_nonum_[kc] = x11_keycode_to_vk(tr_->keymap(), group, kc, name, false);
    const xkb_keysym_t* syms = nullptr;
    int n = xkb_keymap_key_get_syms_by_level(tr_->keymap(), kc, group, 0, &syms);
    switches_group_[kc] =
        n == 1 && ((syms[0] >= XKB_KEY_ISO_Lock && syms[0] <= XKB_KEY_ISO_Last_Group_Lock) ||
                   syms[0] == XKB_KEY_Mode_switch);
  }
}

// Reads what the server has sent on the shared connection, which costs no round trip: layout
// changes (setxkbmap, a new keyboard), group changes and a new active window. Our own
// remapping of spare keycodes changes nothing we translate, so it is skipped.
void x11_platform::read_events_locked() {
  while (XPending(q_)) {
    XEvent e;
    XNextEvent(q_, &e);
    if (e.type == PropertyNotify) {
      if (e.xproperty.atom == net_active_window_) active_known_ = false;
      continue;
    }
    if (e.type != xkb_event_base_) continue;
    auto* xkb = reinterpret_cast<XkbAnyEvent*>(&e);
    if (xkb->xkb_type == XkbStateNotify) {
      group_ = reinterpret_cast<XkbStateNotifyEvent*>(&e)->group;
      group_known_ = true;
    }
    if (xkb->xkb_type == XkbNewKeyboardNotify) keymap_stale_ = true;
    if (xkb->xkb_type == XkbMapNotify) {
      auto* m = reinterpret_cast<XkbMapNotifyEvent*>(&e);
      bool ours = true;
      for (int k = m->first_key_sym; k < m->first_key_sym + m->num_key_syms; ++k) {
        bool spare = false;
        for (const spare_key& s : spares_) spare |= (s.keycode == static_cast<uint32_t>(k));
        ours &= spare;
      }
      if (!ours || m->num_key_syms == 0) keymap_stale_ = true;
    }
  }
}

void x11_platform::check_keymap_events_locked() {
  // Typing asks before every character; a layout change is seen within a few milliseconds
  // anyway, so the keymap is looked at most every 5 ms.
  int64_t now = now_us();
  if (now - last_keymap_check_us_ < 5000) return;
  last_keymap_check_us_ = now;
  read_events_locked();
  if (!keymap_stale_) return;
  keymap_stale_ = false;
  refresh_keymap_locked();
}

unsigned x11_platform::current_group_locked() {
  read_events_locked();
  if (group_known_) return group_;
  XkbStateRec st;
  if (XkbGetState(q_, XkbUseCoreKbd, &st) != Success) return 0;
  group_ = st.group;
  group_known_ = true;
  return group_;
}

std::string x11_platform::layout_name_locked() {
  return x11_layout_name(xkb_layouts_, xkb_variants_, current_group_locked());
}

// ---- Threads ----

unsigned x11_platform::capabilities() {
  return PLAT_CAP_COMPOSES_DEAD_KEYS | PLAT_CAP_PRIMARY_SELECTION;
}



int x11_platform::get_message(plat_msg* out, uint32_t msg_min, uint32_t msg_max) {
  plat_queue_create();
  Display* hd = hook_dpy_;
  bool hook_thread = hd && hook_tid_ == plat_queue_thread_id();
  for (;;) {
    if (hook_thread) process_hook_events();
    if (plat_queue_take(out, msg_min, msg_max)) return out->message == WM_QUIT ? 0 : 1;
    pollfd p[2] = {{plat_queue_fd(), POLLIN, 0}, {-1, POLLIN, 0}};
    if (hook_thread) p[1].fd = ConnectionNumber(hd);
    if (poll(p, hook_thread ? 2 : 1, -1) < 0 && errno != EINTR) return -1;
    plat_queue_drain_wake();
  }
}

void x11_platform::raise_thread_priority() {
  // Real-time scheduling needs privileges most users lack; a lower nice value for this thread
  // is the most we can ask for, and a refusal is harmless.
  int r = setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), -5);
  (void)r;
}

// ---- Hooks ----

bool x11_platform::open_hook_connection() {
  if (hook_dpy_) return hook_tid_ == plat_queue_thread_id();
  Display* d = XOpenDisplay(DisplayString(q_));
  if (!d) return false;
  int ev, err, major = 2, minor = 2;
  // Raw events reach the root window without a grab only for clients that announce 2.1+.
  if (!XQueryExtension(d, "XInputExtension", &xi_opcode_, &ev, &err) ||
      XIQueryVersion(d, &major, &minor) != Success) {
    XCloseDisplay(d);
    return false;
  }
  unsigned char mask_bits[XIMaskLen(XI_LASTEVENT)] = {};
  XISetMask(mask_bits, XI_RawKeyPress);
  XISetMask(mask_bits, XI_RawKeyRelease);
  XISetMask(mask_bits, XI_RawButtonPress);
  XISetMask(mask_bits, XI_RawButtonRelease);
  XIEventMask mask{XIAllMasterDevices, sizeof mask_bits, mask_bits};
  XISelectEvents(d, DefaultRootWindow(d), &mask, 1);
  // Each master keyboard has an XTEST slave that carries faked input; the server names them so.
  xtest_devices_.clear();
  int n_devices = 0;
  if (XIDeviceInfo* devices = XIQueryDevice(d, XIAllDevices, &n_devices)) {
    for (int i = 0; i < n_devices; ++i)
      if (devices[i].use == XISlaveKeyboard && devices[i].name && strstr(devices[i].name, "XTEST"))
        xtest_devices_.push_back(devices[i].deviceid);
    XIFreeDeviceInfo(devices);
  }
  // Lock and group changes arrive here in order with the raw events.
  XkbSelectEventDetails(d, XkbUseCoreKbd, XkbStateNotify, XkbAllStateComponentsMask,
                        XkbModifierLockMask | XkbGroupStateMask);
  XkbStateRec st;
  if (XkbGetState(d, XkbUseCoreKbd, &st) == Success) {
    tracked_[VK_CAPITAL] = (st.locked_mods & LockMask) ? 1 : 0;
    tracked_[VK_NUMLOCK] = (st.locked_mods & Mod2Mask) ? 1 : 0;
    hook_group_ = st.group;
  }
  XFlush(d);
  hook_dpy_ = d;
  hook_tid_ = plat_queue_thread_id();
  tracking_ = true;
  return true;
}

bool x11_platform::install_keyboard_hook(plat_key_hook fn, void* user) {
  plat_queue_create();
  std::lock_guard<std::mutex> g(hook_lock_);
  if (!open_hook_connection()) return false;
  kb_hook_ = fn;
  kb_user_ = user;
  return true;
}

bool x11_platform::uninstall_keyboard_hook() {
  std::lock_guard<std::mutex> g(hook_lock_);
  kb_hook_ = nullptr;
  close_hook_connection_if_unused();
  return true;
}

// With both hooks gone the connection closes, so another thread may install them next.
void x11_platform::close_hook_connection_if_unused() {
  if (kb_hook_ || mouse_hook_ || !hook_dpy_ || hook_tid_ != plat_queue_thread_id()) return;
  tracking_ = false;
  XCloseDisplay(hook_dpy_.exchange(nullptr));
  hook_tid_ = 0;
  for (auto& t : tracked_) t = 0;
  for (auto& h : held_by_user_) h = false;
  std::lock_guard<std::mutex> g(injected_lock_);
  injected_.clear();
}

bool x11_platform::install_mouse_hook(plat_mouse_hook fn, void* user) {
  plat_queue_create();
  std::lock_guard<std::mutex> g(hook_lock_);
  if (!open_hook_connection()) return false;
  mouse_hook_ = fn;
  mouse_user_ = user;
  return true;
}

bool x11_platform::uninstall_mouse_hook() {
  std::lock_guard<std::mutex> g(hook_lock_);
  mouse_hook_ = nullptr;
  close_hook_connection_if_unused();
  return true;
}

// The raw events come on their own connection, behind whatever the hook thread is doing: an
// event the server has already processed (its key state changed) may still be on the way. Our
// own injected events are made processed first (a round trip on their connection), then a round
// trip on the hook's connection brings in every event up to that point, handled here.
void x11_platform::flush_hook_events() {
  Display* hd = hook_dpy_;
  if (!hd || hook_tid_ != plat_queue_thread_id()) return;
  {
    std::lock_guard<std::recursive_mutex> g(q_lock_);
    XSync(q_, False);
  }
  XSync(hd, False);
  process_hook_events();
}

void x11_platform::process_hook_events() {
  int xkb_ev = xkb_event_base_;  // the same on every connection to the server
  Display* hd = hook_dpy_;
  while (XPending(hd)) {
    XEvent e;
    XNextEvent(hd, &e);
    if (e.type == xkb_ev) {
      auto* any = reinterpret_cast<XkbAnyEvent*>(&e);
      if (any->xkb_type == XkbStateNotify) {
        auto* s = reinterpret_cast<XkbStateNotifyEvent*>(&e);
        tracked_[VK_CAPITAL] = (tracked_[VK_CAPITAL] & 0x80) | ((s->locked_mods & LockMask) ? 1 : 0);
        tracked_[VK_NUMLOCK] = (tracked_[VK_NUMLOCK] & 0x80) | ((s->locked_mods & Mod2Mask) ? 1 : 0);
        hook_group_ = s->group;
      }
      continue;
    }
    if (e.type != GenericEvent || e.xcookie.extension != xi_opcode_) continue;
    if (!XGetEventData(hd, &e.xcookie)) continue;
    auto* raw = static_cast<XIRawEvent*>(e.xcookie.data);
    int type = e.xcookie.evtype;
    if (type == XI_RawKeyPress || type == XI_RawKeyRelease) {
      handle_raw_key(raw->detail, type == XI_RawKeyPress, static_cast<uint32_t>(raw->time), raw->sourceid);
    } else if (type == XI_RawButtonPress || type == XI_RawButtonRelease) {
      bool down = type == XI_RawButtonPress;
      uint32_t msg = 0;
      if (raw->detail == 1) msg = down ? WM_LBUTTONDOWN : WM_LBUTTONUP;
      if (raw->detail == 2) msg = down ? WM_MBUTTONDOWN : WM_MBUTTONUP;
      if (raw->detail == 3) msg = down ? WM_RBUTTONDOWN : WM_RBUTTONUP;
      plat_mouse_hook fn;
      void* user;
      {
        std::lock_guard<std::mutex> g(hook_lock_);
        fn = mouse_hook_;
        user = mouse_user_;
      }
      if (msg && fn) {
        Window root, child;
        int x = 0, y = 0, wx, wy;
        unsigned mask;
        XQueryPointer(hd, DefaultRootWindow(hd), &root, &child, &x, &y, &wx, &wy,
                      &mask);
        fn(plat_mouse_event{msg, x, y}, user);
      }
    }
    XFreeEventData(hd, &e.xcookie);
  }
}

void x11_platform::handle_raw_key(uint32_t keycode, bool down, uint32_t time, int source_device) {
  if (keycode > 255) return;
  bool numlock = tracked_[VK_NUMLOCK] & 1;
  uint32_t vk;
  {
    std::lock_guard<std::recursive_mutex> g(q_lock_);
    check_keymap_events_locked();
    vk = numlock ? vk_of_keycode_[keycode] : vk_of_keycode_nonum_[keycode];
  }
  bool extended = false;
  uint32_t scan = x11_keycode_to_scan(keycode, &extended);
  if (!vk) {
    // A spare keycode we lent to a character: report it as Windows reports injected
    // Unicode, VK_PACKET with the character in the scan code.
    std::lock_guard<std::recursive_mutex> g(q_lock_);
    for (const spare_key& s : spares_) {
      if (s.keycode == keycode && s.keysym) {
        vk = VK_PACKET;
        scan = xkb_keysym_to_utf32(s.keysym);
      }
    }
  }
  uint32_t flags = (extended ? LLKHF_EXTENDED : 0) | (down ? 0 : LLKHF_UP);
  {
    // Without a list of devices every event may be ours.
    bool from_xtest = xtest_devices_.empty();
    for (int id : xtest_devices_) from_xtest = from_xtest || id == source_device;
    std::lock_guard<std::mutex> g(injected_lock_);
    if (injected_.take(keycode, down, from_xtest)) flags |= LLKHF_INJECTED;
  }
  if (!(flags & LLKHF_INJECTED)) held_by_user_[keycode] = down && vk && !is_modifier_or_lock(vk);
  bool alt = (tracked_[VK_LMENU] & 0x80) || (tracked_[VK_RMENU] & 0x80) || vk == VK_LMENU ||
             vk == VK_RMENU;
  bool ctrl = (tracked_[VK_LCONTROL] & 0x80) || (tracked_[VK_RCONTROL] & 0x80);
  bool sys = alt && !ctrl;
  plat_key_event ev{down ? (sys ? WM_SYSKEYDOWN : WM_KEYDOWN) : (sys ? WM_SYSKEYUP : WM_KEYUP),
                    vk, scan, flags, time};
  plat_key_hook fn;
  void* user;
  {
    std::lock_guard<std::mutex> g(hook_lock_);
    fn = kb_hook_;
    user = kb_user_;
  }
  if (fn && vk) fn(ev, user);
  // The state the hook saw excluded this key; the next event sees it.
  if (vk) {
    uint8_t old = tracked_[vk];
    tracked_[vk] = down ? (old | 0x80) : (old & 0x7F);
    auto either = [this](uint32_t generic, uint32_t l, uint32_t r) {
      bool d = (tracked_[l] & 0x80) || (tracked_[r] & 0x80);
      tracked_[generic] = d ? (tracked_[generic] | 0x80) : (tracked_[generic] & 0x7F);
    };
    either(VK_SHIFT, VK_LSHIFT, VK_RSHIFT);
    either(VK_CONTROL, VK_LCONTROL, VK_RCONTROL);
    either(VK_MENU, VK_LMENU, VK_RMENU);
  }
}

// ---- Keyboard state ----

bool x11_platform::get_keyboard_state(uint8_t state[256]) {
  if (tracking_) {
    for (int i = 0; i < 256; ++i) state[i] = tracked_[i];
    return true;
  }
  for (int i = 0; i < 256; ++i) state[i] = 0;
  for (uint32_t vk = 1; vk < 256; ++vk) {
    int16_t s = get_key_state(vk);
    state[vk] = ((s & 0x8000) ? 0x80 : 0) | (s & 1);
  }
  return true;
}

int16_t x11_platform::get_key_state(uint32_t vk) {
  if (vk > 255) return 0;
  if (tracking_) {
    uint8_t s = tracked_[vk];
    return static_cast<int16_t>(((s & 0x80) ? 0x8000 : 0) | (s & 1));
  }
  int16_t s = get_async_key_state(vk);
  if (vk == VK_CAPITAL || vk == VK_NUMLOCK) {
    std::lock_guard<std::recursive_mutex> g(q_lock_);
    XkbStateRec st;
    if (XkbGetState(q_, XkbUseCoreKbd, &st) == Success &&
        (st.locked_mods & (vk == VK_CAPITAL ? LockMask : Mod2Mask)))
      s |= 1;
  }
  return s;
}

int16_t x11_platform::get_async_key_state(uint32_t vk) {
  if (vk > 255) return 0;
  std::lock_guard<std::recursive_mutex> g(q_lock_);
  char keys[32];
  XQueryKeymap(q_, keys);
  for (uint32_t kc = 8; kc < 256; ++kc) {
    if (!(keys[kc / 8] & (1 << (kc % 8)))) continue;
    uint32_t k = vk_of_keycode_[kc];
    bool generic_match = (vk == VK_SHIFT && (k == VK_LSHIFT || k == VK_RSHIFT)) ||
                         (vk == VK_CONTROL && (k == VK_LCONTROL || k == VK_RCONTROL)) ||
                         (vk == VK_MENU && (k == VK_LMENU || k == VK_RMENU));
    if (k == vk || generic_match || vk_of_keycode_nonum_[kc] == vk)
      return static_cast<int16_t>(0x8000);
  }
  return 0;
}

// ---- Layout and translation ----

plat_layout x11_platform::window_layout(plat_window) {
  // X has one keyboard state for every application; the layout is its group.
  std::lock_guard<std::recursive_mutex> g(q_lock_);
  return current_group_locked() + 1;
}

uint16_t x11_platform::layout_language(plat_layout layout) {
  return plat_layout_language_id(layout_name(layout));
}

std::string x11_platform::layout_name(plat_layout layout) {
  std::lock_guard<std::recursive_mutex> g(q_lock_);
  check_keymap_events_locked();
  unsigned group = layout ? static_cast<unsigned>(layout - 1) : current_group_locked();
  return x11_layout_name(xkb_layouts_, xkb_variants_, group);
}

int x11_platform::to_unicode(uint32_t vk, uint32_t scan, const uint8_t state[256],
                             std::string* utf8_out, plat_layout layout) {
  std::lock_guard<std::recursive_mutex> g(q_lock_);
  check_keymap_events_locked();
  utf8_out->clear();
  if (!tr_) return 0;
  uint32_t keycode = 0;
  // The scan code names the key; the extended keys are told apart by their virtual key.
  bool ext_vk = vk == VK_RCONTROL || vk == VK_RMENU || vk == VK_DIVIDE || vk == VK_HOME ||
                vk == VK_UP || vk == VK_PRIOR || vk == VK_LEFT || vk == VK_RIGHT ||
                vk == VK_END || vk == VK_DOWN || vk == VK_NEXT || vk == VK_INSERT ||
                vk == VK_DELETE || vk == VK_LWIN || vk == VK_RWIN || vk == VK_APPS ||
                vk == VK_NUMLOCK;
  if (scan) keycode = x11_scan_to_keycode(scan, ext_vk);
  if (!keycode) keycode = keycode_for_vk_locked(vk, false);
  if (!keycode) return 0;
  unsigned group = layout ? static_cast<unsigned>(layout - 1)
                          : (tracking_ ? hook_group_.load() : current_group_locked());
  return tr_->translate(keycode, state, group, utf8_out);
}

int16_t x11_platform::vk_key_scan(char32_t ch, plat_layout layout) {
  std::lock_guard<std::recursive_mutex> g(q_lock_);
  check_keymap_events_locked();
  if (!tr_) return -1;
  unsigned group = layout ? static_cast<unsigned>(layout - 1) : current_group_locked();
  // The typing engine asks once per character; searching the keymap costs far more than
  // the injection itself.
  auto cached = key_scan_cache_.find({group, ch});
  if (cached != key_scan_cache_.end()) return cached->second;
  uint32_t keycode = 0;
  int shift = 0;
  int16_t result = -1;
  if (tr_->find_char(ch, group, &keycode, &shift) && vk_of_keycode_[keycode])
    result = static_cast<int16_t>((shift << 8) | vk_of_keycode_[keycode]);
  key_scan_cache_[{group, ch}] = result;
  return result;
}

uint32_t x11_platform::map_virtual_key(uint32_t code, unsigned map_type, plat_layout) {
  std::lock_guard<std::recursive_mutex> g(q_lock_);
  check_keymap_events_locked();
  std::string name = layout_name_locked();
  bool ext = false;
  switch (map_type) {
    case MAPVK_VK_TO_VSC:
      return plat_vk_to_scan(name, code, &ext);
    case MAPVK_VSC_TO_VK:
    case MAPVK_VSC_TO_VK_EX: {
      uint32_t kc = x11_scan_to_keycode(code & 0xFF, (code & 0xFF00) == 0xE000);
      uint32_t vk = kc ? vk_of_keycode_[kc] : 0;
      return map_type == MAPVK_VSC_TO_VK ? plat_generic_vk(vk) : vk;
    }
    case MAPVK_VK_TO_CHAR: {
      uint32_t kc = keycode_for_vk_locked(code, false);
      if (!kc || !tr_) return 0;
      const xkb_keysym_t* syms = nullptr;
      if (xkb_keymap_key_get_syms_by_level(tr_->keymap(), kc, current_group_locked(), 0, &syms) !=
          1)
        return 0;
      uint32_t ch = xkb_keysym_to_utf32(syms[0]);
      if (ch == 0) return 0;
      return g_unichar_toupper(ch);
    }
    default:
      return 0;
  }
}

// ---- Injection ----

uint32_t x11_platform::keycode_for_vk_locked(uint32_t vk, bool extended) {
  vk = plat_sided_vk(vk, extended);
  for (uint32_t kc = 8; kc < 256; ++kc)
    if (vk_of_keycode_[kc] == vk) return kc;
  for (uint32_t kc = 8; kc < 256; ++kc)
    if (vk_of_keycode_nonum_[kc] == vk) return kc;
  return 0;
}

void x11_platform::fake_key_locked(uint32_t keycode, bool down) {
  if (tracking_) {
    std::lock_guard<std::mutex> g(injected_lock_);
    injected_.sent(keycode, down);
  }
  XTestFakeKeyEvent(q_, keycode, down ? True : False, CurrentTime);
}

// Types a character the layout lacks by lending it a spare keycode. The client needs time to
// fetch the changed mapping before the key arrives and must still find it mapped when it
// handles the key, so a spare is never remapped within 20 ms of its last use, and a character
// that already has a spare keeps it.
void x11_platform::type_unicode_locked(char32_t ch) {
  if (spares_.empty()) return;
  xkb_keysym_t sym = xkb_utf32_to_keysym(ch);
  if (sym == XKB_KEY_NoSymbol) return;
  spare_key* use = nullptr;
  for (spare_key& s : spares_)
    if (s.keysym == sym) use = &s;
  bool remapped = false;
  if (!use) {
    use = &spares_[0];
    for (spare_key& s : spares_)
      if (s.last_use_us < use->last_use_us) use = &s;
    int64_t wait = use->last_use_us + 20000 - now_us();
    if (wait > 0) {
      XFlush(q_);
      g_usleep(wait);
    }
    KeySym syms[2] = {sym, sym};
    XChangeKeyboardMapping(q_, use->keycode, 2, syms, 1);
    use->keysym = sym;
    remapped = true;
  }
  if (remapped) {
    // Let clients see the new mapping before the key.
    XSync(q_, False);
    g_usleep(5000);
  }
  fake_key_locked(use->keycode, true);
  fake_key_locked(use->keycode, false);
  use->last_use_us = now_us();
}

unsigned x11_platform::send_input(const plat_input* inputs, unsigned n) {
  std::lock_guard<std::recursive_mutex> g(q_lock_);
  check_keymap_events_locked();
  unsigned done = 0;
  for (unsigned i = 0; i < n; ++i) {
    const plat_input& in = inputs[i];
    bool up = in.flags & KEYEVENTF_KEYUP;
    if (in.flags & KEYEVENTF_UNICODE) {
      // The character is typed whole on its (last) key-down; key-ups carry nothing more.
      char32_t unit = in.scan & 0xFFFF;
      ++done;
      if (up) continue;
      if (unit >= 0xD800 && unit < 0xDC00) {
        pending_high_surrogate_ = unit;
        continue;
      }
      char32_t ch = unit;
      if (unit >= 0xDC00 && unit < 0xE000) {
        if (!pending_high_surrogate_) continue;
        ch = 0x10000 + ((pending_high_surrogate_ - 0xD800) << 10) + (unit - 0xDC00);
      }
      pending_high_surrogate_ = 0;
      if (ch) type_unicode_locked(ch);
      continue;
    }
    uint32_t kc = 0;
    if (in.flags & KEYEVENTF_SCANCODE)
      kc = x11_scan_to_keycode(in.scan & 0xFF, in.flags & KEYEVENTF_EXTENDEDKEY);
    if (!kc) kc = keycode_for_vk_locked(in.vk, in.flags & KEYEVENTF_EXTENDEDKEY);
    if (!kc) continue;
    // The server drops a press of a key that is already down: typically the abbreviation's
    // last key, which the user still holds while the replacement starts. Letting go of it
    // first makes ours a press of its own.
    if (!up && held_by_user_[kc].exchange(false)) fake_key_locked(kc, false);
    if (up) held_by_user_[kc] = false;
    // Our own layout switch must count for the next character at once, before its event.
    if (switches_group_[kc]) group_known_ = false;
    fake_key_locked(kc, !up);
    ++done;
  }
  XFlush(q_);
  return done;
}

void x11_platform::send_key(uint32_t vk, uint32_t scan, uint32_t flags) {
  plat_input in{vk, scan, flags};
  send_input(&in, 1);
}

bool x11_platform::post_char(plat_window, char32_t ch) {
  plat_input in[2] = {{0, static_cast<uint32_t>(ch), KEYEVENTF_UNICODE},
                      {0, static_cast<uint32_t>(ch), KEYEVENTF_UNICODE | KEYEVENTF_KEYUP}};
  if (ch > 0xFFFF) return false;
  return send_input(in, 2) == 2;
}

// ---- Windows ----

plat_window x11_platform::foreground_window() {
  std::lock_guard<std::recursive_mutex> g(q_lock_);
  Window root = DefaultRootWindow(q_);
  read_events_locked();
  if (!active_known_) {
    active_ = get_window_property(q_, root, "_NET_ACTIVE_WINDOW");
    active_known_ = true;
  }
  if (active_) return active_;
  // Without a window manager there is no _NET_ACTIVE_WINDOW: use the focus window, which is
  // PointerRoot or None when nothing has the focus.
  Window focus;
  int revert;
  XGetInputFocus(q_, &focus, &revert);
  if (focus == None || focus == PointerRoot || focus == root) return 0;
  return client_window(q_, focus);
}

std::string x11_platform::window_class(plat_window w, size_t max_len) {
  if (!w) return "";
  std::lock_guard<std::recursive_mutex> g(q_lock_);
  Window c = client_window(q_, w);
  XClassHint hint{};
  std::string out;
  if (c && XGetClassHint(q_, c, &hint)) {
    if (hint.res_class) out = hint.res_class;
    if (hint.res_name) XFree(hint.res_name);
    if (hint.res_class) XFree(hint.res_class);
  }
  return out.substr(0, max_len);
}

std::string x11_platform::window_title(plat_window w, size_t max_len) {
  if (!w) return "";
  std::lock_guard<std::recursive_mutex> g(q_lock_);
  Window c = client_window(q_, w);
  std::string t = get_property(q_, c, XInternAtom(q_, "_NET_WM_NAME", False),
                               XInternAtom(q_, "UTF8_STRING", False));
  if (t.empty()) t = get_property(q_, c, XA_WM_NAME, AnyPropertyType);
  if (t.size() > max_len) {
    // Cut at a character boundary.
    const char* end = g_utf8_find_prev_char(t.c_str(), t.c_str() + max_len + 1);
    t.resize(end ? end - t.c_str() : 0);
  }
  return t;
}

plat_window x11_platform::window_parent(plat_window w) {
  std::lock_guard<std::recursive_mutex> g(q_lock_);
  Window root, parent, *children = nullptr;
  unsigned n = 0;
  if (!w || !XQueryTree(q_, w, &root, &parent, &children, &n)) return 0;
  if (children) XFree(children);
  return parent == root ? 0 : parent;
}

uint32_t x11_platform::window_process_id(plat_window w) {
  if (!w) return 0;
  std::lock_guard<std::recursive_mutex> g(q_lock_);
  std::string v = get_property(q_, client_window(q_, w), XInternAtom(q_, "_NET_WM_PID", False),
                               XA_CARDINAL);
  if (v.size() < sizeof(long)) return 0;
  return static_cast<uint32_t>(*reinterpret_cast<const long*>(v.data()));
}

std::string x11_platform::window_process_name(plat_window w) {
  uint32_t pid = window_process_id(w);
  if (!pid) return "";
  std::ifstream comm("/proc/" + std::to_string(pid) + "/comm");
  std::string name;
  std::getline(comm, name);
  return name;
}

plat_window x11_platform::find_top_level_window(const std::string& cls) {
  std::lock_guard<std::recursive_mutex> g(q_lock_);
  Window root = DefaultRootWindow(q_);
  std::string list = get_property(q_, root, XInternAtom(q_, "_NET_CLIENT_LIST", False), XA_WINDOW);
  for (size_t i = 0; i + sizeof(long) <= list.size(); i += sizeof(long)) {
    Window w = static_cast<Window>(*reinterpret_cast<const long*>(list.data() + i));
    if (window_class(w, 1024) == cls) return w;
  }
  return 0;
}

bool x11_platform::window_rect(plat_window w, plat_rect* out) {
  std::lock_guard<std::recursive_mutex> g(q_lock_);
  XWindowAttributes a;
  if (!w || !XGetWindowAttributes(q_, w, &a)) return false;
  int x, y;
  Window child;
  XTranslateCoordinates(q_, w, DefaultRootWindow(q_), 0, 0, &x, &y, &child);
  *out = plat_rect{x, y, x + a.width, y + a.height};
  return true;
}

plat_window x11_platform::focus_window() {
  std::lock_guard<std::recursive_mutex> g(q_lock_);
  Window focus;
  int revert;
  XGetInputFocus(q_, &focus, &revert);
  if (focus == None || focus == PointerRoot) return 0;
  return focus;
}

bool x11_platform::caret_rect(plat_rect* out) {
  // X has no caret; only applications that speak to the accessibility bus report one.
  plat_rect r;
  uint32_t pid = 0;
  if (!caret_ || !caret_->query(&r, &pid)) return false;
  // The focused text object may belong to a window that has since lost the foreground to one
  // that reports nothing (a terminal): then there is no caret to show.
  plat_window fg = foreground_window();
  plat_rect w;
  if (!fg || window_process_id(fg) != pid || !window_rect(fg, &w)) return false;
  if (r.left < w.left || r.left >= w.right || r.top < w.top || r.top >= w.bottom) return false;
  *out = r;
  return true;
}

bool x11_platform::attach_thread_input(plat_window, bool) { return true; }

void x11_platform::move_pointer(int x, int y) {
  std::lock_guard<std::recursive_mutex> g(q_lock_);
  XWarpPointer(q_, None, DefaultRootWindow(q_), 0, 0, 0, 0, x, y);
  XFlush(q_);
}

// ---- Clipboard, hotkeys, launching, sound ----

std::optional<std::string> x11_platform::clipboard_get_text(unsigned selection) {
  return clipboard_ ? clipboard_->get_text(selection) : std::nullopt;
}

bool x11_platform::clipboard_set_text(const std::string& utf8, unsigned selections, int, int) {
  return clipboard_ && clipboard_->set_text(utf8, selections);
}

bool x11_platform::clipboard_wait_fetched(int timeout_ms) {
  return clipboard_ && clipboard_->wait_fetched(timeout_ms);
}

std::unique_ptr<plat_clipboard_backup> x11_platform::clipboard_backup(int, int) {
  return clipboard_ ? clipboard_->backup() : nullptr;
}

bool x11_platform::clipboard_restore(const plat_clipboard_backup& backup, int, int) {
  return clipboard_ && clipboard_->restore(backup);
}

void x11_platform::set_hotkey_handler(hotkey_func fn, void* user) {
  if (hotkeys_) hotkeys_->set_handler(fn, user);
}

bool x11_platform::register_hotkey(int id, unsigned modifiers, uint32_t vk) {
  uint32_t kc;
  {
    std::lock_guard<std::recursive_mutex> g(q_lock_);
    check_keymap_events_locked();
    kc = keycode_for_vk_locked(vk, false);
  }
  return kc && hotkeys_ && hotkeys_->grab(id, modifiers, kc);
}

bool x11_platform::unregister_hotkey(int id) { return hotkeys_ && hotkeys_->ungrab(id); }

bool x11_platform::launch(const plat_launch& what) { return x11_launch(what); }

std::vector<plat_browser> x11_platform::list_browsers() { return x11_list_browsers(); }

void x11_platform::play_expansion_sound() { x11_play_sound(); }
