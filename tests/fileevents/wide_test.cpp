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
  for (const std::size_t folders : {kLargeTree / 10 - 2, kLargeTree / 10}) {  // in each of 10 folders
    SCOPED_TRACE(folders);
    EXPECT_TRUE(watchesItNoMore());
    for (std::size_t i = 0; i < 10 * folders; ++i) {
      fs::create_directories(place / std::to_string(i % 10) + "/" + std::to_string(i));
    }
    const auto recorder = std::make_shared<Recorder>();
    const JVFileEventer watcher(recorder, {place.base}, true);
    EXPECT_EQ(watchesFileSystem(), folders == kLargeTree / 10);
    write(place / "3/3/file");
    EXPECT_TRUE(recorder->waitFor(place / "3/3/file"));
  }
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
