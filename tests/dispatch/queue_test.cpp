#include <JorvaneFoundation/dispatch/DispatchQueue.h>
#include <JorvaneFoundation/dispatch/NSOperationQueue.h>
#include <JorvaneFoundation/foundation/NSException.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <barrier>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "dispatch/support.h"

using JVFoundation::DispatchQueue;
using JVFoundation::NSOperationQueue;
using jvtest::Events;

namespace {

/// Waits until everything that @p queue holds has run.
void finish(const DispatchQueue& queue) {
  Events done;
  queue.async([&] { done.happen(); });
  ASSERT_TRUE(done.wait());
}

TEST(SerialQueue, RunsOneAtATimeAndInOrder) {
  constexpr int kProducers = 4;
  constexpr int kPieces = 20'000;
  const DispatchQueue queue = DispatchQueue::create("order");
  std::array<int, kProducers> next{};  // no atomics: the queue is what keeps the pieces apart
  bool inOrder = true;
  std::atomic<int> running = 0;
  std::vector<std::thread> producers;
  for (int producer = 0; producer < kProducers; ++producer) {
    producers.emplace_back([&, producer] {
      for (int i = 0; i < kPieces; ++i) {
        queue.async([&, producer, i] {
          inOrder = inOrder && ++running == 1 && next[static_cast<std::size_t>(producer)]++ == i;
          --running;
        });
      }
    });
  }
  for (std::thread& producer : producers) producer.join();
  finish(queue);
  EXPECT_TRUE(inOrder);
  EXPECT_THAT(next, testing::Each(kPieces));
}

TEST(SerialQueue, DestroysWorkWhereAndWhenItHasRun) {
  const DispatchQueue queue = DispatchQueue::create();
  struct Trace {
    std::thread::id* destroyedOn;
    ~Trace() { *destroyedOn = std::this_thread::get_id(); }
  };
  std::thread::id destroyedOn;
  std::thread::id ranOn;
  bool destroyedBeforeNext = false;
  queue.async([&, trace = std::unique_ptr<Trace>(new Trace{&destroyedOn})] { ranOn = std::this_thread::get_id(); });
  queue.async([&] { destroyedBeforeNext = destroyedOn != std::thread::id(); });
  finish(queue);
  EXPECT_TRUE(destroyedBeforeNext);
  EXPECT_EQ(destroyedOn, ranOn);
  EXPECT_NE(ranOn, std::this_thread::get_id());
}

TEST(SerialQueue, LivesUntilItsWorkIsDoneAndMayDieOnItsOwnThread) {
  static constexpr char key{};
  static Events gone;
  Events released;
  Events ran;
  {
    DispatchQueue queue = DispatchQueue::create();
    queue.setSpecific(&key, &gone, [](void* events) { static_cast<Events*>(events)->happen(); });
    queue.async([&] { EXPECT_TRUE(released.wait()); });
    queue.async([&, queue] { ran.happen(); });  // the last reference, dropped on the queue itself
  }
  released.happen();
  EXPECT_TRUE(ran.wait());
  EXPECT_TRUE(gone.wait());
}

TEST(DispatchQueue, KnowsItsEqual) {
  DispatchQueue queue = DispatchQueue::create("a");
  const DispatchQueue copy = queue;
  EXPECT_EQ(queue, copy);
  queue = DispatchQueue::create("a");
  EXPECT_NE(queue, copy);
  EXPECT_EQ(DispatchQueue::mainQueue(), DispatchQueue::mainQueue());
  EXPECT_NE(DispatchQueue::mainQueue(), DispatchQueue::globalQueue());
}

TEST(DispatchQueue, KeepsValuesUnderKeys) {
  static std::vector<int> destroyed;
  destroyed.clear();
  const auto destroy = [](void* value) { destroyed.push_back(*static_cast<int*>(value)); };
  char keys[3];
  int values[] = {0, 1, 2, 3};
  {
    const DispatchQueue queue = DispatchQueue::create();
    EXPECT_EQ(queue.getSpecific(&keys[0]), nullptr);
    for (int i = 0; i < 3; ++i) queue.setSpecific(&keys[i], &values[i], destroy);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(queue.getSpecific(&keys[i]), &values[i]);

    queue.setSpecific(&keys[1], &values[3], destroy);  // replaces one
    queue.setSpecific(&keys[0], nullptr, destroy);     // removes one
    EXPECT_THAT(destroyed, testing::ElementsAre(1, 0));
    EXPECT_EQ(queue.getSpecific(&keys[0]), nullptr);
    queue.setSpecific(&keys[0], nullptr, destroy);
    queue.setSpecific(nullptr, &values[0], destroy);
    EXPECT_EQ(queue.getSpecific(nullptr), nullptr);
    queue.setSpecific(&keys[2], &values[2], nullptr);
    EXPECT_THAT(destroyed, testing::ElementsAre(1, 0, 2));

    int copy = -1;
    EXPECT_TRUE(queue.copySpecific(&keys[1], &copy, sizeof copy));
    EXPECT_EQ(copy, 3);
    EXPECT_FALSE(queue.copySpecific(&keys[0], &copy, sizeof copy));
    EXPECT_EQ(copy, 3);
    queue.setSpecific(&keys[0], &values[0], destroy);
  }
  EXPECT_THAT(destroyed, testing::UnorderedElementsAre(1, 0, 2, 3, 0)) << "the queue lets go of the rest";
}

TEST(DispatchQueue, CopiesAValueWhileOthersReplaceIt) {
  static constexpr char key{};
  const DispatchQueue queue = DispatchQueue::create();
  const auto put = [&] {
    queue.setSpecific(&key, new long(42), [](void* value) {
      *static_cast<long*>(value) = 0;
      delete static_cast<long*>(value);
    });
  };
  put();
  std::atomic<bool> stop = false;
  std::vector<std::thread> writers;
  for (int i = 0; i < 2; ++i) {
    writers.emplace_back([&] {
      while (!stop) put();
    });
  }
  long wrong = 0;
  for (int i = 0; i < 100'000; ++i) {
    long copy = 0;
    if (!queue.copySpecific(&key, &copy, sizeof copy) || copy != 42) ++wrong;
  }
  stop = true;
  for (std::thread& writer : writers) writer.join();
  EXPECT_EQ(wrong, 0);
}

// Each piece waits for the piece behind it, on a queue of its own: only as many threads as pieces get through.
TEST(ThreadPool, GrowsWhenHandlersWaitForOneAnother) {
  constexpr int kQueues = 64;
  std::array<Events, kQueues + 1> done;
  std::vector<DispatchQueue> queues;
  for (std::size_t i = 0; i < kQueues; ++i) {
    queues.push_back(DispatchQueue::create());
    queues.back().async([&done, i] {
      EXPECT_TRUE(done[i + 1].wait());
      done[i].happen();
    });
  }
  done[kQueues].happen();
  EXPECT_TRUE(done[0].wait());
  for (const DispatchQueue& queue : queues) finish(queue);
}

// Threads that compute are no reason for more threads, but waiting in a loop for what waits is.
TEST(ThreadPool, GrowsWhenHandlersSpin) {
  std::atomic<bool> release = false;
  std::vector<DispatchQueue> queues;
  for (unsigned i = 0; i < std::max(2U, std::thread::hardware_concurrency()); ++i) {
    queues.push_back(DispatchQueue::create());
    queues.back().async([&] {
      while (!release) std::this_thread::yield();
    });
  }
  DispatchQueue::create().async([&] { release = true; });
  for (const DispatchQueue& queue : queues) finish(queue);
  EXPECT_TRUE(release);
}

TEST(ThreadPool, RunsGlobalWorkSideBySideAndSerialQueuesBesides) {
  constexpr int kPieces = 40;
  const auto meeting = std::make_shared<std::barrier<>>(kPieces + 1);  // the last piece may leave it after the test
  for (int i = 0; i < kPieces; ++i) {
    DispatchQueue::globalQueue().async([meeting] {
      meeting->arrive_and_wait();
      meeting->arrive_and_wait();
    });
  }
  meeting->arrive_and_wait();  // all of them block now
  finish(DispatchQueue::create());
  meeting->arrive_and_wait();
}

TEST(ThreadPool, HasNoThreadAtRestHoweverManyQueuesThereAre) {
  ASSERT_TRUE(jvtest::eventually([] { return jvtest::poolThreads() == 0; })) << "left by other tests";
  std::vector<DispatchQueue> queues;
  for (int i = 0; i < 10'000; ++i) queues.push_back(DispatchQueue::create());
  EXPECT_EQ(jvtest::poolThreads(), 0);
  Events ran;
  for (int piece = 0; piece < 4; ++piece) {
    for (const DispatchQueue& queue : queues) queue.async([&] { ran.happen(); });
  }
  EXPECT_TRUE(ran.wait(40'000));
  EXPECT_LT(jvtest::poolThreads(), 64);
  EXPECT_TRUE(jvtest::eventually([] { return jvtest::poolThreads() == 0; }));
}

TEST(DispatchQueueDeathTest, AnExceptionEndsTheProcess) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const auto end = [](auto work) {
    DispatchQueue::create().async(work);
    for (;;) std::this_thread::sleep_for(std::chrono::seconds(1));
  };
  EXPECT_DEATH(end([] { throw JVFoundation::NSException("BadThing", "It went wrong."); }),
               "BadThing: It went wrong\\.");
  EXPECT_DEATH(end([] { throw std::runtime_error("plain"); }), "plain");
  EXPECT_DEATH(end(std::function<void()>()), "bad_function_call");
}

TEST(OperationQueue, IsFoundByTheCodeThatItRuns) {
  const NSOperationQueue plain;
  NSOperationQueue serial;
  serial.setUnderlyingQueue(DispatchQueue::create());
  NSOperationQueue onMain;
  onMain.setUnderlyingQueue(DispatchQueue::mainQueue());

  const struct {
    const char* why;
    std::function<void(std::function<void()>)> run;
    std::optional<NSOperationQueue> expected;
  } cases[] = {
      {"the main thread", [](auto work) { work(); }, NSOperationQueue::mainQueue()},
      {"a piece on the main queue", [](auto work) { DispatchQueue::mainQueue().async(work); },
       NSOperationQueue::mainQueue()},
      {"an operation of the main queue", [](auto work) { NSOperationQueue::mainQueue().addOperation(work); },
       NSOperationQueue::mainQueue()},
      {"an operation on the main thread", [&](auto work) { onMain.addOperation(work); }, NSOperationQueue::mainQueue()},
      {"an operation on a serial queue", [&](auto work) { serial.addOperationWithBlock(work); }, serial},
      {"an operation without an underlying queue", [&](auto work) { plain.addOperation(work); }, plain},
      {"a piece on the same serial queue", [&](auto work) { serial.underlyingQueue()->async(work); }, std::nullopt},
      {"a piece on the global queue", [](auto work) { DispatchQueue::globalQueue().async(work); }, std::nullopt},
      {"a thread of the application's", [](auto work) { std::thread(work).join(); }, std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    std::atomic<bool> done = false;
    std::optional<NSOperationQueue> found;
    c.run([&] {
      found = NSOperationQueue::currentQueue();
      done = true;
    });
    ASSERT_TRUE(jvtest::drainUntil([&] { return done.load(); }));
    EXPECT_EQ(found, c.expected);
  }
}

TEST(OperationQueue, HasAnUnderlyingQueueOrNone) {
  NSOperationQueue queue;
  EXPECT_EQ(queue.underlyingQueue(), std::nullopt);
  const DispatchQueue serial = DispatchQueue::create();
  NSOperationQueue copy = queue;
  copy.setUnderlyingQueue(serial);
  EXPECT_EQ(queue.underlyingQueue(), serial);
  queue.setUnderlyingQueue(std::nullopt);
  EXPECT_EQ(copy.underlyingQueue(), std::nullopt);
  EXPECT_EQ(NSOperationQueue::mainQueue().underlyingQueue(), DispatchQueue::mainQueue());
  EXPECT_THROW(NSOperationQueue::mainQueue().setUnderlyingQueue(serial), JVFoundation::NSException);
}

}  // namespace
