// Real folders, and what is told of what is done to them. The end of each step is a file of the test's own: what comes
// before it in a folder is told before it, or in the same batch.
#include <JorvaneFoundation/JorvaneFoundation.h>

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "fileevents/support.h"
#include "support/temporary_folder.h"

using jvtest::Recorder;
using testing::Contains;
using testing::ElementsAre;
using testing::IsSubsetOf;
using testing::IsSupersetOf;
using testing::Not;
namespace fs = std::filesystem;

namespace {

using Paths = std::vector<std::string>;

void write(const std::string& path, const std::string& text = "text") { std::ofstream(path) << text; }
void shell(const std::string& line) { ASSERT_EQ(std::system(line.c_str()), 0) << line; }

/// A watched folder "top" beside an unwatched "out", both in a folder of the test's own. Told paths are shortened by
/// the path of "top".
class Watched {
 public:
  explicit Watched(bool files) : files_(files) {
    fs::create_directories(top_ + "/old/deep");
    fs::create_directories(out_ + "/full/inner");
    write(top_ + "/old/file");
    write(top_ + "/old/deep/file");
    write(out_ + "/full/file");
    write(out_ + "/full/inner/file");
  }

  void start() { watcher_ = std::make_unique<JVFileEventer>(recorder_, Paths{top_}, files_); }

  /// Waits for the paths in @p awaited and then for those of whatever else came before a last change.
  std::set<std::string> toldAfter(const Paths& awaited) {
    for (const std::string& path : awaited) EXPECT_TRUE(recorder_->waitFor(top_ + path)) << path;
    const std::string last = "/last" + std::to_string(++count_);
    fs::create_directory(top_ + last);
    EXPECT_TRUE(recorder_->waitFor(top_ + last));
    std::set<std::string> told;
    for (const std::string& path : recorder_->told()) {
      EXPECT_TRUE(path.starts_with(top_)) << path;
      if (!path.ends_with(last)) told.insert(path.substr(top_.size()));
    }
    return told;
  }

  const std::string& top() const { return top_; }
  const std::string& out() const { return out_; }
  Recorder& recorder() { return *recorder_; }

 private:
  bool files_;
  int count_ = 0;
  jv::test::TemporaryFolder folder_;
  std::string top_ = (folder_.path() / "top").string();
  std::string out_ = (folder_.path() / "out").string();
  std::shared_ptr<Recorder> recorder_ = std::make_shared<Recorder>();
  std::unique_ptr<JVFileEventer> watcher_;
};

struct Operation {
  const char* why;
  std::function<void(const std::string& top, const std::string& out)> run;
  Paths folders;  ///< what is told without watch-files, below the root; "" is the root
  Paths files;    ///< and with it
  Paths never;    ///< what may not be told
};

void writeMapped(const std::string& path) {
  const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_GE(file, 0);
  void* const memory = mmap(nullptr, 4, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  ASSERT_NE(memory, MAP_FAILED);
  *static_cast<char*>(memory) = 'T';
  munmap(memory, 4);
  close(file);
}

constexpr int kLevels = 50;
std::string longName(int level) { return std::string(100, 'd') + std::to_string(level); }
std::string longNames() {
  std::string names;
  for (int level = 0; level < kLevels; ++level) names += longName(level) + ' ';
  return names;
}
std::string deepPath() {
  std::string path;
  for (int level = 0; level < kLevels; ++level) path += '/' + longName(level);
  return path;
}

const std::vector<Operation>& operations() {
  static const std::vector<Operation> all = {
      {"a file is written", [](auto& top, auto&) { write(top + "/new"); }, {""}, {"/new"}, {"/old"}},
      {"a file deep down is written",
       [](auto& top, auto&) { write(top + "/old/deep/file"); },
       {"/old/deep"},
       {"/old/deep/file"},
       {"", "/old"}},
      {"a file is deleted", [](auto& top, auto&) { fs::remove(top + "/old/file"); }, {"/old"}, {"/old/file"}, {""}},
      {"a file is renamed",
       [](auto& top, auto&) { fs::rename(top + "/old/file", top + "/moved"); },
       {"", "/old"},
       {"/old/file", "/moved"},
       {}},
      {"a file is replaced, as editors do",
       [](auto& top, auto&) {
         write(top + "/old/.file~");
         fs::rename(top + "/old/.file~", top + "/old/file");
       },
       {"/old"},
       {"/old/file"},
       {}},
      {"permissions are changed",
       [](auto& top, auto&) { chmod((top + "/old/file").c_str(), 0600); },
       {"/old"},
       {"/old/file"},
       {}},
      {"a mapping is written through",
       [](auto& top, auto&) { writeMapped(top + "/old/file"); },
       {"/old"},
       {"/old/file"},
       {}},
      {"a hard link is made",
       [](auto& top, auto& out) { fs::create_hard_link(out + "/full/file", top + "/link"); },
       {""},
       {"/link"},
       {}},
      {"a symbolic link is made, and what it leads to is not followed",
       [](auto& top, auto& out) {
         fs::create_directory_symlink(out + "/full", top + "/link");
         write(out + "/full/more");
       },
       {""},
       {"/link"},
       {"/link/more", "/link/file"}},
      {"only read",
       [](auto& top, auto&) { shell("cat " + top + "/old/file >/dev/null && ls -R " + top + " >/dev/null"); },
       {},
       {},
       {"", "/old", "/old/file", "/old/deep"}},
      {"folders are made and filled at once",
       [](auto& top, auto&) { shell("mkdir -p " + top + "/a/b/c && touch " + top + "/a/b/c/f"); },
       {"", "/a", "/a/b", "/a/b/c"},
       {"/a", "/a/b", "/a/b/c", "/a/b/c/f"},
       {}},
      {"a new folder is written to later",
       [](auto& top, auto&) {
         fs::create_directories(top + "/a/b");
         write(top + "/a/b/f");
         write(top + "/a/b/f");
       },
       {"", "/a/b"},
       {"/a/b/f"},
       {}},
      {"a full folder is moved in",
       [](auto& top, auto& out) { fs::rename(out + "/full", top + "/in"); },
       {"", "/in", "/in/inner"},
       {"/in", "/in/file", "/in/inner", "/in/inner/file"},
       {}},
      {"a folder is moved out, and what happens there is nobody's business",
       [](auto& top, auto& out) {
         fs::rename(top + "/old", out + "/gone");
         write(out + "/gone/file");
         write(out + "/gone/deep/more");
       },
       {""},
       {"/old"},
       {"/old/file", "/old/deep", "/old/deep/more"}},
      {"a folder is renamed, and goes on being watched under its new name only",
       [](auto& top, auto&) {
         fs::rename(top + "/old", top + "/young");
         write(top + "/young/deep/more");
       },
       {"", "/young", "/young/deep"},
       {"/old", "/young", "/young/file", "/young/deep/more"},
       {"/old/deep/more", "/old/deep"}},
      {"a folder is moved into another one",
       [](auto& top, auto&) {
         fs::create_directory(top + "/new");
         fs::rename(top + "/old/deep", top + "/new/deep");
         write(top + "/new/deep/more");
       },
       {"", "/old", "/new", "/new/deep"},
       {"/old/deep", "/new", "/new/deep/more"},
       {"/old/deep/more"}},
      {"two folders change places",
       [](auto& top, auto&) {
         fs::create_directory(top + "/other");
         write(top + "/other/mine");
         fs::rename(top + "/old", top + "/t");
         fs::rename(top + "/other", top + "/old");
         fs::rename(top + "/t", top + "/other");
         write(top + "/other/deep/more");
         write(top + "/old/again");
       },
       {"", "/old", "/other", "/other/deep"},
       {"/old", "/other", "/old/mine", "/old/again", "/other/deep/more"},
       {}},
      {"a folder is deleted and made again",
       [](auto& top, auto&) {
         fs::remove_all(top + "/old");
         fs::create_directories(top + "/old/deep");
         write(top + "/old/deep/more");
       },
       {"", "/old", "/old/deep"},
       {"/old", "/old/deep/more"},
       {}},
      {"a folder is deleted with all that is in it",
       [](auto& top, auto&) { shell("rm -r " + top + "/old"); },
       {"", "/old"},
       {"/old", "/old/file", "/old/deep", "/old/deep/file"},
       {}},
      {"a folder is replaced by a file",
       [](auto& top, auto&) {
         fs::remove_all(top + "/old");
         write(top + "/old");
       },
       {""},
       {"/old"},
       {}},
      {"names of any bytes",
       [](auto& top, auto&) {
         fs::create_directory(top + "/\xFF\n");
         write(top + "/\xFF\n/\xC3(\\ \x01");
       },
       {"", "/\xFF\n"},
       {"/\xFF\n", "/\xFF\n/\xC3(\\ \x01"},
       {}},
      {"a tree deeper than a path may be long",
       [](auto& top, auto&) {
         shell("cd " + top + " && for i in " + longNames() +
               "; do mkdir $i && cd -P $i || exit 1; done && echo text >end");
       },
       {"", deepPath()},
       {deepPath(), deepPath() + "/end"},
       {}},
  };
  return all;
}

void runAll(bool files) {
  for (const Operation& operation : operations()) {
    SCOPED_TRACE(operation.why);
    Watched watched(files);
    watched.start();
    operation.run(watched.top(), watched.out());
    const Paths& awaited = files ? operation.files : operation.folders;
    const auto told = watched.toldAfter(awaited);
    // The root is told of in any case, for the sake of the last change.
    Paths never = operation.never;
    if (!files) std::erase(never, "");
    for (const std::string& path : never) EXPECT_THAT(told, Not(Contains(path)));
  }
}

TEST(EventStream, TellsOfFoldersWhoseContentsChanged) { runAll(false); }
TEST(EventStream, TellsOfFiles) { runAll(true); }

TEST(EventStream, TellsNothingOfTheTimeBefore) {
  for (int round = 0; round < 8; ++round) {
    Watched watched(true);
    write(watched.top() + "/before");
    fs::create_directory(watched.top() + "/made");
    write(watched.top() + "/made/before");
    watched.start();
    EXPECT_THAT(watched.toldAfter({}), ElementsAre());
  }
}

TEST(EventStream, TellsNothingOfTheTimeBeforeToOneThatJoinsAnother) {
  Watched first(true);
  first.start();
  for (int round = 0; round < 8; ++round) {
    const auto recorder = std::make_shared<Recorder>();
    const std::string before = first.top() + "/before" + std::to_string(round);
    const std::string after = first.top() + "/after" + std::to_string(round);
    write(before);
    const JVFileEventer second(recorder, {first.top()}, true);
    write(after);
    EXPECT_TRUE(recorder->waitFor(after));
    EXPECT_FALSE(recorder->has(before));
    EXPECT_TRUE(first.recorder().waitFor(before));
    EXPECT_TRUE(first.recorder().waitFor(after));
  }
}

TEST(EventStream, EachPathOnceInABatchInTheOrderOfTheFirstChange) {
  Watched watched(true);
  watched.start();
  for (int round = 0; round < 3; ++round) {
    write(watched.top() + "/one");
    write(watched.top() + "/two");
  }
  ASSERT_TRUE(watched.recorder().waitFor(watched.top() + "/two"));
  EXPECT_THAT(watched.recorder().batches().front(), ElementsAre(watched.top() + "/one", watched.top() + "/two"));
}

TEST(EventStream, ASteadyWriterIsToldOfTenTimesASecondAtMost) {
  Watched watched(true);
  watched.start();
  const auto begin = std::chrono::steady_clock::now();
  while (watched.recorder().batches().size() < 5) {
    write(watched.top() + "/steady");
    ASSERT_LT(std::chrono::steady_clock::now() - begin, jvtest::kBound);
  }
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(500));
}

// ---------------------------------------------------------------------------------------------------------------------
// Watched paths.

/// Folders of a test's own, and a delegate.
struct Place {
  jv::test::TemporaryFolder folder;
  std::string base = folder.path().string();
  std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
};

TEST(EventStream, SpellsPathsUnderTheRootAsItWasGiven) {
  Place place;
  fs::create_directories(place.base + "/real/sub");
  fs::create_directory_symlink("real", place.base + "/link");
  const fs::path before = fs::current_path();
  fs::current_path(place.base);
  const struct {
    const char* why;
    std::string given;
    std::string root;  ///< as it is told of
    std::string sub;
  } cases[] = {
      {"plain", place.base + "/real", place.base + "/real", place.base + "/real/sub"},
      {"a slash at the end", place.base + "/real/", place.base + "/real/", place.base + "/real/sub"},
      {"through a link", place.base + "/link", place.base + "/link", place.base + "/link/sub"},
      {"detours", place.base + "/./real//../real", place.base + "/./real//../real",
       place.base + "/./real//../real/sub"},
      {"relative", "real", "real", "real/sub"},
      {"here", ".", ".", "./real/sub"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    const auto recorder = std::make_shared<Recorder>();
    const JVFileEventer watcher(recorder, {c.given}, false);
    write(place.base + (c.given == "." ? "/file" : "/real/file"));
    EXPECT_TRUE(recorder->waitFor(c.root));
    write(place.base + "/real/sub/file");
    EXPECT_TRUE(recorder->waitFor(c.sub));
  }
  fs::current_path(before);
}

TEST(EventStream, RootsThatOverlapAreToldOfOnce) {
  Place place;
  fs::create_directories(place.base + "/a/b/c");
  fs::create_directory_symlink("a", place.base + "/link");
  const JVFileEventer watcher(place.recorder, {place.base + "/a/b", place.base + "/a", place.base + "/a"}, true);
  const auto other = std::make_shared<Recorder>();
  const JVFileEventer linked(other, {place.base + "/a/b/c", place.base + "/link"}, true);
  write(place.base + "/a/b/c/file");
  EXPECT_TRUE(place.recorder->waitFor(place.base + "/a/b/c/file"));
  EXPECT_THAT(place.recorder->batches().front(), ElementsAre(place.base + "/a/b/c/file"));
  EXPECT_TRUE(other->waitFor(place.base + "/link/b/c/file"));
  EXPECT_TRUE(other->waitFor(place.base + "/a/b/c/file"));
}

TEST(EventStream, ANestedRootOutlivesTheOneAroundIt) {
  Place place;
  fs::create_directories(place.base + "/a/b/c");
  auto outer = std::make_unique<JVFileEventer>(place.recorder, Paths{place.base + "/a"}, false);
  const auto other = std::make_shared<Recorder>();
  const JVFileEventer inner(other, {place.base + "/a/b"}, false);
  outer = nullptr;
  write(place.base + "/a/b/c/file");
  EXPECT_TRUE(other->waitFor(place.base + "/a/b/c"));
  fs::rename(place.base + "/a", place.base + "/away");
  EXPECT_TRUE(other->waitFor(place.base + "/a/b"));
  other->clear();
  fs::rename(place.base + "/away", place.base + "/a");
  EXPECT_TRUE(other->waitFor(place.base + "/a/b"));
  write(place.base + "/a/b/c/more");
  EXPECT_TRUE(other->waitFor(place.base + "/a/b/c"));
}

TEST(EventStream, FollowsThePathAndNotTheFolder) {
  const struct {
    const char* why;
    std::function<void(const std::string& base)> before;
    std::function<void(const std::string& base)> change;  ///< after it, the root is another folder, or is back
  } cases[] = {
      {"made later", [](auto&) {}, [](auto& base) { fs::create_directories(base + "/way/root"); }},
      {"the last part made later", [](auto& base) { fs::create_directory(base + "/way"); },
       [](auto& base) { fs::create_directory(base + "/way/root"); }},
      {"moved to its place", [](auto& base) { fs::create_directories(base + "/other/root"); },
       [](auto& base) { fs::rename(base + "/other", base + "/way"); }},
      {"deleted and made again", [](auto& base) { fs::create_directories(base + "/way/root"); },
       [](auto& base) {
         fs::remove_all(base + "/way/root");
         fs::create_directory(base + "/way/root");
       }},
      {"deleted with what is around it and made again", [](auto& base) { fs::create_directories(base + "/way/root"); },
       [](auto& base) {
         fs::remove_all(base + "/way");
         fs::create_directories(base + "/way/root");
       }},
      {"replaced by another",
       [](auto& base) {
         fs::create_directories(base + "/way/root");
         fs::create_directories(base + "/way/next");
       },
       [](auto& base) {
         fs::rename(base + "/way/root", base + "/way/last");
         fs::rename(base + "/way/next", base + "/way/root");
       }},
      {"the folder around it replaced",
       [](auto& base) {
         fs::create_directories(base + "/way/root");
         fs::create_directories(base + "/next/root");
       },
       [](auto& base) {
         fs::rename(base + "/way", base + "/last");
         fs::rename(base + "/next", base + "/way");
       }},
      {"a link on the way leads elsewhere",
       [](auto& base) {
         fs::create_directories(base + "/one/root");
         fs::create_directories(base + "/two/root");
         fs::create_directory_symlink("one", base + "/way");
       },
       [](auto& base) {
         fs::create_directory_symlink("two", base + "/.way");
         fs::rename(base + "/.way", base + "/way");
       }},
      {"the root is a link that leads elsewhere",
       [](auto& base) {
         fs::create_directories(base + "/way/one");
         fs::create_directories(base + "/way/two");
         fs::create_directory_symlink("one", base + "/way/root");
       },
       [](auto& base) {
         fs::remove(base + "/way/root");
         fs::create_directory_symlink(base + "/way/two", base + "/way/root");
       }},
      {"what a link leads to is made later",
       [](auto& base) {
         fs::create_directory(base + "/way");
         fs::create_directory_symlink("../two", base + "/way/root");
       },
       [](auto& base) { fs::create_directory(base + "/two"); }},
      {"a file becomes a folder",
       [](auto& base) {
         fs::create_directory(base + "/way");
         write(base + "/way/root");
       },
       [](auto& base) {
         fs::remove(base + "/way/root");
         fs::create_directory(base + "/way/root");
       }},
  };
  for (const auto& c : cases) {
    for (const bool files : {false, true}) {
      SCOPED_TRACE(std::string(c.why) + (files ? ", files" : ", folders"));
      Place place;
      c.before(place.base);
      const std::string root = place.base + "/way/root";
      const JVFileEventer watcher(place.recorder, {root}, files);
      c.change(place.base);
      EXPECT_TRUE(place.recorder->waitFor(root)) << "the root itself is told of";
      fs::create_directory(root + "/sub");
      write(root + "/sub/file");
      EXPECT_TRUE(place.recorder->waitFor(root + (files ? "/sub/file" : "/sub")));
      for (const std::string& path : place.recorder->told()) {
        EXPECT_TRUE(path.starts_with(root) || path == place.base + "/way") << path;
      }
    }
  }
}

TEST(EventStream, AnOldFolderIsLeftAlone) {
  Place place;
  fs::create_directories(place.base + "/root/sub");
  const JVFileEventer watcher(place.recorder, {place.base + "/root"}, true);
  fs::rename(place.base + "/root", place.base + "/old");
  EXPECT_TRUE(place.recorder->waitFor(place.base + "/root"));
  write(place.base + "/old/sub/file");
  fs::create_directories(place.base + "/root/last");
  EXPECT_TRUE(place.recorder->waitFor(place.base + "/root/last"));
  EXPECT_FALSE(place.recorder->has(place.base + "/root/sub/file"));
}

TEST(EventStream, WhatChangesWhileTheRootIsAwayForAMomentIsToldOf) {
  Place place;
  const std::string root = place.base + "/root";
  const std::string away = place.base + "/away";
  fs::create_directories(root + "/sub/deep");
  const JVFileEventer watcher(place.recorder, {root}, true);
  for (int round = 0; round < 20; ++round) {
    const std::string file = "/sub/deep/" + std::to_string(round);
    fs::rename(root, away);
    write(away + file);
    fs::rename(away, root);
    if (round % 3 == 0) {
      EXPECT_TRUE(place.recorder->waitFor(root + file));
    }
  }
  for (int round = 0; round < 20; ++round) {
    EXPECT_TRUE(place.recorder->waitFor(root + "/sub/deep/" + std::to_string(round)));
  }
}

TEST(EventStream, FilesCanBeRoots) {
  for (const bool files : {false, true}) {
    SCOPED_TRACE(files);
    Place place;
    write(place.base + "/file");
    write(place.base + "/beside");
    fs::create_symlink("file", place.base + "/link");
    const JVFileEventer watcher(place.recorder, {place.base + "/file"}, files);
    const auto other = std::make_shared<Recorder>();
    const JVFileEventer linked(other, {place.base + "/link"}, files);
    const std::string expected = files ? place.base + "/file" : place.base;
    const std::function<void()> changes[] = {
        [&] { write(place.base + "/file", "more"); },
        [&] { fs::remove(place.base + "/file"); },
        [&] { write(place.base + "/file"); },
        [&] {
          write(place.base + "/new");
          fs::rename(place.base + "/new", place.base + "/file");
        },
        [&] { write(place.base + "/file", "later"); },
    };
    for (const auto& change : changes) {
      write(place.base + "/beside", "nobody's business");
      change();
      EXPECT_TRUE(place.recorder->waitFor(expected));
      EXPECT_TRUE(other->waitFor(files ? place.base + "/link" : place.base));
      EXPECT_THAT(place.recorder->told(), ElementsAre(expected));
      place.recorder->clear();
      other->clear();
    }
  }
}

TEST(EventStream, PathsThatCannotExistAreSilent) {
  Place place;
  const std::string longest(300, 'x');
  fs::create_directory(place.base + "/loop");
  fs::create_directory_symlink("b", place.base + "/loop/a");
  fs::create_directory_symlink("a", place.base + "/loop/b");
  write(place.base + "/file");
  const JVFileEventer watcher(place.recorder,
                              {"", std::string("a\0b", 3), place.base + "/" + longest, place.base + "/loop/a",
                               place.base + "/file/below", "/proc/no/such", place.base + "/real"},
                              true);
  const JVFileEventer empty(place.recorder, {}, true);
  EXPECT_EQ(watcher.problem(), std::nullopt);
  fs::create_directory(place.base + "/real");
  EXPECT_TRUE(place.recorder->waitFor(place.base + "/real"));
  EXPECT_THAT(place.recorder->told(), ElementsAre(place.base + "/real"));
}

TEST(EventStream, MountsAreNoticed) {
  Place place;
  fs::create_directories(place.base + "/root/point/under");
  const std::string point = place.base + "/root/point";
  const JVFileEventer watcher(place.recorder, {place.base + "/root"}, true);
  if (mount("none", point.c_str(), "tmpfs", 0, nullptr) != 0) GTEST_SKIP() << "may not mount";
  EXPECT_TRUE(place.recorder->waitFor(point));
  fs::create_directory(point + "/over");
  write(point + "/over/file");
  EXPECT_TRUE(place.recorder->waitFor(point + "/over/file"));
  place.recorder->clear();
  umount2(point.c_str(), MNT_DETACH);
  EXPECT_TRUE(place.recorder->waitFor(point));
  write(point + "/under/file");
  EXPECT_TRUE(place.recorder->waitFor(point + "/under/file"));
}

TEST(EventStream, ALargeTreeIsReadByManyAndKnownWhole) {
  Place place;
  const std::string root = place.base + "/root";
  Paths folders;
  for (int a = 0; a < 20; ++a) {
    for (int b = 0; b < 20; ++b) {
      for (int c = 0; c < 10; ++c) {
        folders.push_back(root + "/" + std::to_string(a) + "/" + std::to_string(b) + "/" + std::to_string(c));
        fs::create_directories(folders.back());
      }
    }
  }
  const JVFileEventer watcher(place.recorder, {root}, true);
  for (const std::string& folder : folders) write(folder + "/file");
  for (const std::string& folder : folders) ASSERT_TRUE(place.recorder->waitFor(folder + "/file"));
  place.recorder->clear();
  // The same tree under another name is read again.
  fs::rename(root + "/0", root + "/moved");
  for (int b = 0; b < 20; ++b) {
    for (int c = 0; c < 10; ++c) {
      const std::string file = "/" + std::to_string(b) + "/" + std::to_string(c) + "/file";
      ASSERT_TRUE(place.recorder->waitFor(root + "/moved" + file));
    }
  }
}

}  // namespace
