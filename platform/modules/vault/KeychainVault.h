/// The keychain in a file.
#pragma once

#include <memory>
#include <string_view>

#include "platform/VaultModule.h"

namespace jv {

/// As `VaultModule::open`.
std::shared_ptr<JVPlatform::Keychain> openKeychainVault(std::string_view path, VaultSecret secret,
                                                        JVPlatform::VaultFile file, JVPlatform::OSStatus& status);

}  // namespace jv
