/// A keychain in memory that can be told to fail, writes down what it is asked, and counts what it has handed out.
#pragma once

#include <JorvaneFoundation/keychain/JVKeychain.h>
#include <JorvaneFoundation/platform/Keychain.h>

#include "support/installed.h"

#include <cstdint>
#include <cstring>
#include <deque>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace jvtest {

class FakeKeychain final : public JVPlatform::Keychain {
 public:
  using OSStatus = JVPlatform::OSStatus;
  using Dictionary = JVFoundation::Dictionary;
  using Value = JVFoundation::Value;

  struct Item {
    Dictionary attributes;  ///< by their four-letter keys, "class" included
    std::string password;
  };

  std::vector<Item> items;
  // What to answer in place of the truth.
  std::optional<OSStatus> queryStatus;
  std::deque<std::optional<OSStatus>> queryStatuses;  ///< one a query; before `queryStatus`
  std::optional<Value> queryAnswer;
  bool queryGivesNothing = false;                      ///< status 0 without a result
  std::deque<std::optional<OSStatus>> lookupStatuses;  ///< one a lookup
  std::optional<OSStatus> addStatus;
  std::optional<OSStatus> modifyStatus;
  bool lookupForgetsLength = false;  ///< a failing lookup leaves a length behind

  std::vector<std::string> calls;
  std::vector<std::string> queryKeys;  ///< of the last query, in order

  /// What was handed out and not handed back. Whatever is handed back twice, or was never handed out, is an `abuse`.
  [[nodiscard]] std::size_t outstanding() const { return results_.size() + references_.size() + bytes_.size(); }
  int abuses = 0;

  ~FakeKeychain() override {
    for (void* bytes : bytes_) operator delete(bytes);
  }

  Item& add(Dictionary attributes, std::string password) {
    items.push_back({std::move(attributes), std::move(password)});
    return items.back();
  }

  OSStatus SecItemCopyMatching(const Dictionary& query, const Value** result) override {
    queryKeys.clear();
    std::string call = "query";
    for (const auto& [key, value] : query) {
      queryKeys.push_back(key);
      if (const std::string* text = value.text(); text && key.size() == 4)
        call.append(" ").append(key).append("=").append(*text);
    }
    calls.push_back(call);
    *result = nullptr;
    if (const auto status = next(queryStatuses)) return *status;
    if (queryStatus) return *queryStatus;
    if (queryGivesNothing) return 0;
    Value::Array found;
    for (const Item& item : items) {
      if (isMatch(item, query)) found.emplace_back(item.attributes);
    }
    if (found.empty() && !queryAnswer) return JVPlatform::errSecItemNotFound;
    *result = new Value(queryAnswer ? *queryAnswer : Value(std::move(found)));
    results_.insert(*result);
    return 0;
  }

  OSStatus SecKeychainFindInternetPassword(std::uint32_t serverLength, const char* server, std::uint32_t domainLength,
                                           const char* domain, std::uint32_t accountLength, const char* account,
                                           std::uint32_t pathLength, const char* path, std::uint16_t port,
                                           std::uint32_t protocol, std::uint32_t authentication,
                                           std::uint32_t* passwordLength, void** passwordData,
                                           JVPlatform::SecKeychainItemRef* reference) override {
    record({"find", shown(serverLength, server), shown(domainLength, domain), shown(accountLength, account),
            shown(pathLength, path), std::to_string(port), std::to_string(protocol), std::to_string(authentication),
            wanted(passwordLength && passwordData, reference)});
    return find(passwordLength, passwordData, reference, [&](const Dictionary& item) {
      const auto* const number = item.find("port") ? item.find("port")->number() : nullptr;
      return isText(item, "class", "inet") && isText(item, "srvr", {server, serverLength}) &&
             isText(item, "sdmn", {domain, domainLength}) && isText(item, "acct", {account, accountLength}) &&
             isText(item, "path", {path, pathLength}) &&
             (number ? static_cast<std::uint16_t>(number->intValue()) : 0) == port &&
             JVKeychain::protocolTypeForProtocolName(text(item, "ptcl")) == protocol &&
             JVKeychain::authenticationTypeForAuthenticationName(text(item, "atyp")) == authentication;
    });
  }

  OSStatus SecKeychainAddInternetPassword(std::uint32_t serverLength, const char* server, std::uint32_t domainLength,
                                          const char* domain, std::uint32_t accountLength, const char* account,
                                          std::uint32_t pathLength, const char* path, std::uint16_t port,
                                          std::uint32_t protocol, std::uint32_t authentication,
                                          std::uint32_t passwordLength, const void* passwordData,
                                          JVPlatform::SecKeychainItemRef* reference) override {
    record({"add", shown(serverLength, server), shown(domainLength, domain), shown(accountLength, account),
            shown(pathLength, path), std::to_string(port), std::to_string(protocol), std::to_string(authentication),
            bytesOf(passwordLength, passwordData), wanted(false, reference)});
    return addItem("inet", "srvr", {server, serverLength}, {account, accountLength},
                   bytesOf(passwordLength, passwordData), reference);
  }

  OSStatus SecKeychainFindGenericPassword(std::uint32_t serviceLength, const char* service, std::uint32_t accountLength,
                                          const char* account, std::uint32_t* passwordLength, void** passwordData,
                                          JVPlatform::SecKeychainItemRef* reference) override {
    record({"find", shown(serviceLength, service), shown(accountLength, account),
            wanted(passwordLength && passwordData, reference)});
    return find(passwordLength, passwordData, reference, [&](const Dictionary& item) {
      return isText(item, "class", "genp") && isText(item, "svce", {service, serviceLength}) &&
             isText(item, "acct", {account, accountLength});
    });
  }

  OSStatus SecKeychainAddGenericPassword(std::uint32_t serviceLength, const char* service, std::uint32_t accountLength,
                                         const char* account, std::uint32_t passwordLength, const void* passwordData,
                                         JVPlatform::SecKeychainItemRef* reference) override {
    record({"add", shown(serviceLength, service), shown(accountLength, account), bytesOf(passwordLength, passwordData),
            wanted(false, reference)});
    return addItem("genp", "svce", {service, serviceLength}, {account, accountLength},
                   bytesOf(passwordLength, passwordData), reference);
  }

  OSStatus SecKeychainItemModifyAttributesAndData(JVPlatform::SecKeychainItemRef item,
                                                  std::span<const JVPlatform::SecKeychainAttribute> attributes,
                                                  std::uint32_t length, const void* data) override {
    std::string written;
    for (const auto& attribute : attributes) {
      written.append(std::to_string(attribute.tag)).append("=").append(bytesOf(attribute.length, attribute.data));
    }
    record({"modify", written, bytesOf(length, data)});
    if (modifyStatus) return *modifyStatus;
    Item& found = items.at(*reinterpret_cast<std::size_t*>(item));
    found.attributes.set("labl", bytesOf(attributes[0].length, attributes[0].data));
    found.password = bytesOf(length, data);
    return 0;
  }

  OSStatus SecKeychainItemDelete(JVPlatform::SecKeychainItemRef) override { return JVPlatform::errSecParam; }

  OSStatus SecKeychainItemFreeContent(void* data) override {
    calls.emplace_back("free");
    handBack(bytes_, data);
    operator delete(data);
    return 0;
  }
  void CFRelease(const Value* result) override {
    calls.emplace_back("release result");
    handBack(results_, result);
    delete result;
  }
  void CFRelease(JVPlatform::SecKeychainItemRef item) override {
    calls.emplace_back("release item");
    handBack(references_, item);
    delete reinterpret_cast<std::size_t*>(item);
  }
  OSStatus SecKeychainGetStatus(JVPlatform::KeychainState& state) override {
    state = {"fake", true};
    return 0;
  }

 private:
  static std::string bytesOf(std::uint32_t length, const void* bytes) {
    return length == 0 ? "" : std::string(static_cast<const char*>(bytes), length);
  }
  /// The length and as many of the bytes; a hyphen where there are none at all.
  static std::string shown(std::uint32_t length, const char* bytes) {
    std::string text = std::to_string(length);
    return bytes ? text.append(":").append(bytes, length) : text.append("-");
  }
  static std::string wanted(bool bytes, const void* item) { return bytes ? "bytes" : item ? "item" : ""; }
  /// Writes down the words of a call, empty ones at the end left out.
  void record(const std::vector<std::string>& words) {
    std::string call;
    for (const std::string& word : words) {
      if (!word.empty() || &word != &words.back()) call.append(call.empty() ? "" : " ").append(word);
    }
    calls.push_back(std::move(call));
  }
  static std::optional<OSStatus> next(std::deque<std::optional<OSStatus>>& statuses) {
    if (statuses.empty()) return std::nullopt;
    const auto status = statuses.front();
    statuses.pop_front();
    return status;
  }
  static std::optional<std::string_view> text(const Dictionary& item, std::string_view key) {
    const Value* value = item.find(key);
    const std::string* found = value ? value->text() : nullptr;
    return found ? std::optional<std::string_view>(*found) : std::nullopt;
  }
  static bool isText(const Dictionary& item, std::string_view key, std::string_view expected) {
    return text(item, key).value_or("") == expected;
  }
  static bool isMatch(const Item& item, const Dictionary& query) {
    for (const auto& [key, value] : query) {
      if (key == "r_Attributes" || key == "m_Limit") continue;
      const Value* own = item.attributes.find(key);
      if (own == nullptr || *own != value) return false;
    }
    return true;
  }

  template <class Condition>
  OSStatus find(std::uint32_t* length, void** data, JVPlatform::SecKeychainItemRef* reference, Condition isWanted) {
    if (const auto status = next(lookupStatuses); status && *status != 0) {
      if (lookupForgetsLength && length) *length = 1000;
      return *status;
    }
    for (std::size_t at = 0; at < items.size(); ++at) {
      if (!isWanted(items[at].attributes)) continue;
      if (data != nullptr) {
        const std::string& password = items[at].password;
        *length = static_cast<std::uint32_t>(password.size());
        *data = operator new(password.size() + 1);
        std::memcpy(*data, password.data(), password.size());
        bytes_.insert(*data);
      }
      refer(at, reference);
      return 0;
    }
    return JVPlatform::errSecItemNotFound;
  }

  /// @param key  what @p name is called in an item of the class @p kind
  OSStatus addItem(const char* kind, const char* key, const std::string& name, const std::string& account,
                   std::string password, JVPlatform::SecKeychainItemRef* reference) {
    if (addStatus) return *addStatus;
    add({{"class", kind}, {key, name}, {"acct", account}, {"labl", name}}, std::move(password));
    refer(items.size() - 1, reference);
    return 0;
  }

  void refer(std::size_t at, JVPlatform::SecKeychainItemRef* reference) {
    if (reference == nullptr) return;
    *reference = reinterpret_cast<JVPlatform::SecKeychainItemRef>(new std::size_t(at));
    references_.insert(*reference);
  }

  template <class Pointer>
  void handBack(std::set<Pointer>& handedOut, Pointer one) {
    if (handedOut.erase(one) == 0) ++abuses;
  }

  std::set<const Value*> results_;
  std::set<JVPlatform::SecKeychainItemRef> references_;
  std::set<void*> bytes_;
};

using InstalledKeychain = InUse<JVPlatform::installKeychain>;

}  // namespace jvtest
