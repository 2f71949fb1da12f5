/// What the module `bus` makes: implementations that talk to the desktop's services over D-Bus.
#pragma once

namespace jv {

/// Each factory gives an implementation, or null when it cannot be made. None lets an exception out.
struct BusModule {};

}  // namespace jv
