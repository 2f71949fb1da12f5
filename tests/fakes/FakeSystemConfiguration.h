/// A store and preferences on paper: what they hold is set beforehand, what happens to them is a call of the test, and
/// what is set up and given back is written down.
#pragma once

#include <JorvaneFoundation/platform/SystemConfiguration.h>

#include <map>
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
  using Source = std::shared_ptr<JVPlatform::RunLoopSource>;
  using Name = std::optional<std::string_view>;

  struct Store final : JVPlatform::SCDynamicStore {
    JVPlatform::SCDynamicStoreCallBack callBack;
  };
  struct Preferences final : JVPlatform::SCPreferences {
    JVPlatform::SCPreferencesCallBack callBack;
    std::shared_ptr<FakeRunLoopSource> source;
  };

  // What there is.
  std::optional<std::string> computerName = "Box";
  std::map<std::string, Value, std::less<>> values;
  std::vector<std::string> steps;

  // What was made last, as long as somebody keeps it.
  std::weak_ptr<Preferences> preferences;
  std::weak_ptr<FakeRunLoopSource> storeSource;

  /// An interface behind those that are there already.
  void addInterface(const std::string& name, bool active, const Value::Array& addresses) {
    names_.emplace_back(name);
    set("State:/Network/Interface", JVFoundation::Dictionary{{"Interfaces", names_}});
    set("State:/Network/Interface/" + name + "/Link", JVFoundation::Dictionary{{"Active", active}});
    set("State:/Network/Interface/" + name + "/IPv4", JVFoundation::Dictionary{{"Addresses", addresses}});
  }
  void set(const std::string& key, Value value) { values.insert_or_assign(key, std::move(value)); }

  std::optional<std::string> SCDynamicStoreCopyComputerName() override { return computerName; }
  JVPlatform::SCDynamicStoreRef SCDynamicStoreCreate(Name name, JVPlatform::SCDynamicStoreCallBack callBack) override {
    if (callBack) steps.push_back("store " + std::string(name.value_or("(null)")));
    auto made = std::make_shared<Store>();
    made->callBack = std::move(callBack);
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
    return std::string(domain) + "/Network/Service/" + std::string(service) + "/" + std::string(entity);
  }
  std::optional<Value> SCDynamicStoreCopyValue(const JVPlatform::SCDynamicStoreRef&, std::string_view key) override {
    const auto found = values.find(key);
    return found == values.end() ? std::nullopt : std::optional(found->second);
  }
  bool SCDynamicStoreSetNotificationKeys(const JVPlatform::SCDynamicStoreRef&, std::span<const std::string>,
                                         std::span<const std::string> patterns) override {
    for (const std::string& pattern : patterns) steps.push_back("watch " + pattern);
    return true;
  }
  Source SCDynamicStoreCreateRunLoopSource(const JVPlatform::SCDynamicStoreRef& of) override {
    steps.emplace_back("source");
    auto source = std::make_shared<FakeRunLoopSource>();
    source->handler = [own = std::static_pointer_cast<Store>(of)] { own->callBack(); };
    storeSource = source;
    return source;
  }
  JVPlatform::SCPreferencesRef SCPreferencesCreate(Name name) override {
    steps.push_back("preferences " + std::string(name.value_or("(null)")));
    auto made = std::make_shared<Preferences>();
    preferences = made;
    return made;
  }
  bool SCPreferencesSetCallback(const JVPlatform::SCPreferencesRef& of,
                                JVPlatform::SCPreferencesCallBack callBack) override {
    steps.emplace_back("callback");
    static_cast<Preferences&>(*of).callBack = std::move(callBack);
    return true;
  }
  Source SCPreferencesScheduleWithRunLoop(const JVPlatform::SCPreferencesRef& of) override {
    steps.emplace_back("schedule");
    auto& own = static_cast<Preferences&>(*of);
    own.source = std::make_shared<FakeRunLoopSource>();
    own.source->handler = [callBack = own.callBack, this] { callBack(kinds_); };
    return own.source;
  }
  bool SCPreferencesUnscheduleFromRunLoop(const JVPlatform::SCPreferencesRef&) override {
    steps.emplace_back("unschedule");
    return true;
  }

  /// Heard when the main run loop is drained next.
  void changePreferences(std::uint32_t kinds) {
    kinds_ = kinds;
    preferences.lock()->source->happen();
  }

 private:
  std::uint32_t kinds_ = 0;
  Value::Array names_;
};

}  // namespace jvtest
