#include <JorvaneFoundation/foundation/NSUUID.h>

#include <sys/random.h>

#include <cerrno>
#include <system_error>

#include "foundation/hexadecimal.h"

namespace JVFoundation {
namespace {

// A hyphen stands before the bytes with these indexes.
constexpr bool hyphenBefore(std::size_t byte) { return byte == 4 || byte == 6 || byte == 8 || byte == 10; }
constexpr std::size_t kTextLength = 36;

}  // namespace

NSUUID NSUUID::UUID() {
  Bytes bytes;
  // So few bytes come whole or not at all.
  while (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
    if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "getrandom");
  }
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // the usual variant
  return NSUUID(bytes);
}

NSUUID NSUUID::zeroUUID() noexcept { return NSUUID(Bytes{}); }

NSUUID NSUUID::UUIDWithIndex(std::uint64_t index) noexcept {
  Bytes bytes{};
  for (std::size_t i = 0; i < 8; ++i) bytes[i] = static_cast<std::uint8_t>(index >> (8 * i));
  return NSUUID(bytes);
}

std::optional<NSUUID> NSUUID::UUIDWithString(std::string_view text) noexcept {
  if (text.size() != kTextLength) return std::nullopt;
  Bytes bytes;
  std::size_t at = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i, at += 2) {
    if (hyphenBefore(i) && text[at++] != '-') return std::nullopt;
    const std::optional<std::uint8_t> byte = jv::byteFromHexadecimal(text[at], text[at + 1]);
    if (!byte) return std::nullopt;
    bytes[i] = *byte;
  }
  return NSUUID(bytes);
}

std::string NSUUID::UUIDString() const {
  std::string text;
  text.reserve(kTextLength);
  for (std::size_t i = 0; i < bytes_.size(); ++i) {
    if (hyphenBefore(i)) text += '-';
    jv::appendHexadecimal(text, bytes_[i]);
  }
  return text;
}

}  // namespace JVFoundation
