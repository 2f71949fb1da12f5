/// How the implementations note where an answer came from.
#pragma once

#include <initializer_list>

#include <JorvaneFoundation/platform/FactOrigin.h>

namespace jv {

/// @param origin  words that live as long as the process; null when nothing could answer.
void noteOrigin(JVPlatform::Fact fact, const char* origin) noexcept;

/// What was noted is of an implementation that is no more in use.
inline void forgetOrigins(std::initializer_list<JVPlatform::Fact> facts) noexcept {
  for (const JVPlatform::Fact fact : facts) noteOrigin(fact, nullptr);
}

}  // namespace jv
