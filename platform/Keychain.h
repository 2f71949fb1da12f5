/// What `keychain/` asks of the platform: to find, add, change and remove the items of the user's keychain.
///
/// Every operation gives a status: 0, or what went wrong. None throws. Any thread, any number
/// at once; a call blocks as long as the keychain takes to answer, and while the user is asked for the keychain's
/// password. Texts are bytes with a length, which may stop short of the text's end; what they hold passes unchanged.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include <JorvaneFoundation/foundation/JVExport.h>
#include <JorvaneFoundation/foundation/Value.h>
#include <JorvaneFoundation/platform/keychain_names.h>

namespace JVPlatform {

using OSStatus = std::int32_t;

/// What the implementations of this library report. Each has a message of its own.
enum KeychainStatus : OSStatus {
  errSecSuccess = 0,
  errSecIO = -36,                        ///< the vault's file system failed, or others keep the vault locked
  errSecDiskFull = -34,                  ///< no room for the vault
  errSecParam = -50,                     ///< what was handed in cannot be stored or asked for
  errSecWrPerm = -61,                    ///< the vault belongs to others, or others may write to it
  errSecAllocate = -108,                 ///< no memory
  errSecUserCanceled = -128,             ///< the user refused to unlock the keychain
  errSecInternalComponent = -2070,       ///< the password service answered what nobody expects
  errSecNotAvailable = -25291,           ///< there is no keychain; nothing was stored
  errSecReadOnly = -25292,               ///< the collection cannot be written to
  errSecAuthFailed = -25293,             ///< access was refused, or the vault has another key
  errSecNoSuchKeychain = -25294,         ///< there is no such vault
  errSecInvalidKeychain = -25295,        ///< the vault is damaged
  errSecDuplicateItem = -25299,          ///< an item with these attributes is there already
  errSecItemNotFound = -25300,           ///< there is no such item
  errSecNoSuchClass = -25306,            ///< a query was answered by something other than items
  errSecNoDefaultKeychain = -25307,      ///< there is no default collection, and none could be made
  errSecInteractionNotAllowed = -25308,  ///< the keychain stays locked: no display to ask on, or the service left it so
  errSecServiceNotAvailable = -67585,    ///< no answer to the end, or no sync: what was done, or stays done, is unknown
};

/// A stored item, from the operation that gave it until it is handed back.
using SecKeychainItemRef = struct SecKeychainItem*;

/// An attribute to be written: a tag such as `kSecLabelItemAttr`, and bytes.
struct SecKeychainAttribute {
  std::uint32_t tag = 0;
  std::uint32_t length = 0;
  const void* data = nullptr;
};

/// Which keychain it is, for people, and whether it can be read without asking the user.
struct KeychainState {
  std::string description;
  bool isUnlocked = false;
};

/// The user's keychain. What it hands out (query results, item references, password bytes) is handed back to it, each
/// exactly once.
class JV_EXPORT Keychain {
 public:
  Keychain() = default;
  Keychain(const Keychain&) = delete;
  Keychain& operator=(const Keychain&) = delete;
  virtual ~Keychain();

  /// Finds every item that has all attributes of @p query.
  /// @param query   `kSecClass` and one of `kSecAttrServer` and `kSecAttrService` at least; also `kSecAttrAccount` and
  ///                `kSecAttrProtocol`. An empty text is looked for as such. Always with `kSecReturnAttributes` and
  ///                `kSecMatchLimitAll`.
  /// @param result  an array with a dictionary an item, oldest first: texts under "srvr", "sdmn", "acct", "path",
  ///                "ptcl", "atyp", "svce" and "labl", and a number under "port"; an attribute that the item lacks is
  ///                missing. Texts are the bytes that were stored, UTF-8 or not: whoever looked the item up again
  ///                without one would be answered by another item. For `CFRelease`. Null with a status other than 0.
  virtual OSStatus SecItemCopyMatching(const JVFoundation::Dictionary& query, const JVFoundation::Value** result) = 0;

  /// Finds the oldest internet password with exactly these attributes: what is empty here is missing or empty in the
  /// item, and 0 is a port that is missing or 0, a protocol or authentication type that is missing or has no code.
  /// A call between `SecItemCopyMatching` and the `CFRelease` of its result, on the same thread, may be answered by
  /// what was read for it.
  /// @param passwordLength  null, or for the number of bytes; written together with @p passwordData
  /// @param passwordData    null, or for the password, which is never null with status 0. For
  ///                        `SecKeychainItemFreeContent`.
  /// @param item            null, or for the item. For `CFRelease`.
  virtual OSStatus SecKeychainFindInternetPassword(std::uint32_t serverNameLength, const char* serverName,
                                                   std::uint32_t securityDomainLength, const char* securityDomain,
                                                   std::uint32_t accountNameLength, const char* accountName,
                                                   std::uint32_t pathLength, const char* path, std::uint16_t port,
                                                   std::uint32_t protocol, std::uint32_t authenticationType,
                                                   std::uint32_t* passwordLength, void** passwordData,
                                                   SecKeychainItemRef* item) = 0;

  /// Adds an internet password to the default keychain, labelled with its server. An item with the same attributes
  /// gives `errSecDuplicateItem`, and nothing is added.
  /// @param item  null, or for the new item. For `CFRelease`.
  virtual OSStatus SecKeychainAddInternetPassword(std::uint32_t serverNameLength, const char* serverName,
                                                  std::uint32_t securityDomainLength, const char* securityDomain,
                                                  std::uint32_t accountNameLength, const char* accountName,
                                                  std::uint32_t pathLength, const char* path, std::uint16_t port,
                                                  std::uint32_t protocol, std::uint32_t authenticationType,
                                                  std::uint32_t passwordLength, const void* passwordData,
                                                  SecKeychainItemRef* item) = 0;

  /// As for internet passwords.
  virtual OSStatus SecKeychainFindGenericPassword(std::uint32_t serviceNameLength, const char* serviceName,
                                                  std::uint32_t accountNameLength, const char* accountName,
                                                  std::uint32_t* passwordLength, void** passwordData,
                                                  SecKeychainItemRef* item) = 0;

  /// As for internet passwords; the label is the service.
  virtual OSStatus SecKeychainAddGenericPassword(std::uint32_t serviceNameLength, const char* serviceName,
                                                 std::uint32_t accountNameLength, const char* accountName,
                                                 std::uint32_t passwordLength, const void* passwordData,
                                                 SecKeychainItemRef* item) = 0;

  /// Gives @p item a new password and the attributes of @p attributes, of which only the label can change. The
  /// password comes first: when the label cannot be written, the status says so and the password is stored.
  virtual OSStatus SecKeychainItemModifyAttributesAndData(SecKeychainItemRef item,
                                                          std::span<const SecKeychainAttribute> attributes,
                                                          std::uint32_t length, const void* data) = 0;

  /// Removes @p item from the keychain; the reference is still to be handed back.
  virtual OSStatus SecKeychainItemDelete(SecKeychainItemRef item) = 0;

  /// Hands back the bytes of a password, which are overwritten. Null is harmless.
  virtual OSStatus SecKeychainItemFreeContent(void* data) = 0;

  /// Hands back a query result or an item. Null is harmless.
  virtual void CFRelease(const JVFoundation::Value* result) = 0;
  virtual void CFRelease(SecKeychainItemRef item) = 0;

  /// Describes the keychain. Never asks the user for anything.
  virtual OSStatus SecKeychainGetStatus(KeychainState& state) = 0;

  /// What @p status means, as one sentence or two; none for one that is not in `KeychainStatus`.
  [[nodiscard]] virtual std::optional<std::string> SecCopyErrorMessageString(OSStatus status) const;
};

/// The implementation in use: at first the desktop's password service, or, where it cannot be talked to, one that
/// reports `errSecNotAvailable` for everything.
JV_EXPORT std::shared_ptr<Keychain> keychain();

/// Puts @p other in its place and gives back the one before; none brings back the first one.
JV_EXPORT std::shared_ptr<Keychain> installKeychain(std::shared_ptr<Keychain> other);

}  // namespace JVPlatform
