#include "settings/settings.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "util/atomic_save.h"
#include "util/die.h"
#include "util/strutil.h"

setting* prefs_lst = nullptr;

const char SETTINGS_ERR_CANNOT_OPEN[] = "Unable to open setting file for reading.";
const char SETTINGS_ERR_INVALID[] = "Invalid setting file.";

namespace {

const char empty_value[] = "";

void free_entry(setting* e) {
  free(e->name);
  free(e->value);
  free(e);
}

const setting* find(const setting* list, const char* name) {
  if (!name) return nullptr;
  for (const setting* e = list; e; e = e->next)
    if (str_caseeq(e->name, name)) return e;
  return nullptr;
}

bool is_space(char c) { return isspace(static_cast<unsigned char>(c)) != 0; }

size_t skip_space(const std::string& s, size_t i) {
  while (i < s.size() && is_space(s[i])) i++;
  return i;
}

// Position of the next double quote at or after `i` that no backslash escapes; npos when none.
size_t next_unescaped_quote(const std::string& s, size_t i) {
  for (; i < s.size(); i++) {
    if (s[i] == '\\')
      i++;
    else if (s[i] == '"')
      return i;
  }
  return std::string::npos;
}

// Counts unescaped quotes incrementally, so a setting gathered over many physical lines is
// scanned once. `escaped` carries a trailing backslash over to the next appended line.
struct quote_counter {
  int count = 0;
  bool escaped = false;
  void feed(const char* p, size_t n) {
    for (size_t i = 0; i < n; i++) {
      if (escaped)
        escaped = false;
      else if (p[i] == '\\')
        escaped = true;
      else if (p[i] == '"')
        count++;
    }
  }
};

// Splits one gathered entry (exactly four unescaped quotes) into its unescaped name and value.
bool parse_entry(const std::string& entry, std::string* name, std::string* value) {
  size_t i = skip_space(entry, 0);
  if (i >= entry.size() || entry[i] != '"') return false;
  size_t name_end = next_unescaped_quote(entry, i + 1);
  if (name_end == std::string::npos) return false;
  size_t eq = skip_space(entry, name_end + 1);
  if (eq >= entry.size() || entry[eq] != '=') return false;
  size_t open = skip_space(entry, eq + 1);
  if (open >= entry.size() || entry[open] != '"') return false;
  size_t value_end = next_unescaped_quote(entry, open + 1);
  if (value_end == std::string::npos) return false;
  if (skip_space(entry, value_end + 1) != entry.size()) return false;
  *name = settings_unescape(entry.substr(i + 1, name_end - i - 1));
  *value = settings_unescape(entry.substr(open + 1, value_end - open - 1));
  return true;
}

}  // namespace

const char* __setting_get(const setting* list, const char* name) {
  const setting* e = find(list, name);
  return e ? e->value : empty_value;
}

int __setting_get_int(const setting* list, const char* name) { return atoi(__setting_get(list, name)); }

int __setting_does_exist(const setting* list, const char* name) { return find(list, name) != nullptr; }

setting* __setting_get_loc_by_name(setting* list, const char* name) {
  return const_cast<setting*>(find(list, name));
}

int __setting_get_offset_by_name(const setting* list, const char* name) {
  if (!name) return -1;
  int i = 0;
  for (const setting* e = list; e; e = e->next, i++)
    if (str_caseeq(e->name, name)) return i;
  return -1;
}

unsigned __setting_get_count(const setting* list) {
  unsigned n = 0;
  for (const setting* e = list; e; e = e->next) n++;
  return n;
}

setting* __setting_append(setting* list, char* name, char* value) {
  setting* e = static_cast<setting*>(xmalloc(sizeof(setting)));
  e->name = name;
  e->value = value;
  e->next = nullptr;
  e->prev = nullptr;
  if (!list) return e;
  setting* last = list;
  while (last->next) last = last->next;
  last->next = e;
  e->prev = last;
  return list;
}

setting* __setting_set_choose_copy(setting* list, char* name, int copy_name, char* value, int copy_value) {
  if (!name) {
    if (!copy_value) free(value);
    return list;
  }
  char* v;
  if (!value)
    v = copy_string("");
  else
    v = copy_value ? copy_string(value) : value;
  if (setting* e = const_cast<setting*>(find(list, name))) {
    free(e->value);
    e->value = v;
    if (!copy_name) free(name);
    return list;
  }
  return __setting_append(list, copy_name ? copy_string(name) : name, v);
}

setting* __setting_set(setting* list, const char* name, const char* value) {
  return __setting_set_choose_copy(list, const_cast<char*>(name), 1, const_cast<char*>(value), 1);
}

setting* __setting_set_int(setting* list, const char* name, int value) {
  return __setting_set(list, name, strprintf("%d", value).c_str());
}

setting* __setting_delete(setting* list, const char* name) {
  setting* e = const_cast<setting*>(find(list, name));
  if (!e) return list;
  if (e->prev) e->prev->next = e->next;
  if (e->next) e->next->prev = e->prev;
  setting* head = (e == list) ? e->next : list;
  free_entry(e);
  return head;
}

void __setting_list_free(setting* list) {
  while (list) {
    setting* next = list->next;
    free_entry(list);
    list = next;
  }
}

setting* __setting_list_copy(const setting* list) {
  setting* out = nullptr;
  for (const setting* e = list; e; e = e->next)
    if (e->name) out = __setting_set(out, e->name, e->value);
  return out;
}

int __setting_qsort_compare_asc_func(const void* a, const void* b) {
  const setting* x = *static_cast<const setting* const*>(a);
  const setting* y = *static_cast<const setting* const*>(b);
  return strcmp(x->name, y->name);
}

std::string settings_escape(const std::string& text) {
  return substitute_str(substitute_str(text, "\\", "\\\\", true, false), "\"", "\\\"", true, false);
}

std::string settings_unescape(const std::string& text) {
  return substitute_str(substitute_str(text, "\\\"", "\"", true, false), "\\\\", "\\", true, false);
}

std::string settings_format(const setting* list) {
  std::string out;
  for (const setting* e = list; e; e = e->next) {
    out += '"';
    out += settings_escape(e->name);
    out += "\"=\"";
    out += settings_escape(e->value);
    out += "\"\n";
  }
  return out;
}

setting* settings_parse(const std::string& buf, setting* list, std::optional<std::string>* error_out) {
  size_t pos = 0;
  // Hands out the next physical line, its line feed included; false at the end of the text.
  auto next_line = [&](const char** start, size_t* len) {
    if (pos >= buf.size()) return false;
    size_t nl = buf.find('\n', pos);
    size_t end = nl == std::string::npos ? buf.size() : nl + 1;
    *start = buf.data() + pos;
    *len = end - pos;
    pos = end;
    return true;
  };
  const char* line;
  size_t len;
  std::string entry, name, value;
  while (next_line(&line, &len)) {
    size_t blank = 0;
    while (blank < len && is_space(line[blank])) blank++;
    if (blank == len) continue;
    // A value may span lines: gather lines until the entry holds its four quotes.
    entry.assign(line, len);
    quote_counter quotes;
    quotes.feed(line, len);
    bool ok = true;
    while (quotes.count != 4) {
      if (!next_line(&line, &len)) {
        ok = false;
        break;
      }
      entry.append(line, len);
      quotes.feed(line, len);
    }
    if (ok) ok = parse_entry(entry, &name, &value);
    if (!ok) {
      __setting_list_free(list);
      if (error_out) *error_out = SETTINGS_ERR_INVALID;
      return nullptr;
    }
    list = __setting_set(list, name.c_str(), value.c_str());
  }
  return list;
}

setting* __settings_load_from_file_lst_given(const char* path, setting* list,
                                             std::optional<std::string>* error_out, time_t* mtime_out) {
  if (mtime_out) *mtime_out = file_mtime(path);
  std::optional<std::string> data = read_file_to_string(path);
  if (!data) {
    if (error_out) *error_out = SETTINGS_ERR_CANNOT_OPEN;
    return list;
  }
  return settings_parse(*data, list, error_out);
}

setting* __settings_load_from_file(const char* path, std::optional<std::string>* error_out) {
  return __settings_load_from_file_lst_given(path, nullptr, error_out, nullptr);
}

setting* __settings_load_from_file_mtime(const char* path, std::optional<std::string>* error_out,
                                         time_t* mtime_out) {
  return __settings_load_from_file_lst_given(path, nullptr, error_out, mtime_out);
}

int __settings_dump_to_file(const setting* list, const char* path) {
  return save_file_atomically(path, settings_format(list)) ? 0 : 1;
}

int __setting_get_file_existed_from_err_msg(const std::optional<std::string>& error) {
  return error && *error != SETTINGS_ERR_CANNOT_OPEN;
}

const char* setting_get(const char* name) { return __setting_get(prefs_lst, name); }
int setting_get_int(const char* name) { return __setting_get_int(prefs_lst, name); }
int setting_does_exist(const char* name) { return __setting_does_exist(prefs_lst, name); }
void setting_set(const char* name, const char* value) { prefs_lst = __setting_set(prefs_lst, name, value); }
void setting_set_int(const char* name, int value) { prefs_lst = __setting_set_int(prefs_lst, name, value); }
void setting_delete(const char* name) { prefs_lst = __setting_delete(prefs_lst, name); }
