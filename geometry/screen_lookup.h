/// The displays, and the one under a point.
#pragma once

#include <memory>
#include <span>
#include <vector>

#include <JorvaneFoundation/foundation/JVExport.h>
#include <JorvaneFoundation/foundation/NSGeometry.h>
#include <JorvaneFoundation/foundation/NSScreen.h>

/// The displays in use at the moment of the call, the primary one first, whose lower left corner is the origin of the
/// space that all of them lie in, with y growing upwards. Empty without a window system, or when none answers. No
/// pointer is null.
/// Threads: any. Cost: one round trip to the window system once the connection stands.
[[nodiscard]] JV_EXPORT std::vector<std::shared_ptr<const JVFoundation::NSScreen>> JVScreens();

/// The first display whose frame holds @p point, its low edges included and its high edges not; else the display that
/// is nearest by horizontal plus vertical distance, the first of those that are equally near.
/// @param point  in the space of all displays, with y growing upwards from the lower left corner of the primary one. A
///               coordinate that is not a number counts as being at no distance.
/// @return       null when there are no displays: no window system, or none that answers.
/// Threads: any. Cost: asks the window system each time, which is one round trip once the connection stands.
[[nodiscard]] JV_EXPORT std::shared_ptr<const JVFoundation::NSScreen> JVScreenForPoint(NSPoint point);

/// The same among @p screens, for those that have many points to look up and the list of `JVScreens` already. Null when
/// the list is empty. No pointer in it may be null.
[[nodiscard]] JV_EXPORT std::shared_ptr<const JVFoundation::NSScreen> JVScreenForPoint(
    NSPoint point, std::span<const std::shared_ptr<const JVFoundation::NSScreen>> screens);
