/// The monitors of an X server.
#pragma once

#include <memory>

#include "platform/Monitors.h"

namespace jv {

/// Connects to the X server and screen @p display; null when that fails or takes too long.
std::unique_ptr<MonitorSource> openX11Monitors(const char* display) noexcept;

}  // namespace jv
