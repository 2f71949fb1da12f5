/// Pieces of the texts that the library puts together. Never by the process's locale.
#pragma once

#include <array>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>

namespace jv {

/// @p text, or the placeholder that a missing object leaves in a formatted text.
inline std::string_view orNull(std::optional<std::string_view> text) { return text.value_or("(null)"); }

/// @p number with one decimal place, as `%.1f` writes it in the C locale: "12.0", "-0.5", "inf".
inline std::string oneDecimal(double number) {
  std::array<char, 512> digits;  // the largest double has 309 before the point
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number, std::chars_format::fixed, 1);
  return {digits.data(), end.ptr};
}

}  // namespace jv
