#include "keychain_items.h"

#include <memory>

#include <JorvaneFoundation/keychain/JVKeychain.h>

namespace jv {
namespace {

using namespace JVPlatform;
using JVFoundation::Dictionary;
using JVFoundation::Value;

/// A text of an item's attributes, empty when it is missing.
struct Text {
  Text(const Value& item, std::string_view key) {
    if (const std::string* text = item.text(key)) {
      bytes = text->data();
      length = static_cast<std::uint32_t>(text->size());
    }
  }
  const char* bytes = nullptr;
  std::uint32_t length = 0;
};

OSStatus find(Keychain& keychain, const Value& item, std::uint32_t* length, void** data, SecKeychainItemRef* found) {
  const Text account(item, "acct");
  if (item.find("svce") != nullptr) {
    const Text service(item, "svce");
    return keychain.SecKeychainFindGenericPassword(service.length, service.bytes, account.length, account.bytes, length,
                                                   data, found);
  }
  const Text server(item, "srvr"), domain(item, "sdmn"), path(item, "path");
  const auto name = [&](std::string_view key) -> std::optional<std::string_view> {
    const std::string* const text = item.text(key);
    return text ? std::optional<std::string_view>(*text) : std::nullopt;
  };
  const JVFoundation::NSNumber* const port = item.number("port");
  return keychain.SecKeychainFindInternetPassword(
      server.length, server.bytes, domain.length, domain.bytes, account.length, account.bytes, path.length, path.bytes,
      static_cast<std::uint16_t>(port ? port->intValue() : 0), JVKeychain::protocolTypeForProtocolName(name("ptcl")),
      JVKeychain::authenticationTypeForAuthenticationName(name("atyp")), length, data, found);
}

}  // namespace

OSStatus findItems(const ItemChoice& choice, std::vector<Value>& items) {
  Dictionary query{{std::string(kSecReturnAttributes), true}, {std::string(kSecMatchLimit), kSecMatchLimitAll}};
  const auto set = [&](std::string_view key, const std::optional<std::string>& text) {
    if (text) query.set(std::string(key), *text);
  };
  query.set(std::string(kSecClass), choice.host ? kSecClassInternetPassword : kSecClassGenericPassword);
  set(kSecAttrServer, choice.host);
  set(kSecAttrService, choice.service);
  set(kSecAttrAccount, choice.host ? choice.user : choice.account);
  set(kSecAttrProtocol, choice.protocol);

  const std::shared_ptr<Keychain> keychain = JVPlatform::keychain();
  const Value* result = nullptr;
  const OSStatus status = keychain->SecItemCopyMatching(query, &result);
  if (status == errSecItemNotFound) return errSecSuccess;
  if (status != errSecSuccess) return status;
  if (result != nullptr && result->array() != nullptr) items = *result->array();
  keychain->CFRelease(result);
  return errSecSuccess;
}

OSStatus readPassword(const Value& item, SecretText& password) {
  const std::shared_ptr<Keychain> keychain = JVPlatform::keychain();
  std::uint32_t length = 0;
  void* data = nullptr;
  const OSStatus status = find(*keychain, item, &length, &data, nullptr);
  if (status != errSecSuccess) return status;
  password.text.assign(static_cast<const char*>(data), length);
  keychain->SecKeychainItemFreeContent(data);
  return errSecSuccess;
}

OSStatus deleteItem(const Value& item) {
  const std::shared_ptr<Keychain> keychain = JVPlatform::keychain();
  SecKeychainItemRef found = nullptr;
  const OSStatus status = find(*keychain, item, nullptr, nullptr, &found);
  if (status != errSecSuccess) return status;
  const OSStatus deleted = keychain->SecKeychainItemDelete(found);
  keychain->CFRelease(found);
  return deleted;
}

}  // namespace jv
