#include <JorvaneFoundation/platform/Keychain.h>

#include <utility>

#include "platform/Defaults.h"
#include "platform/Facility.h"
#include "platform/KeychainMessages.h"

namespace JVPlatform {
namespace {

jv::Facility<Keychain>& facility() {
  static auto& shared = *new jv::Facility<Keychain>(jv::makeKeychain);
  return shared;
}

}  // namespace

Keychain::~Keychain() = default;

std::optional<std::string> Keychain::SecCopyErrorMessageString(OSStatus status) const {
  return jv::keychainMessage(status);
}

std::shared_ptr<Keychain> keychain() { return facility().inUse(); }

std::shared_ptr<Keychain> installKeychain(std::shared_ptr<Keychain> other) {
  return facility().install(std::move(other));
}

}  // namespace JVPlatform
