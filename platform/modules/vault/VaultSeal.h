/// Turns the content of a vault into the bytes of its file, and back.
#pragma once

#include <sodium.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "foundation/secret.h"
#include "platform/VaultModule.h"
#include "platform/modules/vault/VaultContent.h"

namespace jv {

/// Memory that is locked, fenced, and wiped.
struct FreeLocked {
  void operator()(std::uint8_t* bytes) const { sodium_free(bytes); }
};
using LockedKey = std::unique_ptr<std::uint8_t, FreeLocked>;

/// The key of one vault with what it was made from. Throws `KeychainFailure`: `errSecAuthFailed` for another key,
/// `errSecInvalidKeychain` for bytes that are no whole vault. Any thread.
class VaultSeal {
 public:
  /// For a new vault.
  explicit VaultSeal(VaultSecret secret);
  /// For the vault whose file holds @p file.
  VaultSeal(VaultSecret secret, std::span<const std::uint8_t> file);

  [[nodiscard]] std::vector<std::uint8_t> seal(std::span<const std::uint8_t> content) const;
  [[nodiscard]] SecretBytes open(std::span<const std::uint8_t> file) const;

 private:
  // A file is: mark with version, how the key was made, salt | check of the key | nonce | content with its tag | sum.
  // The content's tag covers all that stands before it. The sum needs no key: it tells damage from a wrong key, and
  // early.
  static constexpr std::size_t kOriginSize = 8 + 4 + 4 + 8 + crypto_pwhash_SALTBYTES;
  static constexpr std::size_t kCheckSize = 16;
  static constexpr std::size_t kNonceSize = crypto_aead_xchacha20poly1305_ietf_NPUBBYTES;
  static constexpr std::size_t kTagSize = crypto_aead_xchacha20poly1305_ietf_ABYTES;
  static constexpr std::size_t kHeadSize = kOriginSize + kCheckSize + kNonceSize;
  static constexpr std::size_t kSumSize = 32;
  static constexpr std::size_t kLeastSize = kHeadSize + kTagSize + kSumSize;

  using Origin = std::array<std::uint8_t, kOriginSize>;
  using Check = std::array<std::uint8_t, kCheckSize>;

  static void checkWhole(std::span<const std::uint8_t> file);
  void makeKeys(VaultSecret secret);

  Origin origin_;
  Check check_;
  LockedKey key_;
};

}  // namespace jv
