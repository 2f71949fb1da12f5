/// What the module `bus` makes: implementations that talk to the desktop's services over D-Bus.
#pragma once

#include <memory>

#include <JorvaneFoundation/platform/Keychain.h>

namespace jv {

/// Each factory gives an implementation, or null when it cannot be made. None lets an exception out.
struct BusModule {
  std::shared_ptr<JVPlatform::Keychain> (*makeKeychain)();  ///< on the session bus
};

}  // namespace jv
