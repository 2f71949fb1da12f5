/// What all keychains share: the wide operations in terms of few narrow ones, and bytes that are wiped. Header-only,
/// for modules.
#pragma once

#include <string.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <span>
#include <string_view>

#include <JorvaneFoundation/platform/Keychain.h>

namespace jv {

enum class ItemClass : std::uint8_t { internet = 1, generic = 2 };

/// An item by all that tells it from others. Bytes of any kind; empty is the same as missing.
struct ItemKey {
  ItemClass kind = ItemClass::generic;
  std::string_view name{};  ///< the server or service
  std::string_view account{};
  std::string_view securityDomain{};
  std::string_view path{};
  std::uint16_t port = 0;
  std::uint32_t protocol = 0;
  std::uint32_t authentication = 0;
};

/// What items have to have; what is missing here does not matter.
struct ItemQuery {
  ItemClass kind = ItemClass::generic;
  std::string_view name;
  std::optional<std::string_view> account;
  std::optional<std::string_view> protocol;
};

/// Why an operation of a keychain ends early: thrown inside, a status outside.
struct KeychainFailure {
  JVPlatform::OSStatus status;
};

/// Calls the operations below with their arguments in order, and turns what they throw into statuses.
class KeychainByKey : public JVPlatform::Keychain {
 public:
  using OSStatus = JVPlatform::OSStatus;
  using ItemRef = JVPlatform::SecKeychainItemRef;
  using Bytes = std::span<const std::uint8_t>;

  OSStatus SecItemCopyMatching(const JVFoundation::Dictionary& query, const JVFoundation::Value** result) final {
    *result = nullptr;
    return guarded([&] { return copyMatching(readQuery(query), *result); });
  }

  OSStatus SecKeychainFindInternetPassword(std::uint32_t serverNameLength, const char* serverName,
                                           std::uint32_t securityDomainLength, const char* securityDomain,
                                           std::uint32_t accountNameLength, const char* accountName,
                                           std::uint32_t pathLength, const char* path, std::uint16_t port,
                                           std::uint32_t protocol, std::uint32_t authenticationType,
                                           std::uint32_t* passwordLength, void** passwordData, ItemRef* item) final {
    const ItemKey key =
        internetKey({serverName, serverNameLength}, {securityDomain, securityDomainLength},
                    {accountName, accountNameLength}, {path, pathLength}, port, protocol, authenticationType);
    return guarded([&] { return find(key, passwordLength, passwordData, item); });
  }

  OSStatus SecKeychainAddInternetPassword(std::uint32_t serverNameLength, const char* serverName,
                                          std::uint32_t securityDomainLength, const char* securityDomain,
                                          std::uint32_t accountNameLength, const char* accountName,
                                          std::uint32_t pathLength, const char* path, std::uint16_t port,
                                          std::uint32_t protocol, std::uint32_t authenticationType,
                                          std::uint32_t passwordLength, const void* passwordData, ItemRef* item) final {
    const ItemKey key =
        internetKey({serverName, serverNameLength}, {securityDomain, securityDomainLength},
                    {accountName, accountNameLength}, {path, pathLength}, port, protocol, authenticationType);
    return guarded([&] { return add(key, bytes(passwordData, passwordLength), item); });
  }

  OSStatus SecKeychainFindGenericPassword(std::uint32_t serviceNameLength, const char* serviceName,
                                          std::uint32_t accountNameLength, const char* accountName,
                                          std::uint32_t* passwordLength, void** passwordData, ItemRef* item) final {
    const ItemKey key = genericKey({serviceName, serviceNameLength}, {accountName, accountNameLength});
    return guarded([&] { return find(key, passwordLength, passwordData, item); });
  }

  OSStatus SecKeychainAddGenericPassword(std::uint32_t serviceNameLength, const char* serviceName,
                                         std::uint32_t accountNameLength, const char* accountName,
                                         std::uint32_t passwordLength, const void* passwordData, ItemRef* item) final {
    const ItemKey key = genericKey({serviceName, serviceNameLength}, {accountName, accountNameLength});
    return guarded([&] { return add(key, bytes(passwordData, passwordLength), item); });
  }

  OSStatus SecKeychainItemModifyAttributesAndData(ItemRef item,
                                                  std::span<const JVPlatform::SecKeychainAttribute> attributes,
                                                  std::uint32_t length, const void* data) final {
    return guarded([&] {
      std::optional<std::string_view> label;
      for (const JVPlatform::SecKeychainAttribute& attribute : attributes) {
        if (attribute.tag != JVPlatform::kSecLabelItemAttr) throw KeychainFailure{JVPlatform::errSecParam};
        label = std::string_view(static_cast<const char*>(attribute.data), attribute.length);
      }
      return modify(item, label, bytes(data, length));
    });
  }

  OSStatus SecKeychainItemDelete(ItemRef item) final {
    return guarded([&] { return remove(item); });
  }

  OSStatus SecKeychainItemFreeContent(void* data) final {
    if (data == nullptr) return JVPlatform::errSecSuccess;
    auto* const block = static_cast<std::uint8_t*>(data) - kBlockHead;
    std::size_t size = 0;
    std::memcpy(&size, block, sizeof size);
    explicit_bzero(block, kBlockHead + size);
    std::free(block);
    return JVPlatform::errSecSuccess;
  }

  OSStatus SecKeychainGetStatus(JVPlatform::KeychainState& state) final {
    return guarded([&] { return describe(state); });
  }

 protected:
  virtual OSStatus copyMatching(const ItemQuery& query, const JVFoundation::Value*& result) = 0;
  /// Each of the outputs may be null; length and bytes go together.
  virtual OSStatus find(const ItemKey& key, std::uint32_t* length, void** data, ItemRef* item) = 0;
  virtual OSStatus add(const ItemKey& key, Bytes password, ItemRef* item) = 0;
  virtual OSStatus modify(ItemRef item, std::optional<std::string_view> label, Bytes password) = 0;
  virtual OSStatus remove(ItemRef item) = 0;
  virtual OSStatus describe(JVPlatform::KeychainState& state) = 0;

  /// Hands out a copy of @p password.
  static void handOut(Bytes password, std::uint32_t* length, void** data) {
    auto* const block = static_cast<std::uint8_t*>(std::malloc(kBlockHead + password.size()));
    if (block == nullptr) throw std::bad_alloc();
    const std::size_t size = password.size();
    std::memcpy(block, &size, sizeof size);
    if (size > 0) std::memcpy(block + kBlockHead, password.data(), size);
    *length = static_cast<std::uint32_t>(size);
    *data = block + kBlockHead;
  }

 private:
  static constexpr std::size_t kBlockHead = 16;  // holds the size, and keeps what follows aligned

  static ItemKey internetKey(std::string_view server, std::string_view securityDomain, std::string_view account,
                             std::string_view path, std::uint16_t port, std::uint32_t protocol,
                             std::uint32_t authentication) {
    return {ItemClass::internet, server, account, securityDomain, path, port, protocol, authentication};
  }

  static ItemKey genericKey(std::string_view service, std::string_view account) {
    return {.kind = ItemClass::generic, .name = service, .account = account};
  }

  static Bytes bytes(const void* data, std::uint32_t length) {
    return {static_cast<const std::uint8_t*>(data), length};
  }

  static ItemQuery readQuery(const JVFoundation::Dictionary& dictionary) {
    const auto text = [&](std::string_view key) -> std::optional<std::string_view> {
      const JVFoundation::Value* const value = dictionary.find(key);
      if (value == nullptr) return std::nullopt;
      if (const std::string* found = value->text()) return *found;
      throw KeychainFailure{JVPlatform::errSecParam};
    };
    const bool isInternet = text(JVPlatform::kSecClass) == JVPlatform::kSecClassInternetPassword;
    const bool isGeneric = text(JVPlatform::kSecClass) == JVPlatform::kSecClassGenericPassword;
    const auto name = text(isInternet ? JVPlatform::kSecAttrServer : JVPlatform::kSecAttrService);
    // A query for everything would read all that the user has.
    if (!name || (!isInternet && !isGeneric)) throw KeychainFailure{JVPlatform::errSecParam};
    return {isInternet ? ItemClass::internet : ItemClass::generic, *name, text(JVPlatform::kSecAttrAccount),
            isInternet ? text(JVPlatform::kSecAttrProtocol) : std::nullopt};
  }

  template <class Work>
  static OSStatus guarded(Work work) {
    try {
      return work();
    } catch (const KeychainFailure& failure) {
      return failure.status;
    } catch (const std::bad_alloc&) {
      return JVPlatform::errSecAllocate;
    } catch (...) {
      return JVPlatform::errSecInternalComponent;
    }
  }
};

}  // namespace jv
