#include "platform/modules/fonts/metrics.h"

#include <ft2build.h>
#include FT_FREETYPE_H

#include <memory>
#include <type_traits>

namespace jv {
namespace {

struct Closer {
  void operator()(FT_Library library) const { FT_Done_FreeType(library); }
  void operator()(FT_Face face) const { FT_Done_Face(face); }
};
template <class Handle>
using Owned = std::unique_ptr<std::remove_pointer_t<Handle>, Closer>;

LineMetrics metricsOf(double ascender, double descender, double height, double size) {
  if (!(size > 0)) return {};
  return {ascender / size, descender / size, (height - ascender + descender) / size};
}

/// Of a font that is made of pictures: those of the largest.
LineMetrics metricsOfLargestStrike(FT_Face face) {
  if (face->num_fixed_sizes < 1) return {};
  int largest = 0;
  for (int i = 1; i < face->num_fixed_sizes; ++i) {
    if (face->available_sizes[i].y_ppem > face->available_sizes[largest].y_ppem) largest = i;
  }
  if (FT_Select_Size(face, largest) != 0) return {};
  const FT_Size_Metrics& metrics = face->size->metrics;
  return metricsOf(static_cast<double>(metrics.ascender), static_cast<double>(metrics.descender),
                   static_cast<double>(metrics.height), static_cast<double>(face->available_sizes[largest].y_ppem));
}

}  // namespace

std::optional<LineMetrics> lineMetricsOf(const std::string& file, int index) {
  FT_Library opened = nullptr;
  if (FT_Init_FreeType(&opened) != 0) return std::nullopt;
  const Owned<FT_Library> library(opened);
  FT_Face loaded = nullptr;
  if (FT_New_Face(library.get(), file.c_str(), index, &loaded) != 0) return std::nullopt;
  const Owned<FT_Face> face(loaded);
  if (!FT_IS_SCALABLE(face)) return metricsOfLargestStrike(face.get());
  return metricsOf(face->ascender, face->descender, face->height, face->units_per_EM);
}

}  // namespace jv
