/// Texts to measure with: drawn, the same in every run, and like Japanese ones in their mixture of characters.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace jv::bench {

using Bytes = std::vector<std::uint8_t>;

struct Text {
  std::string name;
  Bytes bytes;
  std::uint64_t encoding;  ///< string encoding number that its detection gives
  std::size_t unit = 1;    ///< bytes of a code unit
};

/// Whole lines of @p size bytes in all, or a little less, in each encoding.
std::vector<Text> makeTexts(std::size_t size);

/// @p text in pieces of whole lines, @p size bytes or a little less.
std::vector<std::span<const std::uint8_t>> piecesOf(const Text& text, std::size_t size);

}  // namespace jv::bench
