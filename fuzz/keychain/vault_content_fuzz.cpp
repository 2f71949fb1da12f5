// Reads any bytes as the content of a vault: what is taken for items is written again as the same bytes.

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "platform/modules/vault/VaultContent.h"
#include "support/input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const jv::fuzz::ExactCopy copy({data, size}, 0);
  const auto items = jv::decodeVaultItems(copy.bytes());
  if (items) {
    jv::fuzz::require(std::ranges::equal(*jv::encodeVaultItems(*items), copy.bytes()), "items are kept as they are");
  }
  return 0;
}
