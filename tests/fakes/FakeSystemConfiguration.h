/// A store and preferences on paper: what they hold is set beforehand, what happens to them is a call of the test, and
/// every operation is written down.
#pragma once

#include <JorvaneFoundation/platform/SystemConfiguration.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <sys/eventfd.h>
#include <unistd.h>

namespace jvtest {

/// Performs what it is given once `happen` was called, when the main run loop comes to it.
class FakeRunLoopSource final : public JVPlatform::RunLoopSource {
 public:
  ~FakeRunLoopSource() override { close(event_); }
  [[nodiscard]] int fileDescriptor() const noexcept override { return event_; }
  void perform() override {
    eventfd_t count;
    if (eventfd_read(event_, &count) == 0 && handler) handler();
  }
  void happen() const { eventfd_write(event_, 1); }

  std::function<void()> handler;

 private:
  int event_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
};

class FakeSystemConfiguration final : public JVPlatform::SystemConfiguration {
 public:
  using Value = JVFoundation::Value;

  struct Store final : JVPlatform::SCDynamicStore {
    JVPlatform::SCDynamicStoreCallBack callBack;
    std::shared_ptr<FakeRunLoopSource> source;
  };
  struct Preferences final : JVPlatform::SCPreferences {
    JVPlatform::SCPreferencesCallBack callBack;
    std::shared_ptr<FakeRunLoopSource> source;
  };

  // What there is.
  std::optional<std::string> computerName = "Box";
  std::vector<std::pair<std::string, Value>> values;
  bool hasStore = true;
  bool hasPattern = true;
  bool hasSource = true;
  bool hasPreferences = true;
  std::vector<std::string> steps;

  // What was made last, as long as somebody keeps it.
  std::weak_ptr<Store> store;
  std::weak_ptr<Preferences> preferences;

  /// An interface behind those that are there already.
  void addInterface(const std::string& name, bool active, const std::vector<std::string>& addresses = {}) {
    names_.emplace_back(name);
    set("State:/Network/Interface", JVFoundation::Dictionary{{"Interfaces", names_}});
    set("State:/Network/Interface/" + name + "/Link", JVFoundation::Dictionary{{"Active", active}});
    if (addresses.empty()) return;
    Value::Array texts(addresses.begin(), addresses.end());
    set("State:/Network/Interface/" + name + "/IPv4", JVFoundation::Dictionary{{"Addresses", std::move(texts)}});
  }
  void set(const std::string& key, Value value) {
    std::erase_if(values, [&](const auto& entry) { return entry.first == key; });
    values.emplace_back(key, std::move(value));
  }
  void clear() {
    names_.clear();
    values.clear();
  }

  std::optional<std::string> SCDynamicStoreCopyComputerName() override {
    record("name");
    return computerName;
  }
  JVPlatform::SCDynamicStoreRef SCDynamicStoreCreate(std::optional<std::string_view> name,
                                                     JVPlatform::SCDynamicStoreCallBack callBack) override {
    record("store " + std::string(name.value_or("(null)")) + (callBack ? " with callback" : ""));
    if (!hasStore) return nullptr;
    auto made = std::make_shared<Store>();
    made->callBack = std::move(callBack);
    if (made->callBack) store = made;
    return made;
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
    if (!hasPattern) return std::nullopt;
    return std::string(domain) + "/Network/Service/" + std::string(service) + "/" + std::string(entity);
  }
  std::optional<Value> SCDynamicStoreCopyValue(const JVPlatform::SCDynamicStoreRef&, std::string_view key) override {
    record("copy " + std::string(key));
    for (const auto& [known, value] : values) {
      if (known == key) return value;
    }
    return std::nullopt;
  }
  bool SCDynamicStoreSetNotificationKeys(const JVPlatform::SCDynamicStoreRef&, std::span<const std::string> keys,
                                         std::span<const std::string> patterns) override {
    std::string step = "watch";
    for (const std::string& key : keys) step += " key " + key;
    for (const std::string& pattern : patterns) step += " " + pattern;
    record(std::move(step));
    return true;
  }
  std::shared_ptr<JVPlatform::RunLoopSource> SCDynamicStoreCreateRunLoopSource(
      const JVPlatform::SCDynamicStoreRef& of) override {
    record("store source");
    if (!hasSource) return nullptr;
    const auto own = std::static_pointer_cast<Store>(of);
    auto source = std::make_shared<FakeRunLoopSource>();
    source->handler = [own] { own->callBack(); };
    storeSource = source;
    return source;
  }
  JVPlatform::SCPreferencesRef SCPreferencesCreate(std::optional<std::string_view> name) override {
    record("preferences " + std::string(name.value_or("(null)")));
    if (!hasPreferences) return nullptr;
    auto made = std::make_shared<Preferences>();
    preferences = made;
    return made;
  }
  bool SCPreferencesSetCallback(const JVPlatform::SCPreferencesRef& of,
                                JVPlatform::SCPreferencesCallBack callBack) override {
    record(of ? "callback" : "callback of none");
    if (of) static_cast<Preferences&>(*of).callBack = std::move(callBack);
    return of != nullptr;
  }
  std::shared_ptr<JVPlatform::RunLoopSource> SCPreferencesScheduleWithRunLoop(
      const JVPlatform::SCPreferencesRef& of) override {
    record(of ? "schedule" : "schedule none");
    if (!of || !hasSource) return nullptr;
    const auto own = std::static_pointer_cast<Preferences>(of);
    own->source = std::make_shared<FakeRunLoopSource>();
    own->source->handler = [callBack = own->callBack, kinds = &kinds] { callBack(*kinds); };
    return own->source;
  }
  bool SCPreferencesUnscheduleFromRunLoop(const JVPlatform::SCPreferencesRef& of) override {
    record(of ? "unschedule" : "unschedule none");
    return of != nullptr;
  }

  // What happens. It is heard when the main run loop is drained next.
  std::uint32_t kinds = 0;
  std::weak_ptr<FakeRunLoopSource> storeSource;
  void changePreferences(std::uint32_t bits) {
    kinds = bits;
    preferences.lock()->source->happen();
  }
  void changeStore() const { storeSource.lock()->happen(); }

 private:
  void record(std::string step) { steps.push_back(std::move(step)); }

  Value::Array names_;
};

}  // namespace jvtest
