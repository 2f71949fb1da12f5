/* A program in C does arithmetic on rectangles. */
#include <JorvaneFoundation/JorvaneFoundation.h>

#include "expect.h"

int main(void) {
  const NSPoint a = {10, 20};
  const NSPoint b = {4, 30};
  const NSRect rect = JVRectFromPoints(a, b);
  const NSPoint top = JVRectTopRightFlipped(rect, false);
  const NSPoint flipped = JVRectTopRightFlipped(rect, true);

  EXPECT(rect.origin.x == 4 && rect.origin.y == 20 && rect.size.width == 6 && rect.size.height == 10);
  EXPECT(top.x == 10 && top.y == 30);
  EXPECT(flipped.x == 10 && flipped.y == 20);
  EXPECT(JVPointsDistance(top, flipped) == 10);
  return 0;
}
