/// What the modules of the window systems tell about monitors.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <JorvaneFoundation/foundation/NSGeometry.h>

namespace jv {

/// A monitor as the window system sees it: its frame is in points, and y grows downwards.
struct Monitor {
  std::string name;
  NSRect frame{};
  double scale = 1;
  bool primary = false;
};

/// A connection to a window system. One thread at a time.
class MonitorSource {
 public:
  MonitorSource() = default;
  MonitorSource(const MonitorSource&) = delete;
  MonitorSource& operator=(const MonitorSource&) = delete;
  virtual ~MonitorSource() = default;

  /// The monitors in use at the moment of the call, in the window system's order, one of them primary at most. None
  /// when the connection is of no use any more: it was lost, or the window system does not answer.
  virtual std::optional<std::vector<Monitor>> monitors() noexcept = 0;
};

}  // namespace jv
