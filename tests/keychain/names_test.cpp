#include <JorvaneFoundation/keychain/JVKeychain.h>
#include <JorvaneFoundation/platform/Keychain.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace {

using namespace JVPlatform;

TEST(KeychainNames, GiveTheirCodesExactly) {
  using Text = std::optional<std::string_view>;
  const struct {
    Text name;
    std::uint32_t protocol, authentication;
  } cases[] = {
      {kSecAttrProtocolFTP, 0x66747020, 0},
      {kSecAttrProtocolFTPS, 0x66747073, 0},
      {kSecAttrProtocolSOCKS, 0x736F7820, 0},
      {kSecAttrAuthenticationTypeNTLM, 0, 0x6D6C746E},
      {"Ftp", 0, 0},
      {std::nullopt, 0, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name.value_or("(none)"));
    EXPECT_EQ(JVKeychain::protocolTypeForProtocolName(c.name), c.protocol);
    EXPECT_EQ(JVKeychain::authenticationTypeForAuthenticationName(c.name), c.authentication);
  }
}

TEST(KeychainError, HasTwoTextsAndTheStatus) {
  const auto error = JVKeychain::errorWithDescription("what was tried.", -25300);
  EXPECT_EQ(error.domain(), "NSOSStatusErrorDomain");
  EXPECT_EQ(error.code(), -25300);
  EXPECT_EQ(error.localizedDescription(), "what was tried.");
  EXPECT_EQ(
      error.localizedRecoverySuggestion(),
      "The operation couldn’t be completed. (NSOSStatusErrorDomain error -25300.). The keychain has no such item.");
  EXPECT_TRUE(JVKeychain::errorWithDescription("", -1).localizedRecoverySuggestion()->ends_with("error -1.). (null)"));
}

}  // namespace
