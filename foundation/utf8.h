/// Strict UTF-8.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace jv {

struct Utf8Character {
  char32_t value = 0;
  std::size_t length = 0;  ///< in bytes; 0: there is no valid character
};

/// The character at the front of @p text: nothing overlong, no surrogates, nothing above U+10FFFF.
constexpr Utf8Character firstUtf8Character(std::string_view text) noexcept {
  const auto byte = [text](std::size_t at) { return static_cast<std::uint8_t>(text[at]); };
  if (text.empty()) return {};
  const std::uint8_t lead = byte(0);
  if (lead < 0x80) return {lead, 1};
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return {};
  char32_t value = lead & (0xFFU >> (length + 1));
  for (std::size_t at = 1; at < length; ++at) {
    if ((byte(at) & 0xC0U) != 0x80) return {};
    value = value << 6 | (byte(at) & 0x3FU);
  }
  constexpr char32_t kLeastOfLength[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool isSurrogate = value >= 0xD800 && value <= 0xDFFF;
  if (value < kLeastOfLength[length] || isSurrogate || value > 0x10FFFF) return {};
  return {value, length};
}

/// The number of leading ASCII bytes, or somewhat fewer when something else follows them closely.
inline std::size_t asciiPrefix(std::string_view text) noexcept {
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  std::size_t at = 0;
  for (std::array<std::uint64_t, 4> words; text.size() - at >= sizeof words; at += sizeof words) {
    std::memcpy(words.data(), text.data() + at, sizeof words);
    if ((words[0] | words[1] | words[2] | words[3]) & kHighBits) break;
  }
  return at;
}

/// The length of the longest beginning of @p text that consists of whole, valid characters. What follows is a byte that
/// cannot stand there, a character that is cut off, or nothing.
inline std::size_t validUtf8Prefix(std::string_view text) noexcept {
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t length = firstUtf8Character(text.substr(at)).length;
    if (length == 0) break;
    at += length;
    if (length == 1) at += asciiPrefix(text.substr(at));
  }
  return at;
}

inline bool isUtf8(std::string_view text) noexcept { return validUtf8Prefix(text) == text.size(); }

/// The number of UTF-16 code units that @p text has; a byte that is no UTF-8 counts as one. Never more than its bytes.
constexpr std::size_t utf16Length(std::string_view text) noexcept {
  std::size_t units = 0;
  while (!text.empty()) {
    const std::size_t length = firstUtf8Character(text).length;
    units += length == 4 ? 2 : 1;
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return units;
}

static_assert(utf16Length("e\xC3\xA9\xF0\x9F\x98\x80\xFF") == 5);

}  // namespace jv
