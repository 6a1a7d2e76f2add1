// The preferences window: every preference a user changes, on five pages. The widgets are
// filled from the preferences when the window opens; OK writes them back and saves, Cancel
// drops them. UI thread only.
#include <gtk/gtk.h>

#include <string>
#include <vector>

#include "core/app.h"
#include "core/msgbox.h"
#include "library/abbr.h"
#include "platform/vk.h"
#include "settings/hotkey_text.h"
#include "settings/prefs.h"
#include "settings/settings.h"
#include "ui/ui.h"

GtkWidget* ui_main_window_widget();

namespace {

// One widget bound to one preference. UI thread only.
struct bound {
  enum kind { CHECK, ENTRY, SPIN, CASE_COMBO, TRIGGER_COMBO, FOLDER, FONT } k;
  const char* key;
  GtkWidget* w;
};

struct hotkey_row {
  const char* key;
  const char* enable_key;
  const char* label;
  GtkWidget* entry;
  GtkWidget* enable;
  GtkWidget* warning;
  std::string codes;
};

// (owned by GTK) UI thread only.
struct prefs_win {
  GtkWidget* window = nullptr;
  std::vector<bound> fields;
  std::vector<hotkey_row> hotkeys;
  GtkWidget* trigger = nullptr;
  GtkWidget* delims = nullptr;
  GtkWidget* light = nullptr;
  GtkWidget* turbo = nullptr;
  GtkWidget* start_with_system = nullptr;
  GtkWidget* proxy_password = nullptr;
};
prefs_win* W = nullptr;

const unsigned TRIGGER_KEYS[] = {VK_CONTROL, VK_SHIFT, VK_MENU, VK_TAB, VK_RETURN, VK_SPACE, VK_INSERT};

// The word-ending characters with line feed and tab written as \n and \t (and a backslash
// doubled), so that they can be edited on one line.
std::string delims_to_line(const std::string& s) {
  std::string out;
  for (char c : s) {
    if (c == '\n') out += "\\n";
    else if (c == '\t') out += "\\t";
    else if (c == '\\') out += "\\\\";
    else out += c;
  }
  return out;
}

std::string delims_from_line(const std::string& s) {
  std::string out;
  for (size_t i = 0; i < s.size(); i++) {
    if (s[i] == '\\' && i + 1 < s.size()) {
      char n = s[++i];
      out += n == 'n' ? '\n' : n == 't' ? '\t' : n;
    } else {
      out += s[i];
    }
  }
  return out;
}

GtkWidget* page(GtkWidget* notebook, const char* title) {
  GtkWidget* g = gtk_grid_new();
  gtk_grid_set_row_spacing(GTK_GRID(g), 8);
  gtk_grid_set_column_spacing(GTK_GRID(g), 10);
  gtk_container_set_border_width(GTK_CONTAINER(g), 12);
  gtk_notebook_append_page(GTK_NOTEBOOK(notebook), g, gtk_label_new_with_mnemonic(title));
  return g;
}

int next_row(GtkWidget* g) {
  int rows = 0;
  for (GList* l = gtk_container_get_children(GTK_CONTAINER(g)), *it = l; it; it = it->next) {
    int top, height;
    gtk_container_child_get(GTK_CONTAINER(g), GTK_WIDGET(it->data), "top-attach", &top, "height", &height, nullptr);
    rows = std::max(rows, top + height);
    if (!it->next) g_list_free(l);
  }
  return rows;
}

void row(GtkWidget* g, const char* label, GtkWidget* w) {
  int r = next_row(g);
  if (label) {
    GtkWidget* l = gtk_label_new_with_mnemonic(label);
    gtk_label_set_xalign(GTK_LABEL(l), 0.0f);
    gtk_label_set_mnemonic_widget(GTK_LABEL(l), w);
    gtk_grid_attach(GTK_GRID(g), l, 0, r, 1, 1);
    gtk_grid_attach(GTK_GRID(g), w, 1, r, 1, 1);
  } else {
    gtk_grid_attach(GTK_GRID(g), w, 0, r, 2, 1);
  }
}

void heading(GtkWidget* g, const char* text) {
  GtkWidget* l = gtk_label_new(nullptr);
  char* markup = g_markup_printf_escaped("<b>%s</b>", text);
  gtk_label_set_markup(GTK_LABEL(l), markup);
  g_free(markup);
  gtk_label_set_xalign(GTK_LABEL(l), 0.0f);
  if (next_row(g) > 0) gtk_widget_set_margin_top(l, 8);
  row(g, nullptr, l);
}

GtkWidget* check(GtkWidget* g, const char* key, const char* label) {
  GtkWidget* c = gtk_check_button_new_with_mnemonic(label);
  gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(c), setting_get_int(key) != 0);
  W->fields.push_back({bound::CHECK, key, c});
  row(g, nullptr, c);
  return c;
}

// Two choices of one setting; gives back the second, active when `second` is true.
GtkWidget* radio_pair(GtkWidget* g, const char* first_label, const char* second_label, bool second) {
  GtkWidget* first = gtk_radio_button_new_with_mnemonic(nullptr, first_label);
  GtkWidget* other = gtk_radio_button_new_with_mnemonic_from_widget(GTK_RADIO_BUTTON(first), second_label);
  gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(other), second);
  row(g, nullptr, first);
  row(g, nullptr, other);
  return other;
}

GtkWidget* text(GtkWidget* g, const char* key, const char* label) {
  GtkWidget* e = gtk_entry_new();
  gtk_widget_set_hexpand(e, TRUE);
  gtk_entry_set_text(GTK_ENTRY(e), setting_get(key));
  W->fields.push_back({bound::ENTRY, key, e});
  row(g, label, e);
  return e;
}

GtkWidget* spin(GtkWidget* g, const char* key, const char* label, int lo, int hi) {
  GtkWidget* s = gtk_spin_button_new_with_range(lo, hi, 1);
  gtk_spin_button_set_value(GTK_SPIN_BUTTON(s), setting_get_int(key));
  gtk_widget_set_halign(s, GTK_ALIGN_START);
  W->fields.push_back({bound::SPIN, key, s});
  row(g, label, s);
  return s;
}

GtkWidget* folder(GtkWidget* g, const char* key, const char* label) {
  GtkWidget* b = gtk_file_chooser_button_new("Choose a folder", GTK_FILE_CHOOSER_ACTION_SELECT_FOLDER);
  gtk_widget_set_hexpand(b, TRUE);
  if (*setting_get(key)) gtk_file_chooser_set_filename(GTK_FILE_CHOOSER(b), setting_get(key));
  W->fields.push_back({bound::FOLDER, key, b});
  row(g, label, b);
  return b;
}

GtkWidget* font(GtkWidget* g, const char* key, const char* label) {
  GtkWidget* b = gtk_font_button_new();
  gtk_font_chooser_set_font(GTK_FONT_CHOOSER(b), setting_get(key));
  gtk_font_button_set_use_font(GTK_FONT_BUTTON(b), TRUE);
  gtk_widget_set_halign(b, GTK_ALIGN_START);
  W->fields.push_back({bound::FONT, key, b});
  row(g, label, b);
  return b;
}

GtkWidget* mode_combo(GtkWidget* g, bound::kind k, const char* key, const char* label) {
  GtkWidget* c = gtk_combo_box_text_new();
  const uint32_t* order = k == bound::CASE_COMBO ? abbr_case_mode_menu_order : abbr_trigger_mode_menu_order;
  uint32_t current = k == bound::CASE_COMBO ? static_cast<uint32_t>(prefs_get_default_case_mode(0))
                                            : static_cast<uint32_t>(prefs_get_default_trigger_mode());
  for (int i = 0; i < 3; i++) {
    gtk_combo_box_text_append_text(GTK_COMBO_BOX_TEXT(c), k == bound::CASE_COMBO
                                                              ? abbr_case_mode_menu_text(order[i])
                                                              : abbr_trigger_mode_menu_text(order[i]));
    if (order[i] == current) gtk_combo_box_set_active(GTK_COMBO_BOX(c), i);
  }
  W->fields.push_back({k, key, c});
  row(g, label, c);
  return c;
}

// ---- Hotkeys ----

unsigned vk_from_keyval(guint keyval) {
  guint upper = gdk_keyval_to_upper(keyval);
  if ((upper >= GDK_KEY_A && upper <= GDK_KEY_Z) || (upper >= GDK_KEY_0 && upper <= GDK_KEY_9)) return upper;
  if (keyval >= GDK_KEY_F1 && keyval <= GDK_KEY_F24) return VK_F1 + (keyval - GDK_KEY_F1);
  switch (keyval) {
    case GDK_KEY_space: return VK_SPACE;
    case GDK_KEY_Return: return VK_RETURN;
    case GDK_KEY_Tab: return VK_TAB;
    case GDK_KEY_Insert: return VK_INSERT;
    case GDK_KEY_Delete: return VK_DELETE;
    case GDK_KEY_Home: return VK_HOME;
    case GDK_KEY_End: return VK_END;
    case GDK_KEY_Page_Up: return VK_PRIOR;
    case GDK_KEY_Page_Down: return VK_NEXT;
    case GDK_KEY_Left: return VK_LEFT;
    case GDK_KEY_Right: return VK_RIGHT;
    case GDK_KEY_Up: return VK_UP;
    case GDK_KEY_Down: return VK_DOWN;
    case GDK_KEY_Pause: return VK_PAUSE;
    default: return 0;
  }
}

void update_hotkey_warnings() {
  std::vector<hotkey_pref> prefs;
  for (const hotkey_row& h : W->hotkeys)
    prefs.push_back({h.key, h.codes, gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(h.enable)) != 0});
  auto dup = hotkey_find_duplicates(prefs);
  for (size_t i = 0; i < W->hotkeys.size(); i++) {
    std::string warn;
    if (!dup[i].empty()) warn = std::string("Also used by \"") + W->hotkeys[dup[i][0]].label + "\"";
    gtk_label_set_text(GTK_LABEL(W->hotkeys[i].warning), warn.c_str());
  }
}

// A hotkey field takes the key pressed with its modifiers; Backspace empties it.
gboolean on_hotkey_key(GtkWidget* e, GdkEventKey* ev, gpointer index) {
  hotkey_row& h = W->hotkeys[GPOINTER_TO_SIZE(index)];
  if (ev->keyval == GDK_KEY_Tab || ev->keyval == GDK_KEY_ISO_Left_Tab || ev->keyval == GDK_KEY_Escape) return FALSE;
  if (ev->keyval == GDK_KEY_BackSpace) {
    h.codes.clear();
  } else if (unsigned vk = vk_from_keyval(ev->keyval)) {
    std::string codes;
    if (ev->state & GDK_CONTROL_MASK) codes += "17 ";
    if (ev->state & GDK_SHIFT_MASK) codes += "16 ";
    if (ev->state & GDK_MOD1_MASK) codes += "18 ";
    if (ev->state & GDK_SUPER_MASK) codes += "91 ";
    h.codes = codes + std::to_string(vk);
  } else {
    return TRUE;  // a modifier alone: wait for the key
  }
  gtk_entry_set_text(GTK_ENTRY(e), hotkey_text(h.codes).c_str());
  update_hotkey_warnings();
  return TRUE;
}

void hotkey(GtkWidget* g, const char* key, const char* enable_key, const char* label) {
  int r = next_row(g);
  hotkey_row h{key, enable_key, label, gtk_entry_new(), gtk_check_button_new_with_label(label), gtk_label_new(""), setting_get(key)};
  gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(h.enable), setting_get_int(enable_key) != 0);
  gtk_entry_set_text(GTK_ENTRY(h.entry), hotkey_text(h.codes).c_str());
  gtk_entry_set_placeholder_text(GTK_ENTRY(h.entry), "Press a key");
  gtk_widget_set_hexpand(h.entry, TRUE);
  gtk_label_set_xalign(GTK_LABEL(h.warning), 0.0f);
  gtk_widget_set_name(h.warning, "qx-hotkey-warning");
  g_signal_connect(h.entry, "key-press-event", G_CALLBACK(on_hotkey_key), GSIZE_TO_POINTER(W->hotkeys.size()));
  g_signal_connect(h.enable, "toggled", G_CALLBACK(+[](GtkToggleButton*, gpointer) { update_hotkey_warnings(); }),
                   nullptr);
  gtk_grid_attach(GTK_GRID(g), h.enable, 0, r, 1, 1);
  gtk_grid_attach(GTK_GRID(g), h.entry, 1, r, 1, 1);
  gtk_grid_attach(GTK_GRID(g), h.warning, 2, r, 1, 1);
  W->hotkeys.push_back(h);
}

// ---- Building ----

void build_typing(GtkWidget* nb) {
  GtkWidget* g = page(nb, "_Typing");
  heading(g, "Triggering");
  W->trigger = gtk_combo_box_text_new();
  std::string current = setting_get("trigger_hotkey");
  for (size_t i = 0; i < sizeof(TRIGGER_KEYS) / sizeof(TRIGGER_KEYS[0]); i++) {
    std::string code = std::to_string(TRIGGER_KEYS[i]);
    gtk_combo_box_text_append(GTK_COMBO_BOX_TEXT(W->trigger), code.c_str(), hotkey_text(code).c_str());
  }
  if (!gtk_combo_box_set_active_id(GTK_COMBO_BOX(W->trigger), current.c_str()))
    gtk_combo_box_set_active(GTK_COMBO_BOX(W->trigger), 0);
  row(g, "Trigger _key:", W->trigger);
  W->delims = gtk_entry_new();
  gtk_widget_set_hexpand(W->delims, TRUE);
  gtk_entry_set_text(GTK_ENTRY(W->delims), delims_to_line(setting_get("delim_chars")).c_str());
  gtk_widget_set_tooltip_text(W->delims, "\\n stands for Enter, \\t for Tab");
  row(g, "_Word-ending characters:", W->delims);
  check(g, "no_apostrophe_delim", "The _apostrophe does not end a word (for contractions like \"I'd\")");
  heading(g, "New abbreviations");
  mode_combo(g, bound::CASE_COMBO, "default_case_mode", "_Case:");
  mode_combo(g, bound::TRIGGER_COMBO, "default_trigger_mode", "E_xpand:");
}

void build_output(GtkWidget* nb) {
  GtkWidget* g = page(nb, "O_utput");
  heading(g, "Output method");
  W->turbo = radio_pair(g, "_Normal (simulated key presses)", "_Turbo (paste through the clipboard)",
                        setting_get_int("output_method") == 1);
  check(g, "use_clipboard_more_than", "_Switch to Turbo automatically when it is faster");
  check(g, "pause_for", "_Pause after each simulated key press");
  spin(g, "pause_ms", "Pause _length (ms):", 0, 1000);
  check(g, "cont_window_changed", "_Keep typing when the active window changes");
  heading(g, "Feedback");
  check(g, "play_sound", "Play a _sound when an abbreviation expands");
  check(g, "show_tooltips", "Show a _preview while an abbreviation waits");
  for (GtkWidget* c : {check(g, "show_tooltips_trigger", "...for abbreviations waiting for the t_rigger key"),
                       check(g, "show_tooltips_wec", "...for abbreviations waiting for a _word-ending character")})
    gtk_widget_set_margin_start(c, 24);
}

void build_general(GtkWidget* nb) {
  GtkWidget* g = page(nb, "_General");
  heading(g, "Start");
  W->start_with_system = gtk_check_button_new_with_mnemonic("_Start Quiverex when I log in");
  gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(W->start_with_system), get_start_with_windows() != 0);
  row(g, nullptr, W->start_with_system);
  heading(g, "Appearance");
  W->light = radio_pair(g, "_Dark theme", "_Light theme", setting_get_int("lmode") == 1);
  check(g, "show_bottom_buttons", "Show the Apply and Cancel buttons at the bottom of the _main window");
  font(g, "ui_font", "_Interface font:");
  font(g, "repleditor_font", "_Replacement text font:");
  heading(g, "Abbreviation folder");
  check(g, "use_diff_abbrev_dir", "Keep the abbreviations in another _folder (for example a synced one)");
  folder(g, "diff_abbrev_dir", "F_older:");
  heading(g, "Backups");
  check(g, "auto_backup", "Make _backups automatically");
  folder(g, "backup_dir", "Backup f_older:");
  check(g, "limit_total_backup", "_Limit the number of backups");
  spin(g, "backup_max_count", "_Keep at most:", 1, 1000);
}

void build_hotkeys(GtkWidget* nb) {
  GtkWidget* g = page(nb, "_Hotkeys");
  hotkey(g, "launchpad_hotkey", "launchpad_enable", "Launch pad");
  hotkey(g, "ed_hotkey", "ed_enable", "Enable or disable");
  hotkey(g, "dmw_hotkey", "dmw_enable", "Show the main window");
  hotkey(g, "acm_hotkey", "acm_enable", "Pop-up menu");
  hotkey(g, "quickadd_sel_hotkey", "quickadd_sel_enable", "New from selection");
  hotkey(g, "quickadd_clip_hotkey", "quickadd_clip_enable", "New from clipboard");
  hotkey(g, "edit_last_typed_hotkey", "edit_last_typed_enable", "Edit the last typed");
  update_hotkey_warnings();
}

void build_network(GtkWidget* nb) {
  GtkWidget* g = page(nb, "_Network");
  check(g, "proxy_use", "Use a _proxy server");
  text(g, "proxy_host", "_Host:");
  spin(g, "proxy_port", "P_ort:", 0, 65535);
  text(g, "proxy_username", "_User name:");
  W->proxy_password = gtk_entry_new();
  gtk_entry_set_visibility(GTK_ENTRY(W->proxy_password), FALSE);
  gtk_entry_set_text(GTK_ENTRY(W->proxy_password), prefs_get_proxy_password().c_str());
  row(g, "Pass_word:", W->proxy_password);
}

// ---- OK ----

bool set_int_changed(const char* key, int v) {
  bool changed = setting_get_int(key) != v;
  setting_set_int(key, v);
  return changed;
}

void store() {
  bool restart = false;
  bool fonts = false;
  for (const bound& b : W->fields) {
    switch (b.k) {
      case bound::CHECK: {
        bool changed = set_int_changed(b.key, gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(b.w)));
        if (changed && std::string(b.key) == "use_diff_abbrev_dir") restart = true;
        break;
      }
      case bound::ENTRY: setting_set(b.key, gtk_entry_get_text(GTK_ENTRY(b.w))); break;
      case bound::SPIN: setting_set_int(b.key, gtk_spin_button_get_value_as_int(GTK_SPIN_BUTTON(b.w))); break;
      case bound::CASE_COMBO:
        setting_set_int(b.key, static_cast<int>(abbr_case_mode_menu_order[gtk_combo_box_get_active(GTK_COMBO_BOX(b.w))]));
        break;
      case bound::TRIGGER_COMBO:
        setting_set_int(b.key,
                        static_cast<int>(abbr_trigger_mode_menu_order[gtk_combo_box_get_active(GTK_COMBO_BOX(b.w))]));
        break;
      case bound::FOLDER: {
        char* f = gtk_file_chooser_get_filename(GTK_FILE_CHOOSER(b.w));
        std::string old = setting_get(b.key);
        if (f && old != f) {
          setting_set(b.key, f);
          if (std::string(b.key) == "diff_abbrev_dir") restart = true;
        }
        g_free(f);
        break;
      }
      case bound::FONT: {
        char* f = gtk_font_chooser_get_font(GTK_FONT_CHOOSER(b.w));
        if (f && std::string(setting_get(b.key)) != f) {
          setting_set(b.key, f);
          fonts = true;
        }
        g_free(f);
        break;
      }
    }
  }
  setting_set("trigger_hotkey", gtk_combo_box_get_active_id(GTK_COMBO_BOX(W->trigger)));
  setting_set("delim_chars", delims_from_line(gtk_entry_get_text(GTK_ENTRY(W->delims))).c_str());
  setting_set_int("output_method", gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(W->turbo)) ? 1 : 0);
  bool light = gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(W->light));
  if (set_int_changed("lmode", light)) {
    setting_set_int("dmode", !light);
    // The list colours follow the theme; they are filled in again at the next start.
    for (const char* key : {"a_color", "r_color", "o_color"}) setting_delete(key);
    restart = true;
  }
  for (const hotkey_row& h : W->hotkeys) {
    setting_set(h.key, h.codes.c_str());
    setting_set_int(h.enable_key, gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(h.enable)));
  }
  prefs_set_proxy_password(gtk_entry_get_text(GTK_ENTRY(W->proxy_password)));
  bool start = gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(W->start_with_system));
  if (set_start_with_windows(start ? PREFS_START_WITH_SYSTEM : 0, 0) != 0)
    show_msgbox(MSGBOX_ERROR, MSGBOX_BUTTONS_OK, "\nThe start-up entry could not be changed.");
  prefs_save();
  main_window_show_bottom_buttons();
  if (fonts) ui_fonts_apply();
  gtk_widget_destroy(W->window);
  if (restart &&
      show_msgbox(MSGBOX_QUESTION, MSGBOX_BUTTONS_YES_NO,
                  "\nSome of the changes take effect when Quiverex restarts. Restart now?") == MSGBOX_RESPONSE_YES)
    _quit_(CORE_QUIT_RESTART);
}

void on_response(GtkDialog*, int response, gpointer) {
  if (response == GTK_RESPONSE_OK) store();
  else gtk_widget_destroy(W->window);
}

}  // namespace

void prefs_window_show() {
  if (W) {
    gtk_window_present(GTK_WINDOW(W->window));
    return;
  }
  W = new prefs_win;
  GtkWidget* parent = ui_main_window_widget();
  W->window = gtk_dialog_new_with_buttons("Quiverex Preferences",
                                          parent && gtk_widget_get_visible(parent) ? GTK_WINDOW(parent) : nullptr,
                                          GTK_DIALOG_DESTROY_WITH_PARENT, "_Cancel", GTK_RESPONSE_CANCEL, "_OK",
                                          GTK_RESPONSE_OK, nullptr);
  gtk_dialog_set_default_response(GTK_DIALOG(W->window), GTK_RESPONSE_OK);
  gtk_window_set_default_size(GTK_WINDOW(W->window), 680, -1);
  GtkWidget* nb = gtk_notebook_new();
  build_typing(nb);
  build_output(nb);
  build_general(nb);
  build_hotkeys(nb);
  build_network(nb);
  gtk_box_pack_start(GTK_BOX(gtk_dialog_get_content_area(GTK_DIALOG(W->window))), nb, TRUE, TRUE, 0);
  g_signal_connect(W->window, "response", G_CALLBACK(on_response), nullptr);
  g_signal_connect(W->window, "destroy", G_CALLBACK(+[](GtkWidget*, gpointer) {
                     delete W;
                     W = nullptr;
                   }),
                   nullptr);
  gtk_widget_show_all(W->window);
}
