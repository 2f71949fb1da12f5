#include "platform/modules/text/PangoTextLayout.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "platform/modules/text/ThreadLayout.h"
#include "platform/modules/text/png.h"
#include "platform/modules/text/text_lines.h"

namespace jv {
namespace {

using JVPlatform::NSTextAlignment;
using JVPlatform::StyledText;
using JVPlatform::TextStyle;

constexpr double kDefaultSize = 12;

double inPoints(int units) { return static_cast<double>(units) / PANGO_SCALE; }

double sizeOf(const TextStyle& style) { return style.font ? style.font->pointSize : kDefaultSize; }

/// How @p style is set with @p factor points to a unit of the layout, in a container of @p width points.
ThreadLayout::Setting settingOf(const TextStyle& style, double width, double factor) {
  const double room = width / factor;
  return {.face = style.font ? style.font->face.get() : nullptr,
          .size = sizeOf(style) / factor,
          .width = room <= ThreadLayout::kLargestWidth ? room : std::numeric_limits<double>::infinity(),
          .alignment = style.alignment};
}

double leadingOf(const ThreadLayout::Setting& setting) {
  return setting.face ? setting.face->leading * setting.size : 0;
}

/// Adds up what lines take.
class Room {
 public:
  explicit Room(double leading) : leading_(leading) {}

  /// @p whole  whether the line ends here; of one that comes in pieces the tallest counts, and all lie side by side
  void addLine(const PangoRectangle& extents, bool whole) {
    lineWidth_ += inPoints(extents.width);
    lineHeight_ = std::max(lineHeight_, inPoints(extents.height));
    if (!whole) return;
    size_.width = std::max(size_.width, lineWidth_);
    size_.height += lineHeight_ + leading_;
    lineWidth_ = lineHeight_ = 0;
  }
  void addSpace(double space) { size_.height += space; }

  [[nodiscard]] NSSize size() const { return size_; }

 private:
  double leading_;
  NSSize size_{};
  double lineWidth_ = 0;
  double lineHeight_ = 0;
};

/// Calls `set(line)` for each line of @p text as it stands, and `space()` between two paragraphs.
template <class Set, class Space>
void forEachLine(std::string_view text, Set set, Space space) {
  std::string storage;
  std::string_view rest = validText(text, storage);
  for (;;) {
    const TextLine line = takeLine(rest);
    set(line.text);
    if (line.end == LineEnd::text) return;
    if (line.end == LineEnd::paragraph) space();
  }
}

/// The size to set a text of @p size points at so that Pango's units can hold it and its lines of @p width points. What
/// comes out is multiplied then.
double settableSize(double size, double width) {
  const double largest = size * (ThreadLayout::kLargestWidth / width);
  return std::clamp(size, 1.0, std::clamp(largest, 1.0, ThreadLayout::kLargestSize));
}

/// The size in points.
NSSize measure(ThreadLayout& layout, std::string_view text, const TextStyle& style, double width) {
  const double size = sizeOf(style);
  const double factor = size / settableSize(size, std::isfinite(width) ? width : 0);
  const ThreadLayout::Setting setting = settingOf(style, width, factor);
  layout.begin(setting);
  Room room(leadingOf(setting));
  const auto visit = [&](PangoLayoutLine*, const PangoRectangle& extents, bool whole) { room.addLine(extents, whole); };
  forEachLine(
      text, [&](std::string_view line) { layout.setLine(line, visit); },
      [&] { room.addSpace(style.paragraphSpacing / factor); });
  return {room.size().width * factor, room.size().height * factor};
}

/// A sheet of paper that texts are drawn on, one below the other.
class Sheet {
 public:
  static constexpr double kLargestSide = 16384;

  Sheet(unsigned width, unsigned height, double margin)
      : margin_(margin), top_(margin), picture_{width, height, std::vector<std::uint8_t>(std::size_t{width} * height)} {
    bitmap_.width = width;
    bitmap_.rows = height;
    bitmap_.pitch = static_cast<int>(width);
    bitmap_.buffer = picture_.pixels.data();
    bitmap_.num_grays = 256;
    bitmap_.pixel_mode = FT_PIXEL_MODE_GRAY;
  }

  /// Draws @p styled below what is there, @p width points wide, with @p scale pixels a point.
  void draw(ThreadLayout& layout, const StyledText& styled, double width, double scale) {
    const ThreadLayout::Setting setting = settingOf(styled.style, width, 1 / scale);
    layout.begin(setting);
    const double leading = leadingOf(setting);
    const auto visit = [&](PangoLayoutLine* line, const PangoRectangle& extents, bool whole) {
      const double left = margin_ + spaceBefore(*line, extents, setting) - inPoints(extents.x);
      const double baseline = top_ - inPoints(extents.y);
      pango_ft2_render_layout_line(&bitmap_, line, static_cast<int>(std::lround(left)),
                                   static_cast<int>(std::lround(baseline)));
      if (whole) top_ += inPoints(extents.height) + leading;
    };
    forEachLine(
        styled.text, [&](std::string_view line) { layout.setLine(line, visit); },
        [&] { top_ += styled.style.paragraphSpacing * scale; });
  }

  /// Black on white.
  [[nodiscard]] const GreyPicture& finish() {
    for (std::uint8_t& pixel : picture_.pixels) pixel = static_cast<std::uint8_t>(255 - pixel);
    return picture_;
  }

 private:
  /// How far right of the edge a line begins.
  static double spaceBefore(const PangoLayoutLine& line, const PangoRectangle& extents,
                            const ThreadLayout::Setting& setting) {
    const double free = setting.width - inPoints(extents.width);
    switch (setting.alignment) {
      case NSTextAlignment::left:
        return 0;
      case NSTextAlignment::right:
        return free;
      case NSTextAlignment::center:
        return free / 2;
      default:
        return line.resolved_dir == PANGO_DIRECTION_RTL ? free : 0;
    }
  }

  double margin_;  // in pixels, as all in here
  double top_;
  GreyPicture picture_;
  FT_Bitmap bitmap_{};
};

class PangoTextLayout final : public JVPlatform::TextLayout {
 public:
  std::optional<NSRect> usedRect(std::string_view text, double width, const TextStyle& style) override try {
    ThreadLayout& layout = ThreadLayout::mine();
    if (!layout.hasFonts()) return std::nullopt;
    return NSRect{{0, 0}, measure(layout, text, style, width)};
  } catch (...) {
    return std::nullopt;
  }

  std::optional<std::vector<std::uint8_t>> picture(std::span<const StyledText> texts, double width, double margin,
                                                   double scale) override try {
    ThreadLayout& layout = ThreadLayout::mine();
    if (!layout.hasFonts()) return std::nullopt;
    const double room = width - 2 * margin;
    if (!(room > 0 && margin >= 0)) return std::nullopt;
    double height = 2 * margin;
    for (const StyledText& styled : texts) height += measure(layout, styled.text, styled.style, room).height;
    const double columns = std::ceil(width * scale);
    const double rows = std::ceil(height * scale);
    if (!(columns >= 1 && columns <= Sheet::kLargestSide && rows >= 1 && rows <= Sheet::kLargestSide)) {
      return std::nullopt;
    }
    Sheet sheet(static_cast<unsigned>(columns), static_cast<unsigned>(rows), margin * scale);
    for (const StyledText& styled : texts) sheet.draw(layout, styled, room, scale);
    return pngOf(sheet.finish());
  } catch (...) {
    return std::nullopt;
  }
};

}  // namespace

std::shared_ptr<JVPlatform::TextLayout> makePangoTextLayout() noexcept try {
  return std::make_shared<PangoTextLayout>();
} catch (...) {
  return nullptr;
}

}  // namespace jv
