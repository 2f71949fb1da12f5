/// Asks the accounts service (org.freedesktop.Accounts).
#pragma once

#include "platform/BusModule.h"

namespace jv {

/// As `BusModule::readAccount`.
bool readAccount(std::uint32_t user, std::uint64_t longestWait, Account& account) noexcept;

}  // namespace jv
