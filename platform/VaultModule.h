/// What the module `vault` makes: a keychain in an encrypted file.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include <JorvaneFoundation/platform/Keychain.h>
#include <JorvaneFoundation/platform/KeychainVault.h>

namespace jv {

/// What a vault is opened with.
struct VaultSecret {
  enum class Kind : std::uint8_t { key, passphrase };
  Kind kind;
  std::span<const std::uint8_t> bytes;
};

/// Each factory gives an implementation, or null when it cannot be made. None lets an exception out.
struct VaultModule {
  /// @param status  why it is null.
  std::shared_ptr<JVPlatform::Keychain> (*open)(std::string_view path, VaultSecret secret, JVPlatform::VaultFile file,
                                                JVPlatform::OSStatus& status);
};

}  // namespace jv
