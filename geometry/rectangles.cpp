#include <JorvaneFoundation/geometry/rectangles.h>

#include <cmath>

namespace {

double minX(const NSRect& rect) { return rect.origin.x; }
double midX(const NSRect& rect) { return rect.origin.x + rect.size.width * 0.5; }
double maxX(const NSRect& rect) { return rect.origin.x + rect.size.width; }
double minY(const NSRect& rect) { return rect.origin.y; }
double midY(const NSRect& rect) { return rect.origin.y + rect.size.height * 0.5; }
double maxY(const NSRect& rect) { return rect.origin.y + rect.size.height; }

double top(const NSRect& rect, bool flipped) { return flipped ? minY(rect) : maxY(rect); }
double bottom(const NSRect& rect, bool flipped) { return flipped ? maxY(rect) : minY(rect); }

double smaller(double a, double b) { return a < b ? a : b; }

// Other than std::clamp, it allows for a maximum below the minimum.
double adjusted(double value, double min, double max) { return value < min ? min : value > max ? max : value; }

}  // namespace

NSRect JVRectFromPoints(NSPoint a, NSPoint b) noexcept {
  return {{smaller(a.x, b.x), smaller(a.y, b.y)}, {std::fabs(a.x - b.x), std::fabs(a.y - b.y)}};
}

NSRect JVIntegerRect(NSRect rect) noexcept {
  return {{std::floor(rect.origin.x), std::floor(rect.origin.y)},
          {std::floor(rect.size.width), std::floor(rect.size.height)}};
}

NSPoint JVPointAdjustInRect(NSPoint point, NSRect rect) noexcept {
  return {adjusted(point.x, minX(rect), maxX(rect)), adjusted(point.y, minY(rect), maxY(rect))};
}

NSPoint JVRectCenter(NSRect rect) noexcept { return {midX(rect), midY(rect)}; }

double JVPointsDistance(NSPoint a, NSPoint b) noexcept {
  const double x = a.x - b.x;
  const double y = a.y - b.y;
  return std::sqrt(x * x + y * y);
}

NSPoint JVRectTopLeftFlipped(NSRect rect, bool flipped) noexcept { return {minX(rect), top(rect, flipped)}; }
NSPoint JVRectBottomLeftFlipped(NSRect rect, bool flipped) noexcept { return {minX(rect), bottom(rect, flipped)}; }
NSPoint JVRectTopRightFlipped(NSRect rect, bool flipped) noexcept { return {maxX(rect), top(rect, flipped)}; }
NSPoint JVRectBottomRightFlipped(NSRect rect, bool flipped) noexcept { return {maxX(rect), bottom(rect, flipped)}; }

NSPoint JVRectTopMid(NSRect rect) noexcept { return {midX(rect), maxY(rect)}; }
NSPoint JVRectBottomMid(NSRect rect) noexcept { return {midX(rect), minY(rect)}; }
NSPoint JVRectLeftMid(NSRect rect) noexcept { return {minX(rect), midY(rect)}; }
NSPoint JVRectRightMid(NSRect rect) noexcept { return {maxX(rect), midY(rect)}; }
