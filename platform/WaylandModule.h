/// What the module `wayland` makes: implementations that ask the Wayland compositor.
#pragma once

#include <memory>

#include "platform/Monitors.h"

namespace jv {

/// Each factory gives an implementation, or null when it cannot be made. None lets an exception out.
struct WaylandModule {
  /// @param display  the compositor's socket, as WAYLAND_DISPLAY has it.
  std::unique_ptr<MonitorSource> (*openMonitors)(const char* display) noexcept;
};

}  // namespace jv
