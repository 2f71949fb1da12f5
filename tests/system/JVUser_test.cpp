#include <JorvaneFoundation/system/JVUser.h>

#include <gtest/gtest.h>

#include <JorvaneFoundation/platform/Workspace.h>

#include "support/installed.h"

using JVFoundation::NSNotificationCenter;

namespace {

constexpr auto kBecame = JVPlatform::NSWorkspaceSessionDidBecomeActiveNotification;
constexpr auto kResigned = JVPlatform::NSWorkspaceSessionDidResignActiveNotification;

struct FakeWorkspace final : JVPlatform::Workspace {
  NSNotificationCenter& notificationCenter() override { return center; }
  std::shared_ptr<JVPlatform::RunLoopSource> createRunLoopSource() override {
    ++asked;
    return nullptr;
  }
  int asked = 0;  ///< times for a source
  NSNotificationCenter center;
};

TEST(User, AnnouncesThatItBecameActiveAndNothingElse) {
  const jvtest::Installed<FakeWorkspace, JVPlatform::installWorkspace> workspace;
  std::string told;  // what the property was each time
  const auto token = NSNotificationCenter::defaultCenter().addObserver(
      "JVUserDidBecomeActive", nullptr, [&told](const auto& notification) {
        told += static_cast<const JVUser*>(notification.object)->isActive() ? "+" : "-";
      });
  auto user = std::make_unique<JVUser>();
  EXPECT_TRUE(user->isActive());
  EXPECT_EQ(told, "") << "the creation announces nothing";
  for (const auto& [name, saidSoFar] :
       {std::pair{kResigned, ""}, {kResigned, ""}, {kBecame, "+"}, {kBecame, "++"}, {kResigned, "++"}}) {
    workspace->center.post(name);
    EXPECT_EQ(user->isActive(), name == kBecame);
    EXPECT_EQ(told, saidSoFar);
  }
  NSNotificationCenter::defaultCenter().post(kBecame);
  EXPECT_EQ(told, "++") << "of another centre";
  user->userSwitched({"Other", nullptr});
  EXPECT_EQ(told, "+++") << "any other name";

  const JVUser second;
  EXPECT_EQ(workspace->asked, 1) << "two sources would make the centre post twice";
  user.reset();
  workspace->center.post(kBecame);
  EXPECT_EQ(told, "++++") << "by the one that is left";
}

}  // namespace
