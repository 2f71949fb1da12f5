#include "platform/ModuleEntry.h"
#include "platform/X11Module.h"
#include "platform/modules/x11/X11Monitors.h"
#include "platform/modules/x11/Idle.h"

namespace {

constexpr jv::X11Module kTable{
    .openMonitors = jv::openX11Monitors,
    .idle = jv::x11Idle,
};

}  // namespace

JV_MODULE(kTable)
