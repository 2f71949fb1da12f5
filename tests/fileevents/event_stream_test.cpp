// Real folders, and what is told of what is done to them. The end of each step is a file of the test's own: what comes
// before it in a folder is told before it, or in the same batch.
#include <JorvaneFoundation/JorvaneFoundation.h>

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "fileevents/support.h"

using jvtest::parts;
using jvtest::Paths;
using jvtest::Place;
using jvtest::Recorder;
using jvtest::write;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
namespace fs = std::filesystem;

namespace {

/// A watched folder "top" beside an unwatched "out".
struct Watched : Place {
  Watched() : Place("make top/old/deep, make out/full/inner") {
    run("write top/old/file, write top/old/deep/file, write out/full/file, write out/full/inner/file");
  }

  void start(bool files) { watcher = std::make_unique<JVFileEventer>(recorder, Paths{top}, files); }

  /// Waits for the paths in @p awaited and then for those of whatever else came before a last change. They begin below
  /// "top", which is "." itself.
  std::set<std::string> toldAfter(const std::string& awaited) const {
    for (const std::string& path : parts(awaited)) EXPECT_TRUE(tells(path == "." ? "top" : "top/" + path)) << path;
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
  std::unique_ptr<JVFileEventer> watcher;
};

struct Operation {
  const char* why;
  const char* steps;       ///< in the watched folder
  const char* folders;     ///< what is told without watch-files, below the root; "." is the root
  const char* files;       ///< and with it
  const char* never = "";  ///< what may not be told
};

const Operation kOperations[] = {
    {"a file is written", "write new", ".", "new", "old"},
    {"a file deep down is written", "write old/deep/file", "old/deep", "old/deep/file", "., old"},
    {"a file is deleted", "remove old/file", "old", "old/file", "."},
    {"a file is renamed", "move old/file -> moved", "., old", "old/file, moved"},
    {"a file is replaced, as editors do", "write old/.file~, move old/.file~ -> old/file", "old", "old/file"},
    {"permissions are changed", "restrict old/file", "old", "old/file"},
    {"a mapping is written through", "write-mapped old/file", "old", "old/file"},
    {"a hard link is made", "link-hard ../out/full/file -> link", ".", "link"},
    {"a symbolic link is made, and what it leads to is not followed",
     "link-absolute ../out/full -> link, write ../out/full/more", ".", "link", "link/more, link/file"},
    {"folders are made and filled at once", "make a/b/c, write a/b/c/f", "., a, a/b, a/b/c", "a, a/b, a/b/c, a/b/c/f"},
    {"a new folder is written to later", "make a/b, write a/b/f, write a/b/f", "., a/b", "a/b/f"},
    {"a full folder is moved in", "move ../out/full -> in", "., in, in/inner", "in, in/file, in/inner, in/inner/file"},
    {"a folder is moved out, and what happens there is nobody's business",
     "move old -> ../out/gone, write ../out/gone/file, write ../out/gone/deep/more", ".", "old",
     "old/file, old/deep, old/deep/more"},
    {"a folder is renamed, and goes on being watched under its new name only",
     "move old -> young, write young/deep/more", "., young, young/deep", "old, young, young/file, young/deep/more",
     "old/deep/more, old/deep"},
    {"a folder is moved into another one", "make new, move old/deep -> new/deep, write new/deep/more",
     "., old, new, new/deep", "old/deep, new, new/deep/more", "old/deep/more"},
    {"two folders change places",
     "make other, write other/mine, move old -> t, move other -> old, move t -> other, "
     "write other/deep/more, write old/again",
     "., old, other, other/deep", "old, other, old/mine, old/again, other/deep/more"},
    {"a folder is deleted and made again", "remove old, make old/deep, write old/deep/more", "., old, old/deep",
     "old, old/deep/more"},
    {"a folder is deleted with all that is in it", "remove old", "., old", "old, old/file, old/deep, old/deep/file"},
    {"a folder is replaced by a file", "remove old, write old", ".", "old"},
    {"names of any bytes", "make \xFF\n, write \xFF\n/\xC3(\\ \x01", "., \xFF\n", "\xFF\n, \xFF\n/\xC3(\\ \x01"},
};

void checkAll(bool files) {
  for (const Operation& operation : kOperations) {
    SCOPED_TRACE(operation.why);
    Watched watched;
    watched.start(files);
    jvtest::carryOut(watched.top, operation.steps);
    const auto told = watched.toldAfter(files ? operation.files : operation.folders);
    for (const std::string& path : parts(operation.never)) {
      // The root is told of in any case without watch-files, for the sake of the last change.
      if (files || path != ".") {
        EXPECT_THAT(told, Not(Contains(path)));
      }
    }
  }
}

TEST(EventStream, TellsOfFoldersWhoseContentsChanged) { checkAll(false); }
TEST(EventStream, TellsOfFiles) { checkAll(true); }

TEST(EventStream, TellsNothingOfReading) {
  for (const bool files : {false, true}) {
    Watched watched;
    watched.start(files);
    const std::string line = "cat " + watched.top + "/old/file >/dev/null && ls -R " + watched.top + " >/dev/null";
    ASSERT_EQ(std::system(line.c_str()), 0);
    EXPECT_EQ(watched.toldAfter(""), files ? std::set<std::string>{} : std::set<std::string>{"."});
  }
}

TEST(EventStream, TellsOfATreeDeeperThanAPathMayBeLong) {
  const std::string name(100, 'd');
  std::string deep = name;
  for (int level = 1; level < 50; ++level) deep += '/' + name;
  for (const bool files : {false, true}) {
    Watched watched;
    watched.start(files);
    const std::string line = "cd " + watched.top + " && for i in $(seq 50); do mkdir " + name + " && cd -P " + name +
                             " || exit 1; done && echo text >end";
    ASSERT_EQ(std::system(line.c_str()), 0);
    watched.toldAfter(deep + ", " + (files ? deep + "/end" : "."));
  }
}

TEST(EventStream, TellsNothingOfTheTimeBefore) {
  for (int round = 0; round < 8; ++round) {
    Watched watched;
    watched.run("write top/before, make top/made, write top/made/before");
    watched.start(true);
    EXPECT_THAT(watched.toldAfter(""), IsEmpty());
  }
}

TEST(EventStream, TellsNothingOfTheTimeBeforeToOneThatJoinsAnother) {
  Watched first;
  first.start(true);
  for (int round = 0; round < 8; ++round) {
    const auto recorder = std::make_shared<Recorder>();
    const std::string before = "top/before" + std::to_string(round);
    const std::string after = "top/after" + std::to_string(round);
    write(first / before);
    const JVFileEventer second(recorder, {first.top}, true);
    write(first / after);
    EXPECT_TRUE(recorder->waitFor(first / after));
    EXPECT_FALSE(recorder->has(first / before));
    EXPECT_TRUE(first.tells(before));
    EXPECT_TRUE(first.tells(after));
  }
}

TEST(EventStream, EachPathOnceInABatchInTheOrderOfTheFirstChange) {
  Watched watched;
  watched.start(true);
  for (int round = 0; round < 3; ++round) watched.run("write top/one, write top/two");
  ASSERT_TRUE(watched.tells("top/two"));
  EXPECT_THAT(watched.recorder->batches().front(), ElementsAre(watched.top + "/one", watched.top + "/two"));
}

TEST(EventStream, ASteadyWriterIsToldOfTenTimesASecondAtMost) {
  Watched watched;
  watched.start(true);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_TRUE(jvtest::eventually([&] {
    write(watched.top + "/steady");
    return watched.recorder->batches().size() >= 5;
  }));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(500));
}

}  // namespace
