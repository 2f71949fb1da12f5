#include "platform/linux/ScreensSession.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using jv::Monitor;
using jv::SessionScreens;

/// A window system that can be there or not, and lose its connections.
struct FakeWindowSystem {
  struct Connection final : jv::MonitorSource {
    explicit Connection(FakeWindowSystem& system) : system_(system) {}
    std::optional<std::vector<Monitor>> monitors() noexcept override {
      if (system_.whenAsked) system_.whenAsked();
      if (isLost_ || system_.silent) return std::nullopt;
      isLost_ = system_.loses;
      return std::vector{Monitor{system_.name, {}, 1, true}};
    }
    FakeWindowSystem& system_;
    bool isLost_ = false;
  };

  std::unique_ptr<jv::MonitorSource> open() {
    ++asked;
    return isThere ? std::make_unique<Connection>(*this) : nullptr;
  }

  const char* name;
  bool isThere = true;
  bool silent = false;  ///< connects, and does not answer
  bool loses = false;   ///< connections once they have answered
  std::function<void()> whenAsked = {};
  int asked = 0;
};

class Session : public testing::Test {
 protected:
  std::string name() {
    const auto screens = screens_.screens();
    return screens.empty() ? "(none)" : screens.front()->name();
  }

  FakeWindowSystem preferred_{"preferred"};
  FakeWindowSystem other_{"other"};
  SessionScreens::Clock::time_point now_;
  SessionScreens screens_{{[this] { return preferred_.open(); }, [this] { return other_.open(); }},
                          [this] { return now_; }};
};

TEST_F(Session, KeepsItsConnectionAndConnectsAnewAtOnceWhenItIsLost) {
  for (int i = 0; i < 3; ++i) EXPECT_EQ(name(), "preferred");
  EXPECT_EQ(preferred_.asked, 1);
  EXPECT_EQ(other_.asked, 0);
  preferred_.loses = true;
  for (int i = 0; i < 2; ++i) EXPECT_EQ(name(), "preferred");
  EXPECT_EQ(preferred_.asked, 2);
}

TEST_F(Session, WaitsOnceForOneThatDoesNotAnswerAnyMore) {
  name();
  preferred_.silent = true;
  preferred_.whenAsked = [this] { now_ += std::chrono::seconds(3); };
  EXPECT_EQ(name(), "(none)");
  EXPECT_EQ(preferred_.asked, 1) << "to connect anew would have been waited for as well";
  preferred_.silent = false;
  now_ += SessionScreens::kPause;
  EXPECT_EQ(name(), "preferred");
}

TEST_F(Session, LooksForAWindowSystemOnceASecond) {
  preferred_.silent = true;
  other_.isThere = false;
  for (int i = 0; i < 3; ++i) EXPECT_EQ(name(), "(none)");
  EXPECT_EQ(preferred_.asked, 1);
  other_.isThere = true;
  now_ += SessionScreens::kPause - std::chrono::nanoseconds(1);
  EXPECT_EQ(name(), "(none)");
  now_ += std::chrono::nanoseconds(1);
  EXPECT_EQ(name(), "other");
  preferred_.silent = false;
  EXPECT_EQ(name(), "other") << "a session does not change while it answers";
}

}  // namespace
