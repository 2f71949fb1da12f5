#include <JorvaneFoundation/platform/Screens.h>

#include <utility>

#include "platform/Defaults.h"
#include "platform/Facility.h"

namespace JVPlatform {
namespace {

// Made on first use and never torn down.
jv::Facility<Screens>& facility() {
  static auto& only = *new jv::Facility<Screens>(jv::makeScreens);
  return only;
}

}  // namespace

Screens::~Screens() = default;

std::shared_ptr<Screens> screens() { return facility().inUse(); }

std::shared_ptr<Screens> installScreens(std::shared_ptr<Screens> other) { return facility().install(std::move(other)); }

}  // namespace JVPlatform
