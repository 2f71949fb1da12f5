/// What `fonts/` asks of the platform's text layout: the room that a text takes, and a picture of it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include <JorvaneFoundation/foundation/JVExport.h>
#include <JorvaneFoundation/foundation/NSGeometry.h>
#include <JorvaneFoundation/platform/FontManager.h>

namespace JVPlatform {

/// Where lines stand that are shorter than the width. Natural: where the text's own script begins.
enum class NSTextAlignment : std::uint8_t { left, right, center, justified, natural };

/// How all of a text looks.
struct TextStyle {
  std::optional<Font> font;  ///< none: any that the layout chooses, at 12 points
  /// Points between two paragraphs, beside the height of their lines; finite, not negative.
  double paragraphSpacing = 0;
  NSTextAlignment alignment = NSTextAlignment::natural;
};

/// A text with its look, one of several in a picture.
struct StyledText {
  std::string_view text;
  TextStyle style;
};

/// Lays texts out in lines. Any thread, any number at once.
///
/// A text is UTF-8 in any script. Each byte of it that is no UTF-8, and each zero byte, stands for a replacement
/// character (U+FFFD). Lines end at LF, CR, CR LF, U+2028 and U+2029, all but U+2028 end a paragraph as well, and a
/// text that ends in one has an empty line behind it; an empty text is one empty line. A line has the height of the
/// tallest font in it and the leading of the style's font.
class JV_EXPORT TextLayout {
 public:
  TextLayout() = default;
  TextLayout(const TextLayout&) = delete;
  TextLayout& operator=(const TextLayout&) = delete;
  virtual ~TextLayout();

  /// The rectangle that @p text takes in a container of @p width points without padding and of any height. Lines break
  /// between words, and within one that is wider than @p width; what is too wide by itself stands alone and sticks out.
  /// @param width  from 0; infinite: lines break nowhere
  /// @return  none when nothing can be laid out
  virtual std::optional<NSRect> usedRect(std::string_view text, double width, const TextStyle& style) = 0;

  /// A picture of @p texts one below the other, black on white, as the bytes of a PNG file: @p width points wide, @p
  /// margin points of them white at every edge, with @p scale pixels a point. None when it cannot be drawn or is larger
  /// than 16384 pixels either way.
  virtual std::optional<std::vector<std::uint8_t>> picture(std::span<const StyledText> texts, double width,
                                                           double margin, double scale) = 0;
};

/// The implementation in use: at first one by Pango. Where its module cannot be had, one that lays out nothing.
JV_EXPORT std::shared_ptr<TextLayout> textLayout();

/// Puts @p other in its place and gives back the one before; none brings back the first one.
JV_EXPORT std::shared_ptr<TextLayout> installTextLayout(std::shared_ptr<TextLayout> other);

}  // namespace JVPlatform
