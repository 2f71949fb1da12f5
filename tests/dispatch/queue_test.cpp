#include <JorvaneFoundation/dispatch/DispatchQueue.h>
#include <JorvaneFoundation/dispatch/NSOperationQueue.h>
#include <JorvaneFoundation/foundation/NSException.h>

#include <gmock/gmock.h>

#include <array>
#include <algorithm>
#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "dispatch/support.h"

using JVFoundation::DispatchQueue;
using JVFoundation::NSOperationQueue;
using jvtest::Events;
using jvtest::finish;

namespace {

TEST(SerialQueue, RunsOneAtATimeAndInOrder) {
  constexpr int kPieces = 20'000;
  const DispatchQueue queue = DispatchQueue::create("order");
  std::array<int, 4> next{};  // no atomics: the queue is what keeps the pieces apart
  bool inOrder = true;
  std::vector<std::thread> producers;
  for (int& mine : next) {
    producers.emplace_back([&] {
      for (int i = 0; i < kPieces; ++i) queue.async([&, i] { inOrder = inOrder && mine++ == i; });
    });
  }
  for (std::thread& producer : producers) producer.join();
  finish(queue);
  EXPECT_TRUE(inOrder);
  EXPECT_THAT(next, testing::Each(kPieces));
}

TEST(SerialQueue, KeepsValuesUnderKeysUntilItsWorkIsDoneAndMayDieOnItsOwnThread) {
  static std::vector<int> destroyed;
  static Events gone;
  destroyed.clear();
  const auto destroy = [](void* value) {
    destroyed.push_back(*static_cast<int*>(value));
    gone.happen();
  };
  char keys[3];
  int values[] = {0, 1, 2, 3};
  Events released;
  {
    const DispatchQueue queue = DispatchQueue::create();
    for (int i = 0; i < 3; ++i) queue.setSpecific(&keys[i], &values[i], destroy);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(queue.getSpecific(&keys[i]), &values[i]);
    queue.setSpecific(&keys[1], &values[3], destroy);
    queue.setSpecific(&keys[0], nullptr, destroy);
    queue.setSpecific(nullptr, &values[0], destroy);  // does nothing
    EXPECT_THAT(destroyed, testing::ElementsAre(1, 0));
    EXPECT_EQ(queue.getSpecific(&keys[0]), nullptr);
    EXPECT_EQ(queue.getSpecific(nullptr), nullptr);
    int copy = -1;
    EXPECT_TRUE(queue.copySpecific(&keys[1], &copy, sizeof copy));
    EXPECT_FALSE(queue.copySpecific(&keys[0], &copy, sizeof copy));
    EXPECT_EQ(copy, 3);
    queue.async([&] { EXPECT_TRUE(released.wait()); });
    queue.async([queue] {});  // the last reference, dropped on the queue itself
  }
  EXPECT_EQ(destroyed.size(), 2);
  released.happen();
  EXPECT_TRUE(gone.wait(4));
  EXPECT_THAT(destroyed, testing::UnorderedElementsAre(0, 1, 2, 3));
}

TEST(DispatchQueue, CopiesAValueWhileOthersReplaceIt) {
  static constexpr char key{};
  using Text = std::array<char, 1 << 16>;  // so large that copying it takes a while
  const DispatchQueue queue = DispatchQueue::create();
  const auto put = [&] {
    const auto destroy = [](void* value) {
      static_cast<Text*>(value)->fill('-');
      delete static_cast<Text*>(value);
    };
    auto text = std::make_unique<Text>();
    text->fill('x');
    queue.setSpecific(&key, text.release(), destroy);
  };
  put();
  std::atomic<bool> stop = false;
  std::thread writer([&] {
    while (!stop) put();
  });
  for (int i = 0; i < 5'000; ++i) {
    Text copy{};
    EXPECT_TRUE(queue.copySpecific(&key, &copy, sizeof copy));
    EXPECT_EQ(std::ranges::count(copy, 'x'), copy.size());
  }
  stop = true;
  writer.join();
}

// Threads that compute are no reason for more threads, but waiting in a loop for what waits is.
TEST(ThreadPool, GrowsWhenHandlersWaitForWhatWaitsHoweverTheyDo) {
  for (const bool spin : {false, true}) {
    Events released;
    std::atomic<bool> isReleased = false;
    std::vector<DispatchQueue> queues;
    for (unsigned i = 0; i < (spin ? std::max(2U, std::thread::hardware_concurrency()) : 64); ++i) {
      queues.push_back(DispatchQueue::create());
      queues.back().async([&] {
        EXPECT_TRUE(spin || released.wait());
        while (!isReleased) std::this_thread::yield();
      });
    }
    DispatchQueue::globalQueue().async([&] {
      isReleased = true;
      released.happen();
    });
    for (const DispatchQueue& queue : queues) finish(queue);
    EXPECT_TRUE(isReleased);
  }
}

TEST(ThreadPool, HasNoThreadAtRestHoweverManyQueuesThereAre) {
  const auto rests = [] { return jvtest::ownThreads() == 0; };
  ASSERT_TRUE(jvtest::eventually(rests)) << "left by other tests";
  std::vector<DispatchQueue> queues;
  for (int i = 0; i < 10'000; ++i) queues.push_back(DispatchQueue::create());
  EXPECT_TRUE(rests());
  Events ran;
  for (int piece = 0; piece < 4; ++piece) {
    for (const DispatchQueue& queue : queues) queue.async([&] { ran.happen(); });
  }
  EXPECT_TRUE(ran.wait(40'000));
  EXPECT_LT(jvtest::ownThreads(), 64);
  EXPECT_TRUE(jvtest::eventually(rests));
}

TEST(DispatchQueueDeathTest, AnExceptionEndsTheProcess) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const auto end = [](auto work) {
    DispatchQueue::create().async(work);
    std::this_thread::sleep_for(jvtest::kBound);
  };
  EXPECT_DEATH(end([] { throw JVFoundation::NSException("BadThing", "It went wrong."); }),
               "BadThing: It went wrong\\.");
  EXPECT_DEATH(end([] { throw std::runtime_error("plain"); }), "plain");
}

TEST(OperationQueue, IsFoundByTheCodeThatItRuns) {
  const NSOperationQueue main = NSOperationQueue::mainQueue();
  const NSOperationQueue plain;
  NSOperationQueue serial;
  serial.setUnderlyingQueue(DispatchQueue::create());
  NSOperationQueue onMain;
  onMain.setUnderlyingQueue(DispatchQueue::mainQueue());
  const auto currentIn = [](auto run) {
    std::atomic<bool> done = false;
    std::optional<NSOperationQueue> found;
    run([&] {
      found = NSOperationQueue::currentQueue();
      done = true;
    });
    EXPECT_TRUE(jvtest::drainUntil([&] { return done.load(); }));
    return found;
  };
  EXPECT_EQ(currentIn([&](auto work) { onMain.addOperation(work); }), main);
  EXPECT_EQ(currentIn([&](auto work) { serial.addOperationWithBlock(work); }), serial);
  EXPECT_EQ(currentIn([&](auto work) { serial.underlyingQueue()->async(work); }), std::nullopt);
  EXPECT_EQ(currentIn([&](auto work) { plain.addOperation(work); }), plain);
  EXPECT_THROW(NSOperationQueue::mainQueue().setUnderlyingQueue(std::nullopt), JVFoundation::NSException);
}

}  // namespace
