#include <JorvaneFoundation/dispatch/DispatchQueue.h>
#include <JorvaneFoundation/dispatch/NSRunLoop.h>
#include <JorvaneFoundation/foundation/NSException.h>

#include <gmock/gmock.h>

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

class Pipe {
 public:
  Pipe() {
    if (pipe2(ends_, O_CLOEXEC | O_NONBLOCK) != 0) throw std::system_error(errno, std::generic_category());
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  ~Pipe() {
    close(ends_[0]);
    closeWriter();
  }
  int reader() const { return ends_[0]; }
  void put() { EXPECT_EQ(write(ends_[1], "x", 1), 1); }
  /// What one read gives: 1 a byte, 0 the end, -1 nothing there.
  ssize_t take() {
    char byte;
    return read(ends_[0], &byte, 1);
  }
  void closeWriter() {
    if (ends_[1] >= 0) close(ends_[1]);
    ends_[1] = -1;
  }

 private:
  int ends_[2];
};

struct MainRunLoop : testing::Test {
  MainRunLoop() { jvtest::drainAll(); }
  ~MainRunLoop() override { EXPECT_FALSE(readable()) << "something was left behind"; }
};

TEST_F(MainRunLoop, RunsPiecesInOrderOnTheMainThreadOnly) {
  std::string log;
  std::thread([&] {
    EXPECT_FALSE(NSRunLoop::isMainThread());
    EXPECT_THROW(loop().drain(), JVFoundation::NSException);
    EXPECT_THROW(loop().run(), JVFoundation::NSException);
    post([&] { log += NSRunLoop::isMainThread() ? 'a' : '!'; });
  }).join();
  post([&] { log += 'b'; });
  EXPECT_EQ(log, "");
  EXPECT_TRUE(readable());
  loop().drain();
  EXPECT_EQ(log, "ab");
  EXPECT_FALSE(readable());
  loop().drain();  // with nothing to do

  post([&] {
    log += readable() ? 'c' : '!';
    post([&] { log += 'e'; });
  });
  post([&] { log += readable() ? 'd' : '!'; });
  loop().drain();
  EXPECT_EQ(log, "abcd") << "what was there at entry";
  EXPECT_TRUE(readable()) << "for the rest";
  loop().drain();
  EXPECT_EQ(log, "abcde");
}

TEST_F(MainRunLoop, GoesOnInAnInnerLoop) {
  std::string log;
  const auto inner = [&](std::function<void()> wait) {
    log.clear();
    post([&] { log += 'a'; });
    post([&log, wait] {
      log += '(';
      post([&] { log += 'd'; });
      wait();
      log += ')';
    });
    post([&] { log += 'b'; });
    post([&] { log += 'c'; });
    loop().drain();
    jvtest::drainAll();
    return log;
  };
  const std::function<void()> waits[] = {[] { loop().drain(); },
                                         [] { jvtest::drainAll(); },  // a foreign loop that watches the descriptor
                                         [] {
                                           post([] { loop().stop(); });
                                           loop().run();
                                         }};
  for (const auto& wait : waits) EXPECT_EQ(inner(wait), "a(bcd)") << &wait - waits;
  EXPECT_EQ(inner([] {}), "a()bcd");
}

TEST_F(MainRunLoop, StaysReadableInAHandlerWhileOthersWait) {
  std::string log;
  for (const char* name : {"a", "b", "c"}) {
    post([&log, name] { log += name + std::string(readable() ? "+" : "-"); });
  }
  loop().drain();
  EXPECT_EQ(log, "a+b+c-");
}

TEST_F(MainRunLoop, RunsUntilItIsStopped) {
  int ran = 0;
  post([&] { ++ran; });
  std::thread other;
  post([&] { other = std::thread([] { loop().stop(); }); });
  loop().run();
  other.join();
  EXPECT_EQ(ran, 1);
  loop().drain();  // the wake-up call of the other thread may have come after the loop had seen the stop

  loop().stop();
  loop().run();  // does not wait: the stop was remembered

  // The inner one first; then the outer one is still running.
  post([&] {
    post([] { loop().stop(); });
    loop().run();
    post([&] { ++ran; });
    post([] { loop().stop(); });
  });
  loop().run();
  EXPECT_EQ(ran, 2);
}

TEST_F(MainRunLoop, LosesNothingThatOtherThreadsPost) {
  constexpr int kProducers = 3;
  constexpr int kPieces = 20'000;
  int next[kProducers] = {};
  bool inOrder = true;
  std::vector<std::thread> producers;
  for (int producer = 0; producer < kProducers; ++producer) {
    producers.emplace_back([&, producer] {
      for (int i = 0; i < kPieces; ++i) {
        post([&, producer, i] { inOrder = inOrder && next[producer]++ == i; });
        if (i % 64 == 0) std::this_thread::yield();
      }
    });
  }
  EXPECT_TRUE(jvtest::drainUntil([&] { return next[0] + next[1] + next[2] == kProducers * kPieces; }));
  for (std::thread& producer : producers) producer.join();
  EXPECT_TRUE(inOrder);
}

TEST_F(MainRunLoop, CallsTimersWhenTheyAreDue) {
  std::string log;
  const auto start = std::chrono::steady_clock::now();
  loop().addTimer(30ms, [&] { log += 'c'; });
  loop().addTimer(-5s, [&] { log += 'a'; });
  std::thread([&] { loop().addTimer(10ms, [&] { log += NSRunLoop::isMainThread() ? 'b' : '!'; }); }).join();
  const NSRunLoop::Timer never = loop().addTimer(std::chrono::nanoseconds::max(), [&] { log += '!'; });
  const NSRunLoop::Timer removed = loop().addTimer(20ms, [&] { log += '!'; });
  loop().removeTimer(removed);
  loop().removeTimer(removed);
  EXPECT_TRUE(jvtest::drainUntil([&] { return log.size() == 3; }));
  EXPECT_EQ(log, "abc");
  EXPECT_GE(std::chrono::steady_clock::now() - start, 30ms);
  loop().removeTimer(never);
}

TEST_F(MainRunLoop, RepeatsTimersUntilTheyAreRemovedAlsoByThemselves) {
  int calls = 0;
  NSRunLoop::Timer timer{};
  timer = loop().addRepeatingTimer(1ms, [&, alive = std::make_shared<int>(7)] {
    if (++calls == 3) loop().removeTimer(timer);
    EXPECT_EQ(*alive, 7) << "destroyed while it was running";
  });
  EXPECT_TRUE(jvtest::drainUntil([&] { return calls == 3; }));

  int fast = 0;
  const NSRunLoop::Timer shortest = loop().addRepeatingTimer(-1s, [&] { ++fast; });
  EXPECT_TRUE(jvtest::drainUntil([&] { return fast == 10; })) << "an interval that is not positive starves nothing";
  loop().removeTimer(shortest);
  EXPECT_EQ(calls, 3);
}

TEST_F(MainRunLoop, LeavesOutTheCallsOfARepeatingTimerThatWereMissed) {
  int calls = 0;
  const NSRunLoop::Timer timer = loop().addRepeatingTimer(20ms, [&] { ++calls; });
  const auto start = std::chrono::steady_clock::now();
  while (std::chrono::steady_clock::now() - start < 90ms) std::this_thread::sleep_for(1ms);  // busy with something else
  loop().drain();
  EXPECT_EQ(calls, 1);
  loop().removeTimer(timer);
}

/// Has a timer as long as it lives, as objects have that tidy up behind themselves.
struct OwnerOfATimer {
  NSRunLoop::Timer timer = loop().addTimer(24h, [] {});
  ~OwnerOfATimer() { loop().removeTimer(timer); }
};

TEST_F(MainRunLoop, LetsHandlersHoldWhatUsesTheLoopAsItGoes) {
  bool called = false;
  loop().addTimer(0ms, [&called, owner = std::make_shared<OwnerOfATimer>()] { called = true; });
  EXPECT_TRUE(jvtest::drainUntil([&] { return called; }));
  const int descriptor = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);  // a plain file cannot be waited for
  EXPECT_THROW(loop().addSource(descriptor, [owner = std::make_shared<OwnerOfATimer>()] {}), std::system_error);
  close(descriptor);
}

TEST_F(MainRunLoop, CallsSourcesAsLongAsThereIsSomethingToRead) {
  Pipe pipe;
  std::vector<ssize_t> taken;
  const NSRunLoop::Source source = loop().addSource(pipe.reader(), [&] { taken.push_back(pipe.take()); });
  loop().drain();
  EXPECT_THAT(taken, testing::IsEmpty());
  pipe.put();
  pipe.put();
  jvtest::drainAll();
  pipe.closeWriter();
  loop().drain();
  EXPECT_THAT(taken, testing::ElementsAre(1, 1, 0)) << "two bytes, then the end";
  loop().removeSource(source);
  loop().removeSource(source);
  loop().drain();
  EXPECT_EQ(taken.size(), 3U);
  EXPECT_FALSE(readable()) << "removed";
  loop().removeSource(loop().addSource(pipe.reader(), [] {}));  // the descriptor can be added again
}

TEST_F(MainRunLoop, CallsNoSourceThatAHandlerHasRemovedOrAnInnerLoopHasServed) {
  const struct {
    const char* why;
    std::function<void(NSRunLoop::Source)> handler;
    int expected;
  } cases[] = {
      {"removed", [](NSRunLoop::Source other) { loop().removeSource(other); }, 0},
      {"served by an inner loop", [](NSRunLoop::Source) { jvtest::drainAll(); }, 1},
      {"left alone", [](NSRunLoop::Source) {}, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    Pipe pipes[2];
    NSRunLoop::Source sources[2];
    int calls[2] = {};
    for (int i : {0, 1}) {
      sources[i] = loop().addSource(pipes[i].reader(), [&, i] {
        EXPECT_EQ(pipes[i].take(), 1) << "called with nothing to read";
        // Whichever comes first acts on the other.
        if (++calls[i] && calls[1 - i] == 0) c.handler(sources[1 - i]);
      });
      pipes[i].put();
    }
    jvtest::drainAll();
    EXPECT_EQ(calls[0] + calls[1], 1 + c.expected);
    for (const NSRunLoop::Source source : sources) loop().removeSource(source);
  }
}

TEST_F(MainRunLoop, RefusesDescriptorsThatItCannotWatch) {
  Pipe pipe;
  const NSRunLoop::Source source = loop().addSource(pipe.reader(), [] {});
  const int file = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
  const struct {
    const char* why;
    int descriptor;
    std::errc reason;
  } cases[] = {
      {"no descriptor", -1, std::errc::bad_file_descriptor},
      {"not open", 1'000'000, std::errc::bad_file_descriptor},
      {"a plain file", file, std::errc::operation_not_permitted},
      {"added already", pipe.reader(), std::errc::file_exists},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    try {
      loop().addSource(c.descriptor, [] {});
      ADD_FAILURE() << "accepted";
    } catch (const std::system_error& error) {
      EXPECT_EQ(error.code(), c.reason);
    }
  }
  close(file);
  loop().removeSource(source);
}

TEST_F(MainRunLoop, IsDeadInAForkedChildAndUntouchedInTheParent) {
  Pipe pipe;
  int served = 0;
  const NSRunLoop::Source source = loop().addSource(pipe.reader(), [&] { served += static_cast<int>(pipe.take()); });
  int ran = 0;
  post([&] { ++ran; });
  pipe.put();
  const pid_t child = fork();
  if (child == 0) {
    const bool isDead = loop().fileDescriptor() == -1;
    loop().drain();
    loop().run();
    post([] {});
    DispatchQueue::create().async([] {});
    loop().removeSource(source);
    _exit(isDead && ran == 0 && served == 0 ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(readable());
  loop().drain();
  EXPECT_EQ(ran, 1);
  EXPECT_EQ(served, 1);
  loop().removeSource(source);
}

// What happens before anybody attaches the loop can only be seen in a process of its own.
TEST(MainRunLoopDeathTest, KeepsPiecesUntilSomebodyAsks) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        const auto before = jvtest::descriptors();
        int ran = 0;
        post([&] { ++ran; });
        if (jvtest::descriptors() != before || ran != 0) _exit(1);
        if (!readable()) _exit(2);
        loop().drain();
        _exit(ran == 1 && !readable() ? 0 : 3);
      },
      testing::ExitedWithCode(0), "");
}

/// Drains with room for too few descriptors, then with enough. @return 0, or which step went wrong.
int drainWithoutDescriptors() {
  int ran = 0;
  post([&] { ++ran; });
  const int free = dup(0);
  close(free);
  for (const rlim_t room : {0U, 1U, 2U}) {
    try {
      const jvtest::DescriptorLimit tight(static_cast<rlim_t>(free) + room);
      loop().drain();
      return 1;
    } catch (const std::system_error& error) {
      if (error.code() != std::errc::too_many_files_open) return 2;
    }
    if (dup(0) != free) return 3;  // something leaked
    close(free);
  }
  loop().drain();
  return ran == 1 ? 0 : 4;
}

TEST(MainRunLoopDeathTest, SaysThatTheSystemHasNoDescriptorLeftAndLosesNothing) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "UndefinedBehaviorSanitizer opens a pipe to look at an exception's type";
#endif
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(_exit(drainWithoutDescriptors()), testing::ExitedWithCode(0), "");
}

TEST(MainRunLoopDeathTest, AnExceptionEndsTheProcess) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const auto fail = [] { throw JVFoundation::NSException("BadThing", "It went wrong."); };
  const auto drain = [] { EXPECT_TRUE(jvtest::drainUntil([] { return false; })); };
  EXPECT_DEATH((post(fail), drain()), "BadThing: It went wrong\\.");
  EXPECT_DEATH((loop().addTimer(0ns, fail), drain()), "BadThing: It went wrong\\.");
}

}  // namespace
