#include "platform/linux/NameWatch.h"

#include <gtest/gtest.h>

#include <filesystem>
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
  const auto expectCalls = [this](int expected, const char* why) {
    if (jvtest::isReadable(watch->fileDescriptor())) watch->perform();
    EXPECT_EQ(calls, expected) << why;
  };
  folder.write("etc/hostname", "a");
  expectCalls(1, "written");
  folder.write("etc/temporary", "a");
  expectCalls(1, "another file");
  fs::rename(etc / "temporary", etc / "machine-info");
  expectCalls(2, "renamed");
  fs::rename(etc / "machine-info", etc / "old");
  expectCalls(3, "moved away");
}

TEST_F(Names, AreLookedAtNowAndThenWhereNothingCanBeWatched) {
  start(std::chrono::milliseconds(1));
  EXPECT_TRUE(jvtest::isReadable(watch->fileDescriptor(), jvtest::kBound));
  watch->perform();
  EXPECT_EQ(calls, 1);
}

}  // namespace
