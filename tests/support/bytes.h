/// Bytes for tests: written as text, or drawn.
#pragma once

#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace jv::test {

using Bytes = std::vector<std::uint8_t>;

inline Bytes bytesOf(std::string_view text) { return {text.begin(), text.end()}; }

/// @p times copies of @p text, one after the other.
inline std::string repeated(std::string_view text, std::size_t times) {
  std::string all;
  all.reserve(text.size() * times);
  for (std::size_t i = 0; i < times; ++i) all += text;
  return all;
}

/// The literal's bytes, zeros included.
template <std::size_t N>
std::string_view raw(const char (&literal)[N]) {
  return {literal, N - 1};
}

/// @p size bytes drawn from @p alphabet.
inline Bytes drawn(std::mt19937& random, std::size_t size, std::span<const std::uint8_t> alphabet) {
  std::uniform_int_distribution<std::size_t> index(0, alphabet.size() - 1);
  Bytes bytes(size);
  for (std::uint8_t& byte : bytes) byte = alphabet[index(random)];
  return bytes;
}

}  // namespace jv::test
