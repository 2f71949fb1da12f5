/// Asks for how long the user has been away.
#pragma once

#include <cstdint>
#include <optional>

namespace jv {

/// As in `BusModule`.
std::optional<std::int64_t> compositorIdle(std::uint64_t longestWait) noexcept;
std::optional<std::int64_t> sessionIdle(std::uint64_t longestWait) noexcept;

}  // namespace jv
