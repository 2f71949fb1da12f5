#include <JorvaneFoundation/platform/EventStream.h>

#include <utility>

#include "platform/Defaults.h"
#include "platform/Facility.h"

namespace JVPlatform {
namespace {

jv::Facility<EventStream>& facility() {
  static auto& only =
      *new jv::Facility<EventStream>(jv::makeEventStream);  // never torn down: watchers may outlive main
  return only;
}

}  // namespace

FSEventStream::~FSEventStream() = default;
EventStream::~EventStream() = default;

std::shared_ptr<EventStream> eventStream() { return facility().inUse(); }

std::shared_ptr<EventStream> installEventStream(std::shared_ptr<EventStream> other) {
  return facility().install(std::move(other));
}

}  // namespace JVPlatform
