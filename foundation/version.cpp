#include <JorvaneFoundation/foundation/version.h>

const double JorvaneFoundationVersionNumber = 1.0;
const unsigned char JorvaneFoundationVersionString[] = "@(#)PROGRAM:JorvaneFoundation  PROJECT:JorvaneFoundation-1\n";
const char JorvaneFoundationVersion[] = JV_VERSION;
