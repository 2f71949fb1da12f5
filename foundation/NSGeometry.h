/// Plain records of 64-bit floating-point values, in points.
#pragma once

typedef struct NSPoint {
  double x;
  double y;
} NSPoint;

typedef struct NSSize {
  double width;
  double height;
} NSSize;

typedef struct NSRect {
  NSPoint origin;
  NSSize size;
} NSRect;
