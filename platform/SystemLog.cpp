#include <JorvaneFoundation/platform/SystemLog.h>

#include <utility>

#include "platform/Defaults.h"
#include "platform/Facility.h"

namespace JVPlatform {
namespace {

// Made on first use and never torn down, so that threads may still log while the process ends.
jv::Facility<SystemLog>& facility() {
  static auto& only = *new jv::Facility<SystemLog>(jv::makeSystemLog);
  return only;
}

}  // namespace

SystemLog::~SystemLog() = default;

std::shared_ptr<SystemLog> systemLog() { return facility().inUse(); }

std::shared_ptr<SystemLog> installSystemLog(std::shared_ptr<SystemLog> other) {
  return facility().install(std::move(other));
}

}  // namespace JVPlatform
