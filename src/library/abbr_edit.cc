#include "library/abbr_edit.h"

namespace {

abbr_abbrev* deep_copy_abbrev_with_new_uid(const abbr_abbrev* a, abbr_folder* parent) {
  abbr_abbrev* c = abbr_duplicate_abbrev(a, parent, false);
  c->uid = abbr_next_abbrev_uid();
  abbr_set_times_to_current_time(c);
  return c;
}

// Fresh uids for a copied folder and everything below it, so that the copy is not mistaken
// for the original when the tree looks records up by uid.
void renumber(abbr_folder* f) {
  f->uid = abbr_next_folder_uid();
  for (abbr_abbrev* a : plist_range<abbr_abbrev>(f->abbrevs)) a->uid = abbr_next_abbrev_uid();
  for (abbr_folder* s : plist_range<abbr_folder>(f->subfolders)) renumber(s);
}

bool set_if_different(std::string& field, const std::string& value) {
  if (field == value) return false;
  field = value;
  return true;
}

}  // namespace

abbr_folder* abbr_edit_top_folder() {
  if (abbr_folder* top = abbr_get_absolute_parent_folder(ABBR_SANDBOX_LIST)) return top;
  abbr_folder* top = abbr_create_absolute_parent_folder();
  abbr_add_subfolder_to_folder(ABBR_SANDBOX_LIST, nullptr, top);
  return top;
}

abbr_folder* abbr_edit_new_folder(abbr_folder* parent, const std::string& name) {
  if (!parent) parent = abbr_edit_top_folder();
  abbr_folder* f = abbr_new_subfolder_of(parent, name);
  abbr_add_subfolder_to_folder(ABBR_SANDBOX_LIST, parent, f);
  return f;
}

abbr_abbrev* abbr_edit_new_abbrev(abbr_folder* folder, uint8_t type) {
  abbr_abbrev* a = abbr_create_new_abbrev(type, folder);
  abbr_add_abbrev_to_folder(folder, a, -1);
  return a;
}

bool abbr_edit_delete_folder(abbr_folder* f) {
  if (!f->parent) return false;
  abbr_delete_subfolder_from_parent(ABBR_SANDBOX_LIST, f);
  abbr_folder_free(f);
  return true;
}

void abbr_edit_delete_abbrev(abbr_abbrev* a) {
  if (a->parent) a->parent->abbrevs = plist_remove(a->parent->abbrevs, a);
  abbr_abbrev_free(a);
}

bool abbr_edit_rename_folder(abbr_folder* f, const std::string& name) {
  if (name.empty()) return false;
  return set_if_different(f->name, name);
}

abbr_abbrev* abbr_edit_duplicate_abbrev(const abbr_abbrev* a) {
  abbr_abbrev* c = deep_copy_abbrev_with_new_uid(a, a->parent);
  int at = plist_get_index_of(a->parent->abbrevs, a);
  abbr_add_abbrev_to_folder(a->parent, c, at < 0 ? -1 : at + 1);
  return c;
}

abbr_folder* abbr_edit_duplicate_folder(const abbr_folder* f) {
  abbr_folder* c = abbr_duplicate_folder(f, f->parent);
  renumber(c);
  c->name = f->name + " (copy)";
  abbr_add_subfolder_to_folder(ABBR_SANDBOX_LIST, f->parent, c);
  return c;
}

bool abbr_edit_move_abbrev(abbr_abbrev* a, abbr_folder* to) {
  if (!to || a->parent == to) return false;
  abbr_reparent_abbrev(a, to);
  return true;
}

bool abbr_edit_move_folder(abbr_folder* f, abbr_folder* to) {
  if (!to || !f->parent || f == to || f->parent == to || abbr_folder_is_child_of(to, f)) return false;
  abbr_reparent_folder(ABBR_SANDBOX_LIST, f, to);
  return true;
}

bool abbr_edit_set_text(abbr_abbrev* a, abbr_edit_field field, const std::string& value) {
  bool changed = false;
  switch (field) {
    case ABBR_EDIT_ABBREVIATIONS: {
      plist* list = abbr_get_lst_of_abbrevs_from_string(value);
      changed = abbr_abbrev_lst_to_string(list) != abbr_abbrev_lst_to_string(a->abbrevs);
      if (changed) {
        plist_free(a->abbrevs);
        a->abbrevs = list;
      } else {
        plist_free(list);
      }
      break;
    }
    case ABBR_EDIT_DESCRIPTION: changed = set_if_different(a->description, value); break;
    case ABBR_EDIT_REPLACEMENT: changed = set_if_different(a->replacement, value); break;
    case ABBR_EDIT_PROGRAM_PATH: changed = set_if_different(a->program.path, value); break;
    case ABBR_EDIT_PROGRAM_PARAMS: changed = set_if_different(a->program.params, value); break;
    case ABBR_EDIT_PROGRAM_RUN_IN: changed = set_if_different(a->program.run_in, value); break;
    case ABBR_EDIT_WEBSITE_ADDRESS: changed = set_if_different(a->website.address, value); break;
    case ABBR_EDIT_WEBSITE_BROWSER: changed = set_if_different(a->website.browser, value); break;
  }
  if (changed) a->modified = abbr_time_now();
  return changed;
}

bool abbr_edit_set_case_mode(abbr_abbrev* a, uint32_t case_mode) {
  if (case_mode > ABBR_CASE_ADAPT || a->case_mode == case_mode) return false;
  if (abbr_is_launcher(a) && case_mode == ABBR_CASE_ADAPT) return false;
  a->case_mode = case_mode;
  a->modified = abbr_time_now();
  return true;
}

bool abbr_edit_set_trigger_mode(abbr_abbrev* a, uint32_t trigger_mode) {
  if (trigger_mode < ABBR_TRIGGER_IMMEDIATELY || trigger_mode > ABBR_TRIGGER_WORD_END) return false;
  if (a->trigger_mode == trigger_mode) return false;
  a->trigger_mode = trigger_mode;
  a->modified = abbr_time_now();
  return true;
}

bool abbr_edit_set_anywhere(abbr_abbrev* a, bool anywhere) {
  if ((a->anywhere != 0) == anywhere) return false;
  a->anywhere = anywhere ? 1 : 0;
  a->modified = abbr_time_now();
  return true;
}
