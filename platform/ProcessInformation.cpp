#include <JorvaneFoundation/platform/ProcessInformation.h>

#include <utility>

#include "platform/Defaults.h"
#include "platform/Facility.h"

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
  return facility().install(std::move(other));
}

}  // namespace JVPlatform
