#include "platform/ModuleEntry.h"
#include "platform/X11Module.h"
#include "platform/modules/x11/Idle.h"

namespace {

constexpr jv::X11Module kTable{
    .idle = jv::x11Idle,
};

}  // namespace

JV_MODULE(kTable)
