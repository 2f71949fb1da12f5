#include <JorvaneFoundation/platform/ProcessInformation.h>

#include <utility>

#include "platform/Defaults.h"
#include "platform/Facility.h"
#include "platform/fact_origins.h"

namespace JVPlatform {
namespace {

jv::Facility<ProcessInformation>& facility() {
  static auto& only =
      *new jv::Facility<ProcessInformation>(jv::makeProcessInformation);  // never torn down: the listeners are not
  return only;
}

}  // namespace

ProcessInformation::~ProcessInformation() = default;

std::shared_ptr<ProcessInformation> processInformation() { return facility().inUse(); }

std::shared_ptr<ProcessInformation> installProcessInformation(std::shared_ptr<ProcessInformation> other) {
  auto before = facility().install(std::move(other));
  jv::forgetOrigins({Fact::systemVersion, Fact::systemText, Fact::architecture, Fact::computerModel});
  return before;
}

}  // namespace JVPlatform
