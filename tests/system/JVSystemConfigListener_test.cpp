#include <JorvaneFoundation/system/JVSystemConfigListener.h>

#include <JorvaneFoundation/foundation/NSNotificationCenter.h>

#include <gmock/gmock.h>

#include "dispatch/support.h"
#include "system/fakes.h"

using JVFoundation::NSNotification;
using JVFoundation::NSNotificationCenter;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr std::uint32_t kCommit = 1;
constexpr std::uint32_t kApply = 2;

struct Listener : testing::Test {
  Listener() {
    system->addInterface("lan", true, {"192.0.2.1"});
    process->identifier = "org.example.App";
    token = NSNotificationCenter::defaultCenter().addObserver(
        std::nullopt, nullptr, [this](const NSNotification& notification) {
          EXPECT_EQ(notification.object, listener.get());
          EXPECT_TRUE(JVFoundation::NSRunLoop::isMainThread());
          const bool name = notification.name == JVComputerNameChangedNotification;
          told.push_back(std::string(notification.name) + " " +
                         (name ? listener->computerName() : listener->networkState()).value_or("(none)"));
        });
  }
  ~Listener() override { jvtest::drainAll(); }

  /// On another thread: it is heard on the main thread all the same.
  void listen() {
    std::thread([this] { listener = std::make_unique<JVSystemConfigListener>(); }).join();
  }
  void commit(std::uint32_t kinds = kCommit) {
    system->changePreferences(kinds);
    jvtest::drainAll();
  }
  void changeNetwork() {
    system->storeSource.lock()->happen();
    jvtest::drainAll();
  }

  jvtest::InstalledSystemConfiguration system;
  jvtest::InstalledProcessInformation process;
  std::unique_ptr<JVSystemConfigListener> listener;
  NSNotificationCenter::Token token;
  std::vector<std::string> told;  ///< the notifications, with the value of their property
};

TEST_F(Listener, TellsOfTheNameOnACommitThatChangedIt) {
  listen();
  commit();
  EXPECT_THAT(told, IsEmpty()) << "the same";
  system->computerName = "New";
  commit(kApply);
  EXPECT_THAT(told, IsEmpty()) << "not committed";
  commit(kCommit | kApply);
  system->computerName = std::nullopt;
  commit();
  EXPECT_THAT(told, ElementsAre("JVComputerNameChanged New", "JVComputerNameChanged Computer"));
  listener->setComputerName("Other");
  commit();
  EXPECT_EQ(told.size(), 3U) << "what was set from outside counts";
  system->computerName = "";
  listener->setComputerName("");
  commit();
  EXPECT_EQ(told.size(), 4U) << "against nothing, everything is new";
}

TEST_F(Listener, TellsOfTheFirstChangeOfTheNetworkAndThenOfRealOnes) {
  listen();
  changeNetwork();
  changeNetwork();
  EXPECT_THAT(told, ElementsAre("JVIPAddressChanged lan:192.0.2.1"));
  system->values.clear();
  changeNetwork();
  EXPECT_EQ(told.back(), "JVIPAddressChanged en0:127.0.0.1");
  listener->setNetworkState("lan:127.0.0.1");
  changeNetwork();
  EXPECT_EQ(told.size(), 3U);
}

TEST_F(Listener, SetsBothWatchesUpAndLeavesTheStoreToTheRunLoopWhenItGoes) {
  listen();
  EXPECT_THAT(system->steps, ElementsAre("preferences org.example.App", "callback", "schedule", "store org.example.App",
                                         "watch State:/Network/Service/[^/]+/IPv4", "source"));
  const auto preferences = listener->prefsRef();
  listener.reset();
  EXPECT_EQ(system->steps.back(), "unschedule");
  EXPECT_EQ(preferences.use_count(), 1) << "given back";
  EXPECT_FALSE(system->storeSource.expired());
  changeNetwork();
  commit();
  EXPECT_THAT(told, IsEmpty()) << "nobody is listening";
}

TEST_F(Listener, MayBeTakenApartByWhoItTells) {
  listen();
  const auto last = NSNotificationCenter::defaultCenter().addObserver(JVIPAddressChangedNotification, nullptr,
                                                                      [this](const auto&) { listener.reset(); });
  changeNetwork();
  changeNetwork();
  EXPECT_EQ(told.size(), 1U);
}

}  // namespace
