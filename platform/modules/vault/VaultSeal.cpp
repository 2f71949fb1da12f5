#include "platform/modules/vault/VaultSeal.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace jv {
namespace {

using namespace JVPlatform;
using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kKeySize = 32;
static_assert(kKeySize == crypto_kdf_KEYBYTES && kKeySize == crypto_aead_xchacha20poly1305_ietf_KEYBYTES);

constexpr char kMark[8] = {'J', 'V', 'V', 'A', 'U', 'L', 'T', '1'};  // the last one is the version

// Places in the origin.
constexpr std::size_t kKindAt = 8, kPassesAt = 12, kMemoryAt = 16, kSaltAt = 24;

// How a key is made from a passphrase: three passes over 64 MiB, as RFC 9106 recommends where memory is dear. Files say
// what they were made with, up to a limit.
constexpr std::uint32_t kPasses = 3;
constexpr std::uint64_t kMemory = std::uint64_t{64} << 20;
constexpr std::uint32_t kMostPasses = 64;
constexpr std::uint64_t kMostMemory = std::uint64_t{1} << 30;

template <class Number>
void put(std::uint8_t* to, Number value) {
  for (std::size_t at = 0; at < sizeof value; ++at) to[at] = static_cast<std::uint8_t>(value >> (8 * at));
}

template <class Number>
Number get(const std::uint8_t* from) {
  Number value = 0;
  for (std::size_t at = 0; at < sizeof value; ++at) value |= static_cast<Number>(from[at]) << (8 * at);
  return value;
}

LockedKey newKey() {
  LockedKey key(static_cast<std::uint8_t*>(sodium_malloc(kKeySize)));
  if (!key) throw std::bad_alloc();
  return key;
}

void sumOf(Bytes bytes, std::uint8_t* sum, std::size_t size) {
  crypto_generichash(sum, size, bytes.data(), bytes.size(), nullptr, 0);
}

void prepareSodium() {
  if (sodium_init() < 0) throw KeychainFailure{errSecInternalComponent};
}

}  // namespace

VaultSeal::VaultSeal(VaultSecret secret) : origin_{} {
  prepareSodium();
  std::memcpy(origin_.data(), kMark, sizeof kMark);
  const bool isPassphrase = secret.kind == VaultSecret::Kind::passphrase;
  put(origin_.data() + kKindAt, static_cast<std::uint32_t>(secret.kind));
  put(origin_.data() + kPassesAt, isPassphrase ? kPasses : 0);
  put(origin_.data() + kMemoryAt, isPassphrase ? kMemory : 0);
  randombytes_buf(origin_.data() + kSaltAt, crypto_pwhash_SALTBYTES);
  makeKeys(secret);
}

VaultSeal::VaultSeal(VaultSecret secret, Bytes file) {
  prepareSodium();
  checkWhole(file);
  std::copy_n(file.begin(), kOriginSize, origin_.begin());
  if (get<std::uint32_t>(origin_.data() + kKindAt) != static_cast<std::uint32_t>(secret.kind)) {
    throw KeychainFailure{errSecAuthFailed};
  }
  makeKeys(secret);
  if (sodium_memcmp(check_.data(), file.data() + kOriginSize, kCheckSize) != 0) {
    throw KeychainFailure{errSecAuthFailed};
  }
}

void VaultSeal::makeKeys(VaultSecret secret) {
  const LockedKey master = newKey();
  if (secret.kind == VaultSecret::Kind::key) {
    if (secret.bytes.size() != kKeySize) throw KeychainFailure{errSecParam};
    std::ranges::copy(secret.bytes, master.get());
  } else {
    const auto passes = get<std::uint32_t>(origin_.data() + kPassesAt);
    const auto memory = get<std::uint64_t>(origin_.data() + kMemoryAt);
    if (passes > kMostPasses || memory > kMostMemory || passes < crypto_pwhash_OPSLIMIT_MIN ||
        memory < crypto_pwhash_MEMLIMIT_MIN) {
      throw KeychainFailure{errSecInvalidKeychain};
    }
    const char* const passphrase = reinterpret_cast<const char*>(secret.bytes.data());
    if (crypto_pwhash(master.get(), kKeySize, passphrase ? passphrase : "", secret.bytes.size(),
                      origin_.data() + kSaltAt, passes, memory, crypto_pwhash_ALG_ARGON2ID13) != 0) {
      throw std::bad_alloc();
    }
  }
  // One key encrypts, another one tells whether it is the right one.
  const LockedKey checking = newKey();
  key_ = newKey();
  crypto_kdf_derive_from_key(key_.get(), kKeySize, 1, kMark, master.get());
  crypto_kdf_derive_from_key(checking.get(), kKeySize, 2, kMark, master.get());
  crypto_generichash(check_.data(), check_.size(), origin_.data(), origin_.size(), checking.get(), kKeySize);
}

void VaultSeal::checkWhole(Bytes file) {
  std::array<std::uint8_t, kSumSize> sum;
  if (file.size() < kLeastSize || std::memcmp(file.data(), kMark, sizeof kMark) != 0) {
    throw KeychainFailure{errSecInvalidKeychain};
  }
  sumOf(file.first(file.size() - kSumSize), sum.data(), sum.size());
  if (!std::ranges::equal(sum, file.last(kSumSize))) throw KeychainFailure{errSecInvalidKeychain};
}

std::vector<std::uint8_t> VaultSeal::seal(Bytes content) const {
  std::vector<std::uint8_t> file(kLeastSize + content.size());
  std::ranges::copy(origin_, file.begin());
  std::ranges::copy(check_, file.begin() + kOriginSize);
  std::uint8_t* const nonce = file.data() + kOriginSize + kCheckSize;
  randombytes_buf(nonce, kNonceSize);
  crypto_aead_xchacha20poly1305_ietf_encrypt(file.data() + kHeadSize, nullptr, content.data(), content.size(),
                                             file.data(), kHeadSize, nullptr, nonce, key_.get());
  const Bytes whole(file);
  sumOf(whole.first(file.size() - kSumSize), file.data() + file.size() - kSumSize, kSumSize);
  return file;
}

SecretBytes VaultSeal::open(Bytes file) const {
  checkWhole(file);
  // Another salt or check is another vault in this one's place.
  if (!std::ranges::equal(file.first(kOriginSize), origin_) ||
      !std::ranges::equal(file.subspan(kOriginSize, kCheckSize), check_)) {
    throw KeychainFailure{errSecAuthFailed};
  }
  const Bytes encrypted = file.subspan(kHeadSize, file.size() - kHeadSize - kSumSize);
  SecretBytes content(std::vector<std::uint8_t>(encrypted.size() - kTagSize));
  const std::uint8_t* const nonce = file.data() + kOriginSize + kCheckSize;
  if (crypto_aead_xchacha20poly1305_ietf_decrypt(content->data(), nullptr, nullptr, encrypted.data(), encrypted.size(),
                                                 file.data(), kHeadSize, nonce, key_.get()) != 0) {
    throw KeychainFailure{errSecInvalidKeychain};
  }
  return content;
}

}  // namespace jv
