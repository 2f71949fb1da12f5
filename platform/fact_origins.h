/// How the implementations note where an answer came from.
#pragma once

#include <JorvaneFoundation/platform/FactOrigin.h>

namespace jv {

/// @param origin  words that live as long as the process; null when nothing could answer.
void noteOrigin(JVPlatform::Fact fact, const char* origin) noexcept;

}  // namespace jv
