#include "platform/BusModule.h"
#include "platform/ModuleEntry.h"
#include "platform/modules/bus/KeychainSecretService.h"

namespace {

constexpr jv::BusModule kTable{
    .makeKeychain = jv::makeSecretServiceKeychain,
};

}  // namespace

JV_MODULE(kTable)
