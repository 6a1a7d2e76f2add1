#include <gio/gio.h>
#include <libayatana-appindicator/app-indicator.h>

#include "ui/systray_backend.h"
#include "util/strutil.h"

namespace {
AppIndicator* g_indicator = nullptr;  // (owned) UI thread; null when the status icon is used

// The indicator is shown by a StatusNotifier host, which registers with the watcher on the
// session bus. Without a watcher the library would fall back to a tray icon of its own, and
// that fallback crashes now and then; our own tray icon serves those desktops instead.
bool status_notifier_watcher_present() {
  GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
  if (!bus) return false;
  GVariant* r = g_dbus_connection_call_sync(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                            "org.freedesktop.DBus", "NameHasOwner",
                                            g_variant_new("(s)", "org.kde.StatusNotifierWatcher"),
                                            G_VARIANT_TYPE("(b)"), G_DBUS_CALL_FLAGS_NONE, 2000, nullptr, nullptr);
  gboolean owned = FALSE;
  if (r) {
    g_variant_get(r, "(b)", &owned);
    g_variant_unref(r);
  }
  g_object_unref(bus);
  return owned;
}
}  // namespace

void systray_backend_create(GtkWidget* menu, const std::string& icon) {
  if (!status_notifier_watcher_present()) {
    statusicon_create(menu, icon);
    return;
  }
  // A file path is given as a folder to search and the icon's name in it.
  std::string name = icon;
  if (icon.find('/') != std::string::npos) {
    name = path_basename(icon);
    size_t dot = name.rfind('.');
    if (dot != std::string::npos) name.resize(dot);
  }
  g_indicator = app_indicator_new("quiverex", name.c_str(), APP_INDICATOR_CATEGORY_APPLICATION_STATUS);
  if (icon.find('/') != std::string::npos) app_indicator_set_icon_theme_path(g_indicator, path_dirname(icon).c_str());
  app_indicator_set_menu(g_indicator, GTK_MENU(menu));
}

void systray_backend_set_tooltip(const std::string& text) {
  // StatusNotifier hosts show the title where a tray would show a tooltip.
  if (g_indicator)
    app_indicator_set_title(g_indicator, text.c_str());
  else
    statusicon_set_tooltip(text);
}

void systray_backend_set_visible(bool visible) {
  if (g_indicator)
    app_indicator_set_status(g_indicator, visible ? APP_INDICATOR_STATUS_ACTIVE : APP_INDICATOR_STATUS_PASSIVE);
  else
    statusicon_set_visible(visible);
}

void systray_backend_destroy() {
  if (!g_indicator) {
    statusicon_destroy();
    return;
  }
  app_indicator_set_status(g_indicator, APP_INDICATOR_STATUS_PASSIVE);
  g_object_unref(g_indicator);
  g_indicator = nullptr;
}
