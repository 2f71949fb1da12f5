/// A connection to a Wayland compositor whose answers are not waited for for ever.
#pragma once

#include <wayland-client.h>

#include <chrono>

#include "platform/modules/wayland/WaylandObject.h"

namespace jv {

/// One thread at a time. Must outlive the objects that come from it.
class WaylandDisplay {
 public:
  /// How long the compositor may take for an answer.
  static constexpr std::chrono::seconds kPatience{3};

  /// Connects to the compositor at the socket @p display.
  explicit WaylandDisplay(const char* display) noexcept;

  [[nodiscard]] bool isConnected() const noexcept { return display_ != nullptr; }
  [[nodiscard]] wl_display* get() const noexcept { return display_.get(); }

  /// Lets the compositor answer all requests so far, and the listeners hear what it had to say until then.
  /// @return  false when it has gone or has run out of patience; nothing more is to be expected of it then
  bool roundTrip() noexcept;

 private:
  bool hearMore(std::chrono::steady_clock::time_point deadline) noexcept;

  WaylandObject<wl_display> display_;
};

}  // namespace jv
