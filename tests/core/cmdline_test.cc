#include "core/cmdline.h"

#include <gtest/gtest.h>

namespace {

core_cmdline parse(std::vector<const char*> args, const std::string& cwd = "/home/u") {
  args.insert(args.begin(), "quiverex");
  return core_parse_cmdline(static_cast<int>(args.size()), args.data(), cwd);
}

TEST(CmdlineTest, OptionsAreRecognisedInAnyCase) {
  core_cmdline c = parse({"--RESTARTING", "--Admin", "--sysTray", "--portable"});
  EXPECT_TRUE(c.restarting);
  EXPECT_TRUE(c.admin);
  EXPECT_TRUE(c.systray);
  EXPECT_TRUE(c.portable);
  EXPECT_FALSE(c.import_path);
  EXPECT_TRUE(c.unknown.empty());
}

TEST(CmdlineTest, ImportTakesTheNextArgumentWhichIsStillReadAsAnOption) {
  core_cmdline c = parse({"--import", "lib.tmk"});
  ASSERT_TRUE(c.import_path);
  EXPECT_EQ(*c.import_path, "/home/u/lib.tmk");
  EXPECT_TRUE(c.unknown.empty());

  // A file named like an option is both the import path and that option.
  c = parse({"--import", "--systray"});
  ASSERT_TRUE(c.import_path);
  EXPECT_EQ(*c.import_path, "/home/u/--systray");
  EXPECT_TRUE(c.systray);

  // --import as the last argument has no path.
  c = parse({"--systray", "--import"});
  EXPECT_FALSE(c.import_path);
}

TEST(CmdlineTest, UnknownArgumentsAreCollected) {
  core_cmdline c = parse({"--frobnicate", "x"});
  EXPECT_EQ(c.unknown, (std::vector<std::string>{"--frobnicate", "x"}));
}

TEST(CmdlineTest, SystrayCountsAnywhereIncludingArgumentZero) {
  const char* a[] = {"--SYSTRAY"};
  EXPECT_TRUE(should_start_in_systray(1, a));
  const char* b[] = {"quiverex", "--import", "f", "--systray"};
  EXPECT_TRUE(should_start_in_systray(4, b));
  const char* c[] = {"quiverex", "--systrayx"};
  EXPECT_FALSE(should_start_in_systray(2, c));
}

TEST(CmdlineTest, PosixImportPathsAreCompletedOnlyWhenRelative) {
  EXPECT_EQ(core_complete_import_path_posix("/data/x.tmk", "/home/u"), "/data/x.tmk");
  EXPECT_EQ(core_complete_import_path_posix("sub/x.tmk", "/home/u/"), "/home/u/sub/x.tmk");
  EXPECT_EQ(core_complete_import_path_posix("x.tmk", "/"), "/x.tmk");
}

TEST(CmdlineTest, WindowsRuleKeepsOnlyPathsInTheCurrentFolder) {
  // The folder part equals the current folder (ignoring case and its trailing backslashes).
  EXPECT_EQ(core_complete_import_path_windows("C:\\Users\\U\\x.tmk", "c:\\users\\u\\\\"), "C:\\Users\\U\\x.tmk");
  // Every other path gets the current folder in front, absolute ones too.
  EXPECT_EQ(core_complete_import_path_windows("x.tmk", "C:\\work"), "C:\\work\\x.tmk");
  EXPECT_EQ(core_complete_import_path_windows("D:\\other\\x.tmk", "C:\\work\\"), "C:\\work\\D:\\other\\x.tmk");
}

}  // namespace
