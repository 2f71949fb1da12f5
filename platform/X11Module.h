/// What the module `x11` makes: implementations that ask the X server.
#pragma once

#include <memory>

#include "platform/Monitors.h"

namespace jv {

/// Each factory gives an implementation, or null when it cannot be made. None lets an exception out.
struct X11Module {
  /// @param display  the server and screen, as DISPLAY has them.
  std::unique_ptr<MonitorSource> (*openMonitors)(const char* display) noexcept;
};

}  // namespace jv
