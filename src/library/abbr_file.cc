// Writing the abbreviation file.
#include "library/abbr_file.h"

#include <cerrno>
#include <cstring>
#include <ctime>

#include "util/strutil.h"

// Each byte's replacement, or nullptr when it is written as it is. CR is handled apart because
// a CR LF pair becomes a single line feed.
static const char* escape_for(unsigned char c) {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '\n':
      return "&#10;";
    case '\t':
      return "&#9;";
    case '"':
      return "&quot;";
    case 0x1b:
      return "&#33;";
  }
  return nullptr;
}

// One pass over the text. It gives the same bytes as applying the substitution pairs one after
// the other (none of the inserted entities contains a character that a later pair replaces),
// without copying the whole text once per pair.
void abbr_append_escaped(std::string& out, std::string_view text) {
  size_t run = 0;  // start of the bytes not yet copied
  for (size_t i = 0; i < text.size(); i++) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    const char* rep;
    size_t skip = 1;
    if (c == '\r') {
      rep = "&#10;";
      if (i + 1 < text.size() && text[i + 1] == '\n') skip = 2;
    } else {
      rep = escape_for(c);
      if (!rep) continue;
    }
    out.append(text.data() + run, i - run);
    out.append(rep);
    i += skip - 1;
    run = i + 1;
  }
  out.append(text.data() + run, text.size() - run);
}

static void append_attr(std::string& out, const char* name, std::string_view value) {
  out.push_back(' ');
  out.append(name);
  out.append("=\"");
  abbr_append_escaped(out, value);
  out.push_back('"');
}

static void append_int_attr(std::string& out, const char* name, long long value) {
  out.push_back(' ');
  out.append(name);
  out.append("=\"");
  out.append(std::to_string(value));
  out.push_back('"');
}

static void append_time_attr(std::string& out, const char* name, const abbrtime& t) {
  out.push_back(' ');
  out.append(name);
  out.append("=\"");
  out.append(abbr_time_to_hex_string(t));
  out.push_back('"');
}

void abbr_dump_abbrev_to_string(std::string& out, const abbr_abbrev* a) {
  static const char tags[] = {'a', 'p', 'w', 'u'};
  uint8_t type = a->type <= ABBR_TYPE_FOURTH ? a->type : static_cast<uint8_t>(ABBR_TYPE_FOURTH);
  out.push_back('<');
  out.push_back(tags[type]);
  out.append(" a=\"");
  abbr_append_escaped(out, abbr_abbrev_lst_to_string(a->abbrevs));
  out.push_back('"');
  append_attr(out, "d", a->description);
  switch (type) {
    case ABBR_TYPE_TEXT:
      append_attr(out, "e", a->replacement);
      break;
    case ABBR_TYPE_PROGRAM:
      append_attr(out, "p", a->program.path);
      break;
  }
  append_int_attr(out, "c", a->case_mode);
  append_int_attr(out, "t", a->trigger_mode);
  append_int_attr(out, "r", a->anywhere);
  switch (type) {
    case ABBR_TYPE_PROGRAM:
      append_attr(out, "m", a->program.params);
      append_attr(out, "i", a->program.run_in);
      append_int_attr(out, "s", a->program.show_mode);
      append_int_attr(out, "n", a->program.run_as_admin);
      break;
    case ABBR_TYPE_WEBSITE:
      append_attr(out, "u", a->website.address);
      append_attr(out, "b", a->website.browser);
      break;
  }
  append_time_attr(out, "x", a->created);
  append_time_attr(out, "y", a->modified);
  out.append("/>");
}

static std::string write_error(int err) {
  return strprintf("Write error -- not all Quiverextions could be saved (%s).", strerror(err));
}

namespace {

// Collects the text and, when it has a stream, hands it over in large pieces: one write of the
// whole file would need all of it in memory, thousands of small writes are slow.
struct xml_sink {
  std::string buf;
  FILE* stream = nullptr;  // nullptr: everything stays in `buf`
  std::string* error_out = nullptr;

  bool flush() {
    if (!stream || buf.empty()) return true;
    if (fwrite(buf.data(), 1, buf.size(), stream) != buf.size()) {
      if (error_out) *error_out = write_error(errno);
      return false;
    }
    buf.clear();
    return true;
  }
  bool maybe_flush() { return buf.size() < (1u << 20) || flush(); }
};

bool dump_folder(xml_sink& sink, const abbr_folder* f, bool is_root, bool mark_main, bool with_read_only) {
  if (!f) {
    if (sink.error_out) *sink.error_out = "Folder is blank.";
    return false;
  }
  std::string& out = sink.buf;
  out.append(is_root ? "<Quiverex" : "<f");
  append_attr(out, "n", f->name);
  append_int_attr(out, "t", f->t);
  append_int_attr(out, "d", f->disabled);
  append_int_attr(out, "w", with_read_only ? f->read_only : 0);
  if (f->e) out.append(" e=\"1\" ");
  if (!f->chooser_hotkey.empty()) append_attr(out, "h", f->chooser_hotkey);
  if (mark_main) out.append(" m=\"1\"");
  // Only the top of a subscribed tree carries where it comes from. The root never does: its
  // m="1" would be repeated, and the file could not be read back.
  bool subscription_top = f->read_only && (!f->parent || !f->parent->read_only);
  if (with_read_only && subscription_top && !f->source.empty() && !mark_main) {
    append_attr(out, "s", f->source);
    append_time_attr(out, "l", f->last_update);
    append_time_attr(out, "m", f->modified);
    append_int_attr(out, "u", f->update_setting);
    append_int_attr(out, "f", f->f);
    if (f->update_setting & ~4) append_time_attr(out, "c", f->last_check);
  }
  out.push_back('>');
  for (plist* n = f->subfolders; n; n = n->next)
    if (!dump_folder(sink, static_cast<const abbr_folder*>(n->data), false, false, with_read_only)) return false;
  for (plist* n = f->abbrevs; n; n = n->next) {
    if (!n->data) {
      if (sink.error_out) *sink.error_out = "Empty data.";
      return false;
    }
    abbr_dump_abbrev_to_string(sink.buf, static_cast<const abbr_abbrev*>(n->data));
    if (!sink.maybe_flush()) return false;
  }
  out.append(is_root ? "</Quiverex>" : "</f>");
  return sink.maybe_flush();
}

bool dump_list(xml_sink& sink, plist* list) {
  bool first = true;
  for (plist* n = list; n; n = n->next) {
    if (!dump_folder(sink, static_cast<const abbr_folder*>(n->data), first, first, true)) return false;
    first = false;
  }
  return sink.flush();
}

// Finds a missing record before anything is written, so such a save never touches the disk.
bool find_missing_record(plist* folders, std::string* error_out) {
  for (plist* n = folders; n; n = n->next) {
    const abbr_folder* f = static_cast<const abbr_folder*>(n->data);
    if (!f) {
      if (error_out) *error_out = "Folder is blank.";
      return true;
    }
    for (plist* a = f->abbrevs; a; a = a->next)
      if (!a->data) {
        if (error_out) *error_out = "Empty data.";
        return true;
      }
    if (find_missing_record(f->subfolders, error_out)) return true;
  }
  return false;
}

}  // namespace

bool abbr_dump_folder_to_string(std::string& out, const abbr_folder* f, bool is_root, bool mark_main,
                                bool with_read_only, std::string* error_out) {
  xml_sink sink;
  sink.buf.swap(out);
  sink.error_out = error_out;
  bool ok = dump_folder(sink, f, is_root, mark_main, with_read_only);
  out.swap(sink.buf);
  return ok;
}

bool abbr_dump_folder_list_to_string(plist* list, std::string& out, std::string* error_out) {
  xml_sink sink;
  sink.buf.swap(out);
  sink.error_out = error_out;
  bool ok = dump_list(sink, list);
  out.swap(sink.buf);
  return ok;
}

bool abbr_dump_all_subfolders_and_abbrevs_as_XML(const abbr_folder* f, FILE* stream, bool is_root,
                                                 bool mark_main, bool with_read_only, std::string* error_out) {
  xml_sink sink;
  sink.stream = stream;
  sink.error_out = error_out;
  return dump_folder(sink, f, is_root, mark_main, with_read_only) && sink.flush();
}

bool abbr_dump_abbrev_to_fp(FILE* stream, const abbr_abbrev* a) {
  if (!a) return false;
  xml_sink sink;
  sink.stream = stream;
  abbr_dump_abbrev_to_string(sink.buf, a);
  return sink.flush();
}

bool abbr_dump_folder_list_to_file(plist* list, const std::string& path, std::string* error_out) {
  std::string dir = path_dirname(path);
  if (dir.empty()) dir = ".";
  mkdir_p(dir, path_separator());
  if (find_missing_record(list, error_out)) return false;

  std::string temp;
  FILE* stream = secure_open_temp_file(&temp, dir, 100);
  if (!stream) {
    if (error_out) *error_out = strprintf("Unable to create temporary file in directory %s", dir.c_str());
    return false;
  }
  std::string err;
  xml_sink sink;
  sink.stream = stream;
  sink.error_out = &err;
  bool ok = dump_list(sink, list);
  if (!fsync_and_close(stream) && ok) {
    ok = false;
    err = write_error(errno);
  }
  if (!ok) {
    file_remove(temp);
    if (error_out) *error_out = err;
    return false;
  }
  if (!rename_durable(temp, path)) {
    int saved_errno = errno;
    file_remove(temp);
    if (error_out)
      *error_out = strprintf("Could not move temporary file %s to %s: %s", temp.c_str(), path.c_str(),
                             strerror(saved_errno));
    return false;
  }
  return true;
}

static std::string g_file_path;

void abbr_set_file_path(const std::string& path) { g_file_path = path; }
const std::string& abbr_get_file_path() { return g_file_path; }

bool abbr_dump_main_folder_list_to_file(std::string* error_out) {
  return abbr_dump_folder_list_to_file(abbr_folder_list(ABBR_MAIN_LIST), g_file_path, error_out);
}

bool abbr_dump_sandbox_folder_list_to_file(std::string* error_out) {
  return abbr_dump_folder_list_to_file(abbr_folder_list(ABBR_SANDBOX_LIST), g_file_path, error_out);
}

// ---- Numbered copies ----

bool abbr_backup_abbrev_file_in_dir(const std::string& folder) {
  char stamp[128];
  time_t now = time(nullptr);
  struct tm local;
  if (!localtime_r(&now, &local) || strftime(stamp, sizeof stamp, "%b%d_%Y_%H_%M_%S", &local) == 0) stamp[0] = 0;
  std::string from = strprintf("%s%c%s", folder.c_str(), path_separator(), ABBR_FILE_NAME);
  bool moved = false;
  for (int n = 0; n < 2500 && !moved; n++) {
    std::string to =
        strprintf("%s%c%s_backup%d%s.%s", folder.c_str(), path_separator(), "abbreviations", n, stamp, "tmk");
    moved = rename_no_replace(from, to);
    if (!moved && errno != EEXIST) break;  // the file is missing or the folder unusable
  }
  return moved;
}
