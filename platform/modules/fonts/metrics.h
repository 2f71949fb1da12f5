/// What a font file says of the height of its lines.
#pragma once

#include <optional>
#include <string>

namespace jv {

/// In parts of the font's size. The descender is negative.
struct LineMetrics {
  double ascender = 0;
  double descender = 0;
  double leading = 0;
};

/// Reads them from face @p index of @p file; none when that cannot be read. Any thread.
std::optional<LineMetrics> lineMetricsOf(const std::string& file, int index);

}  // namespace jv
