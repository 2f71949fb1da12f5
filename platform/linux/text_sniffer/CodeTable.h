/// Which pairs of bytes are characters of an encoding.
#pragma once

#include <cstdint>

namespace jv::sniffing {

/// The trail bytes that make a character with one lead byte: bit t - 0x40, counted from the lowest of the first word.
struct CodeRow {
  std::uint64_t bits[3];

  [[nodiscard]] constexpr bool holds(std::uint8_t trail) const {
    const unsigned bit = trail - 0x40U;
    return (bits[bit / 64] >> (bit % 64) & 1) != 0;
  }
};

/// All rows that occur in any table, each once; row 0 is empty.
extern const CodeRow kCodeRows[];

/// The rows of an encoding by lead byte. Many leads share a row, so a table is a list of row numbers.
struct CodeTable {
  std::uint16_t rows[128];

  /// Whether @p lead (80 to FF) and @p trail (40 to FF) are a character.
  [[nodiscard]] bool holds(std::uint8_t lead, std::uint8_t trail) const {
    return kCodeRows[rows[lead - 0x80]].holds(trail);
  }
};

}  // namespace jv::sniffing
