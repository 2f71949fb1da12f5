// JVUtilities: codes of four characters.

#include <JorvaneFoundation/system/JVUtilities.h>

#include "tasks/utf8.h"

namespace {

constexpr int kCharacters = 4;
constexpr std::uint32_t kLargest = 0xFF;

/// Takes the first character off @p text, which is not empty. Anything above `kLargest` for one above it, which stays.
std::uint32_t takeCharacter(std::string_view& text) {
  constexpr std::size_t kLongest = 4;
  const auto lead = static_cast<std::uint8_t>(text.front());
  if (jv::validUtf8Prefix(text.substr(0, kLongest)) == 0 || lead < 0x80) {
    text.remove_prefix(1);
    return lead;
  }
  if (lead > 0xC3) return kLargest + 1;
  const auto trail = static_cast<std::uint8_t>(text[1]);
  text.remove_prefix(2);
  return (lead & 0x03U) << 6 | (trail & 0x3FU);
}

}  // namespace

std::uint32_t JVUtilities::OSTypeFromString(std::optional<std::string_view> text) {
  std::string_view left = text.value_or("");
  if (left.empty()) return 0;
  std::uint32_t code = 0;
  for (int i = 0; i < kCharacters; ++i) {
    const std::uint32_t character = left.empty() ? ' ' : takeCharacter(left);
    if (character > kLargest) return 0;
    code = code << 8 | character;
  }
  return code;
}

std::string JVUtilities::stringFromOSType(std::uint32_t code) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    const std::uint32_t character = code >> shift & kLargest;
    if (character < 0x80) {
      text += static_cast<char>(character);
    } else {
      text += static_cast<char>(0xC0 | character >> 6);
      text += static_cast<char>(0x80 | (character & 0x3F));
    }
  }
  return text;
}
