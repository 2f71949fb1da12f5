#include <JorvaneFoundation/system/JVSystemConfigListener.h>

#include <JorvaneFoundation/foundation/NSNotificationCenter.h>

#include <gmock/gmock.h>

#include "system/fakes.h"

using JVFoundation::NSNotification;
using JVFoundation::NSNotificationCenter;
using testing::ElementsAre;

namespace {

constexpr std::uint32_t kCommit = 1;
constexpr std::uint32_t kApply = 2;

struct Listener : testing::Test {
  void SetUp() override {
    process->identifier = "org.example.App";
    system->addInterface("lan", true, {"192.0.2.1"});
    listener = std::make_unique<JVSystemConfigListener>();
  }

  jvtest::InstalledSystemConfiguration system;
  jvtest::InstalledProcessInformation process;
  std::unique_ptr<JVSystemConfigListener> listener;
  std::vector<std::string> told;  ///< the notifications, with the value of their property
  NSNotificationCenter::Token token = NSNotificationCenter::defaultCenter().addObserver(
      std::nullopt, nullptr, [this](const NSNotification& notification) {
        EXPECT_EQ(notification.object, listener.get());
        const bool name = notification.name == JVComputerNameChangedNotification;
        told.push_back(std::string(notification.name) + " " +
                       (name ? listener->computerName() : listener->networkState()).value_or("(none)"));
      });
};

TEST_F(Listener, TellsOfTheNameOnACommitThatChangedIt) {
  system->preferencesChanged(kCommit);
  EXPECT_TRUE(told.empty()) << "the same";
  system->computerName = "New";
  system->preferencesChanged(kApply);
  EXPECT_TRUE(told.empty()) << "not committed";
  system->preferencesChanged(kCommit | kApply);
  system->computerName = std::nullopt;
  system->preferencesChanged(kCommit);
  EXPECT_THAT(told, ElementsAre("JVComputerNameChanged New", "JVComputerNameChanged Computer"));
  listener->setComputerName("Other");
  system->preferencesChanged(kCommit);
  EXPECT_EQ(told.size(), 3U) << "what was set from outside counts";
  system->computerName = "";
  listener->setComputerName("");
  system->preferencesChanged(kCommit);
  EXPECT_EQ(told.size(), 4U) << "against nothing, everything is new";
}

TEST_F(Listener, TellsOfTheFirstChangeOfTheNetworkAndThenOfRealOnes) {
  system->storeChanged();
  system->storeChanged();
  EXPECT_THAT(told, ElementsAre("JVIPAddressChanged lan:192.0.2.1"));
  system->values.clear();
  system->storeChanged();
  EXPECT_EQ(told.back(), "JVIPAddressChanged en0:127.0.0.1");
  listener->setNetworkState("lan:127.0.0.1");
  system->storeChanged();
  EXPECT_EQ(told.size(), 3U);
}

TEST_F(Listener, GivesBackWhatItSetUpAndMayBeTakenApartByWhoItTells) {
  const auto last = NSNotificationCenter::defaultCenter().addObserver(JVIPAddressChangedNotification, nullptr,
                                                                      [this](const auto&) { listener.reset(); });
  system->storeChanged();
  system->storeChanged();
  system->preferencesChanged(kCommit);
  EXPECT_EQ(told.size(), 1U);
  EXPECT_EQ(system->steps,
            "preferences of org.example.App, scheduled; "
            "store of org.example.App, watches State:[^/]+IPv4; unscheduled");
}

}  // namespace
