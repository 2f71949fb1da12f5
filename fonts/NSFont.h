/// Fonts: by name or the system's own, their style variants, and what a user interface wants to know of them.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <JorvaneFoundation/foundation/JVExport.h>
#include <JorvaneFoundation/platform/FontManager.h>

namespace JVFoundation {

/// A face at a size. Shared and immutable as far as anybody can see; any thread.
///
/// All measures are in points and depend on no screen. A size that is not finite and above zero gives no font.
class JV_EXPORT NSFont final : public std::enable_shared_from_this<NSFont> {
 public:
  using Pointer = std::shared_ptr<const NSFont>;

  /// The font of a name: a PostScript name ("DejaVuSans-Bold"), else a full name ("DejaVu Sans Bold"), else a family
  /// ("DejaVu Sans", its regular face), compared exactly. Null when no font bears it, and for no name.
  ///
  /// Names that begin ".SFNS" or ".AppleSystem" stand for the system font, and for the bold one when they end in
  /// "Bold". Case counts, and nothing else in the name does.
  [[nodiscard]] static Pointer fontWithName(std::optional<std::string_view> name, double size);

  /// The same without the names that stand for the system font.
  [[nodiscard]] static Pointer jv_fontWithName(std::optional<std::string_view> name, double size);

  /// The font of the desktop's user interface: the family that `setSystemFontFamily` was told, else what fontconfig
  /// says of "system-ui", else its sans-serif font. Null where there are no fonts.
  [[nodiscard]] static Pointer systemFontOfSize(double size);
  /// Its bold face, or the same as above where the family has none.
  [[nodiscard]] static Pointer boldSystemFontOfSize(double size);
  /// Tells the family of the desktop's settings, which only the application's toolkit knows for sure, for all fonts
  /// that are asked for from now on; an empty name takes it back.
  static void setSystemFontFamily(std::string_view family);

  /// The PostScript name.
  [[nodiscard]] const std::string& fontName() const noexcept;
  [[nodiscard]] const std::string& familyName() const noexcept;
  /// The name of the face for people, in their language where it has one.
  [[nodiscard]] const std::string& displayName() const noexcept;
  [[nodiscard]] double pointSize() const noexcept;

  /// The highest and the lowest part of a line, from the baseline up; so the descender is negative.
  [[nodiscard]] double ascender() const noexcept;
  [[nodiscard]] double descender() const noexcept;
  /// The gap between two lines.
  [[nodiscard]] double leading() const noexcept;
  /// From one baseline to the next: ascender - descender + leading.
  [[nodiscard]] double lineHeight() const noexcept;

  /// The same family and size, neither bold nor italic, and from there bold, italic, or both: the bold variant of an
  /// italic font is upright. Where the family lacks a face, the variant is the font that it would have been made from.
  ///
  /// Computed on the first request; each further one gives the same object, at the cost of copying a pointer. Null, and
  /// asked for again each time, when the font manager does not know the font any more.
  [[nodiscard]] Pointer normalFont() const;
  [[nodiscard]] Pointer boldFont() const;
  [[nodiscard]] Pointer italicFont() const;
  [[nodiscard]] Pointer boldItalicFont() const;

  /// Display name and size of the normal font, as "DejaVu Sans - 12.0".
  [[nodiscard]] std::string fullDisplayName() const;

  /// What the font manager knows the font by.
  [[nodiscard]] const JVPlatform::Font& platformFont() const noexcept;

  ~NSFont();

 private:
  struct State;
  explicit NSFont(JVPlatform::Font font);
  static Pointer make(std::optional<JVPlatform::Font> font);

  const std::unique_ptr<State> state_;
};

}  // namespace JVFoundation
