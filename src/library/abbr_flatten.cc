// Flattening nested folders into one level below the top folder, for layouts that cannot nest
// (TextExpander's groups, read-only team folders).
#include "library/abbr.h"

static abbr_flatten_hooks g_hooks = {};

void abbr_set_flatten_hooks(const abbr_flatten_hooks& hooks) { g_hooks = hooks; }

std::string abbr_get_new_name_for_denestified_folder(const abbr_folder* f, const abbr_folder* top) {
  return abbr_get_full_folder_path_string(f, top, true);
}

bool abbr_folder_has_nested_folders(const abbr_folder* top) {
  if (!top) return false;
  for (abbr_folder* child : plist_range<abbr_folder>(top->subfolders))
    if (child->subfolders) return true;
  return false;
}

// Moves every abbreviation below `f` into `f` (depth first, folder before its children) and
// deletes the emptied subfolders.
static void consolidate(abbr_folder* f, bool touch_ui) {
  plist* below = nullptr;
  abbr_get_all_folders_and_abbrevs_from_folder_children(f, &below, nullptr);
  for (abbr_folder* sub : plist_range<abbr_folder>(below)) {
    while (sub->abbrevs) abbr_reparent_abbrev(static_cast<abbr_abbrev*>(sub->abbrevs->data), f);
  }
  if (touch_ui && g_hooks.folder_removed)
    for (abbr_folder* sub : plist_range<abbr_folder>(below)) g_hooks.folder_removed(sub->uid);
  plist_free_all_but_data(below);
  // The folders below are empty of abbreviations now; freeing the direct children frees them all.
  plist_free(f->subfolders);
  f->subfolders = nullptr;
}

void abbr_consolidate_subfolders(int which, abbr_folder* f) {
  consolidate(f, which == ABBR_SANDBOX_LIST);
}

void abbr_consolidate_subfolders_in_abs_parent(abbr_folder* top) {
  if (!top) return;
  for (abbr_folder* child : plist_range<abbr_folder>(top->subfolders))
    if (child->read_only && child->subfolders) consolidate(child, false);
}

// One pass of the scan: handles the first child with subfolders; false when there is none.
static bool denestify_step(abbr_folder* top, bool read_only_rule, bool touch_ui) {
  for (abbr_folder* child : plist_range<abbr_folder>(top->subfolders)) {
    if (!child->subfolders) continue;
    if (read_only_rule && (child->read_only == 1 || child->read_only == 2)) {
      consolidate(child, touch_ui);
      return true;
    }
    abbr_folder* first = static_cast<abbr_folder*>(child->subfolders->data);
    first->name = abbr_get_new_name_for_denestified_folder(first, top);
    if (g_hooks.folder_modified) g_hooks.folder_modified(first);
    child->subfolders = plist_remove(child->subfolders, first);
    first->parent = top;
    top->subfolders = plist_append(top->subfolders, first, abbr_folder_free);
    if (touch_ui && g_hooks.folder_moved_to_end) g_hooks.folder_moved_to_end(first);
    return true;
  }
  return false;
}

void abbr_denestify_folders_in_list(int which) {
  abbr_folder* top = abbr_get_absolute_parent_folder(which);
  if (!top) return;
  bool touch_ui = which == ABBR_SANDBOX_LIST;
  if (touch_ui && g_hooks.remember_selection) g_hooks.remember_selection();
  while (denestify_step(top, true, touch_ui)) {
  }
  if (touch_ui && g_hooks.restore_selection) g_hooks.restore_selection();
}

void abbr_denestify_folders_in_abs_parent(abbr_folder* top) {
  if (!top) return;
  while (denestify_step(top, false, false)) {
  }
}
