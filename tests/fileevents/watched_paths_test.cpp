// Real folders and files as watched paths: how they are spelled, overlap, come, go and lead elsewhere.
#include <JorvaneFoundation/JorvaneFoundation.h>

#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <sys/mount.h>
#include <unistd.h>

#include "fileevents/support.h"
#include "support/temporary_folder.h"

using jvtest::Paths;
using jvtest::Recorder;
using jvtest::write;
using testing::ElementsAre;
namespace fs = std::filesystem;

namespace {

/// Folders of a test's own, and a delegate.
struct Place {
  jv::test::TemporaryFolder folder;
  std::string base = folder.path().string();
  std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
};

TEST(WatchedPaths, SpellsPathsUnderTheRootAsItWasGiven) {
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

TEST(WatchedPaths, RootsThatOverlapAreToldOfOnce) {
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

TEST(WatchedPaths, ANestedRootOutlivesTheOneAroundIt) {
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

TEST(WatchedPaths, FollowsThePathAndNotTheFolder) {
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

TEST(WatchedPaths, AnOldFolderIsLeftAlone) {
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

TEST(WatchedPaths, WhatChangesWhileTheRootIsAwayForAMomentIsToldOf) {
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

TEST(WatchedPaths, FilesCanBeRoots) {
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

TEST(WatchedPaths, PathsThatCannotExistAreSilent) {
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

TEST(WatchedPaths, MountsAreNoticed) {
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

TEST(WatchedPaths, ALargeTreeIsReadByManyAndKnownWhole) {
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
