#include <JorvaneFoundation/system/JVSystemConfigListener.h>

#include <JorvaneFoundation/foundation/NSNotificationCenter.h>

#include <gmock/gmock.h>

#include "dispatch/support.h"
#include "system/fakes.h"

using JVFoundation::NSNotification;
using JVFoundation::NSNotificationCenter;
using JVFoundation::NSRunLoop;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

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
          EXPECT_TRUE(NSRunLoop::isMainThread());
          const bool name = notification.name == JVComputerNameChangedNotification;
          told.push_back(std::string(notification.name) + " " +
                         (name ? listener->computerName() : listener->networkState()).value_or("(none)"));
        });
  }
  ~Listener() override { jvtest::drainAll(); }

  void listen() { listener = std::make_unique<JVSystemConfigListener>(); }
  void commit(std::uint32_t kinds = kCommit) {
    system->changePreferences(kinds);
    jvtest::drainAll();
  }
  void changeNetwork() {
    system->changeStore();
    jvtest::drainAll();
  }

  jvtest::InstalledSystemConfiguration system;
  jvtest::InstalledProcessInformation process;
  std::unique_ptr<JVSystemConfigListener> listener;
  NSNotificationCenter::Token token;
  std::vector<std::string> told;  ///< the notifications, with the value of their property
};

TEST_F(Listener, SetsBothWatchesUpInOrder) {
  listen();
  EXPECT_THAT(system->steps, ElementsAre("name", "preferences org.example.App", "callback", "schedule",
                                         "store org.example.App with callback",
                                         "watch State:/Network/Service/[^/]+/IPv4", "store source"));
  EXPECT_THAT(listener->computerName(), Optional(std::string("Box")));
  EXPECT_EQ(listener->networkState(), std::nullopt);
  EXPECT_EQ(listener->prefsRef(), system->preferences.lock());
  EXPECT_THAT(told, IsEmpty());
  EXPECT_STREQ(JVComputerNameChangedNotification, "JVComputerNameChanged");
  EXPECT_STREQ(JVIPAddressChangedNotification, "JVIPAddressChanged");
}

TEST_F(Listener, TellsOfTheNameOnACommitThatChangedIt) {
  listen();
  commit();
  EXPECT_THAT(told, IsEmpty()) << "the same";
  system->computerName = "New";
  commit(kApply);
  EXPECT_THAT(told, IsEmpty()) << "not committed";
  commit(kCommit | kApply);
  EXPECT_THAT(told, ElementsAre("JVComputerNameChanged New"));
  commit();
  EXPECT_EQ(told.size(), 1U);
  system->computerName = std::nullopt;
  commit();
  EXPECT_EQ(told.back(), "JVComputerNameChanged Computer");
  listener->setComputerName("Computer");
  commit();
  EXPECT_EQ(told.size(), 2U);
  listener->setComputerName("Other");
  commit();
  EXPECT_EQ(told.size(), 3U) << "what was set from outside counts";
  for (const auto& nothing : {std::optional<std::string_view>(), std::optional<std::string_view>("")}) {
    const std::size_t before = told.size();
    system->computerName = "";
    listener->setComputerName(nothing);
    commit();
    EXPECT_EQ(told.size(), before + 1) << "against nothing, everything is new";
  }
}

TEST_F(Listener, TellsOfTheFirstChangeOfTheNetworkAndThenOfRealOnes) {
  listen();
  changeNetwork();
  EXPECT_THAT(told, ElementsAre("JVIPAddressChanged lan:192.0.2.1"));
  changeNetwork();
  EXPECT_EQ(told.size(), 1U) << "the same";
  system->clear();
  changeNetwork();
  EXPECT_EQ(told.back(), "JVIPAddressChanged en0:127.0.0.1");
  system->addInterface("wlan", true);
  changeNetwork();
  EXPECT_EQ(told.back(), "JVIPAddressChanged wlan:127.0.0.1");
  EXPECT_EQ(told.size(), 3U);
  listener->setNetworkState("wlan:127.0.0.1");
  changeNetwork();
  EXPECT_EQ(told.size(), 3U);
  listener->setNetworkState(std::nullopt);
  changeNetwork();
  EXPECT_EQ(told.size(), 4U);
}

TEST_F(Listener, DoesWithoutWhatIsMissing) {
  system->hasStore = false;
  listen();
  EXPECT_EQ(system->steps.back(), "store org.example.App with callback");
  system->computerName = "New";
  commit();
  EXPECT_THAT(told, ElementsAre("JVComputerNameChanged New")) << "without a store";
  listener.reset();

  system->hasStore = true;
  system->hasPreferences = false;
  system->hasPattern = false;
  process->identifier = std::nullopt;
  system->steps.clear();
  listen();
  EXPECT_THAT(system->steps, ElementsAre("name", "preferences (null)", "callback of none", "schedule none",
                                         "store (null) with callback", "watch", "store source"));
  EXPECT_EQ(listener->prefsRef(), nullptr);
  changeNetwork();
  EXPECT_EQ(told.size(), 2U) << "without preferences";
  system->steps.clear();
  listener.reset();
  EXPECT_THAT(system->steps, IsEmpty()) << "there is nothing to unschedule";

  system->hasSource = false;
  system->hasPreferences = true;
  listen();
  EXPECT_TRUE(system->store.expired()) << "without a source nobody keeps the store";
}

TEST_F(Listener, LeavesTheStoreToTheRunLoopWhenItGoes) {
  listen();
  EXPECT_FALSE(system->store.expired());
  const auto preferences = listener->prefsRef();
  system->steps.clear();
  listener.reset();
  EXPECT_THAT(system->steps, ElementsAre("unschedule"));
  EXPECT_EQ(preferences.use_count(), 1) << "given back";
  EXPECT_FALSE(system->store.expired());
  changeNetwork();
  commit();
  EXPECT_THAT(told, IsEmpty()) << "nobody is listening";
}

TEST_F(Listener, UnschedulesTheHandleThatItHasInTheEnd) {
  listen();
  const auto other = std::make_shared<jvtest::FakeSystemConfiguration::Preferences>();
  listener->setPrefsRef(other);
  EXPECT_EQ(listener->prefsRef(), other);
  listener->setPrefsRef(nullptr);
  system->steps.clear();
  listener.reset();
  EXPECT_THAT(system->steps, IsEmpty());
}

TEST_F(Listener, IsHeardOnTheMainThreadWhoeverMadeIt) {
  std::thread([this] { listen(); }).join();
  system->computerName = "New";
  commit();
  changeNetwork();
  EXPECT_EQ(told.size(), 2U);
}

TEST_F(Listener, MayBeTakenApartByWhoItTells) {
  listen();
  const auto last = NSNotificationCenter::defaultCenter().addObserver(JVIPAddressChangedNotification, nullptr,
                                                                      [this](const auto&) { listener.reset(); });
  changeNetwork();
  EXPECT_EQ(listener, nullptr);
  changeNetwork();
  EXPECT_EQ(told.size(), 1U);
}

TEST(SharedListener, IsOne) {
  const jvtest::InstalledSystemConfiguration system;
  JVSystemConfigListener* fromThread = nullptr;
  std::thread([&] { fromThread = &JVSystemConfigListener::sharedListener(); }).join();
  EXPECT_EQ(fromThread, &JVSystemConfigListener::sharedListener());
  EXPECT_EQ(std::ranges::count(system->steps, "schedule"), 1);
}

}  // namespace
