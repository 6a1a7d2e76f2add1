// The HTML export of a folder.
#include "library/abbr_file.h"

static void append_row(std::string& out, const abbr_abbrev* a) {
  std::string replacement = abbr_abbrev_exp_to_display_string(a);
  if (replacement.size() > ABBR_HTML_MAX_REPLACEMENT) {
    // Cut before the character that would cross the limit, never inside one.
    const char* start = replacement.c_str();
    const char* end = start + ABBR_HTML_MAX_REPLACEMENT;
    while (end > start && (static_cast<unsigned char>(*end) & 0xC0) == 0x80) end--;
    replacement.resize(static_cast<size_t>(end - start));
    replacement.append("...");
  }
  out.append("<tr><td style=\"word-wrap: break-word\"><b>");
  out.append(abbr_htmlize(abbr_abbrev_lst_to_string(a->abbrevs)));
  out.append("</b></td><td style=\"word-wrap: break-word\">");
  out.append(abbr_htmlize(replacement));
  out.append("</td></tr>");
}

static void append_folder_rows(std::string& out, const abbr_folder* f) {
  for (const abbr_abbrev* a : plist_range<abbr_abbrev>(f->abbrevs)) append_row(out, a);
  for (const abbr_folder* sub : plist_range<abbr_folder>(f->subfolders)) append_folder_rows(out, sub);
}

std::string abbr_folder_as_HTML(const abbr_folder* f) {
  std::string out =
      "<html><head><meta http-equiv=\"Content-Type\" content=\"text/html; charset=UTF-8\"></head><body>"
      "<table cellspacing=\"5\" cellpadding=\"5\" width=\"100%\" style=\"table-layout: fixed\"><tr>"
      "<td width=\"20%\"><big><b>Quiverextion</b></big></td>"
      "<td width=\"80%\"><big><b>Replacement Text</b></big></td></tr>";
  if (f) append_folder_rows(out, f);
  out.append("</table></body></html>");
  return out;
}

void abbr_dump_folder_as_HTML(const abbr_folder* f, FILE* stream) {
  std::string page = abbr_folder_as_HTML(f);
  fwrite(page.data(), 1, page.size(), stream);
}
