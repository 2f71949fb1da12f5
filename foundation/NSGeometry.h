/// Points, sizes and rectangles: plain records of 64-bit floating-point numbers, for C and C++.
///
/// The unit is the point, in which windows and screens are measured. The records say nothing about the direction of y;
/// where it matters, the function that takes one does.
#pragma once

typedef struct NSPoint {
  double x;
  double y;
} NSPoint;

typedef struct NSSize {
  double width;
  double height;
} NSSize;

/// From `origin.x` to `origin.x + size.width`, and likewise in y. Any numbers are allowed, negative sizes included.
typedef struct NSRect {
  NSPoint origin;
  NSSize size;
} NSRect;
