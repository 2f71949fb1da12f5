#include "platform/linux/NameWatch.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "dispatch/support.h"
#include "support/temporary_folder.h"

namespace fs = std::filesystem;

namespace {

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
  const auto file = [this](const char* name) { return "etc/" + std::string(name); };
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
  for (int i = 0; i < 100; ++i) start();
  watch.reset();
  EXPECT_EQ(jvtest::descriptors(), before);
}

}  // namespace
