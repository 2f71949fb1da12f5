#include <JorvaneFoundation/dispatch/DispatchQueue.h>
#include <JorvaneFoundation/dispatch/NSRunLoop.h>
#include <JorvaneFoundation/foundation/NSException.h>

#include <gmock/gmock.h>

#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "dispatch/support.h"

using JVFoundation::DispatchQueue;
using JVFoundation::NSRunLoop;
using namespace std::chrono_literals;

namespace {

NSRunLoop& loop() { return NSRunLoop::mainRunLoop(); }
void post(std::function<void()> work) { DispatchQueue::mainQueue().async(std::move(work)); }
bool readable() { return jvtest::isReadable(loop().fileDescriptor()); }

struct Pipe {
  Pipe() {
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) throw std::system_error(errno, std::generic_category());
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  ~Pipe() {
    for (const int end : ends) close(end);
  }
  void put() const { EXPECT_EQ(write(ends[1], "x", 1), 1); }
  /// Whether there was a byte.
  bool take() const {
    char byte;
    return read(ends[0], &byte, 1) == 1;
  }
  int ends[2];
};

struct MainRunLoop : testing::Test {
  MainRunLoop() { jvtest::drainAll(); }
  ~MainRunLoop() override { EXPECT_FALSE(readable()) << "something was left behind"; }
};

TEST_F(MainRunLoop, RunsWhatWasThereInOrderOnTheMainThreadOnly) {
  std::string log;
  const auto note = [&](char letter) { log += letter + std::string(readable() ? "+" : "-"); };
  std::thread([&] {
    EXPECT_THROW(loop().drain(), JVFoundation::NSException);
    EXPECT_THROW(loop().run(), JVFoundation::NSException);
    post([&] { note(NSRunLoop::isMainThread() ? 'a' : '!'); });
  }).join();
  post([&] {
    note('b');
    post([&] { note('d'); });
  });
  post([&] { note('c'); });
  EXPECT_EQ(log, "");
  EXPECT_TRUE(readable());
  loop().drain();
  EXPECT_EQ(log, "a+b+c+") << "what was there at entry, readable for the rest";
  loop().drain();
  EXPECT_EQ(log, "a+b+c+d-");
}

TEST_F(MainRunLoop, GoesOnInAnInnerLoop) {
  const std::function<void()> waits[] = {[] { jvtest::drainAll(); },  // a foreign loop that watches the descriptor
                                         [] {
                                           post([] { loop().stop(); });
                                           loop().run();
                                         }};
  for (const auto& wait : waits) {
    std::string log;
    post([&] {
      log += '(';
      post([&] { log += 'b'; });
      wait();
      log += ')';
    });
    post([&] { log += 'a'; });
    jvtest::drainAll();
    EXPECT_EQ(log, "(ab)") << &wait - waits;
  }
}

TEST_F(MainRunLoop, RunsUntilItIsStopped) {
  std::thread other;
  post([&] { other = std::thread([] { loop().stop(); }); });
  loop().run();
  other.join();
  loop().drain();  // the wake-up call of the other thread may have come after the loop had seen the stop
  loop().stop();
  loop().run();  // does not wait: the stop was remembered
}

TEST_F(MainRunLoop, LosesNothingThatOtherThreadsPost) {
  constexpr int kPieces = 20'000;
  std::array<int, 3> next{};
  std::vector<std::thread> producers;
  for (int& mine : next) {
    producers.emplace_back([&] {
      for (int i = 0; i < kPieces; ++i) {
        post([&, i] { EXPECT_EQ(mine++, i); });
        if (i % 64 == 0) std::this_thread::yield();
      }
    });
  }
  EXPECT_TRUE(jvtest::drainUntil([&] { return next[0] + next[1] + next[2] == 3 * kPieces; }));
  for (std::thread& producer : producers) producer.join();
}

TEST_F(MainRunLoop, CallsTimersWhenTheyAreDue) {
  std::string log;
  const auto start = std::chrono::steady_clock::now();
  loop().addTimer(-5s, [&] { log += 'a'; });
  std::thread([&] { loop().addTimer(10ms, [&] { log += NSRunLoop::isMainThread() ? 'b' : '!'; }); }).join();
  loop().addTimer(30ms, [&] { log += 'c'; });
  const NSRunLoop::Timer never = loop().addTimer(std::chrono::nanoseconds::max(), [&] { log += '!'; });
  loop().removeTimer(loop().addTimer(20ms, [&] { log += '!'; }));
  EXPECT_TRUE(jvtest::drainUntil([&] { return log.size() == 3; }));
  EXPECT_EQ(log, "abc");
  EXPECT_GE(std::chrono::steady_clock::now() - start, 30ms);
  loop().removeTimer(never);
  loop().removeTimer(never);
}

TEST_F(MainRunLoop, RepeatsTimersUntilTheyRemoveThemselvesAndLeavesOutWhatWasMissed) {
  int calls = 0;
  NSRunLoop::Timer timer{};
  for (const auto interval : {-1ms, 20ms}) {
    calls = 0;
    timer = loop().addRepeatingTimer(interval, [&, alive = std::make_shared<int>(7)] {
      if (++calls == 3) loop().removeTimer(timer);
      EXPECT_EQ(*alive, 7) << "destroyed while it was running";
    });
    std::this_thread::sleep_for(interval + 50ms);  // busy with something else
    loop().drain();
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(jvtest::drainUntil([&] { return calls == 3; }));
  }
}

TEST_F(MainRunLoop, CallsSourcesAsLongAsThereIsSomethingToReadAndNotWhenRemovedOrServedInside) {
  for (const bool removes : {true, false}) {
    SCOPED_TRACE(removes);
    const Pipe pipes[2];
    NSRunLoop::Source sources[2];
    int calls[2] = {};
    for (int i : {0, 1}) {
      sources[i] = loop().addSource(pipes[i].ends[0], [&, i] {
        EXPECT_TRUE(pipes[i].take()) << "called with nothing to read";
        if (++calls[i] && calls[1 - i] > 0) return;  // whichever comes first acts on the other
        if (removes)
          loop().removeSource(sources[1 - i]);
        else
          jvtest::drainAll();
      });
      pipes[i].put();
      pipes[i].put();
    }
    jvtest::drainAll();
    EXPECT_EQ(calls[0] + calls[1], removes ? 2 : 4);
    for (const NSRunLoop::Source source : sources) loop().removeSource(source);
    EXPECT_THROW(loop().addSource(-1, [] {}), std::system_error);
  }
}

TEST_F(MainRunLoop, IsDeadInAForkedChildAndUntouchedInTheParent) {
  const Pipe pipe;
  int calls = 0;
  const NSRunLoop::Source source = loop().addSource(pipe.ends[0], [&] { calls += pipe.take(); });
  post([&] { ++calls; });
  pipe.put();
  const pid_t child = fork();
  if (child == 0) {
    loop().drain();
    loop().run();
    DispatchQueue::create().async([&] { ++calls; });
    loop().removeSource(source);
    _exit(loop().fileDescriptor() == -1 && calls == 0 ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  loop().drain();
  EXPECT_EQ(calls, 2);
  loop().removeSource(source);
}

TEST(MainRunLoopDeathTest, AnExceptionEndsTheProcess) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const auto fail = [] { throw JVFoundation::NSException("BadThing", "It went wrong."); };
  const auto drain = [] { EXPECT_TRUE(jvtest::drainUntil([] { return false; })); };
  EXPECT_DEATH((post(fail), drain()), "BadThing: It went wrong\\.");
  EXPECT_DEATH((loop().addTimer(0ns, fail), drain()), "BadThing: It went wrong\\.");
}

}  // namespace
