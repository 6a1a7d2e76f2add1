// The tray icon itself. With libayatana-appindicator built in and a StatusNotifier host on the
// session bus, a StatusNotifier item (systray_appindicator.cc); otherwise a GtkStatusIcon for XEmbed trays
// (systray_statusicon.cc, which systray_plain.cc uses alone when the library is not built
// in). systray.cc owns the menu and the state. UI thread only.
#pragma once

#include <gtk/gtk.h>

#include <string>

// `menu` is owned by the caller and outlives the icon; `icon` is an icon name or file path.
void systray_backend_create(GtkWidget* menu, const std::string& icon);
void systray_backend_set_tooltip(const std::string& text);
void systray_backend_set_visible(bool visible);
void systray_backend_destroy();

// The same for the GtkStatusIcon.
void statusicon_create(GtkWidget* menu, const std::string& icon);
void statusicon_set_tooltip(const std::string& text);
void statusicon_set_visible(bool visible);
void statusicon_destroy();
