/// What Pango says of a text that it lays out in one piece, for comparison.
#pragma once

#include <fontconfig/fontconfig.h>
#include <pango/pangoft2.h>

#include <cmath>
#include <string_view>

namespace jv::test {

struct PangoSize {
  double height;
  int lines;
};

/// @param width  infinite: lines break nowhere
inline PangoSize pangoSize(std::string_view text, double width, const char* family, double size) {
  FcInit();
  static PangoFontMap* const fonts = pango_ft2_font_map_new();
  pango_ft2_font_map_set_resolution(PANGO_FT2_FONT_MAP(fonts), 72, 72);
  PangoContext* const context = pango_font_map_create_context(fonts);
  pango_context_set_round_glyph_positions(context, FALSE);
  PangoLayout* const layout = pango_layout_new(context);
  PangoFontDescription* const description = pango_font_description_new();
  pango_font_description_set_family(description, family);
  pango_font_description_set_absolute_size(description, size * PANGO_SCALE);
  pango_layout_set_font_description(layout, description);
  pango_layout_set_wrap(layout, PANGO_WRAP_WORD_CHAR);
  pango_layout_set_width(layout, std::isinf(width) ? -1 : static_cast<int>(width * PANGO_SCALE));
  PangoAttrList* const attributes = pango_attr_list_new();
  pango_attr_list_insert(attributes, pango_attr_insert_hyphens_new(FALSE));
  pango_layout_set_attributes(layout, attributes);
  pango_attr_list_unref(attributes);
  pango_layout_set_text(layout, text.data(), static_cast<int>(text.size()));
  PangoRectangle extents;
  pango_layout_get_extents(layout, nullptr, &extents);
  const PangoSize result{static_cast<double>(extents.height) / PANGO_SCALE, pango_layout_get_line_count(layout)};
  pango_font_description_free(description);
  g_object_unref(layout);
  g_object_unref(context);
  return result;
}

}  // namespace jv::test
