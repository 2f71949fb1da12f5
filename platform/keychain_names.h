/// The names under which the keychain's query and its answers keep things.
#pragma once

#include <cstdint>
#include <string_view>

namespace JVPlatform {

/// Entries of an item query.
inline constexpr std::string_view kSecClass = "class";
inline constexpr std::string_view kSecClassInternetPassword = "inet";
inline constexpr std::string_view kSecClassGenericPassword = "genp";
inline constexpr std::string_view kSecReturnAttributes = "r_Attributes";
inline constexpr std::string_view kSecMatchLimit = "m_Limit";
inline constexpr std::string_view kSecMatchLimitAll = "m_LimitAll";
inline constexpr std::string_view kSecAttrServer = "srvr";
inline constexpr std::string_view kSecAttrAccount = "acct";
inline constexpr std::string_view kSecAttrProtocol = "ptcl";
inline constexpr std::string_view kSecAttrService = "svce";

/// The tag of an item's label in an attribute list: the characters l, a, b, l.
inline constexpr std::uint32_t kSecLabelItemAttr = 0x6C61626C;

// clang-format off
/// Protocols, by the scheme of their URLs where they have one.
inline constexpr std::string_view kSecAttrProtocolFTP        = "ftp";
inline constexpr std::string_view kSecAttrProtocolFTPAccount = "ftp-account";
inline constexpr std::string_view kSecAttrProtocolHTTP       = "http";
inline constexpr std::string_view kSecAttrProtocolIRC        = "irc";
inline constexpr std::string_view kSecAttrProtocolNNTP       = "nntp";
inline constexpr std::string_view kSecAttrProtocolPOP3       = "pop";
inline constexpr std::string_view kSecAttrProtocolSMTP       = "smtp";
inline constexpr std::string_view kSecAttrProtocolSOCKS      = "socks";
inline constexpr std::string_view kSecAttrProtocolIMAP       = "imap";
inline constexpr std::string_view kSecAttrProtocolLDAP       = "ldap";
inline constexpr std::string_view kSecAttrProtocolAppleTalk  = "at";
inline constexpr std::string_view kSecAttrProtocolAFP        = "afp";
inline constexpr std::string_view kSecAttrProtocolTelnet     = "telnet";
inline constexpr std::string_view kSecAttrProtocolSSH        = "ssh";
inline constexpr std::string_view kSecAttrProtocolFTPS       = "ftps";
inline constexpr std::string_view kSecAttrProtocolHTTPS      = "https";
inline constexpr std::string_view kSecAttrProtocolHTTPProxy  = "http-proxy";
inline constexpr std::string_view kSecAttrProtocolHTTPSProxy = "https-proxy";
inline constexpr std::string_view kSecAttrProtocolFTPProxy   = "ftp-proxy";
inline constexpr std::string_view kSecAttrProtocolSMB        = "smb";
inline constexpr std::string_view kSecAttrProtocolRTSP       = "rtsp";
inline constexpr std::string_view kSecAttrProtocolRTSPProxy  = "rtsp-proxy";
inline constexpr std::string_view kSecAttrProtocolDAAP       = "daap";
inline constexpr std::string_view kSecAttrProtocolEPPC       = "eppc";
inline constexpr std::string_view kSecAttrProtocolIPP        = "ipp";
inline constexpr std::string_view kSecAttrProtocolNNTPS      = "nntps";
inline constexpr std::string_view kSecAttrProtocolLDAPS      = "ldaps";
inline constexpr std::string_view kSecAttrProtocolTelnetS    = "telnets";
inline constexpr std::string_view kSecAttrProtocolIMAPS      = "imaps";
inline constexpr std::string_view kSecAttrProtocolIRCS       = "ircs";
inline constexpr std::string_view kSecAttrProtocolPOP3S      = "pops";

/// Ways of proving who one is.
inline constexpr std::string_view kSecAttrAuthenticationTypeNTLM       = "ntlm";
inline constexpr std::string_view kSecAttrAuthenticationTypeMSN        = "msn";
inline constexpr std::string_view kSecAttrAuthenticationTypeDPA        = "dpa";
inline constexpr std::string_view kSecAttrAuthenticationTypeRPA        = "rpa";
inline constexpr std::string_view kSecAttrAuthenticationTypeHTTPBasic  = "basic";
inline constexpr std::string_view kSecAttrAuthenticationTypeHTTPDigest = "digest";
inline constexpr std::string_view kSecAttrAuthenticationTypeHTMLForm   = "form";
inline constexpr std::string_view kSecAttrAuthenticationTypeDefault    = "default";
// clang-format on

}  // namespace JVPlatform
