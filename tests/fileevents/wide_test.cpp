// The tests of event streams once more, with every tree watched by its file system, and what is particular to that.
// Without the right to it there is nothing to test.
#include <JorvaneFoundation/JorvaneFoundation.h>

#include <gmock/gmock.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "fileevents/support.h"
#include "platform/linux/event_stream/factory.h"
#include "support/temporary_folder.h"

using jv::watching::kLargeTree;
using jv::watching::makeEventStream;
using jvtest::Paths;
using jvtest::Recorder;
using jvtest::write;
namespace fs = std::filesystem;

namespace {

/// Whether this process watches some file system.
bool watchesFileSystem() {
  for (const auto& entry : fs::directory_iterator("/proc/self/fdinfo")) {
    std::ifstream file(entry.path());
    for (std::string line; std::getline(file, line);) {
      if (line.starts_with("fanotify sdev:")) return true;
    }
  }
  return false;
}

bool isPossible() {
  const jv::test::TemporaryFolder folder;
  const JVFileEventer watcher(std::make_shared<Recorder>(), {folder.path().string()}, false);
  return watchesFileSystem();
}

/// As long as it is there, trees of the given number of folders are large.
class LargeTrees {
 public:
  explicit LargeTrees(std::size_t number) : before_(JVPlatform::installEventStream(makeEventStream(number))) {}
  LargeTrees(const LargeTrees&) = delete;
  LargeTrees& operator=(const LargeTrees&) = delete;
  ~LargeTrees() { JVPlatform::installEventStream(before_); }

 private:
  std::shared_ptr<JVPlatform::EventStream> before_;
};

void waitForEnd() {
  const auto end = std::chrono::steady_clock::now() + jvtest::kBound;
  while (watchesFileSystem() && std::chrono::steady_clock::now() < end) std::this_thread::yield();
  EXPECT_FALSE(watchesFileSystem());
}

TEST(Wide, LargeTreesOnly) {
  const jv::test::TemporaryFolder folder;
  const std::string base = folder.path().string();
  const LargeTrees usual(kLargeTree);
  const struct {
    const char* why;
    std::size_t folders;  ///< in each of 10 folders
    bool isWide;
  } cases[] = {
      {"few", 1, false},
      {"not quite enough", kLargeTree / 10 - 2, false},
      {"enough", kLargeTree / 10, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    waitForEnd();
    for (std::size_t i = 0; i < 10 * c.folders; ++i) {
      fs::create_directories(base + "/" + std::to_string(i % 10) + "/" + std::to_string(i));
    }
    const auto recorder = std::make_shared<Recorder>();
    const JVFileEventer watcher(recorder, {base}, true);
    EXPECT_EQ(watchesFileSystem(), c.isWide);
    write(base + "/3/3/file");
    EXPECT_TRUE(recorder->waitFor(base + "/3/3/file"));
  }
}

TEST(Wide, AroundFoldersThatAreWatchedOneByOne) {
  const jv::test::TemporaryFolder folder;
  const std::string base = folder.path().string();
  fs::create_directories(base + "/in/deep");
  fs::create_directories(base + "/beside");
  const auto inner = std::make_shared<Recorder>();
  const auto outer = std::make_shared<Recorder>();
  std::unique_ptr<JVFileEventer> innerWatcher;
  {
    const LargeTrees usual(kLargeTree);
    innerWatcher = std::make_unique<JVFileEventer>(inner, Paths{base + "/in"}, true);
    waitForEnd();
  }
  auto outerWatcher = std::make_unique<JVFileEventer>(outer, Paths{base}, true);
  EXPECT_TRUE(watchesFileSystem());
  write(base + "/in/deep/file");
  write(base + "/beside/file");
  EXPECT_TRUE(outer->waitFor(base + "/beside/file"));
  EXPECT_TRUE(outer->waitFor(base + "/in/deep/file"));
  EXPECT_TRUE(inner->waitFor(base + "/in/deep/file"));
  outerWatcher = nullptr;
  waitForEnd();
  write(base + "/in/deep/more");
  EXPECT_TRUE(inner->waitFor(base + "/in/deep/more"));
  EXPECT_FALSE(inner->has(base + "/beside/file"));
}

TEST(Wide, AMovedTreeIsReadWhileOthersAreToldOfChanges) {
  const jv::test::TemporaryFolder folder;
  const std::string base = folder.path().string();
  fs::create_directory(base + "/root");
  Paths files;
  for (int i = 0; i < 3000; ++i) {
    const std::string below = fs::path("/") / std::to_string(i % 30) / std::to_string(i);
    fs::create_directories(base + "/tree" + below);
    write(base + "/tree" + below + "/file");
    files.push_back(base + "/root/in" + below + "/file");
  }
  const auto recorder = std::make_shared<Recorder>();
  const JVFileEventer watcher(recorder, {base + "/root"}, true);
  fs::rename(base + "/tree", base + "/root/in");
  write(base + "/root/in/7/7/more");
  const auto late = std::make_shared<Recorder>();
  const JVFileEventer lateWatcher(late, {base + "/root"}, true);
  write(base + "/root/last");
  for (const std::string& file : files) ASSERT_TRUE(recorder->waitFor(file));
  EXPECT_TRUE(recorder->waitFor(base + "/root/in/7/7/more"));
  EXPECT_TRUE(late->waitFor(base + "/root/last"));
  EXPECT_THAT(late->told(), testing::ElementsAre(base + "/root/last")) << "the rest was before its time";
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);
  JVPlatform::installEventStream(makeEventStream(0));
  if (!isPossible()) {
    std::puts("skipped: the file system of the folder for temporary files may not be watched as a whole");
    return 77;
  }
  return RUN_ALL_TESTS();
}
