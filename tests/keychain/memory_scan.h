/// Looks for a secret in the memory of the process.
#pragma once

#include <JorvaneFoundation/keychain/JVKeychain.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

#include <string.h>

namespace jvtest {

// Sanitizers keep what was freed, and have memory that must not be read.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kCanScanMemory = false;
#elif defined(__has_feature)
inline constexpr bool kCanScanMemory = !__has_feature(address_sanitizer) && !__has_feature(thread_sanitizer);
#else
inline constexpr bool kCanScanMemory = true;
#endif

/// A secret that is in memory only while somebody asks for it, and in one place.
class HiddenSecret {
 public:
  /// Of the sizes of interest one lies in the text object itself.
  static constexpr std::size_t kSizes[] = {48, 15};

  explicit HiddenSecret(std::size_t size) : size_(size) {}

  [[nodiscard]] std::string text() const {
    std::string secret(size_, '\0');
    for (std::size_t at = 0; at < size_; ++at) secret[at] = byteAt(at);
    return secret;
  }
  static void wipe(std::string& secret) { explicit_bzero(secret.data(), secret.size()); }

  /// How often the memory that can be written to holds it, but for its first bytes, which freeing overwrites anyway.
  [[nodiscard]] int copies() const {
    constexpr std::size_t kFreed = 16;  // bytes that the allocator uses
    const std::size_t begin = size_ > 2 * kFreed ? kFreed : size_ / 5;
    int found = 0;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
      std::uintptr_t first = 0, last = 0;
      char mode[5] = {};
      std::sscanf(line.c_str(), "%lx-%lx %4s", &first, &last, mode);
      if (!std::string_view(mode).starts_with("rw")) continue;
      for (const auto* at = reinterpret_cast<const volatile char*>(first);
           at + size_ - begin <= reinterpret_cast<const volatile char*>(last); ++at) {
        std::size_t same = begin;
        while (same < size_ && at[same - begin] == byteAt(same)) ++same;
        if (same == size_) ++found;
      }
    }
    return found;
  }

 private:
  // Nothing here may bring the compiler to keep the secret as a constant.
  static char byteAt(std::size_t at) {
    static volatile std::uint32_t seed = 12345;
    std::uint32_t value = seed + static_cast<std::uint32_t>(at) * 2654435761U;
    value ^= value >> 15;
    return static_cast<char>('a' + value % 26);
  }

  const std::size_t size_;
};

/// Has @p save store secrets of both sizes, as internet password of "u" at "h" among others, and looks for what is left
/// of them, then of reading that one.
template <class Save>
void expectNoSecretToStayInMemory(Save save) {
  for (const std::size_t size : HiddenSecret::kSizes) {
    SCOPED_TRACE(size);
    const HiddenSecret hidden(size);
    std::string secret = hidden.text();
    ASSERT_GE(hidden.copies(), 1) << "it would be seen";
    save(secret);
    HiddenSecret::wipe(secret);
    EXPECT_EQ(hidden.copies(), 0) << "after saving";

    std::optional<std::string> read = JVKeychain::passwordForHost("h", "u", JVKeychainProtocolAny);
    ASSERT_TRUE(read);
    EXPECT_EQ(hidden.copies(), 1) << "the caller's own";
    HiddenSecret::wipe(*read);
    EXPECT_EQ(hidden.copies(), 0) << "after reading";
  }
}

}  // namespace jvtest
