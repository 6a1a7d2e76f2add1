// Feeds arbitrary bytes to the abbreviation file loader, then checks that whatever it built is
// written as a file that loads without error and reaches a fixed point after one more round.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "core/msgbox.h"
#include "library/abbr_file.h"

static int quiet(msgbox_kind, msgbox_buttons buttons, const std::string&, void* errors) {
  (*static_cast<int*>(errors))++;
  return msgbox_default_answer(buttons);
}

// Loads `bytes` into a fresh main list and returns the file the writer makes of it.
static std::string load_and_save(std::string_view bytes, int* errors) {
  abbr_free_all_folder_lists();
  abbr_reset_uid_counter();
  abbr_reset_abbr_uid_counter();
  *errors = 0;
  msgbox_set_handler(quiet, errors);
  abbr_load_main_list_from_buffer(bytes, "fuzz");
  std::string out, err;
  if (!abbr_dump_folder_list_to_string(abbr_folder_list(ABBR_MAIN_LIST), out, &err)) {
    fprintf(stderr, "writer failed: %s\n", err.c_str());
    abort();
  }
  return out;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  int errors = 0;
  std::string first = load_and_save(std::string_view(reinterpret_cast<const char*>(data), size), &errors);
  abbr_folder_as_HTML(abbr_get_absolute_parent_folder(ABBR_MAIN_LIST));

  // The writer's output must always be readable.
  std::string second = load_and_save(first, &errors);
  if (errors) {
    fprintf(stderr, "the written file did not load:\n%s\n", first.c_str());
    abort();
  }
  // The first round may still change things (a root-less file gets a root, for one); after
  // that, loading and saving must give the same bytes.
  std::string third = load_and_save(second, &errors);
  if (third != second) {
    fprintf(stderr, "not a fixed point:\n%s\n%s\n", second.c_str(), third.c_str());
    abort();
  }
  abbr_free_all_folder_lists();
  return 0;
}
