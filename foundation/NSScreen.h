/// A display of the user's desktop.
#pragma once

#include <memory>
#include <string>

#include <JorvaneFoundation/foundation/JVExport.h>
#include <JorvaneFoundation/foundation/NSGeometry.h>

namespace JVFoundation {

/// What a display was like when it was asked for. Immutable and shared; any thread.
///
/// All displays lie in one space with y growing upwards, whose origin is the lower left corner of the first display in
/// the list. A display to the left of that one or below it has negative numbers.
class JV_EXPORT NSScreen {
 public:
  /// @param frame  the display's place, in points
  /// @param name   what the window system calls it, the connector most of the time: "HDMI-A-1"
  /// @param scale  how many pixels make up a point in each direction
  [[nodiscard]] static std::shared_ptr<const NSScreen> create(NSRect frame, std::string name = {}, double scale = 1);

  NSScreen(const NSScreen&) = delete;
  NSScreen& operator=(const NSScreen&) = delete;
  ~NSScreen();

  [[nodiscard]] NSRect frame() const noexcept;
  /// Empty when the window system has none.
  [[nodiscard]] const std::string& name() const noexcept;
  [[nodiscard]] double scale() const noexcept;

 private:
  NSScreen(NSRect frame, std::string name, double scale);

  NSRect frame_;
  std::string name_;
  double scale_;
};

}  // namespace JVFoundation
