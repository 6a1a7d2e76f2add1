// Folder and abbreviation records, the two folder lists, copying, lookup and text forms.
#include "library/abbr.h"

#include <cstdio>
#include <mutex>
#include <shared_mutex>
#include <cstdlib>

#include "library/abbr_file.h"

#include "util/strutil.h"

// ---- Mode texts ----

const uint32_t abbr_case_mode_menu_order[3] = {ABBR_CASE_INSENSITIVE, ABBR_CASE_SENSITIVE, ABBR_CASE_ADAPT};
const uint32_t abbr_trigger_mode_menu_order[3] = {ABBR_TRIGGER_IMMEDIATELY, ABBR_TRIGGER_TRIGGER_KEY,
                                                  ABBR_TRIGGER_WORD_END};

const char* abbr_case_mode_menu_text(uint32_t case_mode) {
  switch (case_mode) {
    case ABBR_CASE_SENSITIVE:
      return " Case sensitive (typing 'AB' does not match 'ab')";
    case ABBR_CASE_INSENSITIVE:
      return " Case insensitive (typing 'AB' matches 'ab', 'aB'...)";
    case ABBR_CASE_ADAPT:
      return " Adapt replacement case to case of typed Quiverextion";
  }
  return "";
}

const char* abbr_trigger_mode_menu_text(uint32_t trigger_mode) {
  switch (trigger_mode) {
    case ABBR_TRIGGER_IMMEDIATELY:
      return " immediately";
    case ABBR_TRIGGER_TRIGGER_KEY:
      return " after the trigger key is pressed";
    case ABBR_TRIGGER_WORD_END:
      return " after a word-ending character is typed";
  }
  return "";
}

void abbr_abbrev_set_case_mode_to_valid_for_type(abbr_abbrev* a) {
  if (abbr_is_launcher(a) && a->case_mode == ABBR_CASE_ADAPT) a->case_mode = ABBR_CASE_INSENSITIVE;
}

// ---- Defaults ----

static uint32_t builtin_case_mode(int type) {
  return (type == ABBR_TYPE_PROGRAM || type == ABBR_TYPE_WEBSITE) ? ABBR_CASE_INSENSITIVE : ABBR_CASE_ADAPT;
}
static uint32_t builtin_trigger_mode() { return ABBR_TRIGGER_IMMEDIATELY; }

static abbr_default_case_mode_func g_default_case_mode = builtin_case_mode;
static abbr_default_trigger_mode_func g_default_trigger_mode = builtin_trigger_mode;

void abbr_set_default_mode_funcs(abbr_default_case_mode_func case_mode,
                                 abbr_default_trigger_mode_func trigger_mode) {
  g_default_case_mode = case_mode ? case_mode : builtin_case_mode;
  g_default_trigger_mode = trigger_mode ? trigger_mode : builtin_trigger_mode;
}

uint32_t abbr_default_case_mode(int type) { return g_default_case_mode(type); }
uint32_t abbr_default_trigger_mode() { return g_default_trigger_mode(); }

// ---- Unique ids ----

static uint32_t g_folder_uid_counter = 0;
static uint32_t g_abbrev_uid_counter = 0;

uint32_t abbr_next_folder_uid() { return g_folder_uid_counter++; }
uint32_t abbr_next_abbrev_uid() { return g_abbrev_uid_counter++; }
void abbr_reset_uid_counter() { g_folder_uid_counter = 0; }
void abbr_reset_abbr_uid_counter() { g_abbrev_uid_counter = 0; }

// ---- Creation and freeing ----

void abbr_create_new_abbrev_type_specific_data(abbr_abbrev* a, uint8_t type) {
  abbr_abbrev_free_type_specific_data(a);
  a->type = type;
}

void abbr_abbrev_free_type_specific_data(abbr_abbrev* a) {
  a->replacement.clear();
  a->program = abbr_program();
  a->website = abbr_website();
}

abbr_abbrev* abbr_create_new_abbrev(uint8_t type, abbr_folder* parent) {
  abbr_abbrev* a = new abbr_abbrev;
  abbr_create_new_abbrev_type_specific_data(a, type);
  a->parent = parent;
  a->case_mode = abbr_default_case_mode(type);
  a->trigger_mode = abbr_default_trigger_mode();
  abbr_abbrev_set_case_mode_to_valid_for_type(a);
  abbr_set_times_to_current_time(a);
  a->uid = abbr_next_abbrev_uid();
  switch (type) {
    case ABBR_TYPE_PROGRAM:
      a->description = "New Launcher";
      break;
    case ABBR_TYPE_WEBSITE:
      a->description = "New Website Launcher";
      break;
    default:
      a->description = "New Quiverextion";
  }
  return a;
}

void abbr_abbrev_free(void* p) {
  abbr_abbrev* a = static_cast<abbr_abbrev*>(p);
  if (!a) return;
  plist_free(a->abbrevs);
  kvlist_free(a->extra_attribs);
  kvlist_free(a->extra_group_attribs);
  delete a;
}

abbr_folder* abbr_new_subfolder_of(abbr_folder* parent, const std::string& name) {
  abbr_folder* f = new abbr_folder;
  f->name = name.empty() ? "New Folder" : name;
  f->parent = parent;
  f->uid = abbr_next_folder_uid();
  f->t = 0;
  f->disabled = parent ? parent->disabled : 0;
  return f;
}

abbr_folder* abbr_create_absolute_parent_folder() {
  abbr_folder* f = new abbr_folder;
  f->name = "Everything";
  f->uid = abbr_next_folder_uid();
  return f;
}

void abbr_folder_free(void* p) {
  abbr_folder* f = static_cast<abbr_folder*>(p);
  if (!f) return;
  plist_free(f->subfolders);
  plist_free(f->abbrevs);
  for (kvlist*& kv : f->extra_attribs) kvlist_free(kv);
  delete f;
}

void abbr_set_times_to_current_time(abbr_abbrev* a) {
  a->created = abbr_time_now();
  a->modified = a->created;
}

// ---- The two folder lists ----

static plist* g_folder_lists[2] = {nullptr, nullptr};

plist*& abbr_folder_list(int which) { return g_folder_lists[which ? 1 : 0]; }

void abbr_free_folder_list(int which) {
  plist_free(abbr_folder_list(which));
  abbr_folder_list(which) = nullptr;
}

void abbr_free_all_folder_lists() {
  abbr_free_folder_list(ABBR_MAIN_LIST);
  abbr_free_folder_list(ABBR_SANDBOX_LIST);
}

abbr_folder* abbr_get_absolute_parent_folder_of(plist* list) {
  return list ? static_cast<abbr_folder*>(list->data) : nullptr;
}

abbr_folder* abbr_get_absolute_parent_folder(int which) {
  return abbr_get_absolute_parent_folder_of(abbr_folder_list(which));
}

// ---- Linking ----

void abbr_add_subfolder_to_folder(int which, abbr_folder* parent, abbr_folder* folder) {
  folder->parent = parent;
  if (!parent)
    abbr_folder_list(which) = plist_append(abbr_folder_list(which), folder, abbr_folder_free);
  else
    parent->subfolders = plist_append(parent->subfolders, folder, abbr_folder_free);
}

void abbr_add_abbrev_to_folder(abbr_folder* folder, abbr_abbrev* a, int position) {
  a->parent = folder;
  folder->abbrevs = plist_insert(folder->abbrevs, a, abbr_abbrev_free, position);
}

void abbr_insert_folder_in_list(int which, abbr_folder* folder, int position) {
  folder->parent = nullptr;
  abbr_folder_list(which) = plist_insert(abbr_folder_list(which), folder, abbr_folder_free, position);
}

void abbr_delete_subfolder_from_parent(int which, abbr_folder* folder) {
  if (folder->parent)
    folder->parent->subfolders = plist_remove(folder->parent->subfolders, folder);
  else
    abbr_folder_list(which) = plist_remove(abbr_folder_list(which), folder);
}

void abbr_reparent_folder(int which, abbr_folder* folder, abbr_folder* new_parent) {
  abbr_delete_subfolder_from_parent(which, folder);
  abbr_add_subfolder_to_folder(which, new_parent, folder);
}

void abbr_reparent_abbrev(abbr_abbrev* a, abbr_folder* new_parent) {
  if (a->parent) a->parent->abbrevs = plist_remove(a->parent->abbrevs, a);
  abbr_add_abbrev_to_folder(new_parent, a, -1);
}

// ---- Copying ----

void abbr_free_abbrtime(void* t) { delete static_cast<abbrtime*>(t); }

void* abbr_kvlist_copy_value(const void* value, uint32_t type) {
  if (type == KVLIST_TYPE_DATE && value) return abbr_dup_abbrtime(*static_cast<const abbrtime*>(value));
  // Any other owned value would end up freed twice if the pointer were shared.
  fprintf(stderr, "abbr_kvlist_copy_value: no copy for owned values of type %u\n", type);
  abort();
}

static void* copy_string_node(const void* s) { return new std::string(*static_cast<const std::string*>(s)); }

abbr_abbrev* abbr_duplicate_abbrev(const abbr_abbrev* a, abbr_folder* new_parent, bool keep_uid) {
  abbr_abbrev* c = new abbr_abbrev;
  c->abbrevs = plist_duplicate_data_too(a->abbrevs, copy_string_node);
  c->replacement = a->replacement;
  c->program = a->program;
  c->website = a->website;
  c->description = a->description;
  c->case_mode = a->case_mode;
  c->trigger_mode = a->trigger_mode;
  c->parent = new_parent;
  c->type = a->type;
  c->anywhere = a->anywhere;
  c->created = a->created;
  c->modified = a->modified;
  c->extra_attribs = kvlist_duplicate(a->extra_attribs, abbr_kvlist_copy_value);
  c->extra_group_attribs = kvlist_duplicate(a->extra_group_attribs, abbr_kvlist_copy_value);
  c->uid = keep_uid ? a->uid : abbr_next_abbrev_uid();
  return c;
}

plist* abbr_duplicate_abbrev_lst(plist* list, abbr_folder* new_parent, bool keep_uid) {
  plist* out = nullptr;
  for (abbr_abbrev* a : plist_range<abbr_abbrev>(list))
    out = plist_append(out, abbr_duplicate_abbrev(a, new_parent, keep_uid), abbr_abbrev_free);
  return out;
}

abbr_folder* abbr_duplicate_folder(const abbr_folder* f, abbr_folder* new_parent) {
  abbr_folder* c = new abbr_folder;
  c->name = f->name;
  c->parent = new_parent;
  c->uid = f->uid;
  for (int i = 0; i < 3; i++) c->extra_attribs[i] = kvlist_duplicate(f->extra_attribs[i], abbr_kvlist_copy_value);
  c->t = f->t;
  c->disabled = f->disabled;
  c->e = f->e;
  c->read_only = f->read_only;
  c->chooser_hotkey = f->chooser_hotkey;
  c->chooser_hotkey_id = f->chooser_hotkey_id;
  c->source = f->source;
  c->update_setting = f->update_setting;
  c->last_update = f->last_update;
  c->modified = f->modified;
  c->last_check = f->last_check;
  c->f = f->f;
  for (abbr_folder* sub : plist_range<abbr_folder>(f->subfolders))
    c->subfolders = plist_append(c->subfolders, abbr_duplicate_folder(sub, c), abbr_folder_free);
  // Inserted at the front on purpose: nothing relies on the order within a folder.
  for (abbr_abbrev* a : plist_range<abbr_abbrev>(f->abbrevs))
    c->abbrevs = plist_insert(c->abbrevs, abbr_duplicate_abbrev(a, c, true), abbr_abbrev_free, 0);
  return c;
}

plist* abbr_folder_list_duplicate(plist* list) {
  plist* out = nullptr;
  for (plist* n = list; n; n = n->next)
    out = plist_append(out, abbr_duplicate_folder(static_cast<abbr_folder*>(n->data), nullptr), n->free_func);
  return out;
}

// ---- Sandbox ----

static abbr_main_list_handover_func g_main_list_handover = nullptr;

void abbr_set_main_list_handover(abbr_main_list_handover_func func) { g_main_list_handover = func; }

int abbr_main_list_changed() { return g_main_list_handover ? g_main_list_handover() : 1; }

void abbr_create_sandbox() {
  abbr_free_folder_list(ABBR_SANDBOX_LIST);
  abbr_folder_list(ABBR_SANDBOX_LIST) = abbr_folder_list_duplicate(abbr_folder_list(ABBR_MAIN_LIST));
}

static std::shared_mutex g_main_list_lock;

void ABBR_LOCK_MAIN_LIST() { g_main_list_lock.lock_shared(); }
void ABBR_UNLOCK_MAIN_LIST() { g_main_list_lock.unlock_shared(); }

int abbr_replace_main_list(plist* fresh) {
  plist* old;
  {
    std::unique_lock<std::shared_mutex> hold(g_main_list_lock);
    old = abbr_folder_list(ABBR_MAIN_LIST);
    abbr_folder_list(ABBR_MAIN_LIST) = fresh;
  }
  int answer = abbr_main_list_changed();
  plist_free(old);
  return answer;
}

int abbr_flush_sandbox_to_main() {
  return abbr_replace_main_list(abbr_folder_list_duplicate(abbr_folder_list(ABBR_SANDBOX_LIST)));
}

// ---- Lookup ----

void abbr_get_all_folders_and_abbrevs_from_folder_children(abbr_folder* f, plist** folders,
                                                          plist** abbrevs) {
  for (abbr_folder* sub : plist_range<abbr_folder>(f->subfolders))
    abbr_get_all_folders_and_abbrevs_from_folder(sub, folders, abbrevs);
}

void abbr_get_all_folders_and_abbrevs_from_folder(abbr_folder* f, plist** folders, plist** abbrevs) {
  if (folders) *folders = plist_append(*folders, f, nullptr);
  if (abbrevs)
    for (abbr_abbrev* a : plist_range<abbr_abbrev>(f->abbrevs)) *abbrevs = plist_append(*abbrevs, a, nullptr);
  abbr_get_all_folders_and_abbrevs_from_folder_children(f, folders, abbrevs);
}

void abbr_get_all_folders_and_abbrevs_from_folder_list(plist* list, plist** folders, plist** abbrevs) {
  for (abbr_folder* f : plist_range<abbr_folder>(list)) abbr_get_all_folders_and_abbrevs_from_folder(f, folders, abbrevs);
}

abbr_folder* abbr_folder_from_uid(plist* list, uint32_t uid, int* index_out) {
  plist* folders = nullptr;
  abbr_get_all_folders_and_abbrevs_from_folder_list(list, &folders, nullptr);
  abbr_folder* found = nullptr;
  int index = 0;
  for (abbr_folder* f : plist_range<abbr_folder>(folders)) {
    if (f->uid == uid) {
      found = f;
      break;
    }
    index++;
  }
  plist_free_all_but_data(folders);
  if (index_out) *index_out = found ? index : -1;
  return found;
}

abbr_abbrev* abbr_abbrev_from_uid(plist* list, uint32_t uid) {
  plist* abbrevs = nullptr;
  abbr_get_all_folders_and_abbrevs_from_folder_list(list, nullptr, &abbrevs);
  abbr_abbrev* found = nullptr;
  for (abbr_abbrev* a : plist_range<abbr_abbrev>(abbrevs)) {
    if (a->uid == uid) {
      found = a;
      break;
    }
  }
  plist_free_all_but_data(abbrevs);
  return found;
}

abbr_folder* abbr_get_folder_with_acm_hotkey_id(plist* list, int32_t id) {
  plist* folders = nullptr;
  abbr_get_all_folders_and_abbrevs_from_folder_list(list, &folders, nullptr);
  abbr_folder* found = nullptr;
  for (abbr_folder* f : plist_range<abbr_folder>(folders)) {
    if (!f->chooser_hotkey.empty() && f->chooser_hotkey_id == id) {
      found = f;
      break;
    }
  }
  plist_free_all_but_data(folders);
  return found;
}

int abbr_get_n_abbrevs_in_folder(const abbr_folder* f, bool recursive) {
  int n = plist_get_n_elements(f->abbrevs);
  if (recursive)
    for (abbr_folder* sub : plist_range<abbr_folder>(f->subfolders)) n += abbr_get_n_abbrevs_in_folder(sub, true);
  return n;
}

bool abbr_folder_is_child_of(const abbr_folder* f, const abbr_folder* ancestor) {
  for (const abbr_folder* p = f ? f->parent : nullptr; p; p = p->parent) {
    if (p == ancestor) return true;
    if (p == p->parent) break;
  }
  return false;
}

abbr_folder* abbr_get_folder_in_list_from_path(plist* list, std::string_view path) {
  abbr_folder* cur = abbr_get_absolute_parent_folder_of(list);
  if (!cur) return nullptr;
  plist* parts = strsplit(path, "\\");
  for (std::string* raw : plist_range<std::string>(parts)) {
    // Accept both "Work\Email" and the spaced "Work \ Email" form.
    std::string name = *raw;
    while (!name.empty() && name.front() == ' ') name.erase(0, 1);
    while (!name.empty() && name.back() == ' ') name.pop_back();
    if (name.empty()) continue;
    abbr_folder* next = nullptr;
    for (abbr_folder* sub : plist_range<abbr_folder>(cur->subfolders)) {
      if (str_caseeq(sub->name, name)) {
        next = sub;
        break;
      }
    }
    cur = next;
    if (!cur) break;
  }
  plist_free(parts);
  return cur;
}

// ---- Text forms ----

static bool is_top_folder(const abbr_folder* f) {
  if (!f->parent) return true;
  return f == abbr_get_absolute_parent_folder(ABBR_MAIN_LIST) || f == abbr_get_absolute_parent_folder(ABBR_SANDBOX_LIST);
}

std::string abbr_get_full_folder_path_string(const abbr_folder* f, const abbr_folder* stop, bool spaced) {
  if (!f) return std::string();
  if (is_top_folder(f)) return f->name;
  const char* sep = spaced ? " \\ " : "\\";
  std::string out = f->name;
  for (const abbr_folder* p = f->parent; p; p = p->parent) {
    if (is_top_folder(p) || p == stop || p->name.empty() || p == p->parent) break;
    out = p->name + sep + out;
  }
  return out;
}

std::string abbr_get_containing_folder_string(const abbr_abbrev* a, bool full, bool spaced) {
  if (!a || !a->parent) return std::string();
  return full ? abbr_get_full_folder_path_string(a->parent, nullptr, spaced) : a->parent->name;
}

std::string abbr_abbrev_exp_to_display_string(const abbr_abbrev* a) {
  switch (a->type) {
    case ABBR_TYPE_TEXT:
      return a->replacement;
    case ABBR_TYPE_PROGRAM:
      return a->program.params.empty() ? a->program.path : a->program.path + " " + a->program.params;
    case ABBR_TYPE_WEBSITE:
      return a->website.address;
  }
  return std::string();
}

plist* abbr_get_lst_of_abbrevs_from_string(std::string_view s) {
  plist* parts = strsplit_no_double(s, '|');
  for (std::string* p : plist_range<std::string>(parts)) *p = substitute_str(*p, "||", "|", true, false);
  return parts;
}

std::string abbr_abbrev_lst_to_string(plist* abbrevs) {
  std::string out;
  for (plist* n = abbrevs; n; n = n->next) {
    if (n != abbrevs) out.push_back('|');
    out += substitute_str(plist_str(n), "|", "||", true, false);
  }
  return out;
}

// ---- Enabling ----

void abbr_set_folder_enabled(abbr_folder* f, bool enabled, bool recursive) {
  f->disabled = enabled ? 0 : 1;
  if (recursive)
    for (abbr_folder* sub : plist_range<abbr_folder>(f->subfolders)) abbr_set_folder_enabled(sub, enabled, true);
}

// ---- HTML-safe text ----

std::string abbr_htmlize(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  abbr_append_escaped(out, text);
  return out;
}

std::string abbr_htmlize_for_saving(std::string_view text) { return abbr_htmlize(text); }
