/// What a user interface wants to know of a text.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <variant>

#include <JorvaneFoundation/fonts/NSFont.h>
#include <JorvaneFoundation/foundation/JVExport.h>
#include <JorvaneFoundation/foundation/NSGeometry.h>
#include <JorvaneFoundation/platform/TextLayout.h>

namespace JVFoundation {

using JVPlatform::NSTextAlignment;

/// Keys of text attributes, each with the kind of its value and what holds without it.
inline constexpr char NSFontAttributeName[] = "NSFont";  ///< `NSFont::Pointer`; the system font at 12 points
inline constexpr char NSParagraphSpacingAttributeName[] =
    "NSParagraphSpacing";                                                  ///< double: points between paragraphs; 0
inline constexpr char NSTextAlignmentAttributeName[] = "NSTextAlignment";  ///< `NSTextAlignment`; natural

using TextAttribute = std::variant<NSFont::Pointer, double, NSTextAlignment>;
/// How a text looks, by key:
///
///     TextAttributes{{NSFontAttributeName, NSFont::fontWithName("DejaVu Serif", 14)},
///                    {NSParagraphSpacingAttributeName, 7.0}}
///
/// An unknown key, a value of another kind, a null font, and a spacing that is not finite or negative count as missing.
using TextAttributes = std::map<std::string, TextAttribute, std::less<>>;

/// Texts are plain UTF-8 here, `std::string` and `std::string_view`; this is what can be asked of them.
class JV_EXPORT NSString {
 public:
  NSString() = delete;

  /// The size that @p text takes when it is laid out in lines of at most @p width points, all of @p attributes applying
  /// to all of it. Nothing is padded and nothing is rounded.
  ///
  /// The width of the result is @p width, unchanged, whatever it is. The height is that of all lines: a line is as high
  /// as the `lineHeight()` of its font, to about a thousandth of a point, or more where a character had to be taken
  /// from a taller font. An empty text has the height of one line, and so has the place behind a final line feed.
  ///
  /// - Lines break between words, and within a word that is wider than @p width. A width of 0 gives each character a
  ///   line of its own. A width that is negative, infinite or not a number: lines break nowhere but where the text says
  ///   so.
  /// - Any script. Each byte that is no UTF-8, and each zero byte, is laid out as a replacement character.
  /// - The height is 0 when nothing can be laid out: there are no fonts, the library's module `text` is missing, or
  ///   memory has run out.
  ///
  /// Threads: any, and they do not wait for each other. Each keeps its fonts for its next text, about 3 MB.
  /// Cost: time in proportion to the text.
  [[nodiscard]] static NSSize sizeWithWidth(std::string_view text, double width, const TextAttributes& attributes = {});
};

}  // namespace JVFoundation
