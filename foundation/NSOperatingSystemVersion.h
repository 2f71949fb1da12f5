/// The version of an operating system in three parts, for C and C++.
#pragma once

#include <stdint.h>

/// All zero is what a text that is no version gives.
typedef struct NSOperatingSystemVersion {
  int64_t majorVersion;
  int64_t minorVersion;
  int64_t patchVersion;
} NSOperatingSystemVersion;
