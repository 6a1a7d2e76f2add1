// The tray icon itself: a StatusNotifier item where libayatana-appindicator is built in
// (systray_appindicator.cc), otherwise a GtkStatusIcon (systray_statusicon.cc). systray.cc
// owns the menu and the state. UI thread only.
#pragma once

#include <gtk/gtk.h>

#include <string>

// `menu` is owned by the caller and outlives the icon; `icon` is an icon name or file path.
void systray_backend_create(GtkWidget* menu, const std::string& icon);
void systray_backend_set_tooltip(const std::string& text);
void systray_backend_set_visible(bool visible);
void systray_backend_destroy();
