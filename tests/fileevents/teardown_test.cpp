// The end of a watcher, wherever it comes from, and what is left behind.
#include <JorvaneFoundation/JorvaneFoundation.h>

#include <gmock/gmock.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include "fileevents/support.h"

using jvtest::Events;
using jvtest::Paths;
using jvtest::Place;
using jvtest::Recorder;
using jvtest::write;

namespace {

TEST(Teardown, WaitsForTheCallInProgressAndNoneFollowsAndOthersGoOn) {
  const Place place;
  Events entered;
  Events leave;
  std::atomic<int> left{0};
  const auto busy = std::make_shared<Recorder>([&](const auto&) {
    entered.happen();
    EXPECT_TRUE(leave.wait());
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // time enough for a destructor that does not wait
    ++left;
  });
  auto watcher = std::make_unique<JVFileEventer>(busy, Paths{place.base}, true);
  const JVFileEventer second(place.recorder, {place.base}, true);
  write(place / "one");
  ASSERT_TRUE(entered.wait());
  write(place / "two");  // would be the next batch
  EXPECT_TRUE(place.tells("two")) << "watchers do not wait for each other";
  std::thread other([&] {
    watcher = nullptr;
    EXPECT_EQ(left, 1);
  });
  leave.happen();
  other.join();
  EXPECT_EQ(left, 1);
}

/// Owns the watcher that it is the delegate of.
struct Owner : JVFileEventerDelegate {
  void fileSystemEventHappenedAtPaths(const std::vector<std::string>&) override {
    EXPECT_TRUE(letGo->wait());
    if (ends) watcher = nullptr;
  }
  ~Owner() override { gone->happen(); }
  bool ends = false;
  std::unique_ptr<JVFileEventer> watcher;
  std::shared_ptr<Events> letGo = std::make_shared<Events>();
  std::shared_ptr<Events> gone = std::make_shared<Events>();
};

TEST(Teardown, MayComeFromTheCallItselfAndFromTheLastReferenceInsideIt) {
  for (const bool ends : {true, false}) {
    SCOPED_TRACE(ends);
    const Place place;
    auto owner = std::make_shared<Owner>();
    const auto letGo = owner->letGo;
    const auto gone = owner->gone;
    owner->ends = ends;
    owner->watcher = std::make_unique<JVFileEventer>(owner, Paths{place.base}, false);
    write(place / "one");
    const std::weak_ptr<Owner> weak = owner;
    while (weak.use_count() < 2) std::this_thread::yield();  // the call holds it now
    owner = nullptr;
    letGo->happen();
    EXPECT_TRUE(gone->wait());
  }
}

TEST(Teardown, OfManyWatchersOnManyThreadsLeavesNothingBehind) {
  const Place place("mkdir -p a/b");
  { const JVFileEventer watcher(place.recorder, {place.base}, false); }  // what stays for good is there now
  ASSERT_TRUE(jvtest::eventually([] { return jvtest::ownThreads() == 0; }));
  const auto before = jvtest::descriptors();
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < 20; ++round) {
        const auto delegate = std::make_shared<Recorder>();
        const JVFileEventer outer(delegate, {place.base, place / "a"}, false);
        const JVFileEventer watcher(delegate, {place.base}, true);
        const std::string file = place / "a/b/" + std::to_string(t) + "-" + std::to_string(round);
        write(file);
        EXPECT_TRUE(delegate->waitFor(file));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(jvtest::eventually([&] { return jvtest::descriptors() <= before && jvtest::ownThreads() == 0; }))
      << jvtest::descriptors() << " descriptors, " << before << " before";
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
