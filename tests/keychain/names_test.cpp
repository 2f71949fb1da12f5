#include <JorvaneFoundation/keychain/JVKeychain.h>
#include <JorvaneFoundation/platform/Keychain.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <string_view>

#include "fakes/FakeKeychain.h"

namespace {

using namespace JVPlatform;

struct Row {
  std::string_view name;
  std::uint32_t code;
};

// clang-format off
constexpr Row kProtocols[] = {
    {kSecAttrProtocolFTP, 0x66747020},       {kSecAttrProtocolFTPAccount, 0x66747061},
    {kSecAttrProtocolHTTP, 0x68747470},      {kSecAttrProtocolIRC, 0x69726320},
    {kSecAttrProtocolNNTP, 0x6E6E7470},      {kSecAttrProtocolPOP3, 0x706F7033},
    {kSecAttrProtocolSMTP, 0x736D7470},      {kSecAttrProtocolSOCKS, 0x736F7820},
    {kSecAttrProtocolIMAP, 0x696D6170},      {kSecAttrProtocolLDAP, 0x6C646170},
    {kSecAttrProtocolAppleTalk, 0x61746C6B}, {kSecAttrProtocolAFP, 0x61667020},
    {kSecAttrProtocolTelnet, 0x74656C6E},    {kSecAttrProtocolSSH, 0x73736820},
    {kSecAttrProtocolFTPS, 0x66747073},      {kSecAttrProtocolHTTPS, 0x68747073},
    {kSecAttrProtocolHTTPProxy, 0x68747078}, {kSecAttrProtocolHTTPSProxy, 0x68747378},
    {kSecAttrProtocolFTPProxy, 0x66747078},  {kSecAttrProtocolSMB, 0x736D6220},
    {kSecAttrProtocolRTSP, 0x72747370},      {kSecAttrProtocolRTSPProxy, 0x72747378},
    {kSecAttrProtocolDAAP, 0x64616170},      {kSecAttrProtocolEPPC, 0x65707063},
    {kSecAttrProtocolIPP, 0x69707020},       {kSecAttrProtocolNNTPS, 0x6E747073},
    {kSecAttrProtocolLDAPS, 0x6C647073},     {kSecAttrProtocolTelnetS, 0x74656C73},
    {kSecAttrProtocolIMAPS, 0x696D7073},     {kSecAttrProtocolIRCS, 0x69726373},
    {kSecAttrProtocolPOP3S, 0x706F7073},
};
constexpr Row kAuthenticationTypes[] = {
    {kSecAttrAuthenticationTypeNTLM, 0x6D6C746E},      {kSecAttrAuthenticationTypeMSN, 0x616E736D},
    {kSecAttrAuthenticationTypeDPA, 0x61617064},       {kSecAttrAuthenticationTypeRPA, 0x61617072},
    {kSecAttrAuthenticationTypeHTTPBasic, 0x70747468}, {kSecAttrAuthenticationTypeHTTPDigest, 0x64747468},
    {kSecAttrAuthenticationTypeHTMLForm, 0x6D726F66},  {kSecAttrAuthenticationTypeDefault, 0x746C6664},
};
// clang-format on

/// Every row gives its code, and nothing near it gives any.
template <class Rows, class Lookup>
void check(const Rows& rows, Lookup code) {
  std::set<std::string_view> names;
  for (const Row& row : rows) EXPECT_TRUE(names.insert(row.name).second) << "a name of its own, not " << row.name;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(code(row.name), row.code);
    const std::string name(row.name), capital = static_cast<char>(name[0] - 'a' + 'A') + name.substr(1);
    for (const std::string& near : {capital, name + " ", name.substr(1), name + '\0'}) {
      EXPECT_TRUE(names.contains(near) || code(near) == 0) << near;
    }
  }
  EXPECT_EQ(code(std::nullopt), 0U);
  EXPECT_EQ(code(""), 0U);
}

TEST(KeychainNames, GiveTheirCodesExactly) {
  check(kProtocols, [](auto name) { return JVKeychain::protocolTypeForProtocolName(name); });
  check(kAuthenticationTypes, [](auto name) { return JVKeychain::authenticationTypeForAuthenticationName(name); });
}

TEST(KeychainError, HasTwoTextsAndTheStatus) {
  struct Case {
    const char* why;
    std::int32_t status;
    const char* message;
  };
  const Case cases[] = {
      {"not found", -25300, "The keychain has no such item."},
      {"success is a status as well", 0, "No error."},
      {"nobody knows it", -1, "(null)"},
      {"the least", INT32_MIN, "(null)"},
  };
  const jvtest::InstalledKeychain fake(std::make_shared<jvtest::FakeKeychain>());
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const auto error = JVKeychain::errorWithDescription("what was tried.", c.status);
    EXPECT_EQ(error.domain(), "NSOSStatusErrorDomain");
    EXPECT_EQ(error.code(), std::int64_t{c.status});
    EXPECT_EQ(error.localizedDescription(), "what was tried.");
    const std::string general = JVFoundation::NSError("NSOSStatusErrorDomain", c.status).localizedDescription();
    EXPECT_EQ(error.localizedRecoverySuggestion(), general + ". " + c.message);
    EXPECT_EQ(error.userInfo().dictionary()->size(), 2U);
  }
}

TEST(KeychainError, EveryStatusHasAMessageOfItsOwn) {
  const jvtest::FakeKeychain keychain;
  std::set<std::string> messages;
  for (const OSStatus status :
       {errSecSuccess, errSecIO, errSecDiskFull, errSecParam, errSecWrPerm, errSecAllocate, errSecUserCanceled,
        errSecInternalComponent, errSecNotAvailable, errSecReadOnly, errSecAuthFailed, errSecNoSuchKeychain,
        errSecInvalidKeychain, errSecDuplicateItem, errSecItemNotFound, errSecNoSuchClass, errSecNoDefaultKeychain,
        errSecInteractionNotAllowed, errSecServiceNotAvailable}) {
    const auto message = keychain.SecCopyErrorMessageString(status);
    ASSERT_TRUE(message) << status;
    EXPECT_TRUE(messages.insert(*message).second) << *message;
  }
}

}  // namespace
