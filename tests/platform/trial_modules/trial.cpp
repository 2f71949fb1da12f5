// A module as it should be, and, with another JV_VERSION_TEXT, one of another version of the library.
#include "platform/ModuleEntry.h"

static constexpr int kTable = 42;

JV_MODULE(kTable)
