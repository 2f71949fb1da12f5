#include "platform/ModuleEntry.h"
#include "platform/VaultModule.h"
#include "platform/modules/vault/KeychainVault.h"

namespace {

constexpr jv::VaultModule kTable{
    .open = jv::openKeychainVault,
};

}  // namespace

JV_MODULE(kTable)
