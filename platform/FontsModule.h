/// What the module `fonts` makes: the fonts that fontconfig knows.
#pragma once

#include <memory>

#include <JorvaneFoundation/platform/FontManager.h>

namespace jv {

/// Each factory gives an implementation, or null when it cannot be made. None lets an exception out.
struct FontsModule {
  std::shared_ptr<JVPlatform::FontManager> (*makeFontManager)() noexcept;
};

}  // namespace jv
