/* A client that writes the library's variable, which the linker may have moved into this program. */
#include <JorvaneFoundation/dispatch/key.h>

const char* const testedKeys[] = {"first", "second"};

void writeKey(int index) { key = testedKeys[index]; }
int keyIsTheLibrarys(void) { return 1; }
