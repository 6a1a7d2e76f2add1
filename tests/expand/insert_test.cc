// Insertion macros: dates with a fixed clock, date arithmetic, the cursor marker, the
// formatting shorthands, embedded abbreviations and the TextExpander forms.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "expand/keysim.h"
#include "expand/keysim_insert.h"
#include "library/abbr.h"

namespace {

struct tm fixed_now;

struct tm make_tm(int year, int month, int day, int hour, int minute, int second) {
  struct tm t {};
  t.tm_year = year - 1900;
  t.tm_mon = month - 1;
  t.tm_mday = day;
  t.tm_hour = hour;
  t.tm_min = minute;
  t.tm_sec = second;
  t.tm_isdst = -1;
  mktime(&t);  // fills in the weekday and day of the year
  return t;
}

class InsertTest : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("TZ", "UTC", 1);
    tzset();
    insert_set_now_func([] { return fixed_now; });
  }
  void TearDown() override { insert_set_now_func(nullptr); }
  void at(int year, int month, int day, int hour = 14, int minute = 5, int second = 7) {
    fixed_now = make_tm(year, month, day, hour, minute, second);
  }
  static std::string dates(const std::string& s) { return date_time_insertion_macros_execute(s); }
};

TEST_F(InsertTest, DateAndTimeFormats) {
  at(2024, 1, 31, 14, 5, 7);  // a Wednesday
  EXPECT_EQ(dates("%(Day).%(Month).%(Year) %(YearShort)"), "31.01.2024 24");
  EXPECT_EQ(dates("%(WeekdayName) %(WeekdayNameShort) %(MonthName) %(MonthNameShort)"),
            "Wednesday Wed January Jan");
  EXPECT_EQ(dates("%(Hour):%(Minute):%(Second) %(AMorPM) %(Hour24)"), "02:05:07 PM 14");
  // Names ignore case.
  EXPECT_EQ(dates("%(day)/%(MONTH)"), "31/01");
  EXPECT_EQ(dates("%(#WeekOfYear) %(#DayOfYear)"), "5 31");
}

TEST_F(InsertTest, NoLeadingZeroFormsAndWeekdayNumbers) {
  at(2024, 3, 5, 9, 4, 3);
  EXPECT_EQ(dates("%(#Month)/%(#Day) %(#Hour):%(#Minute):%(#Second) %(#DayOfYear)"), "3/5 9:4:3 65");
  at(2024, 3, 5, 0, 0, 0);
  EXPECT_EQ(dates("%(#Hour24) %(#Minute) %(#Second) %(AMorPM)"), "0 0 0 AM");
  at(2024, 2, 4);  // Sunday
  EXPECT_EQ(dates("%(#DayOfWeekMon) %(#DayOfWeek)"), "7 1");
  at(2024, 2, 5);  // Monday
  EXPECT_EQ(dates("%(#DayOfWeekMon) %(#DayOfWeek)"), "1 2");
}

TEST_F(InsertTest, DateArithmetic) {
  at(2024, 1, 31);
  EXPECT_EQ(dates("%(AddDays 1)%(Day)"), "01");
  EXPECT_EQ(dates("%(SubDays 31)%(Day).%(Month).%(Year)"), "31.12.2023");
  EXPECT_EQ(dates("%(SubtractYears 1)%(Year)"), "2023");
  EXPECT_EQ(dates("%(addhours 10)%(Hour24) %(Day)"), "00 01");
  at(2024, 5, 10);
  // Consecutive macros add up.
  EXPECT_EQ(dates("%(AddDays 1)%(AddMonths 1)%(Day).%(Month)"), "11.06");
  // A later macro starts again from now.
  EXPECT_EQ(dates("%(AddDays 1) %(AddDays 1)%(Day)"), " 11");
  // An offset applies to every date after it, not to those before.
  EXPECT_EQ(dates("%(Day) %(AddDays   2)%(Day) %(Day)"), "10 12 12");
  // Malformed arithmetic is left as it stands.
  EXPECT_EQ(dates("%(AddDays x)%(AddDays 1 )%(AddWeeks 1)"), "%(AddDays x)%(AddDays 1 )%(AddWeeks 1)");
}

TEST_F(InsertTest, EscapedDateMacros) {
  at(2024, 5, 10);
  EXPECT_EQ(dates("%%(Day)"), "%%(Day)");
  EXPECT_EQ(dates("%%%(Day)"), "%%10");
  // With an unescaped partner the escaped one loses its "%" and is expanded as well.
  EXPECT_EQ(dates("%(Day) %%(Day)"), "10 10");
  EXPECT_EQ(dates("%%(AddDays 1)%(Day)"), "%%(AddDays 1)10");
}

TEST_F(InsertTest, CursorMarker) {
  int back = -1;
  EXPECT_EQ(insertion_macros_execute("x%(cursor)yz", 0, &back, nullptr), "xyz");
  EXPECT_EQ(back, 2);
  EXPECT_EQ(insertion_macros_execute("%(cursor)ab%(CURSOR)cdé", 0, &back, nullptr), "abcdé");
  EXPECT_EQ(back, 3);
  // An escaped marker is typed as "%(cursor)" and counts one character less than written.
  EXPECT_EQ(insertion_macros_execute("a%(cursor)b%%(cursor)c", 0, &back, nullptr), "ab%(cursor)c");
  EXPECT_EQ(back, 11);
  EXPECT_EQ(insertion_macros_execute("abc", 0, &back, nullptr), "abc");
  EXPECT_EQ(back, 0);
  EXPECT_EQ(insertion_macros_execute("x%(cursor)y", 1, &back, nullptr), "x%(cursor)y");
}

TEST_F(InsertTest, FormattingShorthands) {
  EXPECT_EQ(insertion_macros_execute("%(B)bold%(b) %(I)%(U) %%(B)", 1, nullptr, nullptr),
            "%(Key Ctrl+B)bold%(Key Ctrl+B) %(Key Ctrl+I)%(Key Ctrl+U) %%(B)");
}

class EmbedTest : public InsertTest {
 protected:
  void SetUp() override {
    InsertTest::SetUp();
    top_ = abbr_create_absolute_parent_folder();
    abbr_add_subfolder_to_folder(ABBR_MAIN_LIST, nullptr, top_);
  }
  void TearDown() override {
    abbr_free_folder_list(ABBR_MAIN_LIST);
    InsertTest::TearDown();
  }
  abbr_abbrev* add(const char* name, const char* text, uint8_t type = ABBR_TYPE_TEXT) {
    abbr_abbrev* a = abbr_create_new_abbrev(type, top_);
    a->abbrevs = abbr_get_lst_of_abbrevs_from_string(name);
    a->replacement = text;
    a->case_mode = ABBR_CASE_SENSITIVE;
    abbr_add_abbrev_to_folder(top_, a, -1);
    return a;
  }
  static std::string expand(abbr_abbrev* a, const char* typed) {
    return keysim_get_text_to_type(nullptr, a, typed, 0, nullptr, nullptr, nullptr);
  }
  abbr_folder* top_ = nullptr;
};

TEST_F(EmbedTest, EmbeddedAbbreviations) {
  add("name", "Ann %(Abbrev title)");
  add("title", "(CEO)");
  add("web", "", ABBR_TYPE_WEBSITE);
  abbr_abbrev* sig = add("sig", "Best, %(Abbreviation name)!");
  EXPECT_EQ(expand(sig, "sig"), "Best, Ann (CEO)!");
  abbr_abbrev* other = add("other", "%(Abbrev nobody) %(Abbrev web) %(Quiverextion name) %%(Abbrev name)");
  EXPECT_EQ(expand(other, "other"), "%(Abbrev nobody) %(Abbrev web) %(Quiverextion name) %%(Abbrev name)");
}

TEST_F(EmbedTest, SelfEmbeddingStops) {
  abbr_abbrev* self = add("self", "me %(Abbrev self)");
  EXPECT_EQ(expand(self, "self"), "me %(Abbrev self)");
  // Two abbreviations below the typed one that embed each other end at the depth limit.
  add("ping", "i%(Abbrev pong)");
  add("pong", "o%(Abbrev ping)");
  abbr_abbrev* top = add("top", "%(Abbrev ping)");
  std::string out = expand(top, "top");
  EXPECT_EQ(out.substr(0, 4), "ioio");
  EXPECT_NE(out.find("%(Abbrev p"), std::string::npos);
}

TEST(TextExpanderForms, ToOurs) {
  EXPECT_EQ(te_macros_to_tolmek_macros("%fill:name% on %d.%m.%Y%|"), "%(Fill name) on %(Day).%(Month).%(Year)%(cursor)");
  EXPECT_EQ(te_macros_to_tolmek_macros("%@+3D%@-2M%@+15m %e %1H:%M"),
            "%(AddDays 3)%(SubtractMonths 2)%(AddMinutes 15) %(#Day) %(#Hour24):%(Minute)");
  EXPECT_EQ(te_macros_to_tolmek_macros("%KEY:RETURN%%clipboard%fill%%snippet:x%%snippet%"),
            "%(Key Enter)%(clipboard)%(Fill)%(Abbreviation x)%(Abbreviation)");
  EXPECT_EQ(te_macros_to_tolmek_macros("%\\%<%>%^%v %fill:%"),
            "%(Key Home)%(Key Shift+End)%(Key Left)%(Key Right)%(Key Up)%(Key Down) %(Fill)");
  // Letters of date forms are case-sensitive; plain text stays.
  EXPECT_EQ(te_macros_to_tolmek_macros("%D %E 50% %@+3x"), "%D %E 50% %@+3x");
}

TEST(TextExpanderForms, FromOurs) {
  EXPECT_EQ(tolmek_macros_to_te_macros("%(Input who)%(SubDays 4)%(AddMinutes 5)%(#Hour)%(Key Home)%(Key Shift+End)"),
            "%fill:who%%@-4D%@+5m%1I%\\");
  EXPECT_EQ(tolmek_macros_to_te_macros("%(Fill)%(Input)%(Abbrev x)%(Key Escape)%(cursor)%(#DayOfWeekMon)"),
            "%fill%%fill%%snippet:x%%key:esc%%|%w");
  const char* te = "%fill:a% %snippet:b% %@+2Y%@-3s %1m/%e/%y %A %p %1S %key:tab% %clipboard %>";
  EXPECT_EQ(tolmek_macros_to_te_macros(te_macros_to_tolmek_macros(te)), te);
}

}  // namespace
