// The two fonts the user chooses: one for every window of the program and one for the
// replacement-text editor. Both go into one style sheet of our own on the default screen, so
// that windows made later (message boxes, the launch pad) get them too, and loading it again
// restyles everything already on screen. UI thread only.
#include <gtk/gtk.h>

#include <string>

#include "settings/settings.h"
#include "ui/ui.h"

const char UI_REPLEDITOR_CLASS[] = "qx-repleditor";

namespace {

GtkCssProvider* g_provider = nullptr;  // (owned, lives as long as the program) UI thread

void append_quoted(std::string& css, const char* s, size_t n) {
  css += '"';
  for (size_t i = 0; i < n; i++) {
    if (s[i] == '"' || s[i] == '\\') css += '\\';
    css += s[i];
  }
  css += '"';
}

}  // namespace

std::string ui_font_css(const char* selector, const char* description) {
  PangoFontDescription* d = pango_font_description_from_string(description);
  PangoFontMask set = pango_font_description_get_set_fields(d);
  std::string body;
  const char* family = pango_font_description_get_family(d);
  if ((set & PANGO_FONT_MASK_FAMILY) && family && *family) {
    // A family missing on this system is left to fontconfig, which puts its closest match
    // in; the size still applies.
    body += "font-family: ";
    const char* start = family;
    for (const char* p = family;; p++) {
      if (*p != ',' && *p != '\0') continue;
      const char* b = start;
      const char* e = p;
      while (b < e && *b == ' ') b++;
      while (e > b && e[-1] == ' ') e--;
      if (e > b) {
        if (body.back() == '"') body += ", ";
        append_quoted(body, b, static_cast<size_t>(e - b));
      }
      if (*p == '\0') break;
      start = p + 1;
    }
    body += "; ";
    if (body == "font-family: ; ") body.clear();
  }
  int size = pango_font_description_get_size(d);
  if ((set & PANGO_FONT_MASK_SIZE) && size > 0) {
    char buf[G_ASCII_DTOSTR_BUF_SIZE];
    g_ascii_dtostr(buf, sizeof buf, static_cast<double>(size) / PANGO_SCALE);
    body +=
        std::string("font-size: ") + buf + (pango_font_description_get_size_is_absolute(d) ? "px; " : "pt; ");
  }
  // A description always carries a weight, a slant and a width, normal unless it names
  // another; normal ones are left to the theme.
  if ((set & PANGO_FONT_MASK_WEIGHT) && pango_font_description_get_weight(d) != PANGO_WEIGHT_NORMAL) {
    // The style sheet knows the hundreds from 100 to 900 only.
    int w = (pango_font_description_get_weight(d) + 50) / 100 * 100;
    body += "font-weight: " + std::to_string(w < 100 ? 100 : w > 900 ? 900 : w) + "; ";
  }
  if ((set & PANGO_FONT_MASK_STYLE) && pango_font_description_get_style(d) != PANGO_STYLE_NORMAL) {
    PangoStyle s = pango_font_description_get_style(d);
    body += std::string("font-style: ") + (s == PANGO_STYLE_ITALIC ? "italic" : "oblique") + "; ";
  }
  if ((set & PANGO_FONT_MASK_STRETCH) && pango_font_description_get_stretch(d) != PANGO_STRETCH_NORMAL) {
    // In the order of PangoStretch.
    static const char* const stretches[] = {"ultra-condensed", "extra-condensed", "condensed",
                                            "semi-condensed",  "normal",          "semi-expanded",
                                            "expanded",        "extra-expanded",  "ultra-expanded"};
    int st = pango_font_description_get_stretch(d);
    if (st >= 0 && st < 9) body += std::string("font-stretch: ") + stretches[st] + "; ";
  }
  pango_font_description_free(d);
  if (body.empty()) return "";
  return std::string(selector) + " { " + body + "}\n";
}

void ui_fonts_apply() {
  // The top nodes of our windows: plain windows and menus are "window", dialogs "dialog", a
  // message box "messagedialog" and a tooltip "tooltip". Everything inside inherits the font
  // unless the theme names one of its own.
  std::string css = ui_font_css("window, dialog, messagedialog, tooltip", setting_get("ui_font"));
  std::string repl = std::string(".") + UI_REPLEDITOR_CLASS;
  css += ui_font_css((repl + ", " + repl + " text").c_str(), setting_get("repleditor_font"));
  GdkScreen* screen = gdk_screen_get_default();
  if (!screen) return;
  if (!g_provider) {
    g_provider = gtk_css_provider_new();
    gtk_style_context_add_provider_for_screen(screen, GTK_STYLE_PROVIDER(g_provider),
                                              GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
  }
  gtk_css_provider_load_from_data(g_provider, css.c_str(), -1, nullptr);
}
