#include "text_forms.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace jv {
namespace {

constexpr char kDigits[] = "0123456789abcdef";

std::uint8_t byteAt(std::string_view text, std::size_t at) { return static_cast<std::uint8_t>(text[at]); }

/// How many bytes the UTF-8 character at the front of @p text has; 0 when there is none.
std::size_t lengthOfCharacter(std::string_view text) {
  struct Form {
    std::uint8_t firstLead, lastLead, firstSecond, lastSecond;
    std::size_t length;
  };
  // The second byte's range keeps out what is longer than need be, surrogates, and what lies beyond the last character.
  // clang-format off
  constexpr Form kForms[] = {
      {0xC2, 0xDF, 0x80, 0xBF, 2},
      {0xE0, 0xE0, 0xA0, 0xBF, 3}, {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3},
      {0xF0, 0xF0, 0x90, 0xBF, 4}, {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4},
  };
  // clang-format on
  if (text.empty()) return 0;
  const std::uint8_t lead = byteAt(text, 0);
  if (lead < 0x80) return 1;
  const Form* form =
      std::ranges::find_if(kForms, [lead](const Form& f) { return f.firstLead <= lead && lead <= f.lastLead; });
  if (form == std::end(kForms) || text.size() < form->length) return 0;
  if (byteAt(text, 1) < form->firstSecond || byteAt(text, 1) > form->lastSecond) return 0;
  for (std::size_t i = 2; i < form->length; ++i) {
    if ((byteAt(text, i) & 0xC0) != 0x80) return 0;
  }
  return form->length;
}

/// The control characters of ASCII, and those behind it that terminals know too (U+0080 to U+009F).
bool isControl(std::string_view character) {
  const std::uint8_t first = byteAt(character, 0);
  if (character.size() == 1) return first < 0x20 || first == 0x7F;
  return character.size() == 2 && first == 0xC2 && byteAt(character, 1) < 0xA0;
}

bool isHarmless(std::string_view name) {
  if (name.empty() || name.front() == ' ' || name.starts_with("$'")) return false;
  for (std::size_t at = 0; at < name.size();) {
    const std::size_t length = lengthOfCharacter(name.substr(at));
    if (length == 0 || isControl(name.substr(at, length))) return false;
    at += length;
  }
  return true;
}

std::string escaped(std::uint8_t byte) {
  switch (byte) {
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    // Always three digits, so that a digit behind it is not taken for a part of it.
    default:
      return {'\\', kDigits[byte >> 6], kDigits[byte >> 3 & 7], kDigits[byte & 7]};
  }
}

}  // namespace

bool isUTF8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = lengthOfCharacter(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

std::string hexadecimalOf(std::string_view bytes) {
  std::string text;
  text.reserve(2 * bytes.size());
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    text += kDigits[byteAt(bytes, at) >> 4];
    text += kDigits[byteAt(bytes, at) & 15];
  }
  return text;
}

std::string printableName(std::string_view name) {
  if (isHarmless(name)) return std::string(name);
  std::string text = "$'";
  for (std::size_t at = 0; at < name.size();) {
    const std::size_t length = lengthOfCharacter(name.substr(at));
    const std::string_view character = name.substr(at, std::max<std::size_t>(length, 1));
    if (length == 0 || isControl(character)) {
      for (std::size_t i = 0; i < character.size(); ++i) text += escaped(byteAt(character, i));
    } else {
      if (character == "'" || character == "\\") text += '\\';
      text += character;
    }
    at += character.size();
  }
  return text + "'";
}

}  // namespace jv
