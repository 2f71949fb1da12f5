// The passwords of internet accounts. A query lists the items, then each is looked up again by all its attributes.
#include <memory>
#include <string>
#include <utility>

#include <JorvaneFoundation/keychain/JVKeychain.h>
#include <JorvaneFoundation/platform/Keychain.h>

#include "foundation/formatting.h"
#include "foundation/secret.h"
#include "keychain/counted_text.h"
#include "keychain/descriptions.h"
#include "keychain/platform_owners.h"
#include "platform/keychain_codes.h"

namespace {

using namespace JVPlatform;
using jv::CountedText;
using jv::textIn;
using JVFoundation::Dictionary;
using JVFoundation::NSError;
using JVFoundation::Value;
using Text = std::optional<std::string_view>;

/// What a new item gets.
constexpr std::uint32_t kDefaultAuthentication =
    jv::codeOf(jv::kAuthenticationTypes, kSecAttrAuthenticationTypeDefault);

struct Selector {
  std::string_view name;  ///< empty: no restriction
  std::uint32_t code = 0;
};

Selector selectorOf(std::int64_t protocol) {
  switch (protocol) {
    case JVKeychainProtocolFTP:
      return {kSecAttrProtocolFTP, jv::fourCharCode("ftp ")};
    case JVKeychainProtocolFTPS:
      return {kSecAttrProtocolFTPS, jv::fourCharCode("ftps")};
    default:
      return {};
  }
}

Dictionary itemQuery(std::string_view host, std::string_view username, std::string_view protocol) {
  const auto key = [](std::string_view name) { return std::string(name); };
  Dictionary query{{key(kSecReturnAttributes), true}, {key(kSecAttrServer), host}, {key(kSecAttrAccount), username}};
  if (!protocol.empty()) query.set(key(kSecAttrProtocol), protocol);
  query.set(key(kSecMatchLimit), kSecMatchLimitAll).set(key(kSecClass), kSecClassInternetPassword);
  return query;
}

/// An item by all its attributes, as the query reported them.
struct InternetItem {
  InternetItem(const JVKeychain::Class& names, const Value& attributes)
      : server(textIn(attributes, "srvr")),
        securityDomain(textIn(attributes, "sdmn")),
        account(textIn(attributes, "acct")),
        path(textIn(attributes, "path")),
        protocol(names.protocolTypeForProtocolName(textIn(attributes, "ptcl"))),
        authentication(names.authenticationTypeForAuthenticationName(textIn(attributes, "atyp"))) {
    if (const JVFoundation::NSNumber* number = attributes.number("port")) {
      port = static_cast<std::uint16_t>(number->intValue());  // the low 16 bits, whatever the number
    }
  }

  OSStatus find(Keychain& keychain, std::uint32_t* length, void** data, SecKeychainItemRef* item) const {
    return keychain.SecKeychainFindInternetPassword(server.length, server.bytes, securityDomain.length,
                                                    securityDomain.bytes, account.length, account.bytes, path.length,
                                                    path.bytes, port, protocol, authentication, length, data, item);
  }

  CountedText server, securityDomain, account, path;
  std::uint16_t port = 0;
  std::uint32_t protocol = 0;
  std::uint32_t authentication = 0;
};

NSError malformed(std::string_view description, std::string suggestion) {
  return {JVFoundation::NSPOSIXErrorDomain,
          1,
          {{std::string(JVFoundation::NSLocalizedDescriptionKey), description},
           {std::string(JVFoundation::NSLocalizedRecoverySuggestionErrorKey), std::move(suggestion)}}};
}

NSError malformedHost(std::string_view description, std::string_view what, Text host) {
  std::string suggestion(what);
  suggestion += " for malformed host \"";
  suggestion += jv::orNull(host);
  return malformed(description, suggestion + "\".");
}

struct Reading {
  jv::Secret<std::string> password;
  bool isFound = false;
  std::optional<NSError> error;
};

Reading failedReading(NSError error) {
  Reading reading;
  reading.error = std::move(error);
  return reading;
}

/// The first of @p items whose password is a text.
Reading readFirst(const JVKeychain::Class& methods, Keychain& keychain, const Value::Array& items) {
  for (const Value& attributes : items) {
    jv::ReturnedBytes bytes(keychain);
    const OSStatus status =
        InternetItem(methods, attributes).find(keychain, bytes.lengthOut(), bytes.dataOut(), nullptr);
    // An item that is not found again counts as one with an empty password.
    if (status != errSecSuccess && status != errSecItemNotFound) {
      return failedReading(methods.errorWithDescription(jv::kErrorReading, status));
    }
    Reading reading;
    // By a pointer to characters: from other iterators a text makes a temporary one, which nobody wipes.
    reading.password->assign(reinterpret_cast<const char*>(bytes.bytes().data()), bytes.bytes().size());
    reading.isFound = jv::isUtf8(*reading.password);
    if (reading.isFound) return reading;
  }
  return {};
}

Reading read(const JVKeychain::Class& methods, Text host, std::string_view username, std::int64_t protocol) {
  if (!host || host->empty()) {
    return failedReading(malformedHost(jv::kErrorReading, "Cannot read passwords from the keychain", host));
  }
  const std::shared_ptr<Keychain> keychain = JVPlatform::keychain();
  jv::QueryResult result(*keychain);
  const OSStatus status = result.find(itemQuery(*host, username, selectorOf(protocol).name));
  if (status != errSecSuccess && status != errSecItemNotFound) {
    return failedReading(methods.errorWithDescription(jv::kErrorReading, status));
  }
  if (result.isMissing()) return {};
  if (result.array() == nullptr) {
    return failedReading(methods.errorWithDescription(jv::kErrorReading, errSecNoSuchClass));
  }
  return readFirst(methods, *keychain, *result.array());
}

using Saving = std::optional<NSError>;

/// Gives a found item the password, and its own label once more.
Saving replacePassword(const JVKeychain::Class& methods, jv::ItemReference& item, Text label,
                       std::span<const std::uint8_t> password) {
  if (!label || label->empty()) {
    return malformed(jv::kErrorWriting, "Cannot write password into the keychain for malformed item label.");
  }
  const OSStatus status = item.modify(*label, password);
  if (status != errSecSuccess) return methods.errorWithDescription(jv::kErrorWritting, status);
  return std::nullopt;
}

Saving add(const JVKeychain::Class& methods, Keychain& keychain, std::string_view host, std::string_view username,
           std::uint32_t protocol, std::span<const std::uint8_t> password) {
  const CountedText server{host}, account{username}, noDomain, emptyPath{""};
  const OSStatus status = keychain.SecKeychainAddInternetPassword(
      server.length, server.bytes, noDomain.length, noDomain.bytes, account.length, account.bytes, emptyPath.length,
      emptyPath.bytes, 0, protocol, kDefaultAuthentication, static_cast<std::uint32_t>(password.size()),
      password.data(), nullptr);
  if (status != errSecSuccess) return methods.errorWithDescription(jv::kErrorWriting, status);
  return std::nullopt;
}

Saving save(const JVKeychain::Class& methods, std::span<const std::uint8_t> password, Text host,
            std::string_view username, std::int64_t protocol) {
  if (!host || host->empty()) {
    return malformedHost(jv::kErrorWriting, "Cannot write password into the keychain", host);
  }
  if (password.size() > jv::kMostBytes) return methods.errorWithDescription(jv::kErrorWriting, errSecParam);
  const std::shared_ptr<Keychain> keychain = JVPlatform::keychain();
  const Selector selector = selectorOf(protocol);
  jv::QueryResult result(*keychain);
  const OSStatus status = result.find(itemQuery(*host, username, selector.name));
  if (status != errSecSuccess && status != errSecItemNotFound) {
    return methods.errorWithDescription(jv::kErrorWriting, status);
  }
  // What is no array is as good as nothing here.
  const Value::Array none;
  for (const Value& attributes : result.array() ? *result.array() : none) {
    jv::ItemReference item(*keychain);
    const OSStatus found = InternetItem(methods, attributes).find(*keychain, nullptr, nullptr, item.out());
    if (found == errSecItemNotFound) continue;
    if (found != errSecSuccess) return methods.errorWithDescription(jv::kErrorWritting, found);
    return replacePassword(methods, item, textIn(attributes, "labl"), password);
  }
  return add(methods, *keychain, *host, username, selector.code, password);
}

}  // namespace

std::optional<std::string> JVKeychain::Class::passwordForHost(Text host, std::string_view username,
                                                              std::int64_t protocol,
                                                              std::optional<NSError>* error) const {
  std::optional<std::string> found;
  Reading reading = read(*this, host, username, protocol);
  if (error) *error = std::move(reading.error);
  // Short texts lie in the object itself: moving would leave them in each object on the way.
  if (reading.isFound) found.emplace().swap(*reading.password);
  return found;
}

bool JVKeychain::Class::savePassword(Text password, Text host, std::string_view username, std::int64_t protocol,
                                     std::optional<NSError>* error) const {
  const std::string_view text = password.value_or("");
  const std::span bytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
  Saving failure = save(*this, bytes, host, username, protocol);
  const bool isSaved = !failure;
  if (error) *error = std::move(failure);
  return isSaved;
}
