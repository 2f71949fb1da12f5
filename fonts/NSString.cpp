#include <JorvaneFoundation/fonts/NSString.h>

#include <cmath>
#include <limits>
#include <optional>

namespace JVFoundation {
namespace {

/// The value of @p kind under @p key, or null.
template <class Kind>
const Kind* find(const TextAttributes& attributes, std::string_view key) {
  const auto found = attributes.find(key);
  return found == attributes.end() ? nullptr : std::get_if<Kind>(&found->second);
}

NSFont::Pointer fontOf(const TextAttributes& attributes) {
  constexpr double kDefaultSize = 12;
  const NSFont::Pointer* const font = find<NSFont::Pointer>(attributes, NSFontAttributeName);
  return font && *font ? *font : NSFont::systemFontOfSize(kDefaultSize);
}

JVPlatform::TextStyle styleOf(const TextAttributes& attributes) {
  JVPlatform::TextStyle style;
  if (const NSFont::Pointer font = fontOf(attributes)) style.font = font->platformFont();
  const double* const spacing = find<double>(attributes, NSParagraphSpacingAttributeName);
  if (spacing && std::isfinite(*spacing) && *spacing > 0) style.paragraphSpacing = *spacing;
  const NSTextAlignment* const alignment = find<NSTextAlignment>(attributes, NSTextAlignmentAttributeName);
  if (alignment) style.alignment = *alignment;
  return style;
}

}  // namespace

NSSize NSString::sizeWithWidth(std::string_view text, double width, const TextAttributes& attributes) {
  const double room = width >= 0 ? width : std::numeric_limits<double>::infinity();
  const std::optional<NSRect> used = JVPlatform::textLayout()->usedRect(text, room, styleOf(attributes));
  return {width, used ? used->size.height : 0};
}

}  // namespace JVFoundation
