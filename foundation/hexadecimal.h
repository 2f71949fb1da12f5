/// Bytes as pairs of hexadecimal digits.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace jv {

/// Appends the two upper-case digits of @p byte to @p text.
inline void appendHexadecimal(std::string& text, std::uint8_t byte) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  text += kDigits[byte >> 4];
  text += kDigits[byte & 0x0F];
}

/// The value of one digit, in either case; -1 for any other character.
constexpr int hexadecimalDigit(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  return -1;
}

/// The byte that two digits stand for; none when one of them is no digit.
constexpr std::optional<std::uint8_t> byteFromHexadecimal(char high, char low) {
  const int h = hexadecimalDigit(high);
  const int l = hexadecimalDigit(low);
  if (h < 0 || l < 0) return std::nullopt;
  return static_cast<std::uint8_t>(h * 16 + l);
}

}  // namespace jv
