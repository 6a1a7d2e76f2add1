#include "expand/launch.h"

#include <glib.h>

#include "core/gvar.h"
#include "expand/keysim.h"
#include "expand/keysim_insert.h"
#include "platform/platform.h"
#include "util/strutil.h"

namespace {

bool at_separator(const std::string& text, size_t i, const std::string& sep, bool case_sensitive) {
  if (i + sep.size() > text.size()) return false;
  return case_sensitive ? text.compare(i, sep.size(), sep) == 0
                        : g_ascii_strncasecmp(text.c_str() + i, sep.c_str(), sep.size()) == 0;
}

std::string unquote_piece(std::string piece) {
  if (!piece.empty() && piece.front() == '"') piece.erase(0, 1);
  if (!piece.empty() && piece.back() == '"') piece.pop_back();
  return substitute_str(piece, "\"\"", "\"", true, false);
}

bool is_option(const std::string& s) {
  static const char* const options[] = {"-parameters", "-params", "-run-in", "-run-as-admin",
                                        "-run-as-administrator", "-show-minimized", "-show-maximized"};
  for (const char* o : options)
    if (str_caseeq(s, o)) return true;
  return false;
}

void launch_program(const abbr_program& p) {
  if (p.path.empty()) return;
  plat_launch l;
  l.parameters = launcher_insertion_macros_execute(p.params);
  l.directory = p.run_in.empty() ? path_dirname(p.path) : p.run_in;
  // Elevation is asked only for a file that exists; the backend knows whether the system can.
  l.verb = p.run_as_admin && file_exists(p.path) ? "runas" : "open";
  l.file = p.path;
  l.show = p.show_mode == 1 ? 2 : p.show_mode == 2 ? 3 : 1;
  plat()->launch(l);
}

void launch_website(const abbr_website& w) {
  if (w.address.empty()) return;
  std::string address = launcher_insertion_macros_execute(w.address);
  for (const plat_browser& b : plat()->list_browsers()) {
    if (!str_caseeq(b.key, w.browser)) continue;
    // A portable installation may run on a machine where the browser's program is missing.
    if (portable_mode() && !file_exists(b.exe)) break;
    plat_launch l;
    l.file = b.exe;
    l.parameters = address;
    l.directory = path_dirname(b.exe);
    plat()->launch(l);
    return;
  }
  plat_launch l;
  l.file = address;
  plat()->launch(l);
}

}  // namespace

plist* strsplit_not_inside_quotes(const std::string& text, const std::string& separator, bool case_sensitive) {
  if (text.empty() || separator.empty()) return nullptr;
  plist* pieces = nullptr;
  std::string cur;
  bool quoted = false;
  size_t i = 0;
  while (i < text.size()) {
    if (text[i] == '"') {
      if (quoted && i + 1 < text.size() && text[i + 1] == '"') {
        cur += "\"\"";
        i += 2;
        continue;
      }
      quoted = !quoted;
      cur += '"';
      i++;
      continue;
    }
    if (!quoted && at_separator(text, i, separator, case_sensitive)) {
      pieces = plist_append_string(pieces, unquote_piece(cur));
      cur.clear();
      while (at_separator(text, i, separator, case_sensitive)) i += separator.size();
      continue;
    }
    cur += text[i++];
  }
  if (!cur.empty() || !pieces) pieces = plist_append_string(pieces, unquote_piece(cur));
  return pieces;
}

void keysim_handle_launch(const std::string& args) {
  plist* pieces = strsplit_not_inside_quotes(args, " ", true);
  bool has_option = false;
  for (plist* n = pieces; n; n = n->next) has_option = has_option || is_option(plist_str(n));

  abbr_abbrev a;
  a.type = ABBR_TYPE_PROGRAM;
  if (!has_option) {
    a.program.path = unquote_piece(args);
  } else {
    plist* n = pieces;
    while (n && plist_str(n).empty()) n = n->next;
    if (n) {
      a.program.path = plist_str(n);
      n = n->next;
    }
    for (; n; n = n->next) {
      const std::string& opt = plist_str(n);
      if (str_caseeq(opt, "-parameters") || str_caseeq(opt, "-params") || str_caseeq(opt, "-run-in")) {
        if (!n->next) break;
        (str_caseeq(opt, "-run-in") ? a.program.run_in : a.program.params) = plist_str(n->next);
        n = n->next;
      } else if (str_caseeq(opt, "-run-as-admin") || str_caseeq(opt, "-run-as-administrator")) {
        a.program.run_as_admin = 1;
      } else if (str_caseeq(opt, "-show-minimized")) {
        a.program.show_mode = 1;
      } else if (str_caseeq(opt, "-show-maximized")) {
        a.program.show_mode = 2;
      }
    }
  }
  plist_free(pieces);
  launcher_launch_from_abbrev(&a);
}

void launcher_launch_from_abbrev(const abbr_abbrev* a) {
  if (!a) return;
  if (a->type == ABBR_TYPE_PROGRAM) launch_program(a->program);
  if (a->type == ABBR_TYPE_WEBSITE) launch_website(a->website);
}
