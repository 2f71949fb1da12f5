/// Fits one rectangle into the middle of another.
#pragma once

#include <JorvaneFoundation/foundation/JVExport.h>
#include <JorvaneFoundation/foundation/NSGeometry.h>

/// Class methods alone: there is nothing to make an object for. Pure arithmetic, any thread.
class JV_EXPORT JVGeometry {
 public:
  /// A rectangle of the size of @p rect, whose origin does not count, in the middle of @p container.
  ///
  /// @param scaleToFit      a rectangle that is too wide or too high is made to fit, with its proportions kept. Without
  ///                        it, such a rectangle stands out of the container equally on both sides.
  /// @param canScaleLarger  with @p scaleToFit, a rectangle that is smaller in both directions is enlarged until it
  ///                        fits. One that already fits exactly in one direction is left as it is.
  ///
  /// Sizes of zero are not treated apart: a rectangle without width that is too high comes out without width and as
  /// high as the container; one without width and height, enlarged, gets a height that is not a number.
  [[nodiscard]] static NSRect centeredRect(NSRect rect, NSRect container, bool scaleToFit,
                                           bool canScaleLarger) noexcept;

  /// The same without enlarging.
  [[nodiscard]] static NSRect centeredRect(NSRect rect, NSRect container, bool scaleToFit) noexcept;
};
