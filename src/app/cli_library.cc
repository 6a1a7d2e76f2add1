// Library commands of quiverex-cli: check, list, normalize and export-html.
#include <cstdio>
#include <string>
#include <vector>

#include "app/cli.h"
#include "app/cli_library.h"
#include "core/msgbox.h"
#include "library/abbr_file.h"
#include "util/strutil.h"

namespace {

// The loader's message boxes become lines on standard error; nobody is there to click Yes.
int print_msgbox(msgbox_kind, msgbox_buttons buttons, const std::string& text, void* user_data) {
  auto* count = static_cast<int*>(user_data);
  (*count)++;
  size_t start = text.find_first_not_of('\n');
  fprintf(stderr, "quiverex-cli: %s\n", start == std::string::npos ? "" : text.c_str() + start);
  return msgbox_default_answer(buttons);
}

// Loads `path` into the main list. CLI_OK when it loaded cleanly; the loader's messages have
// been printed otherwise.
int load_library(const std::string& path) {
  if (!file_exists(path)) return cli_usage_error("no such file: " + path);
  int messages = 0;
  msgbox_set_handler(print_msgbox, &messages);
  bool ok = abbr_load_main_list_from_file(path);
  msgbox_set_handler(nullptr, nullptr);
  if (!ok && messages == 0) fprintf(stderr, "quiverex-cli: could not load %s\n", path.c_str());
  return ok ? CLI_OK : CLI_PROBLEM;
}

bool wrong_count(const std::vector<std::string>& args, size_t min, size_t max, const char* usage) {
  if (args.size() >= min && args.size() <= max) return false;
  cli_usage_error(std::string("usage: quiverex-cli ") + usage);
  return true;
}

int cmd_check(const std::vector<std::string>& args) {
  if (wrong_count(args, 1, 1, "check FILE")) return CLI_USAGE;
  int rc = load_library(args[0]);
  if (rc != CLI_OK) return rc;
  plist* folders = nullptr;
  plist* abbrevs = nullptr;
  abbr_get_all_folders_and_abbrevs_from_folder_list(abbr_folder_list(ABBR_MAIN_LIST), &folders, &abbrevs);
  printf("%s: %d folders, %d abbreviations\n", args[0].c_str(), plist_get_n_elements(folders),
         plist_get_n_elements(abbrevs));
  plist_free_all_but_data(folders);
  plist_free_all_but_data(abbrevs);
  return CLI_OK;
}

// Keeps every field on one line: tab, line feed and carriage return are written as \t, \n and
// \r. Backslashes stay as they are, since folder paths are made of them.
std::string one_line(const std::string& s) {
  std::string out;
  for (char c : s) {
    switch (c) {
      case '\t':
        out += "\\t";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      default:
        out.push_back(c);
    }
  }
  return out;
}

const char* kind_name(uint8_t type) {
  switch (type) {
    case ABBR_TYPE_TEXT:
      return "text";
    case ABBR_TYPE_PROGRAM:
      return "program";
    case ABBR_TYPE_WEBSITE:
      return "website";
  }
  return "other";
}

const char* case_name(uint32_t mode) {
  switch (mode) {
    case ABBR_CASE_SENSITIVE:
      return "case-sensitive";
    case ABBR_CASE_INSENSITIVE:
      return "case-insensitive";
  }
  return "adapt-case";
}

const char* trigger_name(uint32_t mode) {
  switch (mode) {
    case ABBR_TRIGGER_TRIGGER_KEY:
      return "trigger-key";
    case ABBR_TRIGGER_WORD_END:
      return "word-end";
  }
  return "immediately";
}

int cmd_list(const std::vector<std::string>& args) {
  if (wrong_count(args, 1, 1, "list FILE")) return CLI_USAGE;
  int rc = load_library(args[0]);
  if (rc != CLI_OK) return rc;
  plist* abbrevs = nullptr;
  abbr_get_all_folders_and_abbrevs_from_folder_list(abbr_folder_list(ABBR_MAIN_LIST), nullptr, &abbrevs);
  for (const abbr_abbrev* a : plist_range<abbr_abbrev>(abbrevs)) {
    printf("%s\t%s\t%s\t%s\t%s\t%s\n", one_line(abbr_get_full_folder_path_string(a->parent, nullptr, false)).c_str(),
           one_line(abbr_abbrev_lst_to_string(a->abbrevs)).c_str(), kind_name(a->type), case_name(a->case_mode),
           trigger_name(a->trigger_mode), one_line(a->description).c_str());
  }
  plist_free_all_but_data(abbrevs);
  return CLI_OK;
}

int cmd_normalize(const std::vector<std::string>& args) {
  if (wrong_count(args, 2, 2, "normalize IN OUT")) return CLI_USAGE;
  int rc = load_library(args[0]);
  if (rc != CLI_OK) return rc;
  std::string error;
  if (!abbr_dump_folder_list_to_file(abbr_folder_list(ABBR_MAIN_LIST), args[1], &error)) {
    fprintf(stderr, "quiverex-cli: %s\n", error.c_str());
    return CLI_PROBLEM;
  }
  return CLI_OK;
}

int cmd_export_html(const std::vector<std::string>& args) {
  if (wrong_count(args, 1, 2, "export-html FILE [FOLDER-PATH]")) return CLI_USAGE;
  int rc = load_library(args[0]);
  if (rc != CLI_OK) return rc;
  std::string path = args.size() > 1 ? args[1] : std::string();
  abbr_folder* f = abbr_get_folder_in_list_from_path(abbr_folder_list(ABBR_MAIN_LIST), path);
  if (!f) return cli_usage_error("no folder '" + path + "' in " + args[0]);
  abbr_dump_folder_as_HTML(f, stdout);
  return fflush(stdout) == 0 ? CLI_OK : CLI_PROBLEM;
}

cli_command reg_check("check", "FILE", "load a library; exit 1 with the reason when it has errors", cmd_check);
cli_command reg_list("list", "FILE",
                     "one line per abbreviation (tab-separated fields)", cmd_list);
cli_command reg_normalize("normalize", "IN OUT", "load a library and save it again", cmd_normalize);
cli_command reg_export_html("export-html", "FILE [FOLDER-PATH]", "write a folder (default: all) as HTML",
                            cmd_export_html);

}  // namespace

int cli_load_library(const std::string& path) { return load_library(path); }

std::string cli_one_line(const std::string& s) { return one_line(s); }
