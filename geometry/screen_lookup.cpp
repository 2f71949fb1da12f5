#include <JorvaneFoundation/geometry/screen_lookup.h>

#include <limits>

#include <JorvaneFoundation/platform/Screens.h>

namespace {

using JVFoundation::NSScreen;

constexpr double kInitialDistance = std::numeric_limits<double>::max();

/// Whether @p value lies in the @p length that begins at @p low.
bool isWithin(double value, double low, double length) { return low <= value && value < low + length; }

/// How far @p value is from there; 0 on the high edge too.
double distance(double value, double low, double length) {
  if (value < low) return low - value;
  return value > low + length ? value - (low + length) : 0;
}

bool contains(const NSRect& frame, NSPoint point) {
  return isWithin(point.x, frame.origin.x, frame.size.width) && isWithin(point.y, frame.origin.y, frame.size.height);
}

double distance(const NSRect& frame, NSPoint point) {
  return distance(point.x, frame.origin.x, frame.size.width) + distance(point.y, frame.origin.y, frame.size.height);
}

}  // namespace

std::shared_ptr<const NSScreen> JVScreenForPoint(NSPoint point,
                                                 std::span<const std::shared_ptr<const NSScreen>> screens) {
  const std::shared_ptr<const NSScreen>* best = nullptr;
  double bestDistance = kInitialDistance;
  for (const auto& screen : screens) {
    const NSRect frame = screen->frame();
    if (contains(frame, point)) return screen;
    const double here = distance(frame, point);
    // An infinite distance is no smaller than the initial one, and still better than no screen at all.
    if (bestDistance == kInitialDistance || here < bestDistance) {
      best = &screen;
      bestDistance = here;
    }
  }
  return best ? *best : nullptr;
}

std::vector<std::shared_ptr<const NSScreen>> JVScreens() { return JVPlatform::screens()->screens(); }

std::shared_ptr<const NSScreen> JVScreenForPoint(NSPoint point) { return JVScreenForPoint(point, JVScreens()); }
