#include "platform/X11Module.h"
#include "platform/ModuleEntry.h"

namespace {

constexpr jv::X11Module kTable{};

}  // namespace

JV_MODULE(kTable)
