// Real folders and files as watched paths: how they are spelled, overlap, come, go and lead elsewhere.
#include <JorvaneFoundation/JorvaneFoundation.h>

#include <gmock/gmock.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <sys/mount.h>

#include "fileevents/support.h"

using jvtest::Paths;
using jvtest::Place;
using jvtest::Recorder;
using jvtest::write;
using testing::ElementsAre;
namespace fs = std::filesystem;

namespace {

TEST(WatchedPaths, SpellsPathsUnderTheRootAsItWasGiven) {
  const Place place("make real/sub, link real -> link");
  const fs::path before = fs::current_path();
  fs::current_path(place.base);
  const struct {
    const char* why;
    std::string given;
    std::string sub;
  } cases[] = {
      {"plain", place / "real", place / "real/sub"},
      {"a slash at the end", place / "real/", place / "real/sub"},
      {"through a link", place / "link", place / "link/sub"},
      {"detours", place / "./real//../real", place / "./real//../real/sub"},
      {"relative", "real", "real/sub"},
      {"here", ".", "./real/sub"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    const auto recorder = std::make_shared<Recorder>();
    const JVFileEventer watcher(recorder, {c.given}, false);
    write(c.given + "/file");
    EXPECT_TRUE(recorder->waitFor(c.given));
    write(place / "real/sub/file");
    EXPECT_TRUE(recorder->waitFor(c.sub));
  }
  fs::current_path(before);
}

TEST(WatchedPaths, RootsThatOverlapAreToldOfOnce) {
  const Place place("make a/b/c, link a -> link");
  const JVFileEventer watcher(place.recorder, {place / "a/b", place / "a", place / "a"}, true);
  const auto other = std::make_shared<Recorder>();
  const JVFileEventer linked(other, {place / "a/b/c", place / "link"}, true);
  write(place / "a/b/c/file");
  EXPECT_TRUE(place.tells("a/b/c/file"));
  EXPECT_THAT(place.recorder->batches().front(), ElementsAre(place / "a/b/c/file"));
  EXPECT_TRUE(other->waitFor(place / "link/b/c/file"));
  EXPECT_TRUE(other->waitFor(place / "a/b/c/file"));
}

TEST(WatchedPaths, ANestedRootOutlivesTheOneAroundIt) {
  const Place place("make a/b/c");
  auto outer = std::make_unique<JVFileEventer>(std::make_shared<Recorder>(), Paths{place / "a"}, false);
  const JVFileEventer inner(place.recorder, {place / "a/b"}, false);
  outer = nullptr;
  write(place / "a/b/c/file");
  EXPECT_TRUE(place.tells("a/b/c"));
  place.run("move a -> away");
  EXPECT_TRUE(place.tells("a/b"));
  place.recorder->clear();
  place.run("move away -> a");
  EXPECT_TRUE(place.tells("a/b"));
  write(place / "a/b/c/more");
  EXPECT_TRUE(place.tells("a/b/c"));
}

TEST(WatchedPaths, FollowsThePathAndNotTheFolder) {
  const struct {
    const char* why;
    const char* before;
    const char* change;  ///< after it, the root is another folder, or is back
  } cases[] = {
      {"made later", "", "make way/root"},
      {"the last part made later", "make way", "make way/root"},
      {"moved to its place", "make other/root", "move other -> way"},
      {"deleted and made again", "make way/root", "remove way/root, make way/root"},
      {"deleted with what is around it and made again", "make way/root", "remove way, make way/root"},
      {"replaced by another", "make way/root, make way/next", "move way/root -> way/last, move way/next -> way/root"},
      {"the folder around it replaced", "make way/root, make next/root", "move way -> last, move next -> way"},
      {"a link on the way leads elsewhere", "make one/root, make two/root, link one -> way",
       "link two -> .way, move .way -> way"},
      {"the root is a link that leads elsewhere", "make way/one, make way/two, link one -> way/root",
       "remove way/root, link-absolute way/two -> way/root"},
      {"what a link leads to is made later", "make way, link ../two -> way/root", "make two"},
      {"a file becomes a folder", "make way, write way/root", "remove way/root, make way/root"},
  };
  for (const auto& c : cases) {
    for (const bool files : {false, true}) {
      SCOPED_TRACE(std::string(c.why) + (files ? ", files" : ", folders"));
      const Place place(c.before);
      const std::string root = place / "way/root";
      const JVFileEventer watcher(place.recorder, {root}, files);
      place.run(c.change);
      EXPECT_TRUE(place.tells("way/root")) << "the root itself is told of";
      place.run("make way/root/sub, write way/root/sub/file");
      EXPECT_TRUE(place.tells(files ? "way/root/sub/file" : "way/root/sub"));
      for (const std::string& path : place.recorder->told()) {
        EXPECT_TRUE(path.starts_with(root) || path == place / "way") << path;
      }
    }
  }
}

TEST(WatchedPaths, AnOldFolderIsLeftAlone) {
  const Place place("make root/sub");
  const JVFileEventer watcher(place.recorder, {place / "root"}, true);
  place.run("move root -> old");
  EXPECT_TRUE(place.tells("root"));
  place.run("write old/sub/file, make root/last");
  EXPECT_TRUE(place.tells("root/last"));
  EXPECT_FALSE(place.recorder->has(place / "root/sub/file"));
}

TEST(WatchedPaths, WhatChangesWhileTheRootIsAwayForAMomentIsToldOf) {
  const Place place("make root/sub/deep");
  const JVFileEventer watcher(place.recorder, {place / "root"}, true);
  for (int round = 0; round < 20; ++round) {
    const std::string file = "/sub/deep/" + std::to_string(round);
    place.run("move root -> away, write away" + file + ", move away -> root");
    if (round % 3 == 0) {
      EXPECT_TRUE(place.tells("root" + file));
    }
  }
  for (int round = 0; round < 20; ++round) EXPECT_TRUE(place.tells("root/sub/deep/" + std::to_string(round)));
}

TEST(WatchedPaths, FilesCanBeRoots) {
  const char* const changes[] = {"write file", "remove file", "write file", "write new, move new -> file",
                                 "write file"};
  for (const bool files : {false, true}) {
    SCOPED_TRACE(files);
    const Place place("write file, write beside, link file -> link");
    const JVFileEventer watcher(place.recorder, {place / "file"}, files);
    const auto other = std::make_shared<Recorder>();
    const JVFileEventer linked(other, {place / "link"}, files);
    const std::string expected = files ? place / "file" : place.base;
    for (const char* const change : changes) {
      write(place / "beside");  // nobody's business
      place.run(change);
      EXPECT_TRUE(place.recorder->waitFor(expected));
      EXPECT_TRUE(other->waitFor(files ? place / "link" : place.base));
      EXPECT_THAT(place.recorder->told(), ElementsAre(expected));
      place.recorder->clear();
      other->clear();
    }
  }
}

TEST(WatchedPaths, PathsThatCannotExistAreSilent) {
  const Place place("make loop, link b -> loop/a, link a -> loop/b, write file");
  const JVFileEventer watcher(place.recorder,
                              {"", std::string("a\0b", 3), place / std::string(300, 'x'), place / "loop/a",
                               place / "file/below", "/proc/no/such", place / "real"},
                              true);
  const JVFileEventer empty(place.recorder, {}, true);
  EXPECT_EQ(watcher.problem(), std::nullopt);
  place.run("make real");
  EXPECT_TRUE(place.tells("real"));
  EXPECT_THAT(place.recorder->told(), ElementsAre(place / "real"));
}

TEST(WatchedPaths, MountsAreNoticed) {
  const Place place("make root/point/under");
  const std::string point = place / "root/point";
  const JVFileEventer watcher(place.recorder, {place / "root"}, true);
  if (mount("none", point.c_str(), "tmpfs", 0, nullptr) != 0) GTEST_SKIP() << "may not mount";
  EXPECT_TRUE(place.recorder->waitFor(point));
  place.run("make root/point/over, write root/point/over/file");
  EXPECT_TRUE(place.tells("root/point/over/file"));
  place.recorder->clear();
  umount2(point.c_str(), MNT_DETACH);
  EXPECT_TRUE(place.recorder->waitFor(point));
  write(point + "/under/file");
  EXPECT_TRUE(place.tells("root/point/under/file"));
}

TEST(WatchedPaths, ALargeTreeIsReadByManyAndKnownWhole) {
  const Place place;
  Paths folders;
  for (int i = 0; i < 4000; ++i) {
    folders.push_back(std::to_string(i / 200) + "/" + std::to_string(i / 10 % 20) + "/" + std::to_string(i % 10));
    place.run("make root/" + folders.back());
  }
  const JVFileEventer watcher(place.recorder, {place / "root"}, true);
  for (const std::string& folder : folders) write(place / "root/" + folder + "/file");
  for (const std::string& folder : folders) ASSERT_TRUE(place.tells("root/" + folder + "/file"));
  place.recorder->clear();
  // The same tree under another name is read again.
  place.run("move root/0 -> root/moved");
  for (const std::string& folder : folders) {
    if (!folder.starts_with("0/")) continue;
    ASSERT_TRUE(place.tells("root/moved" + folder.substr(1) + "/file"));
  }
}

}  // namespace
