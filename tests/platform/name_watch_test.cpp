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
  void start(std::chrono::milliseconds pause) {
    watch = std::make_unique<jv::NameWatch>(folder.path().string(), pause);
    watch->setHandler([this] { ++calls; });
  }

  jv::test::TemporaryFolder folder;
  std::unique_ptr<jv::NameWatch> watch;
  int calls = 0;
};

TEST_F(Names, AreWatchedWhereverTheyAreReplacedOrRemoved) {
  const fs::path etc = folder.path() / "etc";
  fs::create_directories(folder.path() / "proc/sys/kernel");
  fs::create_symlink("/proc/sys/kernel/hostname", folder.path() / "proc/sys/kernel/hostname");
  fs::create_directory(etc);
  start(std::chrono::hours(1));
  const struct {
    const char* why;
    std::function<void()> change;
    int calls;
  } cases[] = {
      {"written", [&] { folder.write("etc/hostname", "a"); }, 1},
      {"another file", [&] { folder.write("etc/temporary", "a"); }, 1},
      {"renamed", [&] { fs::rename(etc / "temporary", etc / "machine-info"); }, 2},
      {"moved away", [&] { fs::rename(etc / "machine-info", etc / "old"); }, 3},
      {"removed", [&] { fs::remove(etc / "hostname"); }, 4},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    c.change();
    if (jvtest::isReadable(watch->fileDescriptor())) watch->perform();
    EXPECT_FALSE(jvtest::isReadable(watch->fileDescriptor())) << "something was left";
    EXPECT_EQ(calls, c.calls);
  }
}

TEST_F(Names, AreLookedAtNowAndThenWhereNothingCanBeWatched) {
  start(std::chrono::milliseconds(1));
  EXPECT_TRUE(jvtest::isReadable(watch->fileDescriptor(), jvtest::kBound));
  watch->perform();
  EXPECT_EQ(calls, 1);
}

}  // namespace
