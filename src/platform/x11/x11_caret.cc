#include "platform/x11/x11_caret.h"

#include <atspi/atspi.h>
#include <unistd.h>

namespace {

// A hung application must not freeze the preview: every call to it gives up after this long.
constexpr int k_call_timeout_ms = 250;

}  // namespace

x11_caret::x11_caret(std::function<bool()> bus_advertised)
    : bus_advertised_(std::move(bus_advertised)) {
  // Only a thread that runs the default main context will ever dispatch the bus; connecting
  // from an idle callback makes sure one does, and that it is that thread.
  idle_ = g_idle_add(on_idle, this);
}

x11_caret::~x11_caret() {
  if (idle_) g_source_remove(idle_);
  if (listener_) {
    atspi_event_listener_deregister(listener_, "object:state-changed:focused", nullptr);
    g_object_unref(listener_);
  }
  if (focused_) g_object_unref(focused_);
}

gboolean x11_caret::on_idle(gpointer self) {
  auto* c = static_cast<x11_caret*>(self);
  c->idle_ = 0;
  c->connect();
  return G_SOURCE_REMOVE;
}

bool x11_caret::connect() {
  if (connected_) return true;
  // Without an advertised bus the library would ask the session bus to start one.
  if (!bus_advertised_()) return false;
  if (atspi_init() > 1) return false;
  atspi_set_timeout(k_call_timeout_ms, k_call_timeout_ms);
  listener_ = atspi_event_listener_new(on_focus, this, nullptr);
  if (!atspi_event_listener_register(listener_, "object:state-changed:focused", nullptr)) {
    g_object_unref(listener_);
    listener_ = nullptr;
    return false;
  }
  connected_ = true;
  return true;
}

void x11_caret::on_focus(AtspiEvent* e, void* self) {
  auto* c = static_cast<x11_caret*>(self);
  if (e->source && e->detail1) {
    if (c->focused_) g_object_unref(c->focused_);
    c->focused_ = static_cast<AtspiAccessible*>(g_object_ref(e->source));
  } else if (e->source && e->source == c->focused_) {
    g_object_unref(c->focused_);
    c->focused_ = nullptr;
  }
  // The event is ours to free.
  g_boxed_free(ATSPI_TYPE_EVENT, e);
}

bool x11_caret::query(plat_rect* out, uint32_t* pid) {
  if (!g_main_context_is_owner(g_main_context_default())) return false;
  // The bus may have come up after us; the next focus change is then seen.
  if (!connect() || !focused_) return false;
  AtspiText* text = atspi_accessible_get_text_iface(focused_);
  if (!text) return false;
  bool ok = false;
  GError* err = nullptr;
  *pid = atspi_accessible_get_process_id(focused_, &err);
  // Asking ourselves would wait on our own blocked main loop until the time-out.
  if (!err && *pid != static_cast<uint32_t>(getpid())) {
    int offset = atspi_text_get_caret_offset(text, &err);
    AtspiRect* r = err || offset < 0 ? nullptr
                                     : atspi_text_get_character_extents(
                                           text, offset, ATSPI_COORD_TYPE_SCREEN, &err);
    // A caret after the last character has no width, and some toolkits report an unknown
    // position as all zeros or negative.
    if (r && !err && r->height > 0 && (r->x > 0 || r->y > 0)) {
      *out = plat_rect{r->x, r->y, r->x + r->width, r->y + r->height};
      ok = true;
    }
    if (r) g_free(r);
  }
  if (err) g_error_free(err);
  g_object_unref(text);
  return ok;
}
