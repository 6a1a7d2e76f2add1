// Global hotkeys for the X11 backend: passive key grabs on the root window, delivered through
// the GLib main loop of the thread that made the object (the UI thread). Used from that thread
// only.
#pragma once

#include <glib.h>

#include <cstdint>
#include <map>

#include "platform/platform.h"

typedef struct _XDisplay Display;

// The error code X reported last for requests on that connection (0: none), and forgets it.
int x11_take_error(Display* d);

class x11_hotkeys {
 public:
  explicit x11_hotkeys(const char* display_name);
  ~x11_hotkeys();
  void set_handler(platform::hotkey_func fn, void* user);
  // MOD_* modifiers on an X keycode. False when another client holds the combination.
  bool grab(int id, unsigned modifiers, uint32_t keycode);
  bool ungrab(int id);

 private:
  static gboolean on_events(gint fd, GIOCondition cond, gpointer self);
  void dispatch();

  Display* d_ = nullptr;
  guint watch_ = 0;
  platform::hotkey_func fn_ = nullptr;
  void* user_ = nullptr;
  struct combo {
    unsigned mask;
    uint32_t keycode;
  };
  std::map<int, combo> grabs_;
};
