/// The key of a dispatcher's stop flag, for C and C++. Not part of <JorvaneFoundation/JorvaneFoundation.h>: so short a
/// global name is for those alone who ask for it.
#pragma once

#include <JorvaneFoundation/foundation/JVExport.h>

JV_BEGIN_C

/// The address that this variable holds is the key under which `JVDispatch` keeps its stop flag on its queue; at first
/// that of the text "stopped". It is read at every access: a new address holds for all dispatchers from then on, and
/// each needs `setStopped` once before it is read again. The library's own variable counts, whatever else the program
/// calls `key`.
extern JV_EXPORT const char* key;

JV_END_C
