#include <JorvaneFoundation/system/JVSystemConfigListener.h>

#include <utility>
#include <vector>

#include <JorvaneFoundation/foundation/NSNotificationCenter.h>
#include <JorvaneFoundation/platform/ProcessInformation.h>
#include <JorvaneFoundation/system/JVUtilities.h>

#include "system/main_loop_source.h"

using JVFoundation::NSNotificationCenter;
using JVFoundation::NSRunLoop;

namespace {

using Text = std::optional<std::string>;

Text textOf(std::optional<std::string_view> text) { return text ? Text(*text) : std::nullopt; }

/// Whether @p now is news. Against nothing, everything is.
bool differs(const Text& known, const std::string& now) { return !known || known->empty() || *known != now; }

}  // namespace

struct JVSystemConfigListener::State : std::enable_shared_from_this<State> {
  explicit State(const JVSystemConfigListener& own) : listener(own) {}

  /// Watches the name. Without a handle the same calls are made, and come to nothing.
  void watchPreferences(std::optional<std::string_view> application) {
    preferences = platform->SCPreferencesCreate(application);
    platform->SCPreferencesSetCallback(preferences, [weak = weak_from_this()](std::uint32_t kinds) {
      if (const auto state = weak.lock()) state->preferencesChanged(kinds);
    });
    preferencesSource = jv::addToMainRunLoop(platform->SCPreferencesScheduleWithRunLoop(preferences));
  }

  /// Watches the addresses of all services. The source on the main run loop keeps the store, nobody else does.
  void watchStore(std::optional<std::string_view> application) {
    const auto store = platform->SCDynamicStoreCreate(application, [weak = weak_from_this()] {
      if (const auto state = weak.lock()) state->storeChanged();
    });
    if (!store) return;
    std::vector<std::string> patterns;
    auto pattern = platform->SCDynamicStoreKeyCreateNetworkServiceEntity(
        JVPlatform::kSCDynamicStoreDomainState, JVPlatform::kSCCompAnyRegex, JVPlatform::kSCEntNetIPv4);
    if (pattern) patterns.push_back(std::move(*pattern));
    platform->SCDynamicStoreSetNotificationKeys(store, {}, patterns);
    jv::addToMainRunLoop(platform->SCDynamicStoreCreateRunLoopSource(store));
  }

  void preferencesChanged(std::uint32_t kinds) {
    if ((kinds & JVPlatform::kSCPreferencesNotificationCommit) == 0) return;
    std::string name = JVUtilities::computerName();
    if (!differs(computerName, name)) return;
    computerName = std::move(name);
    post(JVComputerNameChangedNotification);
  }

  void storeChanged() {
    std::string interface;
    const std::string address = JVUtilities::ipAddress(&interface);
    std::string now = interface + ":" + address;
    if (!differs(networkState, now)) return;
    networkState = std::move(now);
    post(JVIPAddressChangedNotification);
  }

  void post(const char* name) const { NSNotificationCenter::defaultCenter().post(name, &listener); }

  const JVSystemConfigListener& listener;
  const std::shared_ptr<JVPlatform::SystemConfiguration> platform = JVPlatform::systemConfiguration();
  JVPlatform::SCPreferencesRef preferences;
  std::optional<NSRunLoop::Source> preferencesSource;
  Text computerName;
  Text networkState;
};

JVSystemConfigListener& JVSystemConfigListener::sharedListener() {
  static auto& only = *new JVSystemConfigListener;
  return only;
}

JVSystemConfigListener::JVSystemConfigListener() : state_(std::make_shared<State>(*this)) {
  state_->computerName = JVUtilities::computerName();
  const Text application = JVPlatform::processInformation()->bundleIdentifier();
  state_->watchPreferences(application);
  state_->watchStore(application);
}

JVSystemConfigListener::~JVSystemConfigListener() {
  if (state_->preferences) state_->platform->SCPreferencesUnscheduleFromRunLoop(state_->preferences);
  if (state_->preferencesSource) NSRunLoop::mainRunLoop().removeSource(*state_->preferencesSource);
}

const JVPlatform::SCPreferencesRef& JVSystemConfigListener::prefsRef() const noexcept { return state_->preferences; }
void JVSystemConfigListener::setPrefsRef(JVPlatform::SCPreferencesRef preferences) noexcept {
  state_->preferences = std::move(preferences);
}

const Text& JVSystemConfigListener::computerName() const noexcept { return state_->computerName; }
void JVSystemConfigListener::setComputerName(std::optional<std::string_view> name) {
  state_->computerName = textOf(name);
}

const Text& JVSystemConfigListener::networkState() const noexcept { return state_->networkState; }
void JVSystemConfigListener::setNetworkState(std::optional<std::string_view> state) {
  state_->networkState = textOf(state);
}
