#include <JorvaneFoundation/platform/FontManager.h>

#include <utility>

#include "platform/Defaults.h"
#include "platform/Facility.h"

namespace JVPlatform {
namespace {

// Made on first use and never torn down, so that threads may still ask while the process ends.
jv::Facility<FontManager>& facility() {
  static auto& only = *new jv::Facility<FontManager>(jv::makeFontManager);
  return only;
}

}  // namespace

FontManager::~FontManager() = default;

std::shared_ptr<FontManager> fontManager() { return facility().inUse(); }

std::shared_ptr<FontManager> installFontManager(std::shared_ptr<FontManager> other) {
  return facility().install(std::move(other));
}

}  // namespace JVPlatform
