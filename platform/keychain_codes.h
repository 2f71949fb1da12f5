/// The four-character codes that belong to the names of protocols and authentication types.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include <JorvaneFoundation/platform/keychain_names.h>

namespace jv {

struct NameCode {
  std::string_view name;
  std::uint32_t code;
};

/// The first character is the most significant byte.
constexpr std::uint32_t fourCharCode(const char (&characters)[5]) {
  std::uint32_t code = 0;
  for (int at = 0; at < 4; ++at) code = code << 8 | static_cast<std::uint8_t>(characters[at]);
  return code;
}

// clang-format off
constexpr auto kProtocols = std::to_array<NameCode>({
    {JVPlatform::kSecAttrProtocolFTP,        fourCharCode("ftp ")},
    {JVPlatform::kSecAttrProtocolFTPAccount, fourCharCode("ftpa")},
    {JVPlatform::kSecAttrProtocolHTTP,       fourCharCode("http")},
    {JVPlatform::kSecAttrProtocolIRC,        fourCharCode("irc ")},
    {JVPlatform::kSecAttrProtocolNNTP,       fourCharCode("nntp")},
    {JVPlatform::kSecAttrProtocolPOP3,       fourCharCode("pop3")},
    {JVPlatform::kSecAttrProtocolSMTP,       fourCharCode("smtp")},
    {JVPlatform::kSecAttrProtocolSOCKS,      fourCharCode("sox ")},
    {JVPlatform::kSecAttrProtocolIMAP,       fourCharCode("imap")},
    {JVPlatform::kSecAttrProtocolLDAP,       fourCharCode("ldap")},
    {JVPlatform::kSecAttrProtocolAppleTalk,  fourCharCode("atlk")},
    {JVPlatform::kSecAttrProtocolAFP,        fourCharCode("afp ")},
    {JVPlatform::kSecAttrProtocolTelnet,     fourCharCode("teln")},
    {JVPlatform::kSecAttrProtocolSSH,        fourCharCode("ssh ")},
    {JVPlatform::kSecAttrProtocolFTPS,       fourCharCode("ftps")},
    {JVPlatform::kSecAttrProtocolHTTPS,      fourCharCode("htps")},
    {JVPlatform::kSecAttrProtocolHTTPProxy,  fourCharCode("htpx")},
    {JVPlatform::kSecAttrProtocolHTTPSProxy, fourCharCode("htsx")},
    {JVPlatform::kSecAttrProtocolFTPProxy,   fourCharCode("ftpx")},
    {JVPlatform::kSecAttrProtocolSMB,        fourCharCode("smb ")},
    {JVPlatform::kSecAttrProtocolRTSP,       fourCharCode("rtsp")},
    {JVPlatform::kSecAttrProtocolRTSPProxy,  fourCharCode("rtsx")},
    {JVPlatform::kSecAttrProtocolDAAP,       fourCharCode("daap")},
    {JVPlatform::kSecAttrProtocolEPPC,       fourCharCode("eppc")},
    {JVPlatform::kSecAttrProtocolIPP,        fourCharCode("ipp ")},
    {JVPlatform::kSecAttrProtocolNNTPS,      fourCharCode("ntps")},
    {JVPlatform::kSecAttrProtocolLDAPS,      fourCharCode("ldps")},
    {JVPlatform::kSecAttrProtocolTelnetS,    fourCharCode("tels")},
    {JVPlatform::kSecAttrProtocolIMAPS,      fourCharCode("imps")},
    {JVPlatform::kSecAttrProtocolIRCS,       fourCharCode("ircs")},
    {JVPlatform::kSecAttrProtocolPOP3S,      fourCharCode("pops")},
});

// Unlike protocols, authentication types are kept back to front: NTLM is 0x6D6C746E.
constexpr auto kAuthenticationTypes = std::to_array<NameCode>({
    {JVPlatform::kSecAttrAuthenticationTypeNTLM,       fourCharCode("mltn")},
    {JVPlatform::kSecAttrAuthenticationTypeMSN,        fourCharCode("ansm")},
    {JVPlatform::kSecAttrAuthenticationTypeDPA,        fourCharCode("aapd")},
    {JVPlatform::kSecAttrAuthenticationTypeRPA,        fourCharCode("aapr")},
    {JVPlatform::kSecAttrAuthenticationTypeHTTPBasic,  fourCharCode("ptth")},
    {JVPlatform::kSecAttrAuthenticationTypeHTTPDigest, fourCharCode("dtth")},
    {JVPlatform::kSecAttrAuthenticationTypeHTMLForm,   fourCharCode("mrof")},
    {JVPlatform::kSecAttrAuthenticationTypeDefault,    fourCharCode("tlfd")},
});
// clang-format on

/// The code of the first row that bears exactly @p name; 0, which means "any", when there is none.
constexpr std::uint32_t codeOf(std::span<const NameCode> rows, std::optional<std::string_view> name) {
  const auto row = std::ranges::find(rows, name, &NameCode::name);
  return row == rows.end() ? 0 : row->code;
}

/// The name of the first row with @p code; empty when there is none.
constexpr std::string_view nameOf(std::span<const NameCode> rows, std::uint32_t code) {
  const auto row = std::ranges::find(rows, code, &NameCode::code);
  return row == rows.end() ? std::string_view() : row->name;
}

static_assert(codeOf(kProtocols, JVPlatform::kSecAttrProtocolFTP) == 0x66747020);
static_assert(codeOf(kAuthenticationTypes, JVPlatform::kSecAttrAuthenticationTypeNTLM) == 0x6D6C746E);

}  // namespace jv
