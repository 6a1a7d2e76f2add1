// The settings reader on arbitrary bytes. Beyond not crashing, whatever it accepts must come
// back unchanged when written and read again, and names must stay unique.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "settings/settings.h"
#include "util/strutil.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  if (settings_unescape(settings_escape(text)) != text) abort();

  std::optional<std::string> error;
  setting* list = settings_parse(text, nullptr, &error);
  if (list && error) abort();
  for (setting* a = list; a; a = a->next)
    for (setting* b = a->next; b; b = b->next)
      if (str_caseeq(a->name, b->name)) abort();

  std::optional<std::string> again_error;
  setting* again = settings_parse(settings_format(list), nullptr, &again_error);
  if (again_error) abort();
  setting* a = list;
  setting* b = again;
  for (; a && b; a = a->next, b = b->next)
    if (std::string(a->name) != b->name || std::string(a->value) != b->value) abort();
  if (a || b) abort();

  __setting_list_free(list);
  __setting_list_free(again);
  return 0;
}
