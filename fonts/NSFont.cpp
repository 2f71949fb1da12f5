#include <JorvaneFoundation/fonts/NSFont.h>

#include <utility>

#include "fonts/VariantCache.h"
#include "foundation/formatting.h"

namespace JVFoundation {
namespace {

using JVPlatform::FontManager;
using JVPlatform::NSBoldFontMask;
using JVPlatform::NSItalicFontMask;

bool isNameOfSystemFont(std::string_view name) { return name.starts_with(".SFNS") || name.starts_with(".AppleSystem"); }

}  // namespace

struct NSFont::State {
  JVPlatform::Font font;
  jv::VariantCache normal, bold, italic, boldItalic;

  using Conversion = std::optional<JVPlatform::Font> (FontManager::*)(const JVPlatform::Font&,
                                                                      JVPlatform::NSFontTraitMask);

  /// @p font converted; @p font itself when that changes nothing, null when there is none or it cannot be converted.
  static Pointer converted(const Pointer& font, Conversion convert, JVPlatform::NSFontTraitMask traits) {
    if (!font) return nullptr;
    auto variant = (*JVPlatform::fontManager().*convert)(font->platformFont(), traits);
    return variant == font->platformFont() ? font : make(std::move(variant));
  }

  static Pointer boldOrItalic(const NSFont& font, JVPlatform::NSFontTraitMask traits) {
    return converted(font.normalFont(), &FontManager::convertFontToHaveTrait, traits);
  }
};

NSFont::NSFont(JVPlatform::Font font) : state_(new State{std::move(font), {}, {}, {}, {}}) {}
NSFont::~NSFont() = default;

NSFont::Pointer NSFont::make(std::optional<JVPlatform::Font> font) {
  return font ? Pointer(new NSFont(*std::move(font))) : nullptr;
}

NSFont::Pointer NSFont::fontWithName(std::optional<std::string_view> name, double size) {
  if (!name || !isNameOfSystemFont(*name)) return jv_fontWithName(name, size);
  return name->ends_with("Bold") ? boldSystemFontOfSize(size) : systemFontOfSize(size);
}

NSFont::Pointer NSFont::jv_fontWithName(std::optional<std::string_view> name, double size) {
  return make(JVPlatform::fontManager()->fontWithName(name, size));
}

void NSFont::setSystemFontFamily(std::string_view family) { JVPlatform::fontManager()->setSystemFontFamily(family); }

NSFont::Pointer NSFont::systemFontOfSize(double size) {
  return make(JVPlatform::fontManager()->systemFontOfSize(size));
}

NSFont::Pointer NSFont::boldSystemFontOfSize(double size) {
  return make(JVPlatform::fontManager()->boldSystemFontOfSize(size));
}

const JVPlatform::Font& NSFont::platformFont() const noexcept { return state_->font; }
const std::string& NSFont::fontName() const noexcept { return state_->font.face->postScriptName; }
const std::string& NSFont::familyName() const noexcept { return state_->font.face->familyName; }
const std::string& NSFont::displayName() const noexcept { return state_->font.face->displayName; }
double NSFont::pointSize() const noexcept { return state_->font.pointSize; }
double NSFont::ascender() const noexcept { return state_->font.face->ascender * pointSize(); }
double NSFont::descender() const noexcept { return state_->font.face->descender * pointSize(); }
double NSFont::leading() const noexcept { return state_->font.face->leading * pointSize(); }
double NSFont::lineHeight() const noexcept { return ascender() - descender() + leading(); }

NSFont::Pointer NSFont::normalFont() const {
  return state_->normal.get(*this, [this] {
    return State::converted(shared_from_this(), &FontManager::convertFontToNotHaveTrait,
                            NSItalicFontMask | NSBoldFontMask);
  });
}

NSFont::Pointer NSFont::boldFont() const {
  return state_->bold.get(*this, [this] { return State::boldOrItalic(*this, NSBoldFontMask); });
}

NSFont::Pointer NSFont::italicFont() const {
  return state_->italic.get(*this, [this] { return State::boldOrItalic(*this, NSItalicFontMask); });
}

NSFont::Pointer NSFont::boldItalicFont() const {
  return state_->boldItalic.get(*this,
                                [this] { return State::boldOrItalic(*this, NSItalicFontMask | NSBoldFontMask); });
}

std::string NSFont::fullDisplayName() const {
  const Pointer normal = normalFont();
  std::optional<std::string_view> name;
  if (normal) name = normal->displayName();
  return std::string(jv::orNull(name)) + " - " + jv::oneDecimal(normal ? normal->pointSize() : 0);
}

}  // namespace JVFoundation
