/* A program in C sees the version. */
#include <JorvaneFoundation/JorvaneFoundation.h>

#include <string.h>

#include "expect.h"

int main(void) {
  const char* text = (const char*)JorvaneFoundationVersionString;
  EXPECT(JorvaneFoundationVersionNumber == 1.0);
  EXPECT(strncmp(text, "@(#)", 4) == 0);
  EXPECT(text[strlen(text) - 1] == '\n');
  return 0;
}
