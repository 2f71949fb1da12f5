#include <JorvaneFoundation/platform/Process.h>

#include <utility>

#include "platform/Defaults.h"
#include "platform/Facility.h"

namespace JVPlatform {
namespace {
jv::Facility<Process>& facility() {
  static auto& shared = *new jv::Facility<Process>(jv::makeProcess);  // never torn down: tools may outlive main
  return shared;
}
}  // namespace

ResourceShortage::~ResourceShortage() = default;
Waitable::~Waitable() = default;
FileHandle::~FileHandle() = default;
Task::~Task() = default;
Pipe::~Pipe() = default;
Process::~Process() = default;

std::shared_ptr<Process> process() { return facility().inUse(); }

std::shared_ptr<Process> installProcess(std::shared_ptr<Process> other) { return facility().install(std::move(other)); }

}  // namespace JVPlatform
