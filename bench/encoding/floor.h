/// What no detection that sees every byte can be quicker than.
#pragma once

#include <cstdint>
#include <span>

namespace jv::bench {

/// Reads @p text once, in the widest vectors of the processor. @return all bytes combined by "or"
std::uint8_t readOnce(std::span<const std::uint8_t> text);

}  // namespace jv::bench
