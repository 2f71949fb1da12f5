/// Passwords in the user's keychain: of internet accounts, and of an application's own services.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <JorvaneFoundation/foundation/JVExport.h>
#include <JorvaneFoundation/foundation/NSError.h>
#include <JorvaneFoundation/foundation/Value.h>

/// Which protocol an internet account is for. Every other number means the same as `JVKeychainProtocolAny`.
enum JVKeychainProtocol : std::int64_t {
  JVKeychainProtocolAny = 0,
  JVKeychainProtocolFTP = 1,
  JVKeychainProtocolFTPS = 2,
};

/// Reads and saves passwords. Keeps no state of its own; what is stored is stored in `JVPlatform::keychain()`.
///
/// Failures are never thrown: the error parameter, when given, is always written, with none when all went well or
/// nothing was found. Errors of the keychain have the domain `NSOSStatusErrorDomain` and its status as code, errors in
/// the arguments `NSPOSIXErrorDomain` and 1; both have texts for the user. std::bad_alloc is the only exception.
///
/// Saving changes the first item that matches, oldest first, and adds one when none does. Where items are looked up
/// again by their names, those names count as many bytes as they have UTF-16 units: a name outside ASCII is cut short
/// there, and an item with such a name does not find itself again (see each function). Use ASCII names. Names that are
/// no UTF-8 count all their bytes.
///
/// Threads: any, any number at once. A call blocks for a few exchanges with the keychain, and as long as the user is
/// asked to unlock it: keep it off the thread that serves the user interface. Copies of secrets that the library makes
/// are overwritten; what it returns is the caller's to overwrite.
class JV_EXPORT JVKeychain {
 public:
  /// The four-character code of a protocol, from the name under which the keychain reports it ("ftp" gives 0x66747020).
  /// @return  0, which means any protocol, for no name and for one that is not exactly one of the
  ///          `JVPlatform::kSecAttrProtocol…`
  [[nodiscard]] static std::uint32_t protocolTypeForProtocolName(std::optional<std::string_view> name);

  /// The same for authentication types (`JVPlatform::kSecAttrAuthenticationType…`), whose characters stand in reverse
  /// order: "ntlm" gives 0x6D6C746E.
  [[nodiscard]] static std::uint32_t authenticationTypeForAuthenticationName(std::optional<std::string_view> name);

  /// The error for a status of the keychain, with exactly two texts: @p description unchanged, and as suggestion the
  /// general text for the code, ". ", and what the keychain says about the status, or "(null)".
  [[nodiscard]] static JVFoundation::NSError errorWithDescription(std::string_view description, std::int32_t status);

  /// The password of an internet account.
  /// @param host      none or empty: an error, and the keychain is not asked.
  /// @param username  an empty one is looked for as such.
  /// @param protocol  a `JVKeychainProtocol`.
  /// @return  the password of the first item that is UTF-8. None when there is none, and after an error. An empty text
  ///          also when the keychain lists an item but does not find it again by its names, which is so for every name
  ///          outside ASCII.
  [[nodiscard]] static std::optional<std::string> passwordForHost(
      std::optional<std::string_view> host, std::string_view username, std::int64_t protocol,
      std::optional<JVFoundation::NSError>* error = nullptr);

  /// Saves the password of an internet account.
  /// @param password  none counts as empty, which is saved.
  /// @param host      none or empty: an error, and the keychain is not asked.
  /// @return  whether it is stored. An item that has no label cannot be changed, and is an error. For names outside
  ///          ASCII an item is stored under the names cut short, and a second time is `errSecDuplicateItem`.
  static bool savePassword(std::optional<std::string_view> password, std::optional<std::string_view> host,
                           std::string_view username, std::int64_t protocol,
                           std::optional<JVFoundation::NSError>* error = nullptr);

  /// All passwords of a service.
  /// @return  a dictionary from account, as the bytes that it is, to password (data); of several items of an account
  ///          the newest. Empty when there is none. None after an error.
  [[nodiscard]] static std::optional<JVFoundation::Value> genericPasswordsWithService(
      std::string_view service, std::optional<JVFoundation::NSError>* error = nullptr);

  /// The passwords of some accounts of a service.
  /// @param accounts  an empty text repeats the account before it; in front of all others, it stands for every account
  ///                  of the service.
  /// @return  a dictionary from the texts in @p accounts to passwords (data), those found before an error included.
  [[nodiscard]] static JVFoundation::Value genericPasswordsWithAccounts(
      const std::vector<std::string>& accounts, std::string_view service,
      std::optional<JVFoundation::NSError>* error = nullptr);

  /// Saves the password of an account of a service, and labels the item with service, separator and account.
  /// @param separator  none puts "(null)" into the label.
  /// @return  whether password and label are stored. After an error in the label of a new item the item is there all
  ///          the same.
  static bool saveGenericPassword(std::span<const std::uint8_t> password, std::string_view service,
                                  std::string_view account, std::optional<std::string_view> separator,
                                  std::optional<JVFoundation::NSError>* error = nullptr);

  /// The functions above as an object, for those who change what one of them does. The password functions reach the
  /// first three through it:
  ///
  ///     struct Keychain : JVKeychain::Class {
  ///       std::uint32_t protocolTypeForProtocolName(std::optional<std::string_view> name) const override;
  ///     };
  ///     Keychain().passwordForHost("ftp.example.org", "me", JVKeychainProtocolFTP);
  class JV_EXPORT Class {
   public:
    Class() = default;
    Class(const Class&) = delete;
    Class& operator=(const Class&) = delete;
    virtual ~Class();

    virtual std::uint32_t protocolTypeForProtocolName(std::optional<std::string_view> name) const;
    virtual std::uint32_t authenticationTypeForAuthenticationName(std::optional<std::string_view> name) const;
    virtual JVFoundation::NSError errorWithDescription(std::string_view description, std::int32_t status) const;

    virtual std::optional<std::string> passwordForHost(std::optional<std::string_view> host, std::string_view username,
                                                       std::int64_t protocol,
                                                       std::optional<JVFoundation::NSError>* error = nullptr) const;
    virtual bool savePassword(std::optional<std::string_view> password, std::optional<std::string_view> host,
                              std::string_view username, std::int64_t protocol,
                              std::optional<JVFoundation::NSError>* error = nullptr) const;

    virtual std::optional<JVFoundation::Value> genericPasswordsWithService(
        std::string_view service, std::optional<JVFoundation::NSError>* error = nullptr) const;
    virtual JVFoundation::Value genericPasswordsWithAccounts(
        const std::vector<std::string>& accounts, std::string_view service,
        std::optional<JVFoundation::NSError>* error = nullptr) const;
    virtual bool saveGenericPassword(std::span<const std::uint8_t> password, std::string_view service,
                                     std::string_view account, std::optional<std::string_view> separator,
                                     std::optional<JVFoundation::NSError>* error = nullptr) const;
  };
};
