#include <JorvaneFoundation/JorvaneFoundation.h>

#include <gmock/gmock.h>

#include <memory>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "dispatch/support.h"

using JVFoundation::LatestResult;
using jvtest::Events;
using testing::ElementsAre;

namespace {

using Results = std::vector<std::unique_ptr<int>>;

std::vector<int> numbers(const Results& results) {
  std::vector<int> found;
  for (const auto& result : results) found.push_back(*result);
  return found;
}

/// A search whose first piece runs until the test lets it end: what the test requests meanwhile finds it running.
struct Searching {
  Searching() {
    request(1, [this](const JVDispatch& asked) {
      running.happen();
      while (!mayEnd) std::this_thread::yield();
      wasAsked = asked.isStopped();
      over.happen();
    });
    EXPECT_TRUE(running.wait());
  }

  void request(
      int number, std::function<void(const JVDispatch&)> first = [](const JVDispatch&) {}) {
    search->request([this, number, first = std::move(first)](const JVDispatch& asked) {
      ran.push_back(number);
      first(asked);
      return std::make_unique<int>(number);
    });
  }

  Events running;
  Events over;
  std::atomic<bool> mayEnd = false;
  std::atomic<bool> wasAsked = false;
  std::vector<int> ran;  // of the search's queue
  Results received;
  std::function<void()> afterReceiving = [] {};
  std::optional<LatestResult<std::unique_ptr<int>>> search{std::in_place, "search",
                                                           [this](std::unique_ptr<int> result) {
                                                             received.push_back(std::move(result));
                                                             afterReceiving();
                                                           }};
};

TEST(LatestResult, OfManyRequestsTheLastIsAnswered) {
  Searching all;
  for (const int number : {2, 3, 4}) all.request(number);
  all.mayEnd = true;
  ASSERT_TRUE(jvtest::drainUntil([&] { return !all.received.empty(); }));
  EXPECT_THAT(numbers(all.received), ElementsAre(4));
  EXPECT_THAT(all.ran, ElementsAre(1, 4)) << "those that waited are skipped";
  EXPECT_TRUE(all.wasAsked);

  all.request(5);
  ASSERT_TRUE(jvtest::drainUntil([&] { return all.received.size() == 2; }));
  EXPECT_THAT(numbers(all.received), ElementsAre(4, 5));
}

TEST(LatestResult, AResultThatHasNotBeenHandedOverIsSupersededToo) {
  Searching all;
  all.mayEnd = true;
  ASSERT_TRUE(all.over.wait());
  all.request(2);
  ASSERT_TRUE(jvtest::drainUntil([&] { return !all.received.empty(); }));
  jvtest::drainAll();
  EXPECT_THAT(numbers(all.received), ElementsAre(2));
}

TEST(LatestResult, NothingComesOfWhatIsWithdrawnOrDestroyed) {
  for (const bool destroyed : {false, true}) {
    SCOPED_TRACE(destroyed);
    Searching all;
    all.request(2);
    destroyed ? all.search.reset() : all.search->withdraw();
    all.mayEnd = true;
    ASSERT_TRUE(all.over.wait());
    EXPECT_TRUE(all.wasAsked);
    if (!destroyed) {
      all.request(3);
      ASSERT_TRUE(jvtest::drainUntil([&] { return !all.received.empty(); }));
    }
    jvtest::drainAll();
    EXPECT_EQ(numbers(all.received), destroyed ? std::vector<int>{} : std::vector{3});
    EXPECT_EQ(all.ran, destroyed ? std::vector{1} : (std::vector{1, 3}));
  }
}

TEST(LatestResult, MayBeDestroyedByItsReceiver) {
  Searching all;
  all.afterReceiving = [&] { all.search.reset(); };
  all.mayEnd = true;
  ASSERT_TRUE(jvtest::drainUntil([&] { return !all.search; }));
  EXPECT_THAT(numbers(all.received), ElementsAre(1));
}

}  // namespace
