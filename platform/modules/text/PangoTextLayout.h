/// Text layout by Pango, in points that are no pixels of anything: no hinting and no rounding.
#pragma once

#include <memory>

#include <JorvaneFoundation/platform/TextLayout.h>

namespace jv {

std::shared_ptr<JVPlatform::TextLayout> makePangoTextLayout() noexcept;

}  // namespace jv
