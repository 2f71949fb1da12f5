#include "platform/ModuleEntry.h"
#include "platform/WaylandModule.h"
#include "platform/modules/wayland/WaylandMonitors.h"

namespace {

constexpr jv::WaylandModule kTable{
    .openMonitors = jv::openWaylandMonitors,
};

}  // namespace

JV_MODULE(kTable)
