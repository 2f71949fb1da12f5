/// What the module `text` makes: layouts by Pango.
#pragma once

#include <memory>

#include <JorvaneFoundation/platform/TextLayout.h>

namespace jv {

/// Each factory gives an implementation, or null when it cannot be made. None lets an exception out.
struct TextModule {
  std::shared_ptr<JVPlatform::TextLayout> (*makeTextLayout)() noexcept;
};

}  // namespace jv
