#include "platform/BusModule.h"
#include "platform/ModuleEntry.h"

namespace {

constexpr jv::BusModule kTable{};

}  // namespace

JV_MODULE(kTable)
