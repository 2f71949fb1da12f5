#include <JorvaneFoundation/platform/FactOrigin.h>

#include <array>
#include <atomic>
#include <cstddef>

#include "platform/fact_origins.h"

namespace jv {
namespace {

constexpr std::size_t kFacts = static_cast<std::size_t>(JVPlatform::Fact::idleTime) + 1;

constinit std::array<std::atomic<const char*>, kFacts> origins{};

std::atomic<const char*>& entryOf(JVPlatform::Fact fact) { return origins[static_cast<std::size_t>(fact)]; }

}  // namespace

void noteOrigin(JVPlatform::Fact fact, const char* origin) noexcept {
  entryOf(fact).store(origin, std::memory_order_relaxed);
}

}  // namespace jv

std::string_view JVPlatform::originOf(Fact fact) noexcept {
  const char* const origin = jv::entryOf(fact).load(std::memory_order_relaxed);
  return origin ? origin : std::string_view();
}
