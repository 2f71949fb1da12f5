#include <JorvaneFoundation/keychain/JVKeychain.h>

#include <JorvaneFoundation/platform/Keychain.h>

#include "foundation/formatting.h"
#include "platform/keychain_codes.h"

using JVFoundation::NSError;
using JVFoundation::Value;
using Text = std::optional<std::string_view>;

namespace {

const JVKeychain::Class& shared() {
  static const auto& methods = *new JVKeychain::Class;
  return methods;
}

}  // namespace

JVKeychain::Class::~Class() = default;

std::uint32_t JVKeychain::Class::protocolTypeForProtocolName(Text name) const {
  return jv::codeOf(jv::kProtocols, name);
}

std::uint32_t JVKeychain::Class::authenticationTypeForAuthenticationName(Text name) const {
  return jv::codeOf(jv::kAuthenticationTypes, name);
}

NSError JVKeychain::Class::errorWithDescription(std::string_view description, std::int32_t status) const {
  const NSError plain(JVFoundation::NSOSStatusErrorDomain, status);
  const std::optional<std::string> message = JVPlatform::keychain()->SecCopyErrorMessageString(status);
  std::string suggestion = plain.localizedDescription() + ". ";
  suggestion += jv::orNull(message);
  return {JVFoundation::NSOSStatusErrorDomain,
          status,
          {{std::string(JVFoundation::NSLocalizedDescriptionKey), description},
           {std::string(JVFoundation::NSLocalizedRecoverySuggestionErrorKey), std::move(suggestion)}}};
}

std::uint32_t JVKeychain::protocolTypeForProtocolName(Text name) { return shared().protocolTypeForProtocolName(name); }

std::uint32_t JVKeychain::authenticationTypeForAuthenticationName(Text name) {
  return shared().authenticationTypeForAuthenticationName(name);
}

NSError JVKeychain::errorWithDescription(std::string_view description, std::int32_t status) {
  return shared().errorWithDescription(description, status);
}

std::optional<std::string> JVKeychain::passwordForHost(Text host, std::string_view username, std::int64_t protocol,
                                                       std::optional<NSError>* error) {
  return shared().passwordForHost(host, username, protocol, error);
}

bool JVKeychain::savePassword(Text password, Text host, std::string_view username, std::int64_t protocol,
                              std::optional<NSError>* error) {
  return shared().savePassword(password, host, username, protocol, error);
}

std::optional<Value> JVKeychain::genericPasswordsWithService(std::string_view service, std::optional<NSError>* error) {
  return shared().genericPasswordsWithService(service, error);
}

Value JVKeychain::genericPasswordsWithAccounts(const std::vector<std::string>& accounts, std::string_view service,
                                               std::optional<NSError>* error) {
  return shared().genericPasswordsWithAccounts(accounts, service, error);
}

bool JVKeychain::saveGenericPassword(std::span<const std::uint8_t> password, std::string_view service,
                                     std::string_view account, Text separator, std::optional<NSError>* error) {
  return shared().saveGenericPassword(password, service, account, separator, error);
}
