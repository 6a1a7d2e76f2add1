// quiverex-cli search: the abbreviations that the main window's search box would list for a
// query typed while "Everything" is selected, with the default search options.
#include <cstdio>

#include "app/cli.h"
#include "app/cli_library.h"
#include "library/search.h"

static int cli_search(const std::vector<std::string>& args) {
  if (args.size() != 2) return cli_usage_error("usage: quiverex-cli search FILE QUERY");
  int rc = cli_load_library(args[0]);
  if (rc != CLI_OK) return rc;
  // The box searches the editor's copy of the library.
  abbr_create_sandbox();
  const std::string& query = args[1];
  plist* found = search_run_query(nullptr, query, search_flags_for_box(search_options(), query.empty()));
  for (const abbr_abbrev* a : plist_range<abbr_abbrev>(found))
    printf("%s\t%s\n", cli_one_line(abbr_abbrev_lst_to_string(a->abbrevs)).c_str(),
           cli_one_line(a->description).c_str());
  plist_free_all_but_data(found);
  abbr_free_all_folder_lists();
  return fflush(stdout) == 0 ? CLI_OK : CLI_PROBLEM;
}

static cli_command reg("search", "FILE QUERY",
                       "list the abbreviations a search finds (AND, OR, NOT between terms)", cli_search);
