#include "core/instance.h"

#include <gtest/gtest.h>
#include <glib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <thread>
#include <vector>

namespace fs = std::filesystem;

namespace {

struct received {
  std::vector<std::pair<core_instance_request, std::string>> requests;
};

void record(core_instance_request req, const std::string& path, void* user) {
  static_cast<received*>(user)->requests.push_back({req, path});
}

class InstanceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/qx_inst_XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    dir_ = tmpl;
    address_ = dir_ + "/run/instance";
  }
  void TearDown() override {
    core_instance_release();
    fs::remove_all(dir_);
  }
  // Runs the default main loop until `done` is set by the sending thread.
  void run_until(std::atomic<bool>& done) {
    while (!done) g_main_context_iteration(nullptr, FALSE), g_usleep(1000);
    // Let the last answer go out.
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
  }
  std::string dir_, address_;
};

TEST_F(InstanceTest, SecondStartHandsShowAndImportToTheFirst) {
  received got;
  ASSERT_EQ(core_instance_claim_address(address_, record, &got), CORE_INSTANCE_CLAIMED);
  struct stat st;
  ASSERT_EQ(stat((dir_ + "/run").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0700u);

  // The second start finds the first one running.
  received other;
  EXPECT_EQ(core_instance_claim_address(address_, record, &other), CORE_INSTANCE_OTHER_RUNNING);

  std::atomic<bool> done{false};
  bool show_ok = false, import_ok = false;
  std::thread sender([&] {
    show_ok = core_instance_send(address_, CORE_INSTANCE_SHOW, "", 5000);
    import_ok = core_instance_send(address_, CORE_INSTANCE_IMPORT, "/tmp/a b/lib.tmk", 5000);
    done = true;
  });
  run_until(done);
  sender.join();
  EXPECT_TRUE(show_ok);
  EXPECT_TRUE(import_ok);
  ASSERT_EQ(got.requests.size(), 2u);
  EXPECT_EQ(got.requests[0].first, CORE_INSTANCE_SHOW);
  EXPECT_EQ(got.requests[1].first, CORE_INSTANCE_IMPORT);
  EXPECT_EQ(got.requests[1].second, "/tmp/a b/lib.tmk");
  EXPECT_TRUE(other.requests.empty());
}

TEST_F(InstanceTest, NobodyListeningMeansTheSendFails) {
  EXPECT_FALSE(core_instance_send(address_, CORE_INSTANCE_SHOW, "", 1000));
}

TEST_F(InstanceTest, ASocketLeftByAnEndedProcessIsTakenOver) {
  fs::create_directories(dir_ + "/run");
  fs::permissions(dir_ + "/run", fs::perms::owner_all);
  // Bound and closed without removing the file, as after a crash.
  int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un sa{};
  sa.sun_family = AF_UNIX;
  strcpy(sa.sun_path, address_.c_str());
  ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa), 0);
  close(fd);
  ASSERT_TRUE(fs::exists(address_));

  received got;
  EXPECT_EQ(core_instance_claim_address(address_, record, &got), CORE_INSTANCE_CLAIMED);
  std::atomic<bool> done{false};
  bool ok = false;
  std::thread sender([&] {
    ok = core_instance_send(address_, CORE_INSTANCE_SHOW, "", 5000);
    done = true;
  });
  run_until(done);
  sender.join();
  EXPECT_TRUE(ok);
  EXPECT_EQ(got.requests.size(), 1u);
}

TEST_F(InstanceTest, AnOpenFolderIsClosedBeforeUseAndReleaseRemovesTheSocket) {
  fs::create_directories(dir_ + "/run");
  chmod((dir_ + "/run").c_str(), 0777);
  received got;
  ASSERT_EQ(core_instance_claim_address(address_, record, &got), CORE_INSTANCE_CLAIMED);
  struct stat st;
  ASSERT_EQ(stat((dir_ + "/run").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0700u);
  core_instance_release();
  EXPECT_FALSE(fs::exists(address_));
  EXPECT_FALSE(core_instance_send(address_, CORE_INSTANCE_SHOW, "", 500));
}

TEST_F(InstanceTest, GarbageAndOverlongRequestsAreIgnored) {
  received got;
  ASSERT_EQ(core_instance_claim_address(address_, record, &got), CORE_INSTANCE_CLAIMED);
  std::atomic<bool> done{false};
  bool newline_path = true;
  std::thread sender([&] {
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un sa{};
    sa.sun_family = AF_UNIX;
    strcpy(sa.sun_path, address_.c_str());
    if (connect(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa) == 0) {
      std::string junk(20000, 'x');
      (void)!send(fd, junk.data(), junk.size(), MSG_NOSIGNAL);
    }
    close(fd);
    newline_path = core_instance_send(address_, CORE_INSTANCE_IMPORT, "a\nshow", 1000);
    done = true;
  });
  run_until(done);
  sender.join();
  EXPECT_FALSE(newline_path);
  EXPECT_TRUE(got.requests.empty());
}

}  // namespace
