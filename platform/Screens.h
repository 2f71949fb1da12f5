/// What `geometry/` asks of the window system.
#pragma once

#include <memory>
#include <vector>

#include <JorvaneFoundation/foundation/JVExport.h>
#include <JorvaneFoundation/foundation/NSScreen.h>

namespace JVPlatform {

/// The displays of the user's desktop. Any thread.
class JV_EXPORT Screens {
 public:
  using List = std::vector<std::shared_ptr<const JVFoundation::NSScreen>>;

  Screens() = default;
  Screens(const Screens&) = delete;
  Screens& operator=(const Screens&) = delete;
  virtual ~Screens();

  /// The displays in use at the moment of the call, the primary one first. The lower left corner of that one is the
  /// origin of the space that all of them lie in, with y growing upwards. Empty without a window system or when it
  /// cannot be reached. No pointer is null.
  virtual List screens() = 0;
};

/// The implementation in use: at first one that asks the Wayland compositor that WAYLAND_DISPLAY names or else the X
/// server that DISPLAY names, keeps the connection, and blocks for one round trip.
JV_EXPORT std::shared_ptr<Screens> screens();

/// Puts @p other in its place and gives back the one before; none brings back the first one.
JV_EXPORT std::shared_ptr<Screens> installScreens(std::shared_ptr<Screens> other);

}  // namespace JVPlatform
