/// A store and preferences on paper: what they hold is set beforehand, and what happens to them is a call of the test.
#pragma once

#include <JorvaneFoundation/platform/SystemConfiguration.h>

#include <map>
#include <memory>
#include <string>
#include <utility>

namespace jvtest {

class FakeSystemConfiguration final : public JVPlatform::SystemConfiguration {
 public:
  using Value = JVFoundation::Value;
  using Name = std::optional<std::string_view>;
  using Store = JVPlatform::SCDynamicStoreRef;
  using Preferences = JVPlatform::SCPreferencesRef;
  using Source = std::shared_ptr<JVPlatform::RunLoopSource>;

  std::optional<std::string> computerName = "Box";
  std::map<std::string, Value, std::less<>> values;
  JVPlatform::SCDynamicStoreCallBack storeChanged;
  JVPlatform::SCPreferencesCallBack preferencesChanged;
  std::string steps;  ///< in which watches were set up and given back

  /// An interface behind those that are there already.
  void addInterface(const std::string& name, bool active, const Value::Array& addresses) {
    const std::string key = SCDynamicStoreKeyCreateNetworkInterface("State:");
    names_.emplace_back(name);
    set(key, JVFoundation::Dictionary{{"Interfaces", names_}});
    set(key + "/" + name + "/Link", JVFoundation::Dictionary{{"Active", active}});
    set(key + "/" + name + "/IPv4", JVFoundation::Dictionary{{"Addresses", addresses}});
  }
  void set(const std::string& key, Value value) { values.insert_or_assign(key, std::move(value)); }

  std::optional<std::string> SCDynamicStoreCopyComputerName() override { return computerName; }
  Store SCDynamicStoreCreate(Name name, JVPlatform::SCDynamicStoreCallBack callBack) override {
    if (!callBack) return std::make_shared<JVPlatform::SCDynamicStore>();
    steps += "store of " + std::string(name.value_or("nobody"));
    storeChanged = std::move(callBack);
    return std::make_shared<JVPlatform::SCDynamicStore>();
  }
  std::string SCDynamicStoreKeyCreateNetworkInterface(std::string_view domain) override {
    return std::string(domain) + "/Network/Interface";
  }
  std::string SCDynamicStoreKeyCreateNetworkInterfaceEntity(std::string_view domain, std::string_view interface,
                                                            std::string_view entity) override {
    return SCDynamicStoreKeyCreateNetworkInterface(domain) + "/" + std::string(interface) + "/" + std::string(entity);
  }
  std::optional<std::string> SCDynamicStoreKeyCreateNetworkServiceEntity(std::string_view domain,
                                                                         std::string_view service,
                                                                         std::string_view entity) override {
    return std::string(domain) + std::string(service) + std::string(entity);
  }
  std::optional<Value> SCDynamicStoreCopyValue(const Store&, std::string_view key) override {
    const auto found = values.find(key);
    return found == values.end() ? std::nullopt : std::optional(found->second);
  }
  bool SCDynamicStoreSetNotificationKeys(const Store&, std::span<const std::string>,
                                         std::span<const std::string> patterns) override {
    for (const std::string& pattern : patterns) steps += ", watches " + pattern;
    return true;
  }
  Source SCDynamicStoreCreateRunLoopSource(const Store&) override { return nullptr; }
  Preferences SCPreferencesCreate(Name name) override {
    steps += "preferences of " + std::string(name.value_or("nobody"));
    return std::make_shared<JVPlatform::SCPreferences>();
  }
  bool SCPreferencesSetCallback(const Preferences&, JVPlatform::SCPreferencesCallBack callBack) override {
    preferencesChanged = std::move(callBack);
    return true;
  }
  Source SCPreferencesScheduleWithRunLoop(const Preferences&) override {
    steps += ", scheduled; ";
    return nullptr;
  }
  bool SCPreferencesUnscheduleFromRunLoop(const Preferences&) override {
    steps += "; unscheduled";
    return true;
  }

 private:
  Value::Array names_;
};

}  // namespace jvtest
