/// What the tests of the password functions share.
#pragma once

#include <JorvaneFoundation/keychain/JVKeychain.h>
#include <gmock/gmock.h>

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "support/installed.h"

namespace jvtest {

using Error = std::optional<JVFoundation::NSError>;
using InstalledKeychain = InUse<JVPlatform::installKeychain>;

inline constexpr std::string_view kReading = "Error reading credentials from the keychain";

inline std::span<const std::uint8_t> bytes(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// "account=password " each, in order; "-" for nothing at all.
inline std::string shown(const std::optional<JVFoundation::Value>& passwords) {
  if (!passwords) return "-";
  std::string text;
  for (const auto& [account, password] : *passwords->dictionary()) {
    const std::string bytes(password.data()->begin(), password.data()->end());
    text.append(account).append("=").append(bytes).append(" ");
  }
  return text;
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
inline std::string readAll(std::string_view service) { return shown(JVKeychain::genericPasswordsWithService(service)); }

/// Saves and reads names that are no UTF-8, which are other names than those that are cut to the same bytes.
inline void expectNamesThatAreNoTextToBelongToTheirOwnItems() {
  EXPECT_EQ(saveGeneric("p", "s", "a\xC3\xA9"), 0);
  std::string expected = "a\xC3=p ";
  for (const std::string& name : {std::string(), std::string("a\0b", 3), std::string("\xFF"), std::string("\xFF\xFE"),
                                  std::string("FFFE"), std::string("x\ny")}) {
    EXPECT_EQ(saveGeneric("p", "s", name), 0);
    expected += name + "=p ";
  }
  EXPECT_EQ(readAll("s"), expected);
  for (const char* password : {"1", "2"}) {
    EXPECT_EQ(save(password, "\xFF", "\xFF"), 0) << "its label is no text either";
    EXPECT_EQ(JVKeychain::passwordForHost("\xFF", "\xFF", JVKeychainProtocolAny), password);
  }
}

MATCHER_P2(IsStatus, description, status, "") {
  return arg && arg->domain() == "NSOSStatusErrorDomain" && arg->code() == status &&
         arg->localizedDescription() == description;
}

}  // namespace jvtest
