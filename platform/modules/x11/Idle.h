/// Asks the X server for how long the user has been away.
#pragma once

#include <cstdint>
#include <optional>

namespace jv {

/// As `X11Module::idle`.
std::optional<std::int64_t> x11Idle(std::uint64_t longestWait) noexcept;

}  // namespace jv
