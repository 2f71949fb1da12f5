/// What `fonts/` asks of the platform about fonts: faces by name, the system's own, and their relatives in other
/// styles.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <JorvaneFoundation/foundation/JVExport.h>

namespace JVPlatform {

/// Style traits, as bits.
using NSFontTraitMask = std::uint64_t;
inline constexpr NSFontTraitMask NSItalicFontMask = 1;
inline constexpr NSFontTraitMask NSBoldFontMask = 2;

/// One face of a family. A font manager fills it; from then on it is shared and never changed.
struct FontFace {
  std::string postScriptName;  ///< "DejaVuSans-Bold"; what `fontWithName` finds it by
  std::string familyName;      ///< "DejaVu Sans"
  std::string displayName;     ///< "DejaVu Sans Bold", in the user's language
  int weight = 400;            ///< 1 to 1000: 400 is regular, 700 bold
  double width = 100;          ///< percent of the normal width
  bool italic = false;         ///< italic or oblique
  /// In points at a size of one point: the parts of a line above and below the baseline, this one negative, and the gap
  /// between lines.
  double ascender = 0;
  double descender = 0;
  double leading = 0;
  std::string file;  ///< where it is
  int index = 0;     ///< which of the file's faces: FreeType's number, a named instance in the upper 16 bits
};

/// A face at a size.
struct Font {
  std::shared_ptr<const FontFace> face;  ///< never null
  double pointSize = 0;

  /// The same face object at the same size.
  friend bool operator==(const Font&, const Font&) = default;
};

/// Knows the fonts of this machine. Any thread, any number at once. Sizes are in points; a size that is not finite and
/// above zero gives no font.
class JV_EXPORT FontManager {
 public:
  FontManager() = default;
  FontManager(const FontManager&) = delete;
  FontManager& operator=(const FontManager&) = delete;
  virtual ~FontManager();

  /// The face whose PostScript name, else full name, else family is exactly @p name, of a family its regular face; none
  /// for any other name and for no name.
  virtual std::optional<Font> fontWithName(std::optional<std::string_view> name, double size) = 0;

  /// The font of the user interface, and its bold face or, where that is missing, the same font. None where there are
  /// no fonts.
  virtual std::optional<Font> systemFontOfSize(double size) = 0;
  virtual std::optional<Font> boldSystemFontOfSize(double size) = 0;

  /// Tells which family the desktop's settings name for the user interface; an empty name takes it back.
  virtual void setSystemFontFamily(std::string_view family) = 0;

  /// The face of the same family and width that differs from @p font in having, or not having, @p traits; @p font
  /// itself when there is no such face or nothing to change. None when @p font is none of this machine's any more.
  virtual std::optional<Font> convertFontToHaveTrait(const Font& font, NSFontTraitMask traits) = 0;
  virtual std::optional<Font> convertFontToNotHaveTrait(const Font& font, NSFontTraitMask traits) = 0;
};

/// The implementation in use: at first the fonts that fontconfig knows. Where its module cannot be had, one without
/// fonts.
JV_EXPORT std::shared_ptr<FontManager> fontManager();

/// Puts @p other in its place and gives back the one before; none brings back the first one.
JV_EXPORT std::shared_ptr<FontManager> installFontManager(std::shared_ptr<FontManager> other);

}  // namespace JVPlatform
