#include <JorvaneFoundation/platform/DeviceRegistry.h>

#include <utility>

#include "platform/Defaults.h"
#include "platform/Facility.h"
#include "platform/fact_origins.h"

namespace JVPlatform {
namespace {

jv::Facility<DeviceRegistry>& facility() {
  static auto& only =
      *new jv::Facility<DeviceRegistry>(jv::makeDeviceRegistry);  // never torn down: the listeners are not
  return only;
}

}  // namespace

IORegistryEntry::~IORegistryEntry() = default;
IOIterator::~IOIterator() = default;
DeviceRegistry::~DeviceRegistry() = default;

std::shared_ptr<DeviceRegistry> deviceRegistry() { return facility().inUse(); }

std::shared_ptr<DeviceRegistry> installDeviceRegistry(std::shared_ptr<DeviceRegistry> other) {
  auto before = facility().install(std::move(other));
  jv::forgetOrigins({Fact::idleTime});
  return before;
}

}  // namespace JVPlatform
