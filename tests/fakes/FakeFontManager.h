/// A font manager with a few families, which counts what it is asked.
#pragma once

#include <JorvaneFoundation/platform/FontManager.h>

#include "support/installed.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace jv::test {

/// Faces are known by their PostScript name. "System" and "System-Bold" are the system's.
class FakeFontManager final : public JVPlatform::FontManager {
 public:
  using Font = JVPlatform::Font;
  using Face = JVPlatform::FontFace;
  using Traits = JVPlatform::NSFontTraitMask;

  /// In use until the end of the scope.
  using Installed = jvtest::Installed<FakeFontManager, JVPlatform::installFontManager>;

  /// @p traits of the face; ascender, descender and leading are those of a size of one point.
  void add(std::string family, Traits traits, double ascender = 0.75, double descender = -0.25, double leading = 0) {
    static constexpr const char* kStyles[] = {"", " Italic", " Bold", " Bold Italic"};
    auto face = std::make_shared<Face>();
    face->displayName = family + kStyles[traits];
    face->postScriptName = face->displayName;
    std::ranges::replace(face->postScriptName, ' ', '-');
    face->familyName = std::move(family);
    face->weight = (traits & JVPlatform::NSBoldFontMask) != 0 ? 700 : 400;
    face->italic = (traits & JVPlatform::NSItalicFontMask) != 0;
    face->ascender = ascender;
    face->descender = descender;
    face->leading = leading;
    faces_.push_back(std::move(face));
  }

  std::optional<Font> fontWithName(std::optional<std::string_view> name, double size) override {
    lastName = name ? std::optional<std::string>(*name) : std::nullopt;
    if (!name || !(size > 0) || std::isinf(size)) return std::nullopt;
    const auto face = std::ranges::find(faces_, *name, [](const auto& f) { return f->postScriptName; });
    return face == faces_.end() ? std::nullopt : std::optional(Font{*face, size});
  }
  std::optional<Font> systemFontOfSize(double size) override { return fontWithName("System", size); }
  std::optional<Font> boldSystemFontOfSize(double size) override { return fontWithName("System-Bold", size); }
  void setSystemFontFamily(std::string_view) override {}

  std::optional<Font> convertFontToHaveTrait(const Font& font, Traits traits) override {
    return converted(font, traitsOf(*font.face) | traits);
  }
  std::optional<Font> convertFontToNotHaveTrait(const Font& font, Traits traits) override {
    return converted(font, traitsOf(*font.face) & ~traits);
  }

  std::optional<std::string> lastName;
  std::atomic<int> conversions = 0;
  bool knowsNothing = false;  ///< of the fonts that are to be converted

 private:
  static Traits traitsOf(const Face& face) {
    return (face.weight >= 600 ? JVPlatform::NSBoldFontMask : 0) | (face.italic ? JVPlatform::NSItalicFontMask : 0);
  }

  std::optional<Font> converted(const Font& font, Traits traits) {
    ++conversions;
    if (knowsNothing) return std::nullopt;
    const auto face = std::ranges::find_if(
        faces_, [&](const auto& f) { return f->familyName == font.face->familyName && traitsOf(*f) == traits; });
    return face == faces_.end() ? font : Font{*face, font.pointSize};
  }

  std::vector<std::shared_ptr<const Face>> faces_;
};

}  // namespace jv::test
