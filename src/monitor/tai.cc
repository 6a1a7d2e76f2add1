#include "monitor/tai.h"

void typed_abbrev_info_free(typed_abbrev_info** tai) {
  if (!tai || !*tai) return;
  abbr_abbrev_free((*tai)->abbrev);
  delete *tai;
  *tai = nullptr;
}
