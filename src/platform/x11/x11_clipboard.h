// CLIPBOARD and PRIMARY for the X11 backend.
//
// X selections are served by their owner: while we own one, every paste in another application
// is a request that our connection must answer. So the selections live on a thread of their
// own, with their own connection; the public methods hand jobs to that thread and wait for
// them. Thread-safe.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/platform.h"

class x11_clipboard {
 public:
  // Null when the display cannot be opened.
  static std::unique_ptr<x11_clipboard> start(const char* display_name);
  ~x11_clipboard();

  std::optional<std::string> get_text(unsigned selection);
  bool set_text(const std::string& utf8, unsigned selections);
  // True once another client has read the text set last (a request for a text target).
  bool wait_fetched(int timeout_ms);
  // Every target the CLIPBOARD owner offers, with its data; null when nobody owns it or it does
  // not answer.
  std::unique_ptr<plat_clipboard_backup> backup();
  // Takes CLIPBOARD and serves the saved targets.
  bool restore(const plat_clipboard_backup& backup);

  struct impl;

 private:
  explicit x11_clipboard(std::unique_ptr<impl> p);
  std::unique_ptr<impl> p_;
};
