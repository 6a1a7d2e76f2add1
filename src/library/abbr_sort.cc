// Comparators for the abbreviation and folder lists. Records without a key always sort last,
// in either direction; ties keep the order the stable merge sort gives.
#include "library/abbr.h"
#include "util/strutil.h"

namespace {

std::string sort_key(const abbr_abbrev* a, int column) {
  switch (column) {
    case ABBR_COL_DESCRIPTION:
      return a->description;
    case ABBR_COL_ABBREVIATION:
      return abbr_abbrev_lst_to_string(a->abbrevs);
    case ABBR_COL_CONTAINING_FOLDER:
      return abbr_get_containing_folder_string(a, true, false);
    case ABBR_COL_CREATED:
      return abbr_time_to_compare_string(a->created);
    case ABBR_COL_MODIFIED:
      return abbr_time_to_compare_string(a->modified);
  }
  return abbr_abbrev_exp_to_display_string(a);
}

int compare_keys(const std::string& ka, const std::string& kb, int descending) {
  if (ka.empty() || kb.empty()) {
    if (ka.empty() && kb.empty()) return 0;
    return ka.empty() ? 1 : -1;
  }
  return descending ? str_casecmp(kb, ka) : str_casecmp(ka, kb);
}

}  // namespace

int abbr_abbrev_sort(const void* a, const void* b, void* sort_info) {
  const abbr_sort_info* info = static_cast<const abbr_sort_info*>(sort_info);
  return compare_keys(sort_key(static_cast<const abbr_abbrev*>(a), info->column),
                      sort_key(static_cast<const abbr_abbrev*>(b), info->column), info->descending);
}

int abbr_folder_sort(const void* a, const void* b, void* sort_info) {
  const abbr_sort_info* info = static_cast<const abbr_sort_info*>(sort_info);
  return compare_keys(static_cast<const abbr_folder*>(a)->name, static_cast<const abbr_folder*>(b)->name,
                      info->descending);
}

plist* abbr_sort_abbrev_lst(plist* list, int column, int descending) {
  abbr_sort_info info{column, descending};
  return plist_sort_plusplus(list, abbr_abbrev_sort, &info);
}

plist* abbr_sort_folder_lst(plist* list, int descending) {
  abbr_sort_info info{0, descending};
  return plist_sort_plusplus(list, abbr_folder_sort, &info);
}
