/// The items of a vault, and the bytes that they are kept as.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "foundation/secret.h"
#include "platform/KeychainByKey.h"

namespace jv {

using SecretBytes = Secret<std::vector<std::uint8_t>>;

struct VaultItem {
  std::uint64_t number = 0;  ///< its own for good
  ItemClass kind = ItemClass::generic;
  std::string name, account, securityDomain, path;
  std::uint16_t port = 0;
  std::uint32_t protocol = 0;
  std::uint32_t authentication = 0;
  std::string label;
  SecretBytes password;
};

/// Oldest first.
using VaultItems = std::vector<VaultItem>;

SecretBytes encodeVaultItems(const VaultItems& items);

/// None unless @p bytes are exactly what `encodeVaultItems` writes.
std::optional<VaultItems> decodeVaultItems(std::span<const std::uint8_t> bytes);

}  // namespace jv
