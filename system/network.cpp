// JVUtilities: the network.

#include <JorvaneFoundation/system/JVUtilities.h>

#include <vector>

#include <JorvaneFoundation/platform/SystemConfiguration.h>
#include <JorvaneFoundation/system/NSProcessInfo.h>

namespace {

using JVFoundation::Value;
using namespace JVPlatform;

/// A connection to the store, and what it says.
class Store {
 public:
  explicit Store(std::string_view name)
      : platform_(systemConfiguration()), store_(platform_->SCDynamicStoreCreate(name, nullptr)) {}

  explicit operator bool() const { return store_ != nullptr; }

  [[nodiscard]] std::vector<std::string> interfaces() const {
    return textsIn(value(platform_->SCDynamicStoreKeyCreateNetworkInterface(kSCDynamicStoreDomainState)),
                   kSCDynamicStorePropNetInterfaces);
  }
  [[nodiscard]] bool isActive(std::string_view interface) const {
    const auto link = value(entityKey(interface, kSCEntNetLink));
    const auto* const active = link ? link->number(kSCPropNetLinkActive) : nullptr;
    return active && active->boolValue();
  }
  [[nodiscard]] std::vector<std::string> addresses(std::string_view interface) const {
    return textsIn(value(entityKey(interface, kSCEntNetIPv4)), kSCPropNetIPv4Addresses);
  }

 private:
  [[nodiscard]] std::optional<Value> value(std::string_view key) const {
    return platform_->SCDynamicStoreCopyValue(store_, key);
  }
  [[nodiscard]] std::string entityKey(std::string_view interface, std::string_view entity) const {
    return platform_->SCDynamicStoreKeyCreateNetworkInterfaceEntity(kSCDynamicStoreDomainState, interface, entity);
  }
  /// The array of texts under @p key. What is of another kind counts as missing, an empty text too.
  static std::vector<std::string> textsIn(const std::optional<Value>& dictionary, std::string_view key) {
    std::vector<std::string> texts;
    const Value* const found = dictionary ? dictionary->find(key) : nullptr;
    const Value::Array* const array = found ? found->array() : nullptr;
    if (!array) return texts;
    for (const Value& value : *array) {
      if (const std::string* const text = value.text(); text && !text->empty()) texts.push_back(*text);
    }
    return texts;
  }

  std::shared_ptr<SystemConfiguration> platform_;
  SCDynamicStoreRef store_;
};

}  // namespace

std::string JVUtilities::ipAddress(std::string* interfaceName) {
  std::string name = "en0";
  std::string address = "127.0.0.1";
  if (const Store store(JVFoundation::NSProcessInfo::processInfo().processName()); store) {
    for (const std::string& interface : store.interfaces()) {
      if (!store.isActive(interface)) continue;
      name = interface;
      if (const auto addresses = store.addresses(interface); !addresses.empty()) address = addresses.front();
      break;
    }
  }
  if (interfaceName) *interfaceName = name;
  return address;
}
