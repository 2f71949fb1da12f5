/// What the statuses of keychains mean, for people.
#pragma once

#include <optional>
#include <string>

#include <JorvaneFoundation/platform/Keychain.h>

namespace jv {

/// None for a status that no keychain of this library reports.
std::optional<std::string> keychainMessage(JVPlatform::OSStatus status);

}  // namespace jv
