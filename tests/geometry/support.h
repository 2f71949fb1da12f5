/// Geometry records as lists of numbers, which tests compare and print.
#pragma once

#include <JorvaneFoundation/foundation/NSGeometry.h>

#include <array>

namespace jv::test {

using Two = std::array<double, 2>;
using Four = std::array<double, 4>;

inline Two numbersOf(NSPoint point) { return {point.x, point.y}; }
inline Four numbersOf(NSRect rect) { return {rect.origin.x, rect.origin.y, rect.size.width, rect.size.height}; }

}  // namespace jv::test
