/// Looks for a secret in the memory of the process.
#pragma once

#include <JorvaneFoundation/keychain/JVKeychain.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

#include <string.h>

namespace jvtest {

// Sanitizers keep what was freed, and have memory that must not be read.
#if defined(__has_feature)
#define JV_HAS_FEATURE(name) __has_feature(name)
#else
#define JV_HAS_FEATURE(name) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || JV_HAS_FEATURE(address_sanitizer) || \
    JV_HAS_FEATURE(thread_sanitizer)
inline constexpr bool kCanScanMemory = false;
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
    int found = 0;
    std::FILE* const maps = std::fopen("/proc/self/maps", "re");
    char line[512];
    while (std::fgets(line, sizeof line, maps) != nullptr) {
      std::uintptr_t begin = 0, end = 0;
      char mode[5] = {};
      if (std::sscanf(line, "%lx-%lx %4s", &begin, &end, mode) != 3 || mode[0] != 'r' || mode[1] != 'w') continue;
      found += copiesIn(reinterpret_cast<const volatile char*>(begin), end - begin);
    }
    std::fclose(maps);
    return found;
  }

 private:
  static constexpr std::size_t kFreed = 16;  // bytes that the allocator uses

  // Nothing here may bring the compiler to keep the secret as a constant.
  static char byteAt(std::size_t at) {
    static volatile std::uint32_t seed = 12345;
    std::uint32_t value = seed + static_cast<std::uint32_t>(at) * 2654435761U;
    value ^= value >> 15;
    return static_cast<char>('a' + value % 26);
  }

  [[nodiscard]] int copiesIn(const volatile char* memory, std::size_t size) const {
    const std::size_t begin = size_ > 2 * kFreed ? kFreed : size_ / 5, length = size_ - begin;
    int found = 0;
    const char first = byteAt(begin);
    for (std::size_t at = 0; at + length <= size; ++at) {
      if (memory[at] != first) continue;
      std::size_t same = 1;
      while (same < length && memory[at + same] == byteAt(begin + same)) ++same;
      if (same == length) ++found;
    }
    return found;
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
