/// The fonts that fontconfig knows.
#pragma once

#include <memory>

#include <JorvaneFoundation/platform/FontManager.h>

namespace jv {

/// Null when fontconfig cannot be started.
std::shared_ptr<JVPlatform::FontManager> makeFontconfigManager() noexcept;

}  // namespace jv
