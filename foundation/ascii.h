/// The letters of ASCII, whatever the locale of the process.
#pragma once

#include <algorithm>
#include <string_view>

namespace jv {

constexpr char lowerCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

constexpr bool equalInEitherCase(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, {}, lowerCase, lowerCase);
}

}  // namespace jv
