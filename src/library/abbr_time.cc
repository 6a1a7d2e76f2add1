// abbrtime: plain local timestamps and their string forms.
#include <cstdlib>
#include <string>

#include "library/abbr.h"
#include "util/strutil.h"

abbrtime abbr_time_from_tm(const struct tm& t) {
  abbrtime a;
  a.month = static_cast<uint8_t>(t.tm_mon + 1);
  a.day = static_cast<uint8_t>(t.tm_mday);
  a.year = static_cast<uint16_t>(t.tm_year + 1900);
  a.hour = static_cast<uint8_t>(t.tm_hour);
  a.minute = static_cast<uint8_t>(t.tm_min);
  a.second = static_cast<uint8_t>(t.tm_sec);
  return a;
}

struct tm abbr_time_to_tm(const abbrtime& a) {
  struct tm t = {};
  t.tm_mon = a.month - 1;
  t.tm_mday = a.day;
  t.tm_year = a.year - 1900;
  t.tm_hour = a.hour;
  t.tm_min = a.minute;
  t.tm_sec = a.second;
  t.tm_isdst = -1;
  return t;
}

abbrtime abbr_time_from_epoch_seconds(int64_t seconds) {
  time_t s = static_cast<time_t>(seconds);
  struct tm t;
  localtime_r(&s, &t);
  return abbr_time_from_tm(t);
}

abbrtime abbr_time_now() { return abbr_time_from_epoch_seconds(static_cast<int64_t>(time(nullptr))); }

int64_t abbr_time_to_epoch_seconds(const abbrtime& a) {
  struct tm t = abbr_time_to_tm(a);
  return static_cast<int64_t>(mktime(&t));
}

abbrtime abbrtime_local_to_utc(const abbrtime& a) {
  time_t s = static_cast<time_t>(abbr_time_to_epoch_seconds(a));
  struct tm t;
  gmtime_r(&s, &t);
  return abbr_time_from_tm(t);
}

abbrtime abbrtime_utc_to_local(const abbrtime& a) {
  struct tm t = abbr_time_to_tm(a);
  t.tm_isdst = 0;
  return abbr_time_from_epoch_seconds(static_cast<int64_t>(timegm(&t)));
}

abbrtime* abbr_dup_abbrtime(const abbrtime& t) { return new abbrtime(t); }

std::string abbr_time_to_hex_string(const abbrtime& t) {
  return strprintf("%.2x%.2x%.4x%.2x%.2x%.2x", t.month, t.day, t.year, t.hour, t.minute, t.second);
}

std::string abbr_time_to_compare_string(const abbrtime& t) {
  return strprintf("%.4d%.2d%.2d%.2d%.2d%.2d", t.year, t.month, t.day, t.hour, t.minute, t.second);
}

std::string abbr_time_to_display_string(const abbrtime* t) {
  abbrtime now;
  if (!t) {
    now = abbr_time_now();
    t = &now;
  }
  int hour12 = t->hour % 12 == 0 ? 12 : t->hour % 12;
  return strprintf("%d/%d/%d %d:%.2d:%.2d%s", t->month, t->day, t->year, hour12, t->minute, t->second,
                   t->hour < 12 ? "AM" : "PM");
}

static unsigned hex_field(std::string_view s, size_t pos, size_t len) {
  std::string part(s.substr(pos, len));
  return static_cast<unsigned>(strtoul(part.c_str(), nullptr, 16));
}

abbrtime abbr_time_str_to_abbrtime(std::string_view s) {
  if (s.size() != 14) return abbr_time_now();
  abbrtime t;
  t.month = static_cast<uint8_t>(hex_field(s, 0, 2));
  t.day = static_cast<uint8_t>(hex_field(s, 2, 2));
  t.year = static_cast<uint16_t>(hex_field(s, 4, 4));
  t.hour = static_cast<uint8_t>(hex_field(s, 8, 2));
  t.minute = static_cast<uint8_t>(hex_field(s, 10, 2));
  t.second = static_cast<uint8_t>(hex_field(s, 12, 2));
  return t;
}
