#include "platform/BusModule.h"
#include "platform/ModuleEntry.h"
#include "platform/modules/bus/KeychainSecretService.h"
#include "platform/modules/bus/Accounts.h"
#include "platform/modules/bus/Idle.h"
#include "platform/modules/bus/Session.h"

namespace {

constexpr jv::BusModule kTable{
    .makeKeychain = jv::makeSecretServiceKeychain,
    .readAccount = jv::readAccount,
    .compositorIdle = jv::compositorIdle,
    .sessionIdle = jv::sessionIdle,
    .watchSession = jv::watchSession,
};

}  // namespace

JV_MODULE(kTable)
