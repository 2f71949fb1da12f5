#include <JorvaneFoundation/system/JVUser.h>

#include <gmock/gmock.h>

#include "dispatch/support.h"
#include "system/fakes.h"

using JVFoundation::NSNotificationCenter;

namespace {

constexpr auto kBecame = JVPlatform::NSWorkspaceSessionDidBecomeActiveNotification;
constexpr auto kResigned = JVPlatform::NSWorkspaceSessionDidResignActiveNotification;

struct User : testing::Test {
  jvtest::InstalledWorkspace workspace;
  std::string told;  ///< what the property was each time
};

TEST_F(User, AnnouncesThatItBecameActiveAndNothingElse) {
  JVUser user;
  const auto token = NSNotificationCenter::defaultCenter().addObserver(
      "JVUserDidBecomeActive", &user, [&](const auto&) { told += user.isActive() ? "+" : "-"; });
  EXPECT_STREQ(JVUserDidBecomeActiveNotification, "JVUserDidBecomeActive");
  EXPECT_TRUE(user.isActive());
  EXPECT_EQ(told, "") << "the creation announces nothing";
  for (const auto& [name, saidSoFar] : {std::pair<std::string_view, const char*>{kResigned, ""},
                                        {kResigned, ""},
                                        {kBecame, "+"},
                                        {kBecame, "++"},
                                        {kResigned, "++"}}) {
    workspace->center.post(name);
    EXPECT_EQ(user.isActive(), name == kBecame);
    EXPECT_EQ(told, saidSoFar);
  }
  workspace->center.post("Other");
  NSNotificationCenter::defaultCenter().post(kBecame);
  EXPECT_EQ(told, "++") << "not observed";
  user.userSwitched({"Other", nullptr});
  EXPECT_EQ(told, "+++") << "any other name";
  EXPECT_TRUE(user.isActive());
  user.setActive(false);
  EXPECT_FALSE(user.isActive());
}

TEST_F(User, CanBeTakenApart) {
  struct Silent final : JVUser {
    void userSwitched(const JVFoundation::NSNotification& notification) override { names += notification.name; }
    std::string names;
  };
  const auto token = NSNotificationCenter::defaultCenter().addObserver(JVUserDidBecomeActiveNotification, nullptr,
                                                                       [&](const auto&) { told += "!"; });
  {
    Silent user;
    workspace->center.post(kBecame);
    EXPECT_EQ(user.names, kBecame);
  }
  workspace->center.post(kBecame);
  EXPECT_EQ(told, "") << "neither by the subclass nor by one that is gone";
}

TEST_F(User, HangsTheSessionOnTheMainRunLoopAsLongAsItLives) {
  const auto source = std::make_shared<jvtest::FakeRunLoopSource>();
  source->handler = [&] { workspace->center.post(kResigned); };
  workspace->source = source;
  const auto user = std::make_unique<JVUser>();
  source->happen();
  EXPECT_TRUE(user->isActive()) << "not before the loop comes to it";
  jvtest::drainAll();
  EXPECT_FALSE(user->isActive());
}

TEST_F(User, SharesTheWatchOnTheSession) {
  const auto source = std::make_shared<jvtest::FakeRunLoopSource>();
  source->handler = [&] { workspace->center.post(kBecame); };
  workspace->source = source;
  const auto token = NSNotificationCenter::defaultCenter().addObserver(JVUserDidBecomeActiveNotification, nullptr,
                                                                       [&](const auto&) { told += "+"; });
  auto first = std::make_unique<JVUser>();
  const JVUser second;
  EXPECT_EQ(workspace->asked, 1) << "two would make the centre post twice";
  source->happen();
  jvtest::drainAll();
  EXPECT_EQ(told, "++") << "once for each";
  first.reset();
  source->happen();
  jvtest::drainAll();
  EXPECT_EQ(told, "+++") << "the other still hears";
  {
    const jvtest::InstalledWorkspace another;
    const JVUser third;
    EXPECT_EQ(another->asked, 1) << "a workspace of its own";
  }
}

}  // namespace
