// The pure parts of the key and control macros: parsing, delays, key names, argument splitting.
#include <gtest/gtest.h>

#include "expand/keysim.h"
#include "expand/launch.h"

namespace {

struct parsed {
  int ok;
  std::string name, args;
  int bytes, chars;
};

parsed parse(const char* text, int allow_abbrev = 0) {
  parsed p{0, "", "", -1, -1};
  p.ok = keysim_parse_valid_macro(text, &p.name, &p.args, &p.bytes, &p.chars, allow_abbrev);
  return p;
}

TEST(MacroParse, ValidMacros) {
  parsed p = parse("%(Key Tab 3)rest");
  EXPECT_EQ(p.ok, 1);
  EXPECT_EQ(p.name, "Key");
  EXPECT_EQ(p.args, "Tab 3");
  EXPECT_EQ(p.bytes, 12);
  p = parse("%(delay  1s)");
  EXPECT_EQ(p.ok, 1);
  EXPECT_EQ(p.args, "1s");
  p = parse("%(Input)");
  EXPECT_EQ(p.ok, 1);
  EXPECT_EQ(p.args, "");
  p = parse("%(Fill café)x");
  EXPECT_EQ(p.ok, 1);
  EXPECT_EQ(p.args, "café");
  EXPECT_EQ(p.bytes, 13);
  EXPECT_EQ(p.chars, 12);
  // A ")" inside quotes does not end a Launch macro.
  p = parse("%(Launch \"C:\\a (b)\\x.exe\" -params \"y)\")z");
  EXPECT_EQ(p.ok, 1);
  EXPECT_EQ(p.args, "\"C:\\a (b)\\x.exe\" -params \"y)\"");
  p = parse("%(Abbrev sig)", 1);
  EXPECT_EQ(p.ok, 1);
  EXPECT_EQ(p.args, "sig");
}

TEST(MacroParse, InvalidMacrosAreText) {
  for (const char* t : {"%(Key)", "%(Key )", "%(Delay)", "%(Key Tab", "%(Launch \"a)", "%(Keys", "%(Foo bar)",
                        "%(Abbrev sig)", "%(Launch)", "%(Inputx"})
    EXPECT_EQ(parse(t).ok, 0) << t;
}

TEST(MacroParse, KeyPressLookAhead) {
  std::string t = "a%(Key Tab)%%(Key Tab)%(Delay 1)%(launch x)";
  EXPECT_EQ(keysim_will_do_key_press_at_offset(t, 1), 1);
  EXPECT_EQ(keysim_will_do_key_press_at_offset(t, 12), 0);  // escaped
  EXPECT_EQ(keysim_will_do_key_press_at_offset(t, 22), 0);  // Delay presses nothing
  EXPECT_EQ(keysim_will_do_key_press_at_offset(t, 32), 1);
}

TEST(MacroParse, DelayTimes) {
  EXPECT_EQ(delay_macro_get_ms("1s500ms"), 1500);
  EXPECT_EQ(delay_macro_get_ms("250"), 250);
  EXPECT_EQ(delay_macro_get_ms("2s 100ms"), 2000);
  EXPECT_EQ(delay_macro_get_ms("3S250MS"), 3250);
  EXPECT_EQ(delay_macro_get_ms("x"), 0);
  EXPECT_EQ(delay_macro_get_ms(""), 0);
  EXPECT_EQ(delay_macro_get_ms("5m"), 0);
  EXPECT_EQ(delay_macro_get_ms("90000"), 90000);
}

TEST(KeyTable, NamesAndFlags) {
  struct {
    const char* name;
    uint32_t vk;
    int ext;
  } cases[] = {{"rshift", 161, 1}, {"CTRL", 17, 1}, {"LCtrl", 162, 0}, {"alt", 18, 1},  {"LAlt", 164, 0},
               {"Esc", 27, 0},     {"PgDn", 34, 1}, {"f24", 135, 0},   {"Numpad/", 111, 1}, {"Plus", 187, 0},
               {"-", 189, 0},      {"Z", 90, 0},    {"9", 57, 0},      {"Application", 93, 1}};
  for (auto& c : cases) {
    uint32_t vk = 0;
    int ext = -1;
    key_name_to_vk_action(c.name, &vk, nullptr, &ext, 0);
    EXPECT_EQ(vk, c.vk) << c.name;
    EXPECT_EQ(ext, c.ext) << c.name;
  }
  // The first of duplicate names wins and names are unique otherwise.
  for (int i = 0; i < keysim_key_table_size(); i++)
    for (int j = 0; j < i; j++)
      EXPECT_STRCASENE(keysim_key_table_row(i).name, keysim_key_table_row(j).name);
}

std::vector<std::string> split(const std::string& text, const std::string& sep) {
  std::vector<std::string> out;
  plist* l = strsplit_not_inside_quotes(text, sep, true);
  for (plist* n = l; n; n = n->next) out.push_back(plist_str(n));
  plist_free(l);
  return out;
}

TEST(LaunchArguments, SplitOutsideQuotes) {
  using v = std::vector<std::string>;
  EXPECT_EQ(split("notepad.exe -params \"my file.txt\" -show-maximized", " "),
            (v{"notepad.exe", "-params", "my file.txt", "-show-maximized"}));
  EXPECT_EQ(split("a   b", " "), (v{"a", "b"}));
  EXPECT_EQ(split("\"say \"\"hi\"\" now\" x", " "), (v{"say \"hi\" now", "x"}));
  EXPECT_EQ(split("\"C:\\a (b)\\x.exe\"", " "), (v{"C:\\a (b)\\x.exe"}));
  EXPECT_EQ(split("aXXbxxc", "xx"), (v{"aXXb", "c"}));
  EXPECT_EQ(split("", " "), v{});
  EXPECT_EQ(split("abc", ""), v{});
}

}  // namespace
