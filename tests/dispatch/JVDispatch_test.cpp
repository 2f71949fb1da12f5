#include <JorvaneFoundation/JorvaneFoundation.h>
#include <JorvaneFoundation/dispatch/key.h>

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "dispatch/support.h"

using JVFoundation::DispatchQueue;
using JVFoundation::NSException;
using JVFoundation::NSRunLoop;
using jvtest::Events;

namespace {

/// Runs everything that @p dispatcher holds; what the completions do comes afterwards.
void finishPieces(const JVDispatch& dispatcher) {
  Events done;
  dispatcher.dispatchedQueue().async([&] { done.happen(); });
  ASSERT_TRUE(done.wait());
}

TEST(JVDispatch, StartsStoppedWithALabelledQueue) {
  using Text = std::optional<std::string_view>;
  for (const Text label : {Text(), Text(""), Text("search"), Text("検索")}) {
    SCOPED_TRACE(label.value_or("none"));
    JVDispatch dispatcher(label);
    EXPECT_TRUE(dispatcher.isStopped());
    EXPECT_EQ(dispatcher.label(), label);
    EXPECT_EQ(dispatcher.dispatchedQueue().label(), label);

    JVDispatch same = dispatcher;
    same.setLabel("other");
    EXPECT_EQ(dispatcher.label(), "other");
    EXPECT_EQ(dispatcher.dispatchedQueue().label(), label) << "the queue keeps its name";
    same.setLabel(std::nullopt);
    EXPECT_EQ(dispatcher.label(), std::nullopt);
    EXPECT_EQ(same, dispatcher);
    same = JVDispatch(label);
    EXPECT_NE(same, dispatcher);
  }
}

// Each row of the flag's states, seen from inside the piece and after it.
TEST(JVDispatch, MovesItsFlag) {
  struct Case {
    const char* why;
    std::function<void(JVDispatch)> whileRunning;  // on the main thread
    bool stoppedThen;
    bool completed;
  };
  const Case cases[] = {
      {"left alone", [](JVDispatch) {}, false, true},
      {"stopped from outside", [](JVDispatch d) { d.setStopped(true); }, true, false},
      {"superseded", [](JVDispatch d) { d.dispatchHandler([] {}, [] {}); }, true, false},
      {"stopped and released again",
       [](JVDispatch d) {
         d.setStopped(true);
         d.setStopped(false);
       },
       false, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    JVDispatch dispatcher("flag");
    Events started;
    Events goOn;
    std::atomic<bool> seen = false;
    bool completed = false;
    dispatcher.dispatchHandler(
        [&, dispatcher] {
          EXPECT_FALSE(dispatcher.isStopped());
          EXPECT_FALSE(NSRunLoop::isMainThread());
          started.happen();
          EXPECT_TRUE(goOn.wait());
          seen = dispatcher.isStopped();
        },
        [&] { completed = NSRunLoop::isMainThread(); });
    ASSERT_TRUE(started.wait());
    EXPECT_FALSE(dispatcher.isStopped());
    c.whileRunning(dispatcher);
    EXPECT_EQ(dispatcher.isStopped(), c.stoppedThen) << "at once";
    goOn.happen();
    finishPieces(dispatcher);
    EXPECT_TRUE(dispatcher.isStopped());
    EXPECT_FALSE(completed) << "not before the main thread drains";
    jvtest::drainAll();
    EXPECT_EQ(seen, c.stoppedThen);
    EXPECT_EQ(completed, c.completed);
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
          log += name + " ";
        },
        [&log, name] { log += name + "! "; });
  };
  dispatch("first", [&] {
    started.happen();
    EXPECT_TRUE(goOn.wait());
  });
  ASSERT_TRUE(started.wait());
  dispatch("second", [dispatcher] { EXPECT_FALSE(dispatcher.isStopped()) << "a stop before the start is lost"; });
  dispatch("third", [] {});
  EXPECT_TRUE(dispatcher.isStopped()) << "superseded twice";
  dispatch("fourth", [] {});
  dispatcher.setStopped(true);
  goOn.happen();
  finishPieces(dispatcher);
  jvtest::drainAll();
  EXPECT_EQ(log, "first second third fourth second! third! fourth! ");
}

TEST(JVDispatch, CompletesOnTheMainThreadAfterTheDispatcherIsGone) {
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> handlerHolds = held;
  bool completed = false;
  Events ran;
  {
    JVDispatch dispatcher("short");
    dispatcher.dispatchHandler([&, held = std::move(held)] { ran.happen(); }, [&] { completed = true; });
  }
  EXPECT_TRUE(ran.wait());
  EXPECT_TRUE(jvtest::drainUntil([&] { return completed; }));
  EXPECT_TRUE(jvtest::eventually([&] { return handlerHolds.expired(); }));
}

TEST(JVDispatch, DestroysCompletionHandlersOnTheMainThread) {
  struct Window {
    std::atomic<int>* onMain;
    ~Window() { *onMain += NSRunLoop::isMainThread() ? 1 : 100; }
  };
  std::atomic<int> onMain = 0;
  JVDispatch dispatcher("windows");
  for (const bool stopped : {false, true}) {
    std::function<void()> completion = [window = std::make_shared<Window>(Window{&onMain})] {};
    onMain = 0;  // the temporary above
    dispatcher.dispatchHandler([=]() mutable { dispatcher.setStopped(stopped); }, std::move(completion));
    finishPieces(dispatcher);
    EXPECT_EQ(onMain, 0);
    jvtest::drainAll();
    EXPECT_EQ(onMain, 1) << (stopped ? "dropped" : "called");
  }
}

TEST(JVDispatch, KeepsItsFlagOnItsQueueUnderTheKey) {
  EXPECT_STREQ(key, "stopped");
  JVDispatch dispatcher("flag");
  const auto flagOf = [](const DispatchQueue& queue) { return static_cast<signed char*>(queue.getSpecific(key)); };
  const void* const first = flagOf(dispatcher.dispatchedQueue());
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(*flagOf(dispatcher.dispatchedQueue()), 1);
  dispatcher.setStopped(false);
  EXPECT_EQ(*flagOf(dispatcher.dispatchedQueue()), 0);
  EXPECT_NE(flagOf(dispatcher.dispatchedQueue()), first) << "a fresh byte at each write";

  const DispatchQueue other = DispatchQueue::create("other");
  dispatcher.setDispatchedQueue(other);
  EXPECT_EQ(dispatcher.dispatchedQueue(), other);
  EXPECT_THROW(static_cast<void>(dispatcher.isStopped()), NSException) << "no flag yet";
  EXPECT_THROW(dispatcher.dispatchHandler([] {}, [] {}), NSException);
  dispatcher.setStopped(true);
  EXPECT_EQ(*flagOf(other), 1);
  bool completed = false;
  dispatcher.dispatchHandler([] {}, [&] { completed = true; });
  EXPECT_TRUE(jvtest::drainUntil([&] { return completed; }));
}

struct Derived : JVDispatch {
  Derived() : JVDispatch(JVFoundation::PlainInitializer{"Derived"}) {}
};

TEST(JVDispatch, RaisesFromItsPlainInitializer) {
  const auto raisedBy = [](auto make) -> std::string {
    try {
      make();
      return "nothing";
    } catch (const NSException& exception) {
      return exception.name() + ": " + exception.reason();
    }
  };
  const auto expected = [](const std::string& name) {
    return "JVBadInitializerException: Instances of class \"" + name +
           "\" can only be initialized with class designated initializer.";
  };
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  EXPECT_EQ(raisedBy([] { JVDispatch(); }), expected("JVDispatch"));
#pragma GCC diagnostic pop
  EXPECT_EQ(raisedBy([] { Derived(); }), expected("Derived"));
}

// Everything at once, for ThreadSanitizer above all: dispatching, asking, stopping, replacing queue and label.
TEST(JVDispatch, StandsManyThreads) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 2'000;
  JVDispatch dispatcher("busy");
  std::atomic<int> ran = 0;
  int completed = 0;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread, mine = dispatcher]() mutable {
      for (int i = 0; i < kRounds; ++i) {
        mine.dispatchHandler(
            [&ran, mine] {
              for (int asked = 0; asked < 10 && !mine.isStopped(); ++asked) std::this_thread::yield();
              ++ran;
            },
            [&completed] { ++completed; });
        if (i % 16 == 0) mine.setStopped(true);
        if (i % 32 == 0) mine.setLabel(std::to_string(thread));
        if (i % 64 == 0) mine = JVDispatch(dispatcher);
        static_cast<void>(mine.label());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  finishPieces(dispatcher);
  jvtest::drainAll();
  EXPECT_EQ(ran, kThreads * kRounds);
  EXPECT_GT(completed, 0);
  EXPECT_LE(completed, kThreads * kRounds);
  EXPECT_TRUE(dispatcher.isStopped());
}

TEST(JVDispatchDeathTest, AHandlerThatThrowsEndsTheProcess) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const auto end = [](std::function<void()> handler, std::function<void()> completion) {
    JVDispatch("fails").dispatchHandler(std::move(handler), std::move(completion));
    EXPECT_TRUE(jvtest::drainUntil([] { return false; }));
  };
  const auto fail = [] { throw NSException("BadThing", "It went wrong."); };
  EXPECT_DEATH(end(fail, [] {}), "BadThing: It went wrong\\.");
  EXPECT_DEATH(end([] {}, fail), "BadThing: It went wrong\\.");
  EXPECT_DEATH(end(nullptr, [] {}), "bad_function_call");
  EXPECT_DEATH(end([] {}, nullptr), "bad_function_call");
}

}  // namespace
