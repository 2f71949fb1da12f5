#include "platform/linux/NameWatch.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include "dispatch/support.h"
#include "support/temporary_folder.h"

namespace fs = std::filesystem;

namespace {

constexpr int kNotHere = 77;

struct Names : testing::Test {
  Names() {
    fs::create_directory(etc);
    fs::create_directories(folder.path() / "proc/sys/kernel");
    fs::create_symlink("/proc/sys/kernel/hostname", folder.path() / "proc/sys/kernel/hostname");
  }

  /// How many calls come of it when everything is ready that will be.
  int callsOf(const std::function<void()>& change) {
    calls = 0;
    change();
    if (jvtest::isReadable(watch->fileDescriptor())) watch->perform();
    EXPECT_FALSE(jvtest::isReadable(watch->fileDescriptor())) << "something was left";
    return calls;
  }
  void start(std::chrono::milliseconds pause = std::chrono::hours(1)) {
    watch = std::make_unique<jv::NameWatch>(folder.path().string(), pause);
    watch->setHandler([this] { ++calls; });
  }

  jv::test::TemporaryFolder folder;
  const fs::path etc = folder.path() / "etc";
  std::unique_ptr<jv::NameWatch> watch;
  int calls = 0;
};

TEST_F(Names, AreWatchedWhereverTheyAreReplacedOrRemoved) {
  start();
  const auto file = [](const char* name) { return "etc/" + std::string(name); };
  const struct {
    const char* why;
    std::function<void()> change;
    int calls;
  } cases[] = {
      {"nothing", [] {}, 0},
      {"written", [&] { folder.write(file("hostname"), "a"); }, 1},
      {"another file", [&] { folder.write(file("other"), "a"); }, 0},
      {"a temporary one, then renamed",
       [&] {
         folder.write(file(".#machine-info1"), "a");
         fs::rename(etc / ".#machine-info1", etc / "machine-info");
       },
       1},
      {"written over", [&] { folder.write(file("machine-info"), "b"); }, 1},
      {"many at once",
       [&] {
         for (int i = 0; i < 500; ++i) folder.write(file(i % 2 ? "machine-info" : "hostname"), "c");
       },
       1},
      {"moved away", [&] { fs::rename(etc / "machine-info", etc / "machine-info.old"); }, 1},
      {"moved back", [&] { fs::rename(etc / "machine-info.old", etc / "machine-info"); }, 1},
      {"removed", [&] { fs::remove(etc / "machine-info"); }, 1},
      {"a link", [&] { fs::create_symlink("other", etc / "machine-info"); }, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(callsOf(c.change), c.calls);
  }
  watch->setHandler(nullptr);
  EXPECT_EQ(callsOf([&] { folder.write(file("hostname"), "d"); }), 0);
}

TEST_F(Names, MayStopBeingWatchedByWhoIsTold) {
  start();
  watch->setHandler([this, alive = std::make_shared<int>(7)] {
    watch->setHandler(nullptr);
    calls += *alive;
  });
  EXPECT_EQ(callsOf([&] { folder.write("etc/hostname", "a"); }), 7);
}

TEST_F(Names, AreLookedAtNowAndThenWhereNothingCanBeWatched) {
  fs::remove(etc);
  start(std::chrono::milliseconds(1));
  for (int i = 1; i <= 3; ++i) {
    EXPECT_TRUE(jvtest::isReadable(watch->fileDescriptor(), jvtest::kBound));
    watch->perform();
    EXPECT_EQ(calls, i);
  }
}

TEST_F(Names, LeaveNothingBehind) {
  start();
  watch.reset();
  const auto before = jvtest::descriptors();
  for (int i = 0; i < 10; ++i) start();
  watch.reset();
  EXPECT_EQ(jvtest::descriptors(), before);
}

/// Changes the host name of a machine of its own. @return 0, or which step went wrong.
int changeHostName() {
  if (unshare(CLONE_NEWUTS) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWUTS) != 0) return kNotHere;
  int calls = 0;
  jv::NameWatch watch("", std::chrono::hours(1));
  watch.setHandler([&calls] { ++calls; });
  for (int i = 1; i <= 3; ++i) {
    const std::string name = "name" + std::to_string(i);
    if (sethostname(name.data(), name.size()) != 0) return kNotHere;
    // Loops that stand behind others ask more than once before they read.
    for (int asked = 0; asked < 3; ++asked) {
      if (!jvtest::isReadable(watch.fileDescriptor(), jvtest::kBound)) return 1;
    }
    watch.perform();
    if (calls != i) return 2;
    if (jvtest::isReadable(watch.fileDescriptor())) return 3;
  }
  return 0;
}

TEST(HostNameDeathTest, IsWatchedAndNotForgottenWhoeverAsks) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  int result = 0;
  EXPECT_EXIT(
      _exit(changeHostName()),
      [&result](int status) {
        result = WEXITSTATUS(status);
        return WIFEXITED(status) && (result == 0 || result == kNotHere);
      },
      "");
  if (result == kNotHere) GTEST_SKIP() << "no host name of its own can be had here";
}

}  // namespace
