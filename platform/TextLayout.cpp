#include <JorvaneFoundation/platform/TextLayout.h>

#include <utility>

#include "platform/Defaults.h"
#include "platform/Facility.h"

namespace JVPlatform {
namespace {

// Made on first use and never torn down, so that threads may still lay out while the process ends.
jv::Facility<TextLayout>& facility() {
  static auto& only = *new jv::Facility<TextLayout>(jv::makeTextLayout);
  return only;
}

}  // namespace

TextLayout::~TextLayout() = default;

std::shared_ptr<TextLayout> textLayout() { return facility().inUse(); }

std::shared_ptr<TextLayout> installTextLayout(std::shared_ptr<TextLayout> other) {
  return facility().install(std::move(other));
}

}  // namespace JVPlatform
