/// Pictures in shades of grey.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace jv {

struct GreyPicture {
  unsigned width = 0;
  unsigned height = 0;
  std::vector<std::uint8_t> pixels;  ///< line by line from the top; 0 is black
};

/// @p picture as a PNG file; none when that cannot be made.
std::optional<std::vector<std::uint8_t>> pngOf(const GreyPicture& picture);

}  // namespace jv
