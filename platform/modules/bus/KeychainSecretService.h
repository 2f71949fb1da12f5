/// The keychain of the desktop's password service.
#pragma once

#include <memory>

#include <JorvaneFoundation/platform/Keychain.h>

namespace jv {

/// A keychain that talks to `org.freedesktop.secrets` on the session bus; null without memory. Connects when it is
/// first used.
std::shared_ptr<JVPlatform::Keychain> makeSecretServiceKeychain();

}  // namespace jv
