/// The monitors of an X server.
#pragma once

#include <memory>

#include "platform/Monitors.h"

namespace jv {

/// Connects to the X server and screen @p display; null when that fails. Blocks as long as the server takes to answer,
/// which is the system's own time limit for a server on another machine.
std::unique_ptr<MonitorSource> openX11Monitors(const char* display) noexcept;

}  // namespace jv
