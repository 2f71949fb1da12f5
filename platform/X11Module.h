/// What the module `x11` makes: implementations that ask the X server.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "platform/Monitors.h"

namespace jv {

/// Each factory gives an implementation, or null when it cannot be made. None lets an exception out.
struct X11Module {
  /// @param display  the server and screen, as DISPLAY has them.
  std::unique_ptr<MonitorSource> (*openMonitors)(const char* display) noexcept;

  /// Nanoseconds since the last input that the X server has seen; none without a server that has the screen-saver
  /// extension. It may take @p longestWait microseconds to let the connection in, and as long to answer.
  std::optional<std::int64_t> (*idle)(std::uint64_t longestWait) noexcept;
};

}  // namespace jv
