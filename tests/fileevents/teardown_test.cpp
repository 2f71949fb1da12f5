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
#include "support/temporary_folder.h"

using jvtest::Recorder;
using jvtest::write;
namespace fs = std::filesystem;

namespace {

/// A signal from one thread to another.
class Flag {
 public:
  void raise() {
    const std::lock_guard lock(mutex_);
    up_ = true;
    changed_.notify_all();
  }
  bool wait() {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, jvtest::kBound, [this] { return up_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool up_ = false;
};

TEST(Teardown, WaitsForTheCallInProgressAndNoneFollows) {
  const jv::test::TemporaryFolder folder;
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
  auto watcher = std::make_unique<JVFileEventer>(delegate, std::vector{folder.path().string()}, false);
  write(folder.path() / "one");
  ASSERT_TRUE(entered.wait());
  write(folder.path() / "two");  // would be the next batch
  std::thread other([&] {
    watcher = nullptr;
    EXPECT_FALSE(isInside);
  });
  leave.raise();
  other.join();
  EXPECT_EQ(calls, 1);
}

TEST(Teardown, MayBeDoneByTheCallItself) {
  const jv::test::TemporaryFolder folder;
  Flag done;
  std::unique_ptr<JVFileEventer> watcher;
  Flag made;
  const auto delegate = std::make_shared<Recorder>([&](const auto&) {
    EXPECT_TRUE(made.wait());
    watcher = nullptr;
    done.raise();
  });
  watcher = std::make_unique<JVFileEventer>(delegate, std::vector{folder.path().string()}, false);
  made.raise();
  write(folder.path() / "one");
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
  const jv::test::TemporaryFolder folder;
  auto owner = std::make_shared<Owner>();
  const auto letGo = owner->letGo;
  const auto gone = owner->gone;
  owner->watcher = std::make_unique<JVFileEventer>(owner, std::vector{folder.path().string()}, false);
  write(folder.path() / "one");
  const std::weak_ptr<Owner> weak = owner;
  while (weak.use_count() < 2) std::this_thread::yield();  // the call holds it now
  owner = nullptr;
  letGo->raise();
  EXPECT_TRUE(gone->wait());
}

TEST(Teardown, TwoWatchersDoNotWaitForEachOther) {
  const jv::test::TemporaryFolder folder;
  Flag leave;
  Flag entered;
  const auto busy = std::make_shared<Recorder>([&](const auto&) {
    entered.raise();
    EXPECT_TRUE(leave.wait());
  });
  const auto free = std::make_shared<Recorder>();
  const std::string path = folder.path().string();
  const JVFileEventer first(busy, {path}, true);
  const JVFileEventer second(free, {path}, true);
  write(path + "/one");
  ASSERT_TRUE(entered.wait());
  write(path + "/two");
  EXPECT_TRUE(free->waitFor(path + "/two"));
  EXPECT_FALSE(busy->has(path + "/two"));
  leave.raise();
  EXPECT_TRUE(busy->waitFor(path + "/two")) << "what came during a call is told after it";
}

int entriesOf(const char* folder) { return static_cast<int>(std::distance(fs::directory_iterator(folder), {})); }

TEST(Teardown, LeavesNothingBehind) {
  const jv::test::TemporaryFolder folder;
  fs::create_directories(folder.path() / "a/b");
  const std::string path = folder.path().string();
  const auto delegate = std::make_shared<Recorder>();
  { const JVFileEventer watcher(delegate, {path}, false); }  // what stays for good is there now
  const auto eventually = [](auto holds) {
    const auto end = std::chrono::steady_clock::now() + jvtest::kBound;
    while (!holds() && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    return holds();
  };
  const auto watchThreads = [] {
    int count = 0;
    for (const auto& thread : fs::directory_iterator("/proc/self/task")) {
      std::string name;
      std::getline(std::ifstream(thread.path() / "comm"), name);
      if (name == "jv-files" || name == "jv-walk") ++count;
    }
    return count;
  };
  ASSERT_TRUE(eventually([&] { return watchThreads() == 0; }));
  const int before = entriesOf("/proc/self/fd");
  for (int round = 0; round < 50; ++round) {
    const int open = entriesOf("/proc/self/fd");  // the kernel takes its time to close those of the round before
    std::vector<std::unique_ptr<JVFileEventer>> watchers;
    for (int i = 0; i < 20; ++i) {
      watchers.push_back(std::make_unique<JVFileEventer>(delegate, std::vector{path, path + "/a"}, i % 2 == 0));
    }
    EXPECT_LE(entriesOf("/proc/self/fd"), open + 20) << "many watchers share few descriptors";
    write(path + "/a/b/file");
    for (int i = 0; i < 20; ++i) watchers[static_cast<std::size_t>(i * 7 % 20)] = nullptr;
  }
  EXPECT_TRUE(eventually([&] { return entriesOf("/proc/self/fd") <= before && watchThreads() == 0; }))
      << entriesOf("/proc/self/fd") << " descriptors, " << before << " before";
}

TEST(Teardown, WatchersComeAndGoOnManyThreads) {
  const jv::test::TemporaryFolder folder;
  fs::create_directories(folder.path() / "a/b");
  const std::string path = folder.path().string();
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < 10; ++round) {
        const auto delegate = std::make_shared<Recorder>();
        const JVFileEventer watcher(delegate, {path}, true);
        const std::string file = path + "/a/b/" + std::to_string(t) + "-" + std::to_string(round);
        write(file);
        EXPECT_TRUE(delegate->waitFor(file));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(Teardown, AForkedChildLeavesItToItsParent) {
  const jv::test::TemporaryFolder folder;
  const std::string path = folder.path().string();
  const auto delegate = std::make_shared<Recorder>();
  auto watcher = std::make_unique<JVFileEventer>(delegate, std::vector{path}, true);
  const pid_t child = fork();
  if (child == 0) {
    watcher = nullptr;
    const JVFileEventer another(delegate, {path}, true);  // watches nothing, and does not hang
    _exit(0);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  write(path + "/file");
  EXPECT_TRUE(delegate->waitFor(path + "/file"));
}

}  // namespace
