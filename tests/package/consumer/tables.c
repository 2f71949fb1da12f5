/* A program in C writes to the exported tables, and the library works with what it wrote. */
#include <JorvaneFoundation/JorvaneFoundation.h>

#include <string.h>

#include "expect.h"

int main(void) {
  const uint8_t marked[] = {0xEF, 0xBB, 0xBF, 'a'};
  const uint8_t plain[] = {'a', 'b', 'c'};
  unsigned char terminator[sizeof(JVSniffer)];

  EXPECT(sizeof(JVSniffer) == 32 && JVNumberOfSniffers == 17);
  memset(terminator, 0xFF, sizeof terminator);
  EXPECT(memcmp(&JVSniffers[JVNumberOfSniffers], terminator, sizeof terminator) == 0);

  /* All rows are off at load. */
  EXPECT(sniffWithEnabledEncodings(marked, sizeof marked, false) == 0);
  JVSniffers[1].enabled = 1;
  EXPECT(sniffWithEnabledEncodings(marked, sizeof marked, false) == 1);
  EXPECT(JVSniffers[1].matched == 1);

  /* With a legacy row on, ASCII is told as such; with no rows to look at, as UTF-8. */
  JVSniffers[5].enabled = 1;
  EXPECT(sniffWithEnabledEncodings(plain, sizeof plain, false) == JVPlainASCIISniffResult);
  JVNumberOfSniffers = 0;
  EXPECT(sniffWithEnabledEncodings(plain, sizeof plain, false) == 1);
  return 0;
}
