#include <JorvaneFoundation/platform/SystemConfiguration.h>

#include <algorithm>
#include <string>
#include <utility>

#include "platform/Defaults.h"
#include "platform/fact_origins.h"
#include "platform/linux/machine_facts.h"
#include "platform/linux/NameWatch.h"
#include "platform/linux/NetworkWatch.h"
#include "platform/linux/rtnetlink.h"

namespace jv {
namespace {

using JVFoundation::Dictionary;
using JVFoundation::Value;
using JVPlatform::Fact;
using JVPlatform::kSCCompAnyRegex;
using JVPlatform::kSCDynamicStoreDomainState;
using JVPlatform::kSCEntNetIPv4;
using JVPlatform::kSCEntNetLink;
using JVPlatform::SCDynamicStoreRef;
using JVPlatform::SCPreferencesRef;

std::string interfacesKey(std::string_view domain) { return std::string(domain) + "/Network/Interface"; }

std::string serviceKey(std::string_view domain, std::string_view service, std::string_view entity) {
  return std::string(domain) + "/Network/Service/" + std::string(service) + "/" + std::string(entity);
}

/// Interfaces as the kernel has them. It is asked when the list is; a store that is only watched keeps no socket.
class Store final : public JVPlatform::SCDynamicStore {
 public:
  explicit Store(JVPlatform::SCDynamicStoreCallBack callBack) : callBack_(std::move(callBack)) {}

  std::optional<Value> valueOf(std::string_view key) {
    const std::string list = interfacesKey(kSCDynamicStoreDomainState);
    if (key == list) return interfaces();
    if (!state_) read();
    if (!state_ || !key.starts_with(list + "/")) return std::nullopt;
    key.remove_prefix(list.size() + 1);
    const std::size_t slash = key.find('/');
    if (slash == key.npos) return std::nullopt;
    for (const NetworkLink* const link : orderedInterfaces(*state_)) {
      if (link->name == key.substr(0, slash)) return entityOf(*link, key.substr(slash + 1));
    }
    return std::nullopt;
  }

  void watch(bool wanted) { isWatching_ = wanted; }
  [[nodiscard]] bool isWatching() const { return isWatching_ && callBack_; }
  void callBack() const { callBack_(); }

 private:
  std::optional<Value> interfaces() {
    read();
    if (!state_) return std::nullopt;
    Value::Array names;
    for (const NetworkLink* const link : orderedInterfaces(*state_)) names.emplace_back(link->name);
    return Dictionary{{std::string(JVPlatform::kSCDynamicStorePropNetInterfaces), std::move(names)}};
  }

  void read() {
    if (!socket_.isOpen()) socket_ = openRtnetlink(0);
    state_ = socket_.isOpen() ? readNetwork(socket_.get()) : std::nullopt;
    noteOrigin(Fact::network, state_ ? "kernel, by rtnetlink" : nullptr);
  }

  [[nodiscard]] std::optional<Value> entityOf(const NetworkLink& link, std::string_view entity) const {
    if (entity == kSCEntNetLink) return Dictionary{{std::string(JVPlatform::kSCPropNetLinkActive), isActive(link)}};
    if (entity != kSCEntNetIPv4) return std::nullopt;
    Value::Array addresses;
    for (std::string& address : orderedAddresses(*state_, link)) addresses.emplace_back(std::move(address));
    if (addresses.empty()) return std::nullopt;
    return Dictionary{{std::string(JVPlatform::kSCPropNetIPv4Addresses), std::move(addresses)}};
  }

  Descriptor socket_;
  JVPlatform::SCDynamicStoreCallBack callBack_;
  bool isWatching_ = false;
  std::optional<NetworkState> state_;
};

class Preferences final : public JVPlatform::SCPreferences {
 public:
  std::shared_ptr<NameWatch> watch;  // none: nothing is scheduled
  JVPlatform::SCPreferencesCallBack callBack;
};

Store& storeOf(const SCDynamicStoreRef& store) { return static_cast<Store&>(*store); }
Preferences* preferencesOf(const SCPreferencesRef& preferences) { return static_cast<Preferences*>(preferences.get()); }

class LinuxSystemConfiguration final : public JVPlatform::SystemConfiguration {
 public:
  std::optional<std::string> SCDynamicStoreCopyComputerName() override {
    auto found = computerName("");
    noteOrigin(Fact::computerName, found ? found->origin : nullptr);
    if (!found) return std::nullopt;
    return std::move(found->text);
  }

  SCDynamicStoreRef SCDynamicStoreCreate(std::optional<std::string_view>,
                                         JVPlatform::SCDynamicStoreCallBack callBack) override {
    return std::make_shared<Store>(std::move(callBack));
  }

  std::string SCDynamicStoreKeyCreateNetworkInterface(std::string_view domain) override {
    return interfacesKey(domain);
  }

  std::string SCDynamicStoreKeyCreateNetworkInterfaceEntity(std::string_view domain, std::string_view interface,
                                                            std::string_view entity) override {
    return interfacesKey(domain) + "/" + std::string(interface) + "/" + std::string(entity);
  }

  std::optional<std::string> SCDynamicStoreKeyCreateNetworkServiceEntity(std::string_view domain,
                                                                         std::string_view service,
                                                                         std::string_view entity) override {
    return serviceKey(domain, service, entity);
  }

  std::optional<Value> SCDynamicStoreCopyValue(const SCDynamicStoreRef& store, std::string_view key) override {
    return storeOf(store).valueOf(key);
  }

  // Of all that could be asked for, the kernel tells of the addresses of any service.
  bool SCDynamicStoreSetNotificationKeys(const SCDynamicStoreRef& store, std::span<const std::string>,
                                         std::span<const std::string> patterns) override {
    const std::string all = serviceKey(kSCDynamicStoreDomainState, kSCCompAnyRegex, kSCEntNetIPv4);
    storeOf(store).watch(std::ranges::find(patterns, all) != patterns.end());
    return true;
  }

  std::shared_ptr<JVPlatform::RunLoopSource> SCDynamicStoreCreateRunLoopSource(const SCDynamicStoreRef& store) override
      try {
    if (!storeOf(store).isWatching()) return nullptr;
    return std::make_shared<NetworkWatch>([store] { storeOf(store).callBack(); });
  } catch (const std::system_error&) {
    return nullptr;
  }

  SCPreferencesRef SCPreferencesCreate(std::optional<std::string_view>) override {
    return std::make_shared<Preferences>();
  }

  bool SCPreferencesSetCallback(const SCPreferencesRef& preferences,
                                JVPlatform::SCPreferencesCallBack callBack) override {
    Preferences* const own = preferencesOf(preferences);
    if (own) own->callBack = std::move(callBack);
    return own != nullptr;
  }

  std::shared_ptr<JVPlatform::RunLoopSource> SCPreferencesScheduleWithRunLoop(
      const SCPreferencesRef& preferences) override try {
    Preferences* const own = preferencesOf(preferences);
    if (!own) return nullptr;
    own->watch = std::make_shared<NameWatch>("");
    if (own->callBack) {
      own->watch->setHandler([callBack = own->callBack] { callBack(JVPlatform::kSCPreferencesNotificationCommit); });
    }
    return own->watch;
  } catch (const std::system_error&) {
    return nullptr;
  }

  bool SCPreferencesUnscheduleFromRunLoop(const SCPreferencesRef& preferences) override {
    Preferences* const own = preferencesOf(preferences);
    if (!own || !own->watch) return false;
    own->watch->setHandler(nullptr);
    own->watch.reset();
    return true;
  }
};

}  // namespace

std::shared_ptr<JVPlatform::SystemConfiguration> makeSystemConfiguration() {
  return std::make_shared<LinuxSystemConfiguration>();
}

}  // namespace jv
