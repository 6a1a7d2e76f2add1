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

// The file holds two of these per record, so they are built by hand rather than with printf.
static void put_hex(char* out, unsigned value, int digits) {
  static const char hex[] = "0123456789abcdef";
  for (int i = digits - 1; i >= 0; i--, value >>= 4) out[i] = hex[value & 0xf];
}

std::string abbr_time_to_hex_string(const abbrtime& t) {
  char buf[14];
  put_hex(buf, t.month, 2);
  put_hex(buf + 2, t.day, 2);
  put_hex(buf + 4, t.year, 4);
  put_hex(buf + 8, t.hour, 2);
  put_hex(buf + 10, t.minute, 2);
  put_hex(buf + 12, t.second, 2);
  return std::string(buf, sizeof buf);
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

static int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

abbrtime abbr_time_str_to_abbrtime(std::string_view s) {
  if (s.size() != 14) return abbr_time_now();
  unsigned v[14];
  bool all_hex = true;
  for (size_t i = 0; i < 14 && all_hex; i++) {
    int d = hex_digit(s[i]);
    all_hex = d >= 0;
    v[i] = static_cast<unsigned>(d);
  }
  abbrtime t;
  if (all_hex) {
    // The common case, read without strtoul (whose leniency only matters for damaged fields).
    t.month = static_cast<uint8_t>(v[0] << 4 | v[1]);
    t.day = static_cast<uint8_t>(v[2] << 4 | v[3]);
    t.year = static_cast<uint16_t>(v[4] << 12 | v[5] << 8 | v[6] << 4 | v[7]);
    t.hour = static_cast<uint8_t>(v[8] << 4 | v[9]);
    t.minute = static_cast<uint8_t>(v[10] << 4 | v[11]);
    t.second = static_cast<uint8_t>(v[12] << 4 | v[13]);
    return t;
  }
  t.month = static_cast<uint8_t>(hex_field(s, 0, 2));
  t.day = static_cast<uint8_t>(hex_field(s, 2, 2));
  t.year = static_cast<uint16_t>(hex_field(s, 4, 4));
  t.hour = static_cast<uint8_t>(hex_field(s, 8, 2));
  t.minute = static_cast<uint8_t>(hex_field(s, 10, 2));
  t.second = static_cast<uint8_t>(hex_field(s, 12, 2));
  return t;
}
