/// What the module `x11` makes: implementations that ask the X server.
#pragma once

namespace jv {

/// Each factory gives an implementation, or null when it cannot be made. None lets an exception out.
struct X11Module {};

}  // namespace jv
