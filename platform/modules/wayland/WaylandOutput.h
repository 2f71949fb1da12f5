/// What a Wayland compositor tells about one output.
#pragma once

#include <wayland-client.h>
#include <xdg-output-unstable-v1.h>

#include <cstdint>
#include <optional>
#include <string>

#include "platform/Monitors.h"
#include "platform/modules/wayland/WaylandObject.h"

namespace jv {

/// Listens to the events about an output, which take effect together when the compositor says that it is done.
class WaylandOutput {
 public:
  /// The versions of the protocol that are understood. The very first one has no end to what it tells.
  static constexpr std::uint32_t kLeastOutputVersion = WL_OUTPUT_DONE_SINCE_VERSION;
  static constexpr std::uint32_t kOutputVersion = WL_OUTPUT_NAME_SINCE_VERSION;
  static constexpr std::uint32_t kManagerVersion = 3;

  /// @param number  what the compositor's registry knows the output by
  WaylandOutput(wl_registry* registry, std::uint32_t number, std::uint32_t version) noexcept;
  WaylandOutput(const WaylandOutput&) = delete;
  WaylandOutput& operator=(const WaylandOutput&) = delete;

  [[nodiscard]] std::uint32_t number() const noexcept { return number_; }

  /// Asks for the output's place among the others as well; once.
  void askForPlace(zxdg_output_manager_v1* manager) noexcept;

  /// Whether the compositor is done with all that it has begun to tell.
  [[nodiscard]] bool isSettled() const noexcept { return settled_; }

  /// As of the last time that it was done; none before it was complete.
  [[nodiscard]] std::optional<Monitor> monitor() const;

 private:
  struct Facts {
    std::string name;
    NSPoint origin{};  ///< of the output alone: most compositors put all of them at 0, 0
    NSSize mode{};     ///< in pixels, before it is turned
    bool sideways = false;
    double scale = 1;              ///< rounded up to a whole number
    std::optional<NSPoint> place;  ///< among all outputs, in points
    std::optional<NSSize> size;    ///< in points
  };
  struct Listeners;

  /// The facts as they will be, to be changed.
  Facts& coming() noexcept;
  void settle();

  std::uint32_t number_;
  WaylandObject<wl_output> output_;
  WaylandObject<zxdg_output_v1> placed_;
  Facts coming_;
  Facts facts_;
  bool settled_ = false;
};

}  // namespace jv
