#include <JorvaneFoundation/platform/Workspace.h>

#include <utility>

#include "platform/Defaults.h"
#include "platform/Facility.h"

namespace JVPlatform {
namespace {

jv::Facility<Workspace>& facility() {
  static auto& only = *new jv::Facility<Workspace>(jv::makeWorkspace);  // never torn down: the listeners are not
  return only;
}

}  // namespace

Workspace::~Workspace() = default;

std::shared_ptr<Workspace> workspace() { return facility().inUse(); }

std::shared_ptr<Workspace> installWorkspace(std::shared_ptr<Workspace> other) {
  return facility().install(std::move(other));
}

}  // namespace JVPlatform
