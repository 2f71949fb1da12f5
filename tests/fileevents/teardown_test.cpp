// The end of a watcher, wherever it comes from, and what is left behind.
#include <JorvaneFoundation/JorvaneFoundation.h>

#include <gmock/gmock.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include "fileevents/support.h"

using jvtest::eventually;
using jvtest::Flag;
using jvtest::Paths;
using jvtest::Place;
using jvtest::Recorder;
using jvtest::write;
namespace fs = std::filesystem;

namespace {

TEST(Teardown, WaitsForTheCallInProgressAndNoneFollows) {
  const Place place;
  Flag entered;
  Flag leave;
  std::atomic<int> calls{0};
  std::atomic<bool> isInside{false};
  const auto delegate = std::make_shared<Recorder>([&](const auto&) {
    isInside = true;
    ++calls;
    entered.raise();
    EXPECT_TRUE(leave.wait());
    isInside = false;
  });
  auto watcher = std::make_unique<JVFileEventer>(delegate, Paths{place.base}, false);
  write(place / "one");
  ASSERT_TRUE(entered.wait());
  write(place / "two");  // would be the next batch
  std::thread other([&] {
    watcher = nullptr;
    EXPECT_FALSE(isInside);
  });
  leave.raise();
  other.join();
  EXPECT_EQ(calls, 1);
}

TEST(Teardown, MayBeDoneByTheCallItself) {
  const Place place;
  Flag made;
  Flag done;
  std::unique_ptr<JVFileEventer> watcher;
  const auto delegate = std::make_shared<Recorder>([&](const auto&) {
    EXPECT_TRUE(made.wait());
    watcher = nullptr;
    done.raise();
  });
  watcher = std::make_unique<JVFileEventer>(delegate, Paths{place.base}, false);
  made.raise();
  write(place / "one");
  EXPECT_TRUE(done.wait());
}

/// Owns the watcher that it is the delegate of.
struct Owner : JVFileEventerDelegate {
  void fileSystemEventHappenedAtPaths(const std::vector<std::string>&) override { EXPECT_TRUE(letGo->wait()); }
  ~Owner() override { gone->raise(); }
  std::unique_ptr<JVFileEventer> watcher;
  std::shared_ptr<Flag> letGo = std::make_shared<Flag>();
  std::shared_ptr<Flag> gone = std::make_shared<Flag>();
};

TEST(Teardown, MayComeFromTheLastReferenceInsideTheCall) {
  const Place place;
  auto owner = std::make_shared<Owner>();
  const auto letGo = owner->letGo;
  const auto gone = owner->gone;
  owner->watcher = std::make_unique<JVFileEventer>(owner, Paths{place.base}, false);
  write(place / "one");
  const std::weak_ptr<Owner> weak = owner;
  while (weak.use_count() < 2) std::this_thread::yield();  // the call holds it now
  owner = nullptr;
  letGo->raise();
  EXPECT_TRUE(gone->wait());
}

TEST(Teardown, TwoWatchersDoNotWaitForEachOther) {
  const Place place;
  Flag leave;
  Flag entered;
  const auto busy = std::make_shared<Recorder>([&](const auto&) {
    entered.raise();
    EXPECT_TRUE(leave.wait());
  });
  const JVFileEventer first(busy, {place.base}, true);
  const JVFileEventer second(place.recorder, {place.base}, true);
  write(place / "one");
  ASSERT_TRUE(entered.wait());
  write(place / "two");
  EXPECT_TRUE(place.tells("two"));
  EXPECT_FALSE(busy->has(place / "two"));
  leave.raise();
  EXPECT_TRUE(busy->waitFor(place / "two")) << "what came during a call is told after it";
}

int openDescriptors() { return static_cast<int>(std::distance(fs::directory_iterator("/proc/self/fd"), {})); }

int watchThreads() {
  int count = 0;
  for (const auto& thread : fs::directory_iterator("/proc/self/task")) {
    std::string name;
    std::getline(std::ifstream(thread.path() / "comm"), name);
    if (name == "jv-files" || name == "jv-walk") ++count;
  }
  return count;
}

TEST(Teardown, LeavesNothingBehind) {
  const Place place("make a/b");
  { const JVFileEventer watcher(place.recorder, {place.base}, false); }  // what stays for good is there now
  ASSERT_TRUE(eventually([] { return watchThreads() == 0; }));
  const int before = openDescriptors();
  for (int round = 0; round < 50; ++round) {
    const int open = openDescriptors();  // the kernel takes its time to close those of the round before
    std::vector<std::unique_ptr<JVFileEventer>> watchers;
    for (int i = 0; i < 20; ++i) {
      watchers.push_back(std::make_unique<JVFileEventer>(place.recorder, Paths{place.base, place / "a"}, i % 2 == 0));
    }
    EXPECT_LE(openDescriptors(), open + 20) << "many watchers share few descriptors";
    write(place / "a/b/file");
    for (int i = 0; i < 20; ++i) watchers[static_cast<std::size_t>(i * 7 % 20)] = nullptr;
  }
  EXPECT_TRUE(eventually([&] { return openDescriptors() <= before && watchThreads() == 0; }))
      << openDescriptors() << " descriptors, " << before << " before";
}

TEST(Teardown, WatchersComeAndGoOnManyThreads) {
  const Place place("make a/b");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < 10; ++round) {
        const auto delegate = std::make_shared<Recorder>();
        const JVFileEventer watcher(delegate, {place.base}, true);
        const std::string file = place / "a/b/" + std::to_string(t) + "-" + std::to_string(round);
        write(file);
        EXPECT_TRUE(delegate->waitFor(file));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(Teardown, AForkedChildLeavesItToItsParent) {
  const Place place;
  auto watcher = std::make_unique<JVFileEventer>(place.recorder, Paths{place.base}, true);
  const pid_t child = fork();
  if (child == 0) {
    watcher = nullptr;
    const JVFileEventer another(place.recorder, {place.base}, true);  // watches nothing, and does not hang
    _exit(another.problem() ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  write(place / "file");
  EXPECT_TRUE(place.tells("file"));
}

}  // namespace
