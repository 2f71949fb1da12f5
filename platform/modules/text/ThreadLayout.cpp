#include "platform/modules/text/ThreadLayout.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "platform/modules/text/text_lines.h"

namespace jv {
namespace {

using JVPlatform::FontFace;
using JVPlatform::NSTextAlignment;

struct Width {
  double percent;
  PangoStretch stretch;
};
constexpr std::array kWidths{
    Width{50, PANGO_STRETCH_ULTRA_CONDENSED}, Width{63, PANGO_STRETCH_EXTRA_CONDENSED},
    Width{75, PANGO_STRETCH_CONDENSED},       Width{87, PANGO_STRETCH_SEMI_CONDENSED},
    Width{100, PANGO_STRETCH_NORMAL},         Width{113, PANGO_STRETCH_SEMI_EXPANDED},
    Width{125, PANGO_STRETCH_EXPANDED},       Width{150, PANGO_STRETCH_EXTRA_EXPANDED},
    Width{200, PANGO_STRETCH_ULTRA_EXPANDED},
};

PangoStretch stretchOf(double percent) {
  return std::ranges::min_element(kWidths, {}, [=](const Width& w) { return std::abs(w.percent - percent); })->stretch;
}

using Description = std::unique_ptr<PangoFontDescription, decltype(&pango_font_description_free)>;

Description descriptionOf(const FontFace* face, double size) {
  Description description(pango_font_description_new(), &pango_font_description_free);
  pango_font_description_set_family(description.get(), face ? face->familyName.c_str() : "system-ui,sans-serif");
  if (face) {
    pango_font_description_set_weight(description.get(), static_cast<PangoWeight>(face->weight));
    pango_font_description_set_stretch(description.get(), stretchOf(face->width));
    pango_font_description_set_style(description.get(), face->italic ? PANGO_STYLE_ITALIC : PANGO_STYLE_NORMAL);
  }
  // A size that no resolution is multiplied with.
  pango_font_description_set_absolute_size(description.get(), size * PANGO_SCALE);
  return description;
}

PangoAlignment alignmentOf(NSTextAlignment alignment) {
  switch (alignment) {
    case NSTextAlignment::right:
      return PANGO_ALIGN_RIGHT;
    case NSTextAlignment::center:
      return PANGO_ALIGN_CENTER;
    default:
      return PANGO_ALIGN_LEFT;
  }
}

/// How many bytes are set at a time. Pango looks at the whole rest of a paragraph for each line of it that breaks
/// within a word; so what a long paragraph costs would grow with the square of its length.
std::size_t pieceSize(const ThreadLayout::Setting& setting) {
  constexpr std::size_t kUnbroken = std::size_t{64} << 10;
  if (std::isinf(setting.width)) return kUnbroken;
  constexpr double kMostWork = 1 << 15;  // bytes times lines
  const double bytesInLine = std::max(2 * setting.width / setting.size, 1.0);
  return static_cast<std::size_t>(std::clamp(std::sqrt(kMostWork * bytesInLine), 128.0, double{kUnbroken}));
}

}  // namespace

ThreadLayout& ThreadLayout::mine() {
  thread_local ThreadLayout layout;
  layout.followInstalledFonts();
  return layout;
}

void ThreadLayout::followInstalledFonts() {
  // To its end before Pango has fontconfig started on a thread of its own.
  static const bool started = FcInit() == FcTrue;
  if (!started) return;
  const auto now = std::chrono::steady_clock::now();
  if (now >= nextLook_) {
    FcInitBringUptoDate();
    nextLook_ = now + std::chrono::seconds(1);
  }
  if (!layout_ || FcConfigGetCurrent() != config_.get()) makeAnew();
}

void ThreadLayout::makeAnew() {
  config_.reset(FcConfigReference(nullptr));  // held, so that another one cannot get its address
  layout_.reset();
  context_.reset();
  fonts_.reset(pango_ft2_font_map_new());
  // A point is a unit, whatever the desktop's screens are like.
  constexpr double kPointsInInch = 72;
  pango_ft2_font_map_set_resolution(PANGO_FT2_FONT_MAP(fonts_.get()), kPointsInInch, kPointsInInch);
  context_.reset(pango_font_map_create_context(fonts_.get()));
  // Rounded widths would break lines at other words.
  pango_context_set_round_glyph_positions(context_.get(), FALSE);
  layout_.reset(pango_layout_new(context_.get()));
  pango_layout_set_wrap(layout_.get(), PANGO_WRAP_WORD_CHAR);
  const Owned<PangoFont> any(pango_context_load_font(context_.get(), descriptionOf(nullptr, 12).get()));
  hasFonts_ = any != nullptr;
}

void ThreadLayout::apply(const Setting& setting) {
  pango_layout_set_font_description(layout_.get(), descriptionOf(setting.face, setting.size).get());
  const bool breaks = std::isfinite(setting.width);
  pango_layout_set_width(layout_.get(), breaks ? static_cast<int>(setting.width * PANGO_SCALE) : -1);
  pango_layout_set_alignment(layout_.get(), alignmentOf(setting.alignment));
  pango_layout_set_justify(layout_.get(), setting.alignment == NSTextAlignment::justified);
}

void ThreadLayout::setLine(std::string_view text, const Setting& setting, const Visitor& visit) {
  apply(setting);
  const bool breaks = std::isfinite(setting.width);
  pango_context_set_base_dir(context_.get(), PANGO_DIRECTION_WEAK_LTR);  // of a text without a direction of its own
  pango_layout_set_auto_dir(layout_.get(), TRUE);
  for (std::size_t size = pieceSize(setting);;) {
    const std::string_view piece = beginningOf(text, size);
    const bool last = piece.size() == text.size();
    pango_layout_set_text(layout_.get(), piece.data(), static_cast<int>(piece.size()));
    GSList* lines = pango_layout_get_lines_readonly(layout_.get());
    // The last line of a piece may go on in the next.
    if (!last && breaks && !lines->next) {
      size *= 2;
      continue;
    }
    const auto direction = static_cast<PangoDirection>(static_cast<PangoLayoutLine*>(lines->data)->resolved_dir);
    std::size_t used = piece.size();
    for (; lines; lines = lines->next) {
      auto* const line = static_cast<PangoLayoutLine*>(lines->data);
      if (!last && breaks && !lines->next) {
        used = static_cast<std::size_t>(line->start_index);
        break;
      }
      PangoRectangle extents;
      pango_layout_line_get_extents(line, nullptr, &extents);
      visit(line, extents, last || breaks);
    }
    if (last) break;
    // What follows runs in the direction of the beginning.
    pango_context_set_base_dir(context_.get(), direction);
    pango_layout_set_auto_dir(layout_.get(), FALSE);
    text.remove_prefix(used);
  }
  pango_layout_set_text(layout_.get(), "", 0);  // nothing of the text is kept
}

}  // namespace jv
