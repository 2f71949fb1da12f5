/// The byte sniffers in their simplest form, a byte at a time. The fast forms finish their last bytes with these, and
/// tests and fuzz targets hold the fast forms against them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace jv::reference {

using Bytes = std::span<const std::uint8_t>;

constexpr bool isContinuation(std::uint8_t byte) { return (byte & 0xC0) == 0x80; }

/// Whether the byte at @p at keeps @p text from being possible UTF-8. Looks at it and the two behind it alone.
constexpr bool breaksUTF8(Bytes text, std::size_t at) {
  const std::uint8_t byte = text[at];
  const std::size_t left = text.size() - at;
  if (byte >= 0xF0) return true;
  if (byte >= 0xC0) return left > 1 && !isContinuation(text[at + 1]);
  return isContinuation(byte) && left > 2 && isContinuation(text[at + 1]) && isContinuation(text[at + 2]);
}

/// Whether no byte of @p text from @p from on breaks UTF-8.
constexpr bool isPossibleUTF8(Bytes text, std::size_t from = 0) {
  for (std::size_t at = from; at < text.size(); ++at) {
    if (breaksUTF8(text, at)) return false;
  }
  return true;
}

/// How many bytes at the front `isPossibleUTF16` looks at.
inline constexpr std::size_t kUTF16Window = 2000;

/// Whether a line break stands behind a zero byte in @p window; @p from is at least 1.
constexpr bool hasWideLineBreak(Bytes window, std::size_t from = 1) {
  for (std::size_t at = from; at < window.size(); ++at) {
    if ((window[at] == 0x0D || window[at] == 0x0A) && window[at - 1] == 0x00) return true;
  }
  return false;
}

constexpr bool isPossibleUTF16(Bytes text) {
  return hasWideLineBreak(text.first(text.size() < kUTF16Window ? text.size() : kUTF16Window));
}

constexpr bool isHighASCII(std::uint8_t byte) { return byte >= 0x80 || byte == 0x1B; }

constexpr bool containsHighASCII(Bytes text, std::size_t from = 0) {
  for (std::size_t at = from; at < text.size(); ++at) {
    if (isHighASCII(text[at])) return true;
  }
  return false;
}

/// Neither high nor ESC nor one of the shifts SO and SI.
constexpr bool isPlain(std::uint8_t byte) { return !isHighASCII(byte) && byte != 0x0E && byte != 0x0F; }

/// The position of the first byte from @p from on that is not plain, or the end.
constexpr std::size_t plainPrefix(Bytes text, std::size_t from = 0) {
  std::size_t at = from;
  while (at < text.size() && isPlain(text[at])) ++at;
  return at;
}

/// The position of the first carriage return or line feed from @p from on, or the end.
constexpr std::size_t findLineBreak(Bytes text, std::size_t from) {
  std::size_t at = from;
  while (at < text.size() && text[at] != 0x0A && text[at] != 0x0D) ++at;
  return at;
}

}  // namespace jv::reference
