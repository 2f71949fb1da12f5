/// What a text sniffer counts.
#pragma once

#include <cstdint>
#include <span>

namespace jv::sniffing {

using Bytes = std::span<const std::uint8_t>;

/// How a text fits an encoding. Never more than the text has bytes, so 64 bits hold them.
struct Counts {
  std::uint64_t errors = 0;    ///< byte sequences that are invalid
  std::uint64_t features = 0;  ///< valid characters of more than one byte

  friend bool operator==(const Counts&, const Counts&) = default;
};

}  // namespace jv::sniffing
