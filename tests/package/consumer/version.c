/* A program in C sees the version, and does arithmetic on rectangles. */
#include <JorvaneFoundation/JorvaneFoundation.h>

#include <string.h>

#include "expect.h"

int main(void) {
  const char* text = (const char*)JorvaneFoundationVersionString;
  const NSPoint a = {10, 20};
  const NSPoint b = {4, 30};
  const NSRect rect = JVRectFromPoints(a, b);
  const NSPoint flipped = JVRectTopRightFlipped(rect, true);

  EXPECT(JorvaneFoundationVersionNumber == 1.0);
  EXPECT(strncmp(text, "@(#)", 4) == 0);
  EXPECT(text[strlen(text) - 1] == '\n');

  EXPECT(rect.origin.x == 4 && rect.origin.y == 20 && rect.size.width == 6 && rect.size.height == 10);
  EXPECT(flipped.x == 10 && flipped.y == 20);
  EXPECT(JVPointsDistance(JVRectTopRightFlipped(rect, false), flipped) == 10);
  return 0;
}
