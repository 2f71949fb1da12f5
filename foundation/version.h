/// The version of the library that the process runs with, as data that tools can read from the binary too.
#pragma once

#include <JorvaneFoundation/foundation/JVExport.h>

JV_BEGIN_C

/// Major and minor version as a number: 1.0.
extern JV_EXPORT const double JorvaneFoundationVersionNumber;

/// The same in the form that `what` looks for, with one line feed and a zero byte at the end.
extern JV_EXPORT const unsigned char JorvaneFoundationVersionString[];

/// All three parts, for people and comparisons: "1.0.0".
extern JV_EXPORT const char JorvaneFoundationVersion[];

JV_END_C
