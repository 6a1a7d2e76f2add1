// The Windows steps of start-up with real processes: the test program started again through
// the shell (recording how it was started) or in a child mode that runs the command-line and
// single-instance steps as the program does.
#include "platform/win32/startup.h"

#include <gtest/gtest.h>

#include <chrono>
#include <vector>

#include "core/cmdline.h"
#include "core/instance.h"
#include "platform/win32/instance_window.h"
#include "platform/win32/paths.h"
#include "platform/win32/text.h"
#include "wine_harness.h"

namespace {

// What the program does with its command line before any window exists: read it, then hand
// over to a running instance or go on (exit code 5).
int child_startup(int argc, char** argv) {
  core_cmdline cmd = core_parse_program_cmdline(core_program_arguments(argc, argv));
  return w32_single_instance_step(cmd.restarting, cmd.import_path) ? 0 : 5;
}
const wine_child_mode startup_mode("--child-startup", child_startup);

// A second start through the engine's single-instance calls: a show request, then an import.
int child_core_send(int, char**) {
  const std::string address = core_instance_default_address();
  bool shown = core_instance_send(address, CORE_INSTANCE_SHOW, "", 5000);
  bool imported = core_instance_send(address, CORE_INSTANCE_IMPORT, "C:\\Bücher\\☃.tmk", 5000);
  return (shown ? 0 : 1) + (imported ? 0 : 2);
}
const wine_child_mode core_send_mode("--child-core-send", child_core_send);

struct instance_log {
  int shows = 0;
  std::vector<std::string> imports;
};

class Win32Startup : public testing::Test {
 protected:
  void SetUp() override {
    w32_invisiwin_handlers h;
    h.show_main_window = [](void* u) { static_cast<instance_log*>(u)->shows++; };
    h.import_file = [](const std::string& path, void* u) {
      static_cast<instance_log*>(u)->imports.push_back(path);
    };
    h.user = &log_;
    ASSERT_NE(w32_invisiwin_create(GetModuleHandleW(nullptr), h), nullptr);
  }
  void TearDown() override { w32_invisiwin_destroy(); }

  instance_log log_;
};

TEST_F(Win32Startup, ImportPathOutsideTheCodePageIsHandedOverInUtf8) {
  std::optional<std::string> cwd = w32_current_dir();
  ASSERT_TRUE(cwd);
  // Japanese and the snowman have no place in the ANSI code page: the narrow arguments of the
  // C runtime turn them into question marks.
  const std::string elsewhere = "C:\\Dokumente\\Grüße 日本語 ☃.tmk";
  EXPECT_EQ(wine_run_self("--child-startup --import \"" + elsewhere + "\"", 30000), 0);
  EXPECT_EQ(log_.shows, 1);
  // A path outside the current folder gets that folder in front, as it always has.
  ASSERT_EQ(log_.imports.size(), 1u);
  EXPECT_EQ(log_.imports[0], *cwd + "\\" + elsewhere);

  const std::string here = *cwd + "\\Ärger ☃.textexpander";
  EXPECT_EQ(wine_run_self("--child-startup --IMPORT \"" + here + "\" --systray", 30000), 0);
  EXPECT_EQ(log_.shows, 2);
  ASSERT_EQ(log_.imports.size(), 2u);
  EXPECT_EQ(log_.imports[1], here);
}

TEST_F(Win32Startup, RestartingNeverHandsOverButWaitsForTheOldProcess) {
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(wine_run_self("--child-startup --restarting --import C:\\x.tmk", 30000), 5);
  auto took = std::chrono::steady_clock::now() - start;
  EXPECT_GE(took, std::chrono::milliseconds(W32_RESTART_WAIT_MS));
  EXPECT_EQ(log_.shows, 0);
  EXPECT_TRUE(log_.imports.empty());

  // A plain second start raises the running one and ends.
  EXPECT_EQ(wine_run_self("--child-startup", 30000), 0);
  EXPECT_EQ(log_.shows, 1);
  EXPECT_TRUE(log_.imports.empty());

  w32_invisiwin_destroy();
  EXPECT_EQ(wine_run_self("--child-startup", 30000), 5) << "nobody runs: this start goes on";
}

// The engine's single-instance calls on Windows are the hidden window; quitting releases it.
TEST(Win32CoreInstance, ClaimSendAndRelease) {
  std::vector<std::pair<core_instance_request, std::string>> got;
  auto record = [](core_instance_request req, const std::string& path, void* user) {
    static_cast<decltype(got)*>(user)->emplace_back(req, path);
  };
  const std::string address = core_instance_default_address();
  ASSERT_EQ(core_instance_claim_address(address, record, &got), CORE_INSTANCE_CLAIMED);
  EXPECT_NE(w32_check_if_quiverex_already_running(), nullptr);
  EXPECT_EQ(core_instance_claim_address(address, record, &got), CORE_INSTANCE_OTHER_RUNNING);

  EXPECT_EQ(wine_run_self("--child-core-send", 30000), 0);
  // The hand-over raises the window before every import.
  using entry = std::pair<core_instance_request, std::string>;
  EXPECT_EQ(got, (std::vector<entry>{{CORE_INSTANCE_SHOW, ""},
                                     {CORE_INSTANCE_SHOW, ""},
                                     {CORE_INSTANCE_IMPORT, "C:\\Bücher\\☃.tmk"}}));

  core_instance_release();
  EXPECT_EQ(w32_check_if_quiverex_already_running(), nullptr);
  EXPECT_EQ(wine_run_self("--child-core-send", 30000), 3) << "nobody listens any more";
}

// ---- Starting the program again through the shell ----

// Runs `launch` while started copies of the test program record their command line in `file`.
template <typename F>
auto with_recording(const std::string& file, F launch) {
  SetEnvironmentVariableW(WINE_RECORD_COMMAND_LINE_VAR, w32_to_utf16(file).c_str());
  auto r = launch();
  SetEnvironmentVariableW(WINE_RECORD_COMMAND_LINE_VAR, nullptr);
  return r;
}

TEST(Win32StartupShell, ElevationStartsTheProgramAgainWithAdmin) {
  const std::string self = wine_self_path();
  using args = std::vector<std::string>;
  EXPECT_FALSE(w32_should_elevate(0, args{self}));
  EXPECT_TRUE(w32_should_elevate(1, args{self}));
  EXPECT_TRUE(w32_should_elevate(1, args{self, "--systray", "--admin"}));
  EXPECT_FALSE(w32_should_elevate(1, args{self, "--ADMIN", "--systray"}));

  // Already elevated: nothing is started and start-up goes on.
  std::string none = wine_fresh_temp_file("qx-elevate-none.txt");
  EXPECT_FALSE(with_recording(none, [&] {
    return w32_elevate_if_wanted(1, args{self, "--Admin"}, self, true);
  }));

  std::string plain = wine_fresh_temp_file("qx-elevate-plain.txt");
  // Wine starts a "runas" program without asking.
  EXPECT_TRUE(with_recording(plain, [&] { return w32_elevate_if_wanted(1, args{self}, self, false); }));
  std::optional<std::string> line = wine_wait_for_file(plain, 15000);
  ASSERT_TRUE(line) << "the elevated start did not happen";
  EXPECT_EQ(wine_arguments_after_program(*line), args{"--admin"});

  std::string portable = wine_fresh_temp_file("qx-elevate-portable.txt");
  EXPECT_TRUE(with_recording(portable, [&] {
    return w32_elevate_if_wanted(1, args{self, "--portable"}, self, true);
  }));
  line = wine_wait_for_file(portable, 15000);
  ASSERT_TRUE(line);
  EXPECT_EQ(wine_arguments_after_program(*line), (args{"--admin", "--portable"}));

  // By now a start from the first call would long have written its file.
  EXPECT_FALSE(wine_wait_for_file(none, 0));
}

TEST(Win32StartupShell, RestartStartsTheProgramWithTheDefaultVerb) {
  const std::string self = wine_self_path();
  std::string file = wine_fresh_temp_file("qx-restart.txt");
  EXPECT_TRUE(with_recording(file, [&] {
    return w32_shell_start(self, nullptr, {"--portable", "--restarting"});
  }));
  std::optional<std::string> line = wine_wait_for_file(file, 15000);
  ASSERT_TRUE(line);
  EXPECT_EQ(wine_arguments_after_program(*line), (std::vector<std::string>{"--portable", "--restarting"}));
  // Plain options are passed as they are, unquoted.
  EXPECT_NE(line->find(" --portable --restarting"), std::string::npos) << *line;

  EXPECT_FALSE(w32_shell_start("C:\\no such folder\\quiverex.exe", nullptr, {}));
}

TEST(Win32StartupShell, JoinedParametersSplitBackIntoTheSameArguments) {
  const std::vector<std::string> args = {"--import",   "C:\\Program Files\\a b.tmk",
                                         "",           "ends in\\",
                                         "say \"hi\"", "back\\\\\"slash",
                                         "C:\\dir\\",  "tab\there",
                                         "Grüße☃"};
  EXPECT_EQ(wine_arguments_after_program("prog.exe " + w32_join_parameters(args)), args);
  EXPECT_EQ(w32_join_parameters({"--admin", "--portable"}), "--admin --portable");
  EXPECT_EQ(w32_join_parameters({}), "");
}

}  // namespace
