#include "platform/x11/x11_hotkeys.h"

#include <X11/Xlib.h>
#include <glib-unix.h>

#include "platform/vk.h"

namespace {

// A grab matches the exact modifier state, and Caps Lock and Num Lock are modifiers too: grab
// every combination of the two so the hotkey works whatever the lock keys say.
const unsigned k_lock_variants[] = {0, LockMask, Mod2Mask, LockMask | Mod2Mask};

unsigned x_mask(unsigned modifiers) {
  unsigned m = 0;
  if (modifiers & MOD_ALT) m |= Mod1Mask;
  if (modifiers & MOD_CONTROL) m |= ControlMask;
  if (modifiers & MOD_SHIFT) m |= ShiftMask;
  if (modifiers & MOD_WIN) m |= Mod4Mask;
  return m;
}

}  // namespace

x11_hotkeys::x11_hotkeys(const char* display_name) {
  d_ = XOpenDisplay(display_name);
  if (d_) watch_ = g_unix_fd_add(ConnectionNumber(d_), G_IO_IN, on_events, this);
}

x11_hotkeys::~x11_hotkeys() {
  if (watch_) g_source_remove(watch_);
  if (d_) XCloseDisplay(d_);
}

void x11_hotkeys::set_handler(platform::hotkey_func fn, void* user) {
  fn_ = fn;
  user_ = user;
}

bool x11_hotkeys::grab(int id, unsigned modifiers, uint32_t keycode) {
  if (!d_ || grabs_.count(id)) return false;
  Window root = DefaultRootWindow(d_);
  unsigned mask = x_mask(modifiers);
  x11_take_error(d_);
  for (unsigned lock : k_lock_variants)
    XGrabKey(d_, keycode, mask | lock, root, False, GrabModeAsync, GrabModeAsync);
  XSync(d_, False);
  if (x11_take_error(d_)) {
    // BadAccess: another client grabbed (part of) it. Release what we got.
    for (unsigned lock : k_lock_variants) XUngrabKey(d_, keycode, mask | lock, root);
    XSync(d_, False);
    x11_take_error(d_);
    return false;
  }
  grabs_[id] = combo{mask, keycode};
  dispatch();  // XSync may have queued events
  return true;
}

bool x11_hotkeys::ungrab(int id) {
  auto it = grabs_.find(id);
  if (!d_ || it == grabs_.end()) return false;
  for (unsigned lock : k_lock_variants)
    XUngrabKey(d_, it->second.keycode, it->second.mask | lock, DefaultRootWindow(d_));
  XSync(d_, False);
  x11_take_error(d_);
  grabs_.erase(it);
  return true;
}

gboolean x11_hotkeys::on_events(gint, GIOCondition, gpointer self) {
  static_cast<x11_hotkeys*>(self)->dispatch();
  return G_SOURCE_CONTINUE;
}

void x11_hotkeys::dispatch() {
  while (XPending(d_)) {
    XEvent e;
    XNextEvent(d_, &e);
    if (e.type != KeyPress) continue;
    unsigned state = e.xkey.state & (ShiftMask | ControlMask | Mod1Mask | Mod4Mask);
    for (const auto& [id, c] : grabs_) {
      if (c.keycode == e.xkey.keycode && c.mask == state && fn_) {
        fn_(id, user_);
        break;
      }
    }
  }
}
