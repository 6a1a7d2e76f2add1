#include "platform/x11/x11_launch.h"

#include <gtest/gtest.h>
#include <glib.h>
#include <glib/gstdio.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

namespace {

std::string wait_for_content(const std::string& path) {
  for (int i = 0; i < 300; ++i) {
    std::ifstream f(path);
    std::stringstream ss;
    ss << f.rdbuf();
    if (!ss.str().empty()) return ss.str();
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return "";
}

}  // namespace

TEST(X11LaunchTest, ProgramGetsItsParametersAndWorkingFolder) {
  char tmpl[] = "/tmp/qx-launch-XXXXXX";
  ASSERT_NE(nullptr, g_mkdtemp(tmpl));
  std::string dir = tmpl;
  plat_launch l;
  l.file = "sh";  // found on the PATH
  l.parameters = "-c 'pwd > out.txt; echo \"$0\" >> out.txt' \"two words\"";
  l.directory = dir;
  ASSERT_TRUE(x11_launch(l));
  EXPECT_EQ(dir + "\ntwo words\n", wait_for_content(dir + "/out.txt"));
  g_remove((dir + "/out.txt").c_str());
  g_rmdir(dir.c_str());
}

TEST(X11LaunchTest, NothingToLaunchFails) {
  plat_launch l;
  EXPECT_FALSE(x11_launch(l));
  l.file = "/nonexistent/quiverex-no-such-program";
  EXPECT_FALSE(x11_launch(l));
}
