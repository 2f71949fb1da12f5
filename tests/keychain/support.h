/// What the tests of the password functions share.
#pragma once

#include <JorvaneFoundation/keychain/JVKeychain.h>
#include <gmock/gmock.h>

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "support/installed.h"

namespace jvtest {

using Error = std::optional<JVFoundation::NSError>;
using InstalledKeychain = InUse<JVPlatform::installKeychain>;

inline constexpr std::string_view kReading = "Error reading credentials from the keychain";

inline Error someError() { return JVFoundation::NSError("stale", 42); }

inline std::span<const std::uint8_t> bytes(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

inline std::string textOf(const JVFoundation::Value* data) {
  if (data == nullptr || data->data() == nullptr) return "(no data)";
  return {data->data()->begin(), data->data()->end()};
}

/// "account=password" each, in order.
inline std::vector<std::string> shown(const std::optional<JVFoundation::Value>& passwords) {
  if (!passwords) return {"(none)"};
  std::vector<std::string> lines;
  for (const auto& [account, password] : *passwords->dictionary()) {
    lines.push_back(std::string(account).append("=").append(textOf(&password)));
  }
  return lines;
}

// What tests of the real keychains do, as short as can be. Saving gives the status, which is 0 when it is stored.

inline std::int64_t save(std::string_view password, std::string_view host, std::string_view user,
                         std::int64_t protocol = JVKeychainProtocolAny) {
  Error error;
  return JVKeychain::savePassword(password, host, user, protocol, &error) ? 0 : error->code();
}
inline std::int64_t saveGeneric(std::string_view password, std::string_view service, std::string_view account) {
  Error error;
  return JVKeychain::saveGenericPassword(bytes(password), service, account, "/", &error) ? 0 : error->code();
}
inline std::vector<std::string> readAll(std::string_view service) {
  return shown(JVKeychain::genericPasswordsWithService(service));
}

/// Saves and reads names that are no UTF-8, which are other names than those that are cut to the same bytes.
inline void expectNamesThatAreNoTextToBelongToTheirOwnItems() {
  const std::string names[] = {"",     "\xFF", "a\xC3\xA9",           "\xFF\xFE", "FFFE", "\u00E9\xFF",
                               "x\ny", " ",    std::string("a\0b", 3)};
  std::vector<std::string> expected;
  for (const std::string& name : names) {
    EXPECT_EQ(saveGeneric(std::to_string(expected.size()), "s", name), 0);
    const std::string kept = name == "a\xC3\xA9" ? "a\xC3" : name;  // as long as its UTF-16 is
    expected.push_back(kept + "=" + std::to_string(expected.size()));
  }
  EXPECT_EQ(readAll("s"), expected);
  for (const char* password : {"1", "2"}) {
    EXPECT_EQ(save(password, "h", "\xFF"), 0);
    EXPECT_EQ(save(password, "\xFF", "u"), 0) << "its label is no text either";
    EXPECT_EQ(JVKeychain::passwordForHost("h", "\xFF", JVKeychainProtocolAny), password);
    EXPECT_EQ(JVKeychain::passwordForHost("\xFF", "u", JVKeychainProtocolAny), password);
  }
}

/// Has another thread delete an item that this one has listed and holds on to.
inline void expectADeletedItemNotToBeFound() {
  using namespace JVPlatform;
  for (const char* account : {"a", "b"}) EXPECT_EQ(saveGeneric(account, "s", account), 0);
  const auto keychain = JVPlatform::keychain();
  const auto find = [&](SecKeychainItemRef* item) {
    return keychain->SecKeychainFindGenericPassword(1, "s", 1, "a", nullptr, nullptr, item);
  };
  const JVFoundation::Value* listed = nullptr;
  SecKeychainItemRef kept = nullptr, item = nullptr;
  EXPECT_EQ(keychain->SecItemCopyMatching({{"class", "genp"}, {"svce", "s"}}, &listed), 0);
  EXPECT_EQ(find(&kept), 0);
  std::thread([&] {
    EXPECT_EQ(find(&item), 0);
    EXPECT_EQ(keychain->SecKeychainItemDelete(item), 0);
    keychain->CFRelease(item);
  }).join();
  void* data = nullptr;
  std::uint32_t length = 0;
  EXPECT_EQ(keychain->SecKeychainFindGenericPassword(1, "s", 1, "a", &length, &data, nullptr), errSecItemNotFound);
  EXPECT_EQ(keychain->SecKeychainItemModifyAttributesAndData(kept, {}, 1, "x"), errSecItemNotFound);
  EXPECT_EQ(keychain->SecKeychainItemDelete(kept), errSecItemNotFound);
  keychain->CFRelease(kept);
  keychain->CFRelease(listed);
  EXPECT_EQ(readAll("s"), std::vector<std::string>{"b=b"});
}

MATCHER_P2(IsStatus, description, status, "") {
  return arg && arg->domain() == "NSOSStatusErrorDomain" && arg->code() == status &&
         arg->localizedDescription() == description;
}

}  // namespace jvtest
