#include <JorvaneFoundation/platform/TextLayout.h>

#include "platform/Defaults.h"
#include "platform/TextModule.h"
#include "platform/linux/ModuleLoader.h"

namespace jv {
namespace {

class NoLayout final : public JVPlatform::TextLayout {
 public:
  std::optional<NSRect> usedRect(std::string_view, double, const JVPlatform::TextStyle&) override {
    return std::nullopt;
  }
  std::optional<std::vector<std::uint8_t>> picture(std::span<const JVPlatform::StyledText>, double, double) override {
    return std::nullopt;
  }
};

}  // namespace

std::shared_ptr<JVPlatform::TextLayout> makeTextLayout() {
  if (const auto* text = module<TextModule>("text")) {
    if (auto layout = text->makeTextLayout()) return layout;
  }
  return std::make_shared<NoLayout>();
}

}  // namespace jv
