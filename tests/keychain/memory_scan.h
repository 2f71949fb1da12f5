/// Looks for a secret in the memory of the process.
#pragma once

#include <JorvaneFoundation/keychain/JVKeychain.h>

#include <gtest/gtest.h>

#include <algorithm>
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

/// A byte of the secret. Nothing here may bring the compiler to keep the secret as a constant.
inline char secretByte(std::size_t at) {
  static volatile std::uint32_t seed = 12345;
  std::uint32_t value = seed + static_cast<std::uint32_t>(at) * 2654435761U;
  value ^= value >> 15;
  return static_cast<char>('a' + value % 26);
}

/// How often the memory that can be written to holds a secret of @p size bytes, but for the first ones, which freeing
/// overwrites anyway.
inline int copiesOfSecret(std::size_t size) {
  const std::size_t begin = std::min<std::size_t>(size / 3, 16);
  int found = 0;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    std::uintptr_t first = 0, last = 0;
    char mode[5] = {};
    std::sscanf(line.c_str(), "%lx-%lx %4s", &first, &last, mode);
    if (!std::string_view(mode).starts_with("rw")) continue;
    const auto* at = reinterpret_cast<const volatile char*>(first);
    for (const auto* const end = reinterpret_cast<const volatile char*>(last - (size - begin)); at <= end; ++at) {
      std::size_t same = begin;
      while (same < size && at[same - begin] == secretByte(same)) ++same;
      if (same == size) ++found;
    }
  }
  return found;
}

/// Has @p save store secrets, as internet password of "u" at "h" among others, and looks for what is left of them, then
/// of reading that one.
template <class Save>
void expectNoSecretToStayInMemory(Save save) {
  if (!kCanScanMemory) GTEST_SKIP() << "not under a sanitizer";
  for (const std::size_t size : {std::size_t{48}, std::size_t{15}}) {  // the shorter one lies in the text object itself
    SCOPED_TRACE(size);
    std::string secret(size, '\0');
    for (std::size_t at = 0; at < size; ++at) secret[at] = secretByte(at);
    ASSERT_GE(copiesOfSecret(size), 1) << "it would be seen";
    save(secret);
    explicit_bzero(secret.data(), size);
    EXPECT_EQ(copiesOfSecret(size), 0) << "after saving";

    std::optional<std::string> read = JVKeychain::passwordForHost("h", "u", JVKeychainProtocolAny);
    ASSERT_TRUE(read);
    EXPECT_EQ(copiesOfSecret(size), 1) << "the caller's own";
    explicit_bzero(read->data(), size);
    EXPECT_EQ(copiesOfSecret(size), 0) << "after reading";
  }
}

}  // namespace jvtest
