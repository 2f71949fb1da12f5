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
#include "support/installed.h"

using jv::watching::kLargeTree;
using jv::watching::makeEventStream;
using jvtest::Paths;
using jvtest::Place;
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
  const Place place;
  const JVFileEventer watcher(place.recorder, {place.base}, false);
  return watchesFileSystem();
}

/// Puts streams in use to which trees are large as they usually are, until the end of the scope.
using UsualSize = jvtest::InUse<JVPlatform::installEventStream>;

bool watchesItNoMore() {
  return jvtest::eventually([] { return !watchesFileSystem(); });
}

TEST(Wide, LargeTreesOnly) {
  const Place place;
  const UsualSize usual(makeEventStream(kLargeTree));
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
    EXPECT_TRUE(watchesItNoMore());
    for (std::size_t i = 0; i < 10 * c.folders; ++i) {
      fs::create_directories(place / std::to_string(i % 10) + "/" + std::to_string(i));
    }
    const auto recorder = std::make_shared<Recorder>();
    const JVFileEventer watcher(recorder, {place.base}, true);
    EXPECT_EQ(watchesFileSystem(), c.isWide);
    write(place / "3/3/file");
    EXPECT_TRUE(recorder->waitFor(place / "3/3/file"));
  }
}

TEST(Wide, AroundFoldersThatAreWatchedOneByOne) {
  const Place place("make in/deep, make beside");
  std::unique_ptr<JVFileEventer> inner;
  {
    const UsualSize usual(makeEventStream(kLargeTree));
    inner = std::make_unique<JVFileEventer>(place.recorder, Paths{place / "in"}, true);
    EXPECT_TRUE(watchesItNoMore());
  }
  const auto around = std::make_shared<Recorder>();
  auto outer = std::make_unique<JVFileEventer>(around, Paths{place.base}, true);
  EXPECT_TRUE(watchesFileSystem());
  place.run("write in/deep/file, write beside/file");
  EXPECT_TRUE(around->waitFor(place / "beside/file"));
  EXPECT_TRUE(around->waitFor(place / "in/deep/file"));
  EXPECT_TRUE(place.tells("in/deep/file"));
  outer = nullptr;
  EXPECT_TRUE(watchesItNoMore());
  write(place / "in/deep/more");
  EXPECT_TRUE(place.tells("in/deep/more"));
  EXPECT_FALSE(place.recorder->has(place / "beside/file"));
}

TEST(Wide, AMovedTreeIsReadWhileOthersAreToldOfChanges) {
  const Place place("make root");
  Paths files;
  for (int i = 0; i < 3000; ++i) {
    const std::string folder = std::to_string(i % 30) + "/" + std::to_string(i);
    files.push_back("root/in/" + folder + "/file");
    place.run("make tree/" + folder + ", write tree/" + folder + "/file");
  }
  const JVFileEventer watcher(place.recorder, {place / "root"}, true);
  place.run("move tree -> root/in, write root/in/7/7/more");
  const auto late = std::make_shared<Recorder>();
  const JVFileEventer lateWatcher(late, {place / "root"}, true);
  write(place / "root/last");
  for (const std::string& file : files) ASSERT_TRUE(place.tells(file));
  EXPECT_TRUE(place.tells("root/in/7/7/more"));
  EXPECT_TRUE(late->waitFor(place / "root/last"));
  EXPECT_THAT(late->told(), testing::ElementsAre(place / "root/last")) << "the rest was before its time";
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
