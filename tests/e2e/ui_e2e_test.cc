// The fonts and the editing pane's views, built in this process on a private X display and
// read back from GTK's own style machinery and from the text GTK lays out.
#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include <string>
#include <vector>

#include "library/abbr.h"
#include "settings/settings.h"
#include "ui/editor_pane.h"
#include "ui/ui.h"
#include "x_session.h"

namespace {

x_session* g_s = nullptr;

class UiInProcess : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    g_s = new x_session;
    if (!g_s->ok()) return;
    g_setenv("DISPLAY", g_s->display().c_str(), TRUE);
    g_setenv("GDK_BACKEND", "x11", TRUE);
    g_setenv("NO_AT_BRIDGE", "1", TRUE);  // no accessibility bus in a private session
    gtk_init(nullptr, nullptr);
  }
  static void TearDownTestSuite() {
    delete g_s;
    g_s = nullptr;
  }
  void SetUp() override { ASSERT_TRUE(g_s->ok()) << g_s->why(); }
};

// Restyling and relayout wait for the next frames.
void settle() {
  gint64 until = g_get_monotonic_time() + 300 * 1000;
  while (g_get_monotonic_time() < until) {
    while (gtk_events_pending()) gtk_main_iteration_do(FALSE);
    g_usleep(10 * 1000);
  }
}

void collect(GtkWidget* w, GType type, std::vector<GtkWidget*>* out) {
  if (G_TYPE_CHECK_INSTANCE_TYPE(w, type)) out->push_back(w);
  if (GTK_IS_CONTAINER(w)) {
    GList* children = gtk_container_get_children(GTK_CONTAINER(w));
    for (GList* l = children; l; l = l->next) collect(GTK_WIDGET(l->data), type, out);
    g_list_free(children);
  }
}

GtkWidget* first(GtkWidget* root, GType type) {
  std::vector<GtkWidget*> found;
  collect(root, type, &found);
  return found.empty() ? nullptr : found[0];
}

// The font the widget's style gives it, as "Family Size".
std::string styled_font(GtkWidget* w) {
  PangoFontDescription* d = nullptr;
  GtkStyleContext* ctx = gtk_widget_get_style_context(w);
  gtk_style_context_get(ctx, gtk_style_context_get_state(ctx), "font", &d, nullptr);
  char* s = pango_font_description_to_string(d);
  std::string out = s;
  g_free(s);
  pango_font_description_free(d);
  return out;
}

// The height in pixels of one line of text as the widget lays it out.
int line_height(GtkWidget* w) {
  PangoLayout* l = gtk_widget_create_pango_layout(w, "Hgjy");
  int width, height;
  pango_layout_get_pixel_size(l, &width, &height);
  g_object_unref(l);
  return height;
}

// The family that actually draws the widget's text (after the system's substitutions).
std::string drawn_family(GtkWidget* w) {
  PangoLayout* l = gtk_widget_create_pango_layout(w, "Hgjy");
  PangoLayoutLine* line = pango_layout_get_line_readonly(l, 0);
  std::string family;
  if (line && line->runs) {
    PangoGlyphItem* run = static_cast<PangoGlyphItem*>(line->runs->data);
    PangoFontDescription* d = pango_font_describe(run->item->analysis.font);
    family = pango_font_description_get_family(d);
    pango_font_description_free(d);
  }
  g_object_unref(l);
  return family;
}

TEST(UiFontCss, FontDescriptionsBecomeStyleRules) {
  EXPECT_EQ(ui_font_css("window", "Segoe UI 9"), "window { font-family: \"Segoe UI\"; font-size: 9pt; }\n");
  EXPECT_EQ(ui_font_css("x", "DejaVu Sans, Nimbus Sans Bold Italic 10.5"),
            "x { font-family: \"DejaVu Sans\", \"Nimbus Sans\"; font-size: 10.5pt; font-weight: 700; "
            "font-style: italic; }\n");
  // Only what the description names: the theme keeps the rest.
  EXPECT_EQ(ui_font_css("x", "Monospace"), "x { font-family: \"Monospace\"; }\n");
  EXPECT_EQ(ui_font_css("x", "12"), "x { font-size: 12pt; }\n");
  EXPECT_EQ(ui_font_css("x", "Sans 14px"), "x { font-family: \"Sans\"; font-size: 14px; }\n");
  EXPECT_EQ(ui_font_css("x", ""), "");
  EXPECT_EQ(ui_font_css("x", "DejaVu Sans Condensed 8"),
            "x { font-family: \"DejaVu Sans\"; font-size: 8pt; font-stretch: condensed; }\n");
}

TEST_F(UiInProcess, WindowsAndTheReplacementEditorTakeTheirFontsAtOnceAndWhenChanged) {
  setting_set("ui_font", "DejaVu Serif 17");
  setting_set("repleditor_font", "DejaVu Sans Mono 23");
  ui_fonts_apply();

  GtkWidget* window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
  GtkWidget* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
  GtkWidget* label = gtk_label_new("Label");
  gtk_box_pack_start(GTK_BOX(box), label, FALSE, FALSE, 0);
  gtk_box_pack_start(GTK_BOX(box), editor_pane_new(nullptr), TRUE, TRUE, 0);
  gtk_container_add(GTK_CONTAINER(window), box);
  gtk_widget_show_all(window);
  settle();
  GtkWidget* repl = first(box, GTK_TYPE_TEXT_VIEW);
  GtkWidget* entry = first(box, GTK_TYPE_ENTRY);
  ASSERT_NE(repl, nullptr);
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(styled_font(label), "DejaVu Serif 17");
  EXPECT_EQ(styled_font(entry), "DejaVu Serif 17");
  EXPECT_EQ(styled_font(repl), "DejaVu Sans Mono 23");
  EXPECT_EQ(drawn_family(repl), "DejaVu Sans Mono");
  // Dialogs made later get the font too: a message box and a dialog such as the preferences.
  GtkWidget* message = gtk_message_dialog_new(GTK_WINDOW(window), GTK_DIALOG_MODAL, GTK_MESSAGE_INFO,
                                              GTK_BUTTONS_OK, "Message");
  GtkWidget* message_label =
      first(gtk_message_dialog_get_message_area(GTK_MESSAGE_DIALOG(message)), GTK_TYPE_LABEL);
  ASSERT_NE(message_label, nullptr);
  EXPECT_EQ(styled_font(message_label), "DejaVu Serif 17");
  gtk_widget_destroy(message);
  GtkWidget* dialog = gtk_dialog_new_with_buttons("Dialog", GTK_WINDOW(window), GTK_DIALOG_MODAL, "_OK",
                                                  GTK_RESPONSE_OK, nullptr);
  GtkWidget* dialog_label = gtk_label_new("Inside");
  gtk_container_add(GTK_CONTAINER(gtk_dialog_get_content_area(GTK_DIALOG(dialog))), dialog_label);
  EXPECT_EQ(styled_font(dialog_label), "DejaVu Serif 17");
  gtk_widget_destroy(dialog);

  // A narrower face of the family is asked for (drawn when the machine has it).
  setting_set("ui_font", "DejaVu Sans Condensed 11");
  ui_fonts_apply();
  settle();
  EXPECT_EQ(styled_font(label), "DejaVu Sans Condensed 11");

  // A family this system lacks still draws, in another family, at the size asked for.
  setting_set("ui_font", "Segoe UI 9");
  setting_set("repleditor_font", "Segoe UI 27");
  ui_fonts_apply();
  settle();
  EXPECT_EQ(styled_font(label), "Segoe UI 9");
  EXPECT_EQ(styled_font(repl), "Segoe UI 27");
  std::string family = drawn_family(label);
  EXPECT_FALSE(family.empty());
  EXPECT_NE(family, "Segoe UI");
  int small = line_height(label), large = line_height(repl);
  EXPECT_GE(small, 9);
  EXPECT_GT(large, small * 5 / 2) << small << " px against " << large << " px";
  EXPECT_LT(large, small * 7 / 2) << small << " px against " << large << " px";
  gtk_widget_destroy(window);
  settle();
}

TEST_F(UiInProcess, TheNormalViewHidesTheRarerOptionsWithoutTouchingTheRecord) {
  int changes = 0;
  static int* counter = &changes;
  GtkWidget* window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
  GtkWidget* pane = editor_pane_new([](abbr_abbrev*) { ++*counter; });
  gtk_container_add(GTK_CONTAINER(window), pane);
  gtk_widget_show_all(window);

  abbr_abbrev a;
  a.abbrevs = plist_append_string(nullptr, "qxa");
  a.replacement = "text";
  a.case_mode = ABBR_CASE_SENSITIVE;
  a.trigger_mode = ABBR_TRIGGER_WORD_END;
  a.anywhere = 1;
  editor_pane_show(&a);
  settle();

  GtkWidget* case_combo = gtk_grid_get_child_at(GTK_GRID(pane), 1, 2);
  GtkWidget* case_label = gtk_grid_get_child_at(GTK_GRID(pane), 0, 2);
  GtkWidget* trigger_combo = gtk_grid_get_child_at(GTK_GRID(pane), 1, 3);
  GtkWidget* anywhere = gtk_grid_get_child_at(GTK_GRID(pane), 1, 4);
  ASSERT_TRUE(GTK_IS_COMBO_BOX(case_combo));
  ASSERT_TRUE(GTK_IS_LABEL(case_label));
  ASSERT_TRUE(GTK_IS_COMBO_BOX(trigger_combo));
  ASSERT_TRUE(GTK_IS_CHECK_BUTTON(anywhere));
  editor_pane_set_advanced(false);
  settle();
  EXPECT_FALSE(gtk_widget_get_mapped(case_combo));
  EXPECT_FALSE(gtk_widget_get_mapped(case_label));
  EXPECT_FALSE(gtk_widget_get_mapped(anywhere));
  EXPECT_TRUE(gtk_widget_get_mapped(trigger_combo));
  // Another record shown while they are hidden fills them all the same.
  abbr_abbrev b;
  b.abbrevs = plist_append_string(nullptr, "qxb");
  editor_pane_show(&b);
  editor_pane_show(&a);
  // A window shown again as a whole keeps them hidden.
  gtk_widget_show_all(window);
  settle();
  EXPECT_FALSE(gtk_widget_get_mapped(anywhere));

  editor_pane_set_advanced(true);
  settle();
  EXPECT_TRUE(gtk_widget_get_mapped(case_combo));
  EXPECT_TRUE(gtk_widget_get_mapped(anywhere));
  // Their insides too: a check box without its label would have no mnemonic either.
  EXPECT_TRUE(gtk_widget_get_mapped(gtk_bin_get_child(GTK_BIN(anywhere))));
  EXPECT_TRUE(gtk_widget_get_mapped(gtk_bin_get_child(GTK_BIN(case_combo))));
  EXPECT_TRUE(gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(anywhere)));
  EXPECT_EQ(gtk_combo_box_get_active(GTK_COMBO_BOX(case_combo)), 1);  // case-sensitive is second in the menu
  EXPECT_EQ(changes, 0);
  EXPECT_EQ(a.case_mode, static_cast<uint32_t>(ABBR_CASE_SENSITIVE));
  EXPECT_EQ(a.anywhere, 1);
  EXPECT_EQ(a.trigger_mode, static_cast<uint32_t>(ABBR_TRIGGER_WORD_END));
  editor_pane_show(nullptr);
  gtk_widget_destroy(window);
  settle();
  plist_free(a.abbrevs);
  plist_free(b.abbrevs);
}

}  // namespace
