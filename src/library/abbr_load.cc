// Reading the abbreviation file with expat.
#include <expat.h>
#include <glib.h>

#include <cerrno>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "core/msgbox.h"
#include "core/support.h"
#include "library/abbr_file.h"
#include "util/die.h"
#include "util/strutil.h"

static abbrld_hooks g_hooks = {nullptr, nullptr, nullptr, nullptr};

void abbrld_set_hooks(const abbrld_hooks& hooks) { g_hooks = hooks; }

// ---- Records from attributes ----

static long long parse_int(const char* s) {
  long long v = strtoll(s, nullptr, 10);
  return v;
}

// A time attribute: only the 14-character form is a time; anything else is the time of loading.
static abbrtime time_attr(const char* value, const abbrtime& now) {
  return strlen(value) == 14 ? abbr_time_str_to_abbrtime(value) : now;
}

static abbr_folder* abbr_create_folder_from_attribs_at(const char** attribs, const abbrtime& now) {
  abbr_folder* f = new abbr_folder;
  f->uid = abbr_next_folder_uid();
  f->last_update = f->modified = f->last_check = now;
  for (int i = 0; attribs[i]; i += 2) {
    const char* name = attribs[i];
    const char* value = attribs[i + 1];
    if (!name[0] || name[1]) continue;  // every attribute name is one letter
    switch (g_ascii_tolower(name[0])) {
      case 'n':
        f->name = value;
        break;
      case 't':
        f->t = static_cast<uint8_t>(parse_int(value));
        break;
      case 'd':
        f->disabled = static_cast<uint8_t>(parse_int(value));
        break;
      case 'w':
        f->read_only = static_cast<uint8_t>(parse_int(value));
        break;
      case 'e':
        f->e = static_cast<uint8_t>(parse_int(value));
        break;
      case 'h':
        f->chooser_hotkey = value;
        break;
      case 's':
        f->source = value;
        break;
      case 'u':
        f->update_setting = static_cast<int32_t>(parse_int(value));
        break;
      case 'l':
        f->last_update = time_attr(value, now);
        break;
      case 'm':
        f->modified = time_attr(value, now);
        break;
      case 'c':
        f->last_check = time_attr(value, now);
        break;
      case 'f':
        f->f = static_cast<uint8_t>(parse_int(value));
        break;
    }
  }
  return f;
}

static abbr_abbrev* abbr_create_abbrev_from_attribs_at(uint8_t type, const char** attribs, const abbrtime& now) {
  abbr_abbrev* a = new abbr_abbrev;
  a->type = type;
  a->case_mode = ABBR_CASE_ADAPT;
  a->trigger_mode = ABBR_TRIGGER_IMMEDIATELY;
  a->created = a->modified = now;
  a->uid = abbr_next_abbrev_uid();
  for (int i = 0; attribs[i]; i += 2) {
    const char* name = attribs[i];
    const char* value = attribs[i + 1];
    if (!name[0] || name[1]) continue;
    char c = g_ascii_tolower(name[0]);
    switch (c) {
      case 'a':
        plist_free(a->abbrevs);
        a->abbrevs = abbr_get_lst_of_abbrevs_from_string(value);
        continue;
      case 'd':
        a->description = value;
        continue;
      case 'c':
        a->case_mode = static_cast<uint32_t>(parse_int(value));
        continue;
      case 't':
        a->trigger_mode = static_cast<uint32_t>(parse_int(value));
        continue;
      case 'r':
        a->anywhere = static_cast<uint8_t>(parse_int(value));
        continue;
      case 'x':
        a->created = time_attr(value, now);
        continue;
      case 'y':
        a->modified = time_attr(value, now);
        continue;
    }
    if (type == ABBR_TYPE_TEXT && c == 'e') {
      a->replacement = value;
    } else if (type == ABBR_TYPE_PROGRAM) {
      switch (c) {
        case 'p':
          a->program.path = value;
          break;
        case 'm':
          a->program.params = value;
          break;
        case 'i':
          a->program.run_in = value;
          break;
        case 's':
          a->program.show_mode = static_cast<uint8_t>(parse_int(value));
          break;
        case 'n':
          a->program.run_as_admin = static_cast<uint8_t>(parse_int(value));
          break;
      }
    } else if (type == ABBR_TYPE_WEBSITE) {
      if (c == 'u') a->website.address = value;
      if (c == 'b') a->website.browser = value;
    }
  }
  if (a->case_mode > ABBR_CASE_ADAPT) a->case_mode = abbr_default_case_mode(type);
  if (a->trigger_mode < ABBR_TRIGGER_IMMEDIATELY || a->trigger_mode > ABBR_TRIGGER_WORD_END)
    a->trigger_mode = abbr_default_trigger_mode();
  if (a->program.show_mode >= 3) a->program.show_mode = 0;
  abbr_abbrev_set_case_mode_to_valid_for_type(a);
  return a;
}

abbr_folder* abbr_create_folder_from_attribs(const char** attribs) {
  return abbr_create_folder_from_attribs_at(attribs, abbr_time_now());
}

abbr_abbrev* abbr_create_abbrev_from_attribs(uint8_t type, const char** attribs) {
  return abbr_create_abbrev_from_attribs_at(type, attribs, abbr_time_now());
}

// ---- Buffer preparation ----

// True when a character outside the XML range ends right before some "/u": only then can the
// pattern below match, so most files skip the regular expression entirely. `text` is valid UTF-8.
static bool may_hold_removable_character(std::string_view text) {
  for (size_t pos = text.find("/u"); pos != std::string_view::npos; pos = text.find("/u", pos + 1)) {
    if (pos == 0) continue;
    size_t start = pos - 1;
    while (start > 0 && (static_cast<unsigned char>(text[start]) & 0xC0) == 0x80) start--;
    gunichar c = g_utf8_get_char(text.data() + start);
    bool in_xml_range = c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) ||
                        (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF);
    if (!in_xml_range) return true;
  }
  return false;
}

// The preparation below, except that when the bytes need no change *out is left alone and false
// comes back: a library is read once more than it is written, and copying tens of megabytes
// only to get the same bytes back is the slowest part of loading a large one.
static bool prepare_buffer(std::string_view raw, std::string* out) {
  bool has_escape = raw.find('\x1b') != std::string_view::npos;
  bool valid = g_utf8_validate_len(raw.data(), raw.size(), nullptr);  // also false at a NUL byte
  if (!has_escape && valid && !may_hold_removable_character(raw)) return false;

  // A raw escape byte is not allowed in XML at all; older versions wrote it unescaped.
  std::string& text = *out;
  text.clear();
  text.reserve(raw.size());
  size_t run = 0;
  for (size_t i = raw.find('\x1b'); i != std::string_view::npos; i = raw.find('\x1b', i + 1)) {
    text.append(raw.data() + run, i - run);
    text.append("&#33;");
    run = i + 1;
  }
  text.append(raw.data() + run, raw.size() - run);

  if (!valid) {
    gchar* repaired = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
    text = repaired;
    g_free(repaired);
  }
  if (!may_hold_removable_character(text)) return true;

  // The pattern is kept exactly as it has always been: because of the "/u" at its end it only
  // removes a character outside the XML range when "/u" follows it. It works on characters, not
  // bytes (no G_REGEX_RAW), which is why the text is made valid UTF-8 first.
  static GRegex* regex = g_regex_new(
      "[^\\x09\\x0A\\x0D\\x20-\\x{D7FF}\\x{E000}-\\x{FFFD}\\x{10000}-\\x{10FFFF}]/u", G_REGEX_OPTIMIZE,
      static_cast<GRegexMatchFlags>(0), nullptr);
  gchar* replaced = g_regex_replace_literal(regex, text.c_str(), -1, 0, "", static_cast<GRegexMatchFlags>(0), nullptr);
  if (replaced) text = replaced;
  g_free(replaced);
  return true;
}

std::string abbrld_get_buf_to_pass_to_parser(std::string_view raw) {
  std::string out;
  return prepare_buffer(raw, &out) ? out : std::string(raw);
}

// ---- The parser callbacks ----

namespace {

// The TextExpander snippet data that may be embedded in folders and abbreviations.
const char* const k_te_elements[] = {"textexpander", "textexpanderSG", "textexpanderBS", "textexpanderFBS",
                                     "awpu"};

enum open_kind : uint8_t { OPEN_FOLDER, OPEN_ABBREV };

// An open folder and the last nodes of its two lists: records are appended in file order, and
// walking a long list to its end for every record would make loading quadratic.
struct folder_frame {
  abbr_folder* folder;  // (borrowed)
  plist* last_subfolder;
  plist* last_abbrev;
};

folder_frame frame_for(abbr_folder* f) { return {f, plist_get_last(f->subfolders), plist_get_last(f->abbrevs)}; }

// Links `data` after `last` (or as the whole list when `last` is nullptr).
void append_after(plist*& list, plist*& last, void* data, plist_free_func free_func) {
  plist* node = plist_alloc_set(data, free_func);
  if (last) {
    last->next = node;
    node->prev = last;
  } else {
    list = node;
  }
  last = node;
}

struct load_state {
  bool main_list = true;             // replacing list 0; otherwise importing below a folder
  int depth = 0;                     // elements open now
  int skip_depth = 0;                // depth of the element being skipped whole, 0 when none
  int collect_depth = 0;             // depth of the TextExpander element being collected, 0 when none
  std::vector<folder_frame> folders;  // open folder records
  std::vector<abbr_abbrev*> abbrevs;  // open abbreviation records (borrowed)
  std::vector<open_kind> open;        // which of the two stacks each open record is on
  abbrtime now{};                     // the time of loading, for records without times
  bool root_seen = false;
  // Loading the main list builds a private list and swaps it in at the end, so the hook thread
  // never sees a half-built library. `replaces`: the root was seen and `built` is the whole new
  // list; otherwise `built` holds folders to add to the current one.
  plist* built = nullptr;
  bool replaces = false;
  std::string te_text;               // the TextExpander element being collected
  std::string te_errors;             // what the TextExpander reader reported, one per line
};

int abbrev_type_of(const char* name) {
  if (!name[0] || name[1]) return -1;
  switch (g_ascii_tolower(name[0])) {
    case 'a':
      return ABBR_TYPE_TEXT;
    case 'p':
      return ABBR_TYPE_PROGRAM;
    case 'w':
      return ABBR_TYPE_WEBSITE;
    case 'u':
      return ABBR_TYPE_FOURTH;
  }
  return -1;
}

bool is_te_element(const char* name) {
  for (const char* te : k_te_elements)
    if (str_caseeq(name, te)) return true;
  return false;
}

// The collected text is read again as XML, so what expat decoded is encoded again.
void append_markup_escaped(std::string& out, const char* text, int len, bool in_attribute) {
  for (int i = 0; i < len; i++) {
    char c = text[i];
    switch (c) {
      case '&':
        out.append("&amp;");
        break;
      case '<':
        out.append("&lt;");
        break;
      case '>':
        out.append("&gt;");
        break;
      case '"':
        if (in_attribute) {
          out.append("&quot;");
          break;
        }
        [[fallthrough]];
      default:
        out.push_back(c);
    }
  }
}

void append_start_tag(std::string& out, const char* name, const char** attribs) {
  out.push_back('<');
  out.append(name);
  for (int i = 0; attribs[i]; i += 2) {
    out.push_back(' ');
    out.append(attribs[i]);
    out.append("=\"");
    append_markup_escaped(out, attribs[i + 1], static_cast<int>(strlen(attribs[i + 1])), true);
    out.push_back('"');
  }
  out.push_back('>');
}

void hand_over_te_text(load_state* st) {
  if (!g_hooks.te_data_reader || st->open.empty()) return;
  abbr_folder* folder = nullptr;
  abbr_abbrev* abbrev = nullptr;
  if (st->open.back() == OPEN_ABBREV)
    abbrev = st->abbrevs.back();
  else
    folder = st->folders.back().folder;
  std::optional<std::string> err = g_hooks.te_data_reader(st->te_text, folder, abbrev);
  if (err) {
    if (!st->te_errors.empty()) st->te_errors.push_back('\n');
    st->te_errors += *err;
  }
}

void XMLCALL start_element(void* data, const char* name, const char** attribs) {
  load_state* st = static_cast<load_state*>(data);
  st->depth++;
  if (st->skip_depth) return;
  if (st->collect_depth) {
    append_start_tag(st->te_text, name, attribs);
    return;
  }
  folder_frame* parent = st->folders.empty() ? nullptr : &st->folders.back();
  if (st->depth == 1 && !st->root_seen && (str_caseeq(name, "Quiverex") || str_caseeq(name, "Tolmek"))) {
    st->root_seen = true;
    abbr_folder* f;
    if (st->main_list) {
      // The root's own attributes describe the top folder, which is always built afresh.
      plist_free(st->built);
      f = abbr_create_absolute_parent_folder();
      st->built = plist_append(nullptr, f, abbr_folder_free);
      st->replaces = true;
    } else {
      f = abbr_create_folder_from_attribs_at(attribs, st->now);
      if (parent) {
        f->parent = parent->folder;
        append_after(parent->folder->subfolders, parent->last_subfolder, f, abbr_folder_free);
      } else {
        abbr_add_subfolder_to_folder(ABBR_MAIN_LIST, nullptr, f);
      }
    }
    st->folders.push_back(frame_for(f));
    st->open.push_back(OPEN_FOLDER);
    return;
  }
  if (str_caseeq(name, "f") && (parent || st->main_list)) {
    abbr_folder* f = abbr_create_folder_from_attribs_at(attribs, st->now);
    if (parent) {
      f->parent = parent->folder;
      append_after(parent->folder->subfolders, parent->last_subfolder, f, abbr_folder_free);
    } else {
      st->built = plist_append(st->built, f, abbr_folder_free);
    }
    st->folders.push_back(frame_for(f));
    st->open.push_back(OPEN_FOLDER);
    return;
  }
  int type = abbrev_type_of(name);
  if (type >= 0 && parent) {
    abbr_abbrev* a = abbr_create_abbrev_from_attribs_at(static_cast<uint8_t>(type), attribs, st->now);
    a->parent = parent->folder;
    append_after(parent->folder->abbrevs, parent->last_abbrev, a, abbr_abbrev_free);
    st->abbrevs.push_back(a);
    st->open.push_back(OPEN_ABBREV);
    return;
  }
  if (is_te_element(name)) {
    st->collect_depth = st->depth;
    st->te_text.clear();
    append_start_tag(st->te_text, name, attribs);
    return;
  }
  st->skip_depth = st->depth;
}

void XMLCALL end_element(void* data, const char* name) {
  load_state* st = static_cast<load_state*>(data);
  int depth = st->depth--;
  if (st->skip_depth) {
    if (depth == st->skip_depth) st->skip_depth = 0;
    return;
  }
  if (st->collect_depth) {
    st->te_text.append("</").append(name).push_back('>');
    if (depth == st->collect_depth) {
      st->collect_depth = 0;
      hand_over_te_text(st);
      st->te_text.clear();
    }
    return;
  }
  if (st->open.empty()) return;
  open_kind kind = st->open.back();
  st->open.pop_back();
  if (kind == OPEN_ABBREV) {
    abbr_abbrev* a = st->abbrevs.back();
    st->abbrevs.pop_back();
    if (g_hooks.te_generate_new_uuid_for_abbrev) g_hooks.te_generate_new_uuid_for_abbrev(a);
  } else {
    abbr_folder* f = st->folders.back().folder;
    st->folders.pop_back();
    if (g_hooks.te_generate_new_uuid_for_folder) g_hooks.te_generate_new_uuid_for_folder(f);
  }
}

void XMLCALL character_data(void* data, const char* text, int len) {
  load_state* st = static_cast<load_state*>(data);
  if (st->collect_depth && !st->skip_depth) append_markup_escaped(st->te_text, text, len, false);
}

struct parse_result {
  bool ok = true;
  std::string error;  // expat's text
  unsigned long line = 0;
  long byte = 0;
  std::string te_errors;
};

// Parses the prepared buffer into the lists; what was built before an error stays.
// `base` (nullable) is the folder that top-level elements go into when importing.
parse_result parse(std::string_view buf, load_state& st, abbr_folder* base) {
  parse_result r;
  XML_Parser parser = XML_ParserCreate("UTF-8");
  if (!parser) die();
  st.now = abbr_time_now();
  if (base) {
    st.folders.push_back(frame_for(base));
    st.open.push_back(OPEN_FOLDER);
  }
  XML_SetUserData(parser, &st);
  XML_SetElementHandler(parser, start_element, end_element);
  XML_SetCharacterDataHandler(parser, character_data);
  // Fed in pieces: expat copies what it is given into a buffer of its own, and a piece of a
  // megabyte stays in the cache where a copy of the whole file would not. Positions in error
  // messages count from the start of the file all the same.
  const size_t piece = 1u << 20;
  size_t pos = 0;
  do {
    size_t n = std::min(piece, buf.size() - pos);
    bool last = pos + n == buf.size();
    if (XML_Parse(parser, buf.data() + pos, static_cast<int>(n), last) == XML_STATUS_ERROR) {
      r.ok = false;
      r.error = XML_ErrorString(XML_GetErrorCode(parser));
      r.line = XML_GetCurrentLineNumber(parser);
      r.byte = XML_GetCurrentByteIndex(parser);
      break;
    }
    pos += n;
  } while (pos < buf.size());
  r.te_errors = st.te_errors;
  XML_ParserFree(parser);
  return r;
}

const char k_contact_soon[] = " and we'll do our best to help as soon as possible!";

// Whatever happened, list 0 ends with a top folder and the hook thread learns of the new list.
// `st` (nullable) holds what the parser built.
void finish_main_list(load_state* st) {
  plist* fresh = nullptr;
  if (st && st->replaces) {
    fresh = st->built;
  } else if (st && st->built) {
    fresh = plist_append_plist(abbr_folder_list_duplicate(abbr_folder_list(ABBR_MAIN_LIST)), st->built);
  } else if (abbr_folder_list(ABBR_MAIN_LIST)) {
    abbr_main_list_changed();
    return;
  }
  if (st) st->built = nullptr;
  if (!fresh) fresh = plist_append(nullptr, abbr_create_absolute_parent_folder(), abbr_folder_free);
  abbr_replace_main_list(fresh);
}

}  // namespace

bool abbr_load_main_list_from_buffer(std::string_view raw, const std::string& path) {
  load_state st;
  std::string prepared;
  parse_result r = parse(prepare_buffer(raw, &prepared) ? std::string_view(prepared) : raw, st, nullptr);
  bool ok = r.ok;
  if (!r.ok)
    show_msgbox(MSGBOX_ERROR, MSGBOX_BUTTONS_OK,
                strprintf("\nError loading abbreviations from file '%s': %s at %lu (byte %ld).\n\n"
                          "Your Quiverextion file may have been corrupted by your system. Consider restoring a "
                          "backup using the Backup Manager. You may also contact us at " QX_SUPPORT_EMAIL
                          " and we'll do our best to help as soon as we can!",
                          path.c_str(), r.error.c_str(), r.line, r.byte));
  if (!r.te_errors.empty()) {
    ok = false;
    show_msgbox(MSGBOX_ERROR, MSGBOX_BUTTONS_OK,
                strprintf("Some errors were found while importing the TextExpander XML data: %s\n\n"
                          "Please let us know you received this error message: " QX_SUPPORT_EMAIL,
                          r.te_errors.c_str()));
  }
  finish_main_list(&st);
  return ok;
}

bool abbr_load_main_list_from_file(const std::string& path) {
  FILE* stream;
  for (;;) {
    stream = file_open(path, "rb");
    if (stream) break;
    int err = errno;
    if (file_exists(path)) {
      int answer = show_msgbox(
          MSGBOX_ERROR, MSGBOX_BUTTONS_YES_NO,
          strprintf("Unable to open Quiverextion file '%s' for reading: %s\n\nClick Yes to try again. If this "
                    "error message continues to display, first try rebooting your system and starting Quiverex "
                    "again.\n\nIf that doesn't work, consider restoring a backup using the Backup Manager, or "
                    "contact us at " QX_SUPPORT_EMAIL
                    " if you're unsure of what to do and we'll do our best to help as quickly as we can.",
                    path.c_str(), strerror(err)));
      if (answer == MSGBOX_RESPONSE_YES) continue;
    } else if (g_hooks.backups_available && g_hooks.backups_available()) {
      show_msgbox(MSGBOX_ERROR, MSGBOX_BUTTONS_OK,
                  strprintf("Unable to load Quiverextion file '%s': file doesn't exist.\n\nYou may have "
                            "accidentally deleted it or your system may have deleted it for some reason.\n\n"
                            "Regardless, I noticed you have some backups available to restore. Open up the "
                            "Backup Manager and restore the latest backup, and you should get all of your "
                            "Quiverextions back.\n\nStill having trouble, or not sure what to do? Contact us "
                            "at " QX_SUPPORT_EMAIL "%s",
                            path.c_str(), k_contact_soon));
    }
    break;
  }
  if (!stream) {
    finish_main_list(nullptr);
    return false;
  }
  char* raw = nullptr;
  size_t len = 0;
  bool read_ok = read_entire_file(stream, &raw, 1, &len);
  int err = errno;
  fclose(stream);
  if (!read_ok) {
    free(raw);
    show_msgbox(MSGBOX_ERROR, MSGBOX_BUTTONS_OK,
                strprintf("\nFatal error: unable to read from Quiverextion file '%s': %s\n\nFirst try rebooting "
                          "your system and trying again. If that doesn't work, consider restoring a backup using "
                          "the Backup Manager. You may also contact us at " QX_SUPPORT_EMAIL "%s",
                          path.c_str(), strerror(err), k_contact_soon));
    finish_main_list(nullptr);
    return false;
  }
  bool ok = abbr_load_main_list_from_buffer(std::string_view(raw, len), path);
  free(raw);
  return ok;
}

bool abbr_load_abbreviations_from_file(const std::string& path, abbr_folder* into, std::string* error_out) {
  if (path.empty()) {
    if (error_out) *error_out = "Filename is blank.";
    return false;
  }
  FILE* stream = file_open(path, "rb");
  if (!stream) {
    if (error_out) *error_out = strerror(errno);
    return false;
  }
  char* raw = nullptr;
  size_t len = 0;
  bool read_ok = read_entire_file(stream, &raw, 1, &len);
  int err = errno;
  fclose(stream);
  if (!read_ok) {
    free(raw);
    if (error_out) *error_out = strerror(err);
    return false;
  }
  load_state st;
  st.main_list = false;
  std::string prepared;
  std::string_view text(raw, len);
  parse_result r = parse(prepare_buffer(text, &prepared) ? std::string_view(prepared) : text, st, into);
  free(raw);
  if (!r.ok) {
    if (error_out)
      *error_out = strprintf("Malformed file at line %lu (byte %ld): %s", r.line, r.byte, r.error.c_str());
    return false;
  }
  if (!r.te_errors.empty()) {
    if (error_out) *error_out = r.te_errors;
    return false;
  }
  return true;
}
