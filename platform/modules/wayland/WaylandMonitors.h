/// The monitors of a Wayland compositor.
#pragma once

#include <memory>

#include "platform/Monitors.h"

namespace jv {

/// Connects to the compositor at the socket @p display; null when that fails.
std::unique_ptr<MonitorSource> openWaylandMonitors(const char* display) noexcept;

}  // namespace jv
