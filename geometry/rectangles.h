/// Arithmetic on points and rectangles, for C and C++.
///
/// All are pure: any thread, no allocation, the same bits on every processor. Below, a rectangle reaches from minX (its
/// x) to maxX (x + width) and from minY (its y) to maxY (y + height), and y grows upwards, so that its top is maxY.
///
/// Nothing is checked: zero and negative sizes, infinities and "not a number" take part in the arithmetic as they are.
#pragma once

#include <stdbool.h>

#include <JorvaneFoundation/foundation/JVExport.h>
#include <JorvaneFoundation/foundation/NSGeometry.h>

JV_BEGIN_C

/// The rectangle between any two opposite corners. Its size is never negative.
JV_EXPORT NSRect JVRectFromPoints(NSPoint a, NSPoint b) JV_NOEXCEPT;

/// Each of the four numbers rounded down on its own, towards minus infinity. This is no enclosing rectangle: x 0.5 and
/// width 1 give x 0 and width 1.
JV_EXPORT NSRect JVIntegerRect(NSRect rect) JV_NOEXCEPT;

/// The point of @p rect that is nearest to @p point, all four edges included. In a direction of negative size, points
/// below the minimum go to the minimum, and all others above the maximum to the maximum.
JV_EXPORT NSPoint JVPointAdjustInRect(NSPoint point, NSRect rect) JV_NOEXCEPT;

/// The middle of @p rect.
JV_EXPORT NSPoint JVRectCenter(NSRect rect) JV_NOEXCEPT;

/// The length of the straight line between two points. It goes by the squares: differences beyond 1e154 make it
/// infinite, and those below 1e-162 count as none.
JV_EXPORT double JVPointsDistance(NSPoint a, NSPoint b) JV_NOEXCEPT;

/// The corners of @p rect. With @p flipped, y grows downwards: top is minY and bottom maxY.
JV_EXPORT NSPoint JVRectTopLeftFlipped(NSRect rect, bool flipped) JV_NOEXCEPT;
JV_EXPORT NSPoint JVRectBottomLeftFlipped(NSRect rect, bool flipped) JV_NOEXCEPT;
JV_EXPORT NSPoint JVRectTopRightFlipped(NSRect rect, bool flipped) JV_NOEXCEPT;
JV_EXPORT NSPoint JVRectBottomRightFlipped(NSRect rect, bool flipped) JV_NOEXCEPT;

/// The middles of the edges of @p rect, with y growing upwards. There is no flipped form: take `JVRectBottomMid` for
/// the top then, and the other way round.
JV_EXPORT NSPoint JVRectTopMid(NSRect rect) JV_NOEXCEPT;
JV_EXPORT NSPoint JVRectBottomMid(NSRect rect) JV_NOEXCEPT;
JV_EXPORT NSPoint JVRectLeftMid(NSRect rect) JV_NOEXCEPT;
JV_EXPORT NSPoint JVRectRightMid(NSRect rect) JV_NOEXCEPT;

JV_END_C
