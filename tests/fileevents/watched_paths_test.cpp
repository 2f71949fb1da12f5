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
  const Place place("mkdir -p real/sub && ln -s real link");
  const fs::path before = fs::current_path();
  fs::current_path(place.base);
  for (const std::string& given : {place / "real/", place / "link", place / "./real//../real", std::string("real")}) {
    SCOPED_TRACE(given);
    const auto recorder = std::make_shared<Recorder>();
    const JVFileEventer watcher(recorder, {given}, false);
    write(place / "real/file");
    EXPECT_TRUE(recorder->waitFor(given));
    write(place / "real/sub/file");
    EXPECT_TRUE(recorder->waitFor(given + (given.ends_with('/') ? "sub" : "/sub")));
  }
  fs::current_path(before);
}

TEST(WatchedPaths, RootsThatOverlapAreToldOfOnceUnderEachName) {
  const Place place("mkdir -p a/b/c && ln -s a link");
  const JVFileEventer watcher(place.recorder, {place / "a/b", place / "a", place / "a"}, true);
  const auto other = std::make_shared<Recorder>();
  const JVFileEventer linked(other, {place / "a/b/c", place / "link"}, true);
  write(place / "a/b/c/file");
  EXPECT_TRUE(place.tells("a/b/c/file"));
  EXPECT_THAT(place.recorder->batches().front(), ElementsAre(place / "a/b/c/file"));
  EXPECT_TRUE(other->waitFor(place / "link/b/c/file"));
  EXPECT_TRUE(other->waitFor(place / "a/b/c/file"));
}

TEST(WatchedPaths, FollowsThePathAndNotTheFolder) {
  const struct {
    const char* why;
    const char* before;
    const char* change;  ///< after it, the root is another folder, or is back
  } cases[] = {
      {"made later", "true", "mkdir -p way/root"},
      {"moved to its place", "mkdir -p other/root", "mv other way"},
      {"deleted and made again", "mkdir -p way/root", "rm -r way/root && mkdir -p way/root"},
      {"deleted with what is around it and made again", "mkdir -p way/root", "rm -r way && mkdir -p way/root"},
      {"replaced by another", "mkdir -p way/root way/next", "mv way/root way/last && mv way/next way/root"},
      {"the folder around it replaced", "mkdir -p way/root next/root", "mv way last && mv next way"},
      {"a link on the way leads elsewhere", "mkdir -p one/root two/root && ln -s one way",
       "ln -s two new && mv -T new way"},
      {"the root is a link that leads elsewhere", "mkdir -p way/one way/two && ln -s one way/root",
       "ln -sfn \"$PWD/way/two\" way/root"},
      {"what a link leads to is made later", "mkdir -p way && ln -s ../two way/root", "mkdir two"},
      {"a file becomes a folder", "mkdir -p way && echo >way/root", "rm way/root && mkdir way/root"},
  };
  for (const auto& c : cases) {
    for (const bool files : {false, true}) {
      SCOPED_TRACE(std::string(c.why) + (files ? ", files" : ", folders"));
      const Place place(c.before);
      const std::string root = place / "way/root";
      const JVFileEventer watcher(place.recorder, {root}, files);
      place.run(c.change);
      EXPECT_TRUE(place.tells("way/root")) << "the root itself is told of";
      place.run("mkdir -p way/root/sub && echo >way/root/sub/file");
      EXPECT_TRUE(place.tells(files ? "way/root/sub/file" : "way/root/sub"));
      for (const std::string& path : place.recorder->told()) {
        EXPECT_TRUE(path.starts_with(root) || path == place / "way") << path;
      }
    }
  }
}

TEST(WatchedPaths, WhatChangesWhileTheRootIsAwayForAMomentIsToldOf) {
  const Place place("mkdir -p root/sub/deep");
  const JVFileEventer watcher(place.recorder, {place / "root"}, true);
  for (int round = 0; round < 20; ++round) {
    const std::string file = "/sub/deep/" + std::to_string(round);
    fs::rename(place / "root", place / "away");
    write(place / "away" + file);
    fs::rename(place / "away", place / "root");
    if (round % 3 == 0) {
      EXPECT_TRUE(place.tells("root" + file));
    }
  }
  for (int round = 0; round < 20; ++round) EXPECT_TRUE(place.tells("root/sub/deep/" + std::to_string(round)));
}

TEST(WatchedPaths, FilesCanBeRoots) {
  for (const bool files : {false, true}) {
    SCOPED_TRACE(files);
    const Place place("touch file && ln -s file link");
    const JVFileEventer watcher(place.recorder, {place / "file"}, files);
    const auto other = std::make_shared<Recorder>();
    const JVFileEventer linked(other, {place / "link"}, files);
    const std::string expected = files ? place / "file" : place.base;
    for (const char* const change : {"echo >file", "rm file", "echo >file", "echo >new && mv new file", "echo >file"}) {
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
  const Place place("mkdir loop && ln -s loop/a b && ln -s ../b loop/a && touch file");
  const JVFileEventer watcher(place.recorder,
                              {"", std::string("a\0b", 3), place / std::string(300, 'x'), place / "loop/a",
                               place / "file/below", "/proc/no/such", place / "real"},
                              true);
  EXPECT_EQ(watcher.problem(), std::nullopt);
  place.run("mkdir real");
  EXPECT_TRUE(place.tells("real"));
  EXPECT_THAT(place.recorder->told(), ElementsAre(place / "real"));
}

TEST(WatchedPaths, MountsAreNoticed) {
  const Place place("mkdir -p root/point/under");
  const std::string point = place / "root/point";
  const JVFileEventer watcher(place.recorder, {place / "root"}, true);
  if (mount("none", point.c_str(), "tmpfs", 0, nullptr) != 0) GTEST_SKIP() << "may not mount";
  EXPECT_TRUE(place.recorder->waitFor(point));
  place.run("mkdir root/point/over && echo >root/point/over/file");
  EXPECT_TRUE(place.tells("root/point/over/file"));
  place.recorder->clear();
  umount2(point.c_str(), MNT_DETACH);
  EXPECT_TRUE(place.recorder->waitFor(point));
  write(point + "/under/file");
  EXPECT_TRUE(place.tells("root/point/under/file"));
}

TEST(WatchedPaths, ALargeTreeIsReadByManyAndKnownWholeAndReadAgainUnderAnotherName) {
  const Place place(
      "for i in $(seq 20); do for j in $(seq 20); do seq -f root/$i/$j/%g 10; done; done | "
      "xargs mkdir -p");
  const JVFileEventer watcher(place.recorder, {place / "root"}, true);
  Paths files;
  for (const auto& entry : fs::recursive_directory_iterator(place / "root")) files.push_back(entry.path() / "file");
  ASSERT_EQ(files.size(), 20 * 20 * 10 + 20 * 20 + 20);
  for (const std::string& file : files) write(file);
  for (const std::string& file : files) ASSERT_TRUE(place.recorder->waitFor(file));
  place.run("mv root/1 root/moved");
  for (int i = 1; i <= 20; ++i) ASSERT_TRUE(place.tells("root/moved/" + std::to_string(i) + "/10/file"));
}

}  // namespace
