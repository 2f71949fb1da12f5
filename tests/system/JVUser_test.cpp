#include <JorvaneFoundation/system/JVUser.h>

#include <gmock/gmock.h>

#include <JorvaneFoundation/platform/Workspace.h>

#include "dispatch/support.h"
#include "system/fakes.h"

using JVFoundation::NSNotificationCenter;

namespace {

constexpr auto kBecame = JVPlatform::NSWorkspaceSessionDidBecomeActiveNotification;
constexpr auto kResigned = JVPlatform::NSWorkspaceSessionDidResignActiveNotification;

struct FakeWorkspace final : JVPlatform::Workspace {
  NSNotificationCenter& notificationCenter() override { return center; }
  std::shared_ptr<JVPlatform::RunLoopSource> createRunLoopSource() override {
    ++asked;
    return source;
  }
  int asked = 0;  ///< times for a source
  NSNotificationCenter center;
  std::shared_ptr<jvtest::FakeRunLoopSource> source = std::make_shared<jvtest::FakeRunLoopSource>();
};

struct User : testing::Test {
  jvtest::Installed<FakeWorkspace, JVPlatform::installWorkspace> workspace;
  std::string told;  ///< what the property was each time
  NSNotificationCenter::Token token = NSNotificationCenter::defaultCenter().addObserver(
      "JVUserDidBecomeActive", nullptr, [this](const auto& notification) {
        told += static_cast<const JVUser*>(notification.object)->isActive() ? "+" : "-";
      });
};

TEST_F(User, AnnouncesThatItBecameActiveAndNothingElse) {
  JVUser user;
  EXPECT_TRUE(user.isActive());
  EXPECT_EQ(told, "") << "the creation announces nothing";
  for (const auto& [name, saidSoFar] :
       {std::pair{kResigned, ""}, {kResigned, ""}, {kBecame, "+"}, {kBecame, "++"}, {kResigned, "++"}}) {
    workspace->center.post(name);
    EXPECT_EQ(user.isActive(), name == kBecame);
    EXPECT_EQ(told, saidSoFar);
  }
  NSNotificationCenter::defaultCenter().post(kBecame);
  EXPECT_EQ(told, "++") << "of another centre";
  user.userSwitched({"Other", nullptr});
  EXPECT_EQ(told, "+++") << "any other name";
}

TEST_F(User, SharesTheWatchOnTheSession) {
  workspace->source->handler = [&] { workspace->center.post(kBecame); };
  auto first = std::make_unique<JVUser>();
  const JVUser second;
  EXPECT_EQ(workspace->asked, 1) << "two would make the centre post twice";
  workspace->source->happen();
  EXPECT_EQ(told, "") << "not before the loop comes to it";
  jvtest::drainAll();
  EXPECT_EQ(told, "++") << "once for each";
  first.reset();
  workspace->source->happen();
  jvtest::drainAll();
  EXPECT_EQ(told, "+++") << "the other still hears";
}

}  // namespace
