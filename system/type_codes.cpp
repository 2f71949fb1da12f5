// JVUtilities: codes of four characters.

#include <JorvaneFoundation/system/JVUtilities.h>

#include "foundation/utf8.h"

namespace {

constexpr int kCharacters = 4;
constexpr std::uint32_t kLargest = 0xFF;

/// Takes the first character off @p text, which is not empty; a byte that is no UTF-8 counts as one.
std::uint32_t takeCharacter(std::string_view& text) {
  const jv::Utf8Character character = jv::firstUtf8Character(text);
  const auto byte = static_cast<std::uint8_t>(text.front());
  text.remove_prefix(character.length == 0 ? 1 : character.length);
  return character.length == 0 ? byte : character.value;
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
