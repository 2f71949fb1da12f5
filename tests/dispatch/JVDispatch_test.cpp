#include <JorvaneFoundation/JorvaneFoundation.h>
#include <JorvaneFoundation/dispatch/key.h>

#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "dispatch/support.h"

using JVFoundation::DispatchQueue;
using JVFoundation::LatestResult;
using JVFoundation::NSException;
using JVFoundation::NSRunLoop;
using jvtest::Events;
using jvtest::finish;
using testing::ElementsAre;

namespace {

// Each row of the flag's states, seen from inside the piece and after it.
TEST(JVDispatch, MovesItsFlagAndDestroysCompletionsOnTheMainThread) {
  const struct {
    const char* why;
    std::function<void(JVDispatch)> whileRunning;  // on the main thread
    bool stoppedThen;
    bool completed;
  } cases[] = {
      {"left alone", [](JVDispatch) {}, false, true},
      {"stopped from outside", [](JVDispatch d) { d.setStopped(true); }, true, false},
      {"superseded", [](JVDispatch d) { d.dispatchHandler([] {}, [] {}); }, true, false},
      {"stopped and released again", [](JVDispatch d) { d.setStopped(true), d.setStopped(false); }, false, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    JVDispatch dispatcher("flag");
    Events started;
    Events goOn;
    bool completed = false;
    bool destroyed = false;
    std::shared_ptr<void> window(nullptr, [&](void*) { destroyed = NSRunLoop::isMainThread(); });
    dispatcher.dispatchHandler(
        [&, dispatcher] {
          EXPECT_FALSE(NSRunLoop::isMainThread());
          started.happen();
          EXPECT_TRUE(goOn.wait());
          EXPECT_EQ(dispatcher.isStopped(), c.stoppedThen);
        },
        [&, window = std::move(window)] { completed = NSRunLoop::isMainThread(); });
    ASSERT_TRUE(started.wait());
    EXPECT_FALSE(dispatcher.isStopped());
    c.whileRunning(dispatcher);
    EXPECT_EQ(dispatcher.isStopped(), c.stoppedThen) << "at once";
    goOn.happen();
    finish(dispatcher.dispatchedQueue());
    EXPECT_TRUE(dispatcher.isStopped());
    EXPECT_FALSE(completed || destroyed) << "not before the main thread drains";
    jvtest::drainAll();
    EXPECT_EQ(completed, c.completed);
    EXPECT_TRUE(destroyed);
  }
}

TEST(JVDispatch, SkipsNoPieceThatWaits) {
  JVDispatch dispatcher(std::nullopt);
  std::string log;  // the queue and the main thread take turns
  Events started;
  Events goOn;
  const auto dispatch = [&](const std::string& name, std::function<void()> work) {
    dispatcher.dispatchHandler(
        [&log, name, work] {
          work();
          log += name;
        },
        [&log, name] { log += name + "! "; });
  };
  dispatch("1", [&] {
    started.happen();
    EXPECT_TRUE(goOn.wait());
  });
  ASSERT_TRUE(started.wait());
  dispatch("2", [dispatcher] { EXPECT_FALSE(dispatcher.isStopped()) << "a stop before the start is lost"; });
  dispatch("3", [] {});
  dispatcher.setStopped(true);
  goOn.happen();
  finish(dispatcher.dispatchedQueue());
  jvtest::drainAll();
  EXPECT_EQ(log, "1232! 3! ");
}

TEST(JVDispatch, KeepsItsFlagOnItsQueueUnderTheKeyAndItsLabelThere) {
  EXPECT_STREQ(key, "stopped");
  JVDispatch dispatcher("検索");
  JVDispatch(dispatcher).setLabel("");
  EXPECT_EQ(dispatcher.label(), "");
  EXPECT_EQ(dispatcher.dispatchedQueue().label(), "検索") << "the queue keeps its name";
  const auto flag = [&] { return static_cast<signed char*>(dispatcher.dispatchedQueue().getSpecific(key)); };
  const void* const first = flag();
  EXPECT_EQ(*flag(), 1);
  dispatcher.setStopped(false);
  EXPECT_EQ(*flag(), 0);
  EXPECT_NE(flag(), first) << "a fresh byte at each write";

  dispatcher.setDispatchedQueue(DispatchQueue::create());
  EXPECT_THROW(static_cast<void>(dispatcher.isStopped()), NSException) << "no flag yet";
  EXPECT_THROW(dispatcher.dispatchHandler([] {}, [] {}), NSException);
  dispatcher.setStopped(true);
  EXPECT_EQ(*flag(), 1);
}

/// A search whose first piece runs until the test lets it end: what the test requests meanwhile finds it running.
struct Searching {
  Searching() {
    request(1);
    EXPECT_TRUE(running.wait());
  }

  void request(int number) {
    search->request([this, number](const JVDispatch& asked) {
      ran.push_back(number);
      if (number == 1) {
        running.happen();
        EXPECT_TRUE(mayEnd.wait());
        wasAsked = asked.isStopped();
        over.happen();
      }
      return std::make_unique<int>(number);
    });
  }

  Events running, mayEnd, over;
  bool wasAsked = false;
  std::vector<int> ran;  // of the search's queue
  std::vector<int> received;
  std::function<void()> afterReceiving = [] {};
  std::optional<LatestResult<std::unique_ptr<int>>> search{std::in_place, "search",
                                                           [this](const std::unique_ptr<int>& result) {
                                                             received.push_back(*result);
                                                             afterReceiving();
                                                           }};
};

TEST(LatestResult, OfManyRequestsTheLastIsAnswered) {
  for (const bool finished : {false, true}) {  // a result that has not been handed over is superseded too
    SCOPED_TRACE(finished);
    Searching all;
    if (finished) {
      all.mayEnd.happen();
      ASSERT_TRUE(all.over.wait());
    }
    for (const int number : {2, 3, 4}) all.request(number);
    all.mayEnd.happen();
    ASSERT_TRUE(jvtest::drainUntil([&] { return !all.received.empty(); }));
    if (!finished) {
      EXPECT_THAT(all.ran, ElementsAre(1, 4)) << "those that waited are skipped";
      EXPECT_TRUE(all.wasAsked);
    }
    all.request(5);
    ASSERT_TRUE(jvtest::drainUntil([&] { return all.received.size() == 2; }));
    EXPECT_THAT(all.received, ElementsAre(4, 5));
  }
}

TEST(LatestResult, NothingComesOfWhatIsWithdrawnOrDestroyed) {
  for (const bool destroyed : {false, true}) {
    SCOPED_TRACE(destroyed);
    Searching all;
    all.request(2);
    destroyed ? all.search.reset() : all.search->withdraw();
    all.mayEnd.happen();
    ASSERT_TRUE(all.over.wait());
    EXPECT_TRUE(all.wasAsked);
    if (!destroyed) all.request(3);
    EXPECT_TRUE(jvtest::drainUntil([&] { return destroyed || !all.received.empty(); }));
    jvtest::drainAll();
    EXPECT_EQ(all.received, destroyed ? std::vector<int>{} : std::vector{3});
  }
}

TEST(LatestResult, MayBeDestroyedByItsReceiver) {
  Searching all;
  all.afterReceiving = [&] { all.search.reset(); };
  all.mayEnd.happen();
  ASSERT_TRUE(jvtest::drainUntil([&] { return !all.search; }));
  EXPECT_THAT(all.received, ElementsAre(1));
}

}  // namespace
