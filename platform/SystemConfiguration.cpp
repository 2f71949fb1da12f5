#include <JorvaneFoundation/platform/SystemConfiguration.h>

#include <utility>

#include "platform/Defaults.h"
#include "platform/Facility.h"
#include "platform/fact_origins.h"

namespace JVPlatform {
namespace {

jv::Facility<SystemConfiguration>& facility() {
  static auto& only =
      *new jv::Facility<SystemConfiguration>(jv::makeSystemConfiguration);  // never torn down: the listeners are not
  return only;
}

}  // namespace

SCDynamicStore::~SCDynamicStore() = default;
SCPreferences::~SCPreferences() = default;
SystemConfiguration::~SystemConfiguration() = default;

std::shared_ptr<SystemConfiguration> systemConfiguration() { return facility().inUse(); }

std::shared_ptr<SystemConfiguration> installSystemConfiguration(std::shared_ptr<SystemConfiguration> other) {
  auto before = facility().install(std::move(other));
  jv::forgetOrigins({Fact::computerName, Fact::network});
  return before;
}

}  // namespace JVPlatform
