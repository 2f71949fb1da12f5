#include <JorvaneFoundation/platform/FontManager.h>

#include "platform/Defaults.h"
#include "platform/FontsModule.h"
#include "platform/linux/ModuleLoader.h"

namespace jv {
namespace {

using JVPlatform::Font;
using JVPlatform::NSFontTraitMask;

class NoFonts final : public JVPlatform::FontManager {
 public:
  std::optional<Font> fontWithName(std::optional<std::string_view>, double) override { return std::nullopt; }
  std::optional<Font> systemFontOfSize(double) override { return std::nullopt; }
  std::optional<Font> boldSystemFontOfSize(double) override { return std::nullopt; }
  void setSystemFontFamily(std::string_view) override {}
  std::optional<Font> convertFontToHaveTrait(const Font&, NSFontTraitMask) override { return std::nullopt; }
  std::optional<Font> convertFontToNotHaveTrait(const Font&, NSFontTraitMask) override { return std::nullopt; }
};

}  // namespace

std::shared_ptr<JVPlatform::FontManager> makeFontManager() {
  if (const auto* fonts = module<FontsModule>("fonts")) {
    if (auto manager = fonts->makeFontManager()) return manager;
  }
  return std::make_shared<NoFonts>();
}

}  // namespace jv
