// Real folders, and what is told of what is done to them. The end of each step is a folder of the test's own: what
// comes before it is told before it, or in the same batch.
#include <JorvaneFoundation/JorvaneFoundation.h>

#include <gmock/gmock.h>

#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "fileevents/support.h"

using jvtest::Paths;
using jvtest::Place;
using jvtest::Recorder;
using jvtest::write;
namespace fs = std::filesystem;

namespace {

/// A watched folder "top" beside an unwatched "out".
struct Watched : Place {
  explicit Watched(bool files)
      : Place(
            "mkdir -p top/old/deep out/full/inner && "
            "touch top/old/file top/old/deep/file out/full/file out/full/inner/file"),
        watcher(recorder, {top}, files) {}

  /// Waits for the paths in @p awaited and then for those of whatever else came before a last change. They begin below
  /// "top", which is "." itself.
  std::set<std::string> toldAfter(const Paths& awaited) const {
    for (const std::string& path : awaited) EXPECT_TRUE(tells(path == "." ? "top" : "top/" + path)) << path;
    fs::create_directory(top + "/last");
    EXPECT_TRUE(tells("top/last"));
    std::set<std::string> told;
    for (const std::string& path : recorder->told()) {
      EXPECT_TRUE(path == top || path.starts_with(top + '/')) << path;
      if (path != top + "/last") told.insert(path == top ? "." : path.substr(top.size() + 1));
    }
    return told;
  }

  const std::string top = *this / "top";
  const JVFileEventer watcher;
};

struct Operation {
  const char* why;
  const char* commands;  ///< in the watched folder
  Paths folders;         ///< what is told without watch-files, below the root; "." is the root
  Paths files;           ///< and with it
  Paths never{};         ///< what may not be told
};

const Operation kOperations[] = {
    {"a file is written", "echo >new", {"."}, {"new"}, {"old"}},
    {"a file deep down is written", "echo >old/deep/file", {"old/deep"}, {"old/deep/file"}, {".", "old"}},
    {"a file is renamed", "mv old/file moved", {".", "old"}, {"old/file", "moved"}},
    {"a symbolic link is made, and what it leads to is not followed",
     "ln -s ../out/full link && echo >link/more",
     {"."},
     {"link"},
     {"link/more", "link/file"}},
    {"folders are made and filled at once",
     "mkdir -p a/b/c && echo >a/b/c/f",
     {".", "a", "a/b", "a/b/c"},
     {"a", "a/b", "a/b/c", "a/b/c/f"}},
    {"a full folder is moved in",
     "mv ../out/full in",
     {".", "in", "in/inner"},
     {"in", "in/file", "in/inner", "in/inner/file"}},
    {"a folder is moved out, and what happens there is nobody's business",
     "mv old ../out/gone && echo >../out/gone/file && echo >../out/gone/deep/more",
     {"."},
     {"old"},
     {"old/file", "old/deep", "old/deep/more"}},
    {"a folder is renamed, and goes on being watched under its new name only",
     "mv old young && echo >young/deep/more",
     {".", "young", "young/deep"},
     {"old", "young", "young/file", "young/deep/more"},
     {"old/deep/more", "old/deep"}},
    {"two folders change places",
     "mkdir other && echo >other/mine && mv old t && mv other old && mv t other && echo >other/deep/more && "
     "echo >old/again",
     {".", "old", "other", "other/deep"},
     {"old", "other", "old/mine", "old/again", "other/deep/more"}},
    {"a folder is deleted with all that is in it, and made again",
     "rm -r old && mkdir -p old/deep && echo >old/deep/more",
     {".", "old", "old/deep"},
     {"old", "old/file", "old/deep/file", "old/deep/more"}},
    {"a folder is replaced by a file", "rm -r old && echo >old", {"."}, {"old"}},
    {"names of any bytes",
     "mkdir '\xFF\n' && echo >'\xFF\n/\xC3(\\ \x01'",
     {".", "\xFF\n"},
     {"\xFF\n", "\xFF\n/\xC3(\\ \x01"}},
    {"reading is nobody's business", "cat old/file && ls -R >/dev/null", {}, {}, {"old", "old/file", "old/deep"}},
};

TEST(EventStream, TellsOfFoldersWhoseContentsChangedOrOfFiles) {
  for (const Operation& operation : kOperations) {
    for (const bool files : {false, true}) {
      SCOPED_TRACE(operation.why + std::string(files ? ", files" : ", folders"));
      const Watched watched(files);
      jvtest::carryOut(watched.top, operation.commands);
      const auto told = watched.toldAfter(files ? operation.files : operation.folders);
      for (const std::string& path : operation.never) {
        // Without watch-files the root is told of in any case, for the sake of the last change.
        EXPECT_TRUE(!told.contains(path) || (!files && path == ".")) << path;
      }
    }
  }
}

TEST(EventStream, TellsOfATreeDeeperThanAPathMayBeLong) {
  const std::string name(100, 'd');
  std::string deep = name;
  for (int level = 1; level < 50; ++level) deep += '/' + name;
  const Watched watched(true);
  jvtest::carryOut(watched.top,
                   "for i in $(seq 50); do mkdir " + name + " && cd -P " + name + " || exit 1; done && echo text >end");
  watched.toldAfter({deep, deep + "/end"});
}

TEST(EventStream, TellsNothingOfTheTimeBeforeAlsoToOneThatJoinsAnother) {
  const Watched first(true);
  EXPECT_THAT(first.toldAfter({}), testing::IsEmpty());
  for (int round = 0; round < 8; ++round) {
    const auto recorder = std::make_shared<Recorder>();
    const std::string before = "top/before" + std::to_string(round);
    const std::string after = "top/after" + std::to_string(round);
    for (int i = 0; i < 500; ++i) write(first / before);  // so many that some of it has not been read yet
    const JVFileEventer second(recorder, {first.top}, true);
    write(first / after);
    EXPECT_TRUE(recorder->waitFor(first / after) && first.tells(before) && first.tells(after));
    EXPECT_THAT(recorder->told(), testing::ElementsAre(first / after));
  }
}

TEST(EventStream, ASteadyWriterIsToldOfTenTimesASecondAtMost) {
  const Watched watched(true);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_TRUE(jvtest::eventually([&] {
    write(watched.top + "/steady");
    return watched.recorder->batches().size() >= 5;
  }));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(500));
}

}  // namespace
