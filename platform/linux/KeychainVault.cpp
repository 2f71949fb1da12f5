#include <JorvaneFoundation/platform/KeychainVault.h>

#include <string>
#include <utility>

#include "foundation/formatting.h"
#include "platform/KeychainMessages.h"
#include "platform/VaultModule.h"
#include "platform/linux/ModuleLoader.h"

namespace JVPlatform {
namespace {

using JVFoundation::NSError;

NSError cannotOpen(OSStatus status, std::string suggestion) {
  return {JVFoundation::NSOSStatusErrorDomain,
          status,
          {{std::string(JVFoundation::NSLocalizedDescriptionKey), "The vault cannot be opened"},
           {std::string(JVFoundation::NSLocalizedRecoverySuggestionErrorKey), std::move(suggestion)}}};
}

std::shared_ptr<Keychain> open(std::string_view path, jv::VaultSecret secret, VaultFile file,
                               std::optional<NSError>* error) {
  std::optional<NSError> failure;
  std::shared_ptr<Keychain> keychain;
  if (const auto* const vault = jv::module<jv::VaultModule>("vault")) {
    OSStatus status = errSecSuccess;
    keychain = vault->open(path, secret, file, status);
    if (!keychain) failure = cannotOpen(status, std::string(jv::orNull(jv::keychainMessage(status))));
  } else {
    failure = cannotOpen(errSecNotAvailable, jv::moduleProblem("vault"));
  }
  if (error) *error = std::move(failure);
  return keychain;
}

}  // namespace

std::shared_ptr<Keychain> openVault(std::string_view path, std::string_view passphrase, VaultFile file,
                                    std::optional<NSError>* error) {
  const std::span bytes(reinterpret_cast<const std::uint8_t*>(passphrase.data()), passphrase.size());
  return open(path, {jv::VaultSecret::Kind::passphrase, bytes}, file, error);
}

std::shared_ptr<Keychain> openVault(std::string_view path, std::span<const std::uint8_t, 32> key, VaultFile file,
                                    std::optional<NSError>* error) {
  return open(path, {jv::VaultSecret::Kind::key, key}, file, error);
}

}  // namespace JVPlatform
