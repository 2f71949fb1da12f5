#include "platform/linux/ScreensSession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using jv::Monitor;
using jv::SessionScreens;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> namesOf(const JVPlatform::Screens::List& screens) {
  std::vector<std::string> names;
  for (const auto& screen : screens) names.push_back(screen->name());
  return names;
}

TEST(Screens, LieAroundThePrimaryOneWithYGrowingUpwards) {
  using Placed = std::pair<std::string, std::array<double, 4>>;
  const struct {
    const char* why;
    std::vector<Monitor> monitors;
    std::vector<Placed> expected;
  } cases[] = {
      {"none", {}, {}},
      {"the first without a primary one, wherever it lies",
       {{"a", {{300, 200}, {1440, 900}}, 1, false}},
       {{"a", {0, 0, 1440, 900}}}},
      {"tops in line: the higher one reaches below",
       {{"a", {{0, 0}, {1440, 900}}, 1, true}, {"b", {{1440, 0}, {1920, 1080}}, 2, false}},
       {{"a", {0, 0, 1440, 900}}, {"b", {1440, -180, 1920, 1080}}}},
      {"the primary one comes first, the others stay in order",
       {{"a", {{0, 0}, {100, 100}}, 1, false},
        {"b", {{100, 0}, {100, 100}}, 1, false},
        {"c", {{-50, -100}, {100, 100}}, 1, true},
        {"d", {{0, 100}, {10, 10}}, 1, false}},
       {{"c", {0, 0, 100, 100}}, {"a", {50, -100, 100, 100}}, {"b", {150, -100, 100, 100}}, {"d", {50, -110, 10, 10}}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    std::vector<Placed> placed;
    for (const auto& screen : jv::screensOf(c.monitors)) {
      const NSRect frame = screen->frame();
      placed.push_back({screen->name(), {frame.origin.x, frame.origin.y, frame.size.width, frame.size.height}});
    }
    EXPECT_EQ(placed, c.expected);
  }
  EXPECT_EQ(jv::screensOf({{"a", {}, 1.25, true}}).front()->scale(), 1.25);
}

/// A window system that can be there or not, and lose its connections.
struct FakeWindowSystem {
  explicit FakeWindowSystem(const char* itsName) : name(itsName) {}

  struct Connection final : jv::MonitorSource {
    explicit Connection(FakeWindowSystem& system) : system_(system), number_(++system.opened) {}
    ~Connection() override { --system_.open; }
    std::optional<std::vector<Monitor>> monitors() noexcept override {
      if (system_.whenAsked) system_.whenAsked();
      if (number_ <= system_.lost || system_.silent) return std::nullopt;
      if (system_.without) return std::vector<Monitor>{};
      return std::vector{Monitor{system_.name, {}, 1, true}};
    }
    FakeWindowSystem& system_;
    int number_;
  };

  SessionScreens::Opener opener() {
    return [this]() -> std::unique_ptr<jv::MonitorSource> {
      ++asked;
      if (!isThere) return nullptr;
      ++open;
      return std::make_unique<Connection>(*this);
    };
  }

  const char* name;
  bool isThere = true;
  bool silent = false;   ///< connects, and does not answer
  bool without = false;  ///< has no monitors
  std::function<void()> whenAsked;
  int lost = 0;  ///< so many of its first connections
  int asked = 0;
  int opened = 0;
  int open = 0;
};

class Session : public testing::Test {
 protected:
  std::vector<std::string> names() { return namesOf(screens_.screens()); }

  FakeWindowSystem preferred_{"preferred"};
  FakeWindowSystem other_{"other"};
  SessionScreens::Clock::time_point now_;
  SessionScreens screens_{{preferred_.opener(), other_.opener()}, [this] { return now_; }};
};

TEST_F(Session, KeepsItsConnection) {
  for (int i = 0; i < 3; ++i) EXPECT_THAT(names(), ElementsAre("preferred"));
  EXPECT_EQ(preferred_.asked, 1);
  EXPECT_EQ(other_.asked, 0);
}

TEST_F(Session, StaysWithAWindowSystemThatHasNoMonitorsForNow) {
  preferred_.without = true;
  EXPECT_THAT(names(), IsEmpty());
  preferred_.without = false;
  EXPECT_THAT(names(), ElementsAre("preferred"));
  EXPECT_EQ(preferred_.asked, 1);
}

TEST_F(Session, ConnectsAnewAtOnceWhenTheConnectionIsLost) {
  names();
  preferred_.lost = 1;
  EXPECT_THAT(names(), ElementsAre("preferred"));
  EXPECT_EQ(preferred_.asked, 2);
  EXPECT_EQ(preferred_.open, 1);
}

TEST_F(Session, WaitsOnceForOneThatDoesNotAnswerAnyMore) {
  names();
  preferred_.silent = true;
  preferred_.whenAsked = [this] { now_ += std::chrono::seconds(3); };
  EXPECT_THAT(names(), IsEmpty());
  EXPECT_EQ(preferred_.asked, 1) << "to connect anew would have been waited for as well";
  preferred_.silent = false;
  now_ += SessionScreens::kPause;
  EXPECT_THAT(names(), ElementsAre("preferred"));
}

TEST_F(Session, TakesTheOtherWindowSystemWhenOneDoesNotAnswer) {
  preferred_.silent = true;
  EXPECT_THAT(names(), ElementsAre("other"));
  EXPECT_EQ(preferred_.open, 0);
  preferred_.silent = false;
  EXPECT_THAT(names(), ElementsAre("other")) << "a session does not change while it answers";
}

TEST_F(Session, LooksForAWindowSystemOnceASecond) {
  preferred_.isThere = other_.isThere = false;
  for (int i = 0; i < 3; ++i) EXPECT_THAT(names(), IsEmpty());
  EXPECT_EQ(preferred_.asked, 1);

  other_.isThere = true;
  now_ += SessionScreens::kPause - std::chrono::nanoseconds(1);
  EXPECT_THAT(names(), IsEmpty());
  now_ += std::chrono::nanoseconds(1);
  EXPECT_THAT(names(), ElementsAre("other"));

  other_.lost = 1;
  EXPECT_THAT(names(), ElementsAre("other")) << "the pause is over with the first answer";
}

TEST(Threads, GetNoAnswerFromBeforeTheirQuestion) {
  // Each answer bears its number, as a name.
  struct Counting final : jv::MonitorSource {
    explicit Counting(std::atomic<int>& itsAnswers) : answers(itsAnswers) {}
    std::optional<std::vector<Monitor>> monitors() noexcept override {
      EXPECT_FALSE(busy.exchange(true)) << "a source is for one thread at a time";
      std::vector answer{Monitor{std::to_string(++answers), {}, 1, true}};
      busy = false;
      return answer;
    }
    std::atomic<int>& answers;
    std::atomic<bool> busy = false;
  };
  constexpr int kThreads = 4, kQuestions = 5000;
  std::atomic<int> answers = 0;
  SessionScreens screens({[&] { return std::make_unique<Counting>(answers); }});
  std::atomic<int> stale = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (int asked = 0; asked < kQuestions; ++asked) {
        const int before = answers;
        stale += std::stoi(screens.screens().front()->name()) <= before;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(stale, 0);
  EXPECT_LE(answers, kThreads * kQuestions);
}

}  // namespace
