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

#include "fakes/FakeKeychain.h"

namespace jvtest {

using Error = std::optional<JVFoundation::NSError>;

inline constexpr std::string_view kReading = "Error reading credentials from the keychain";
inline constexpr std::string_view kWriting = "Error writing credentials into the keychain";
inline constexpr std::string_view kWritting = "Error writting credentials into the keychain";

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
  using testing::ElementsAre;
  EXPECT_EQ(saveGeneric("empty's", "s", ""), 0);
  EXPECT_EQ(saveGeneric("byte's", "s", "\xFF"), 0);
  EXPECT_EQ(saveGeneric("cut's", "s", "a\xC3\xA9"), 0) << "cut to 61 C3";
  EXPECT_EQ(saveGeneric("byte's own", "s", "\xFF"), 0);
  EXPECT_THAT(readAll("s"), ElementsAre("=empty's", "\xFF=byte's own", "a\xC3=cut's"));

  EXPECT_EQ(save("h's", "h", ""), 0);
  for (const char* password : {"1", "2"}) {
    EXPECT_EQ(save(password, "h", "\xFF"), 0);
    EXPECT_EQ(save(password, "\xFF", "u"), 0) << "its label is no text either";
    EXPECT_EQ(JVKeychain::passwordForHost("h", "\xFF", JVKeychainProtocolAny), password);
    EXPECT_EQ(JVKeychain::passwordForHost("\xFF", "u", JVKeychainProtocolAny), password);
  }
  EXPECT_EQ(JVKeychain::passwordForHost("h", "", JVKeychainProtocolAny), "h's");
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

MATCHER_P2(IsMalformed, description, suggestion, "") {
  return arg && arg->domain() == "NSPOSIXErrorDomain" && arg->code() == 1 &&
         arg->userInfo() == JVFoundation::Value(JVFoundation::Dictionary{
                                {"NSLocalizedDescriptionKey", std::string(description)},
                                {"NSLocalizedRecoverySuggestionErrorKey", std::string(suggestion)}});
}

/// Checks after each test that everything went back to the keychain once.
class OnFakeKeychain : public testing::Test {
 protected:
  void TearDown() override {
    EXPECT_EQ(keychain.outstanding(), 0U);
    EXPECT_EQ(keychain.abuses, 0);
  }

  /// The calls but those that hand things back.
  std::vector<std::string> asked() const {
    std::vector<std::string> some;
    for (const std::string& call : keychain.calls) {
      if (call != "free" && !call.starts_with("release")) some.push_back(call);
    }
    return some;
  }

  std::shared_ptr<FakeKeychain> shared = std::make_shared<FakeKeychain>();
  FakeKeychain& keychain = *shared;
  InstalledKeychain installed{shared};
  Error error = someError();
};

}  // namespace jvtest
