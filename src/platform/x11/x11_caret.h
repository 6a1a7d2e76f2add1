// The text caret of other applications, as they report it on the accessibility bus. X itself
// knows no caret; GTK, Qt and the browsers tell the accessibility registry which text object
// has the focus and where its characters are.
//
// Everything here runs on the thread that runs the default GLib main context (the UI thread):
// the bus connection is dispatched from that context, and its focus events arrive there. On any
// other thread query() answers false without touching the bus, so the hook thread never waits
// for another application.
#pragma once

#include <glib.h>

#include <cstdint>
#include <functional>

#include "platform/platform.h"

typedef struct _AtspiAccessible AtspiAccessible;
typedef struct _AtspiEventListener AtspiEventListener;
typedef struct _AtspiEvent AtspiEvent;

class x11_caret {
 public:
  // `bus_advertised` tells whether an accessibility bus runs on this display; without one the
  // bus is never contacted, so nothing is started on the user's behalf. Connecting waits for
  // the default main context to run.
  explicit x11_caret(std::function<bool()> bus_advertised);
  ~x11_caret();
  x11_caret(const x11_caret&) = delete;
  x11_caret& operator=(const x11_caret&) = delete;

  // The caret of the focused text object in screen coordinates and the id of the process
  // that owns it. False without a bus, without a focused text object, when the application
  // does not answer in time, or off the main context's thread.
  bool query(plat_rect* out, uint32_t* pid);

 private:
  static gboolean on_idle(gpointer self);
  static void on_focus(AtspiEvent* e, void* self);
  bool connect();

  std::function<bool()> bus_advertised_;
  guint idle_ = 0;
  bool connected_ = false;
  AtspiEventListener* listener_ = nullptr;  // owned
  AtspiAccessible* focused_ = nullptr;      // owned; the object that took the focus last
};
