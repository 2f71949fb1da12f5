#include "tasks/utf8.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace jv {
namespace {

/// The number of leading ASCII bytes, or somewhat fewer when something else follows them closely.
std::size_t asciiPrefix(const char* text, std::size_t size) noexcept {
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  std::size_t at = 0;
  for (std::array<std::uint64_t, 4> words; size - at >= sizeof words; at += sizeof words) {
    std::memcpy(words.data(), text + at, sizeof words);
    if ((words[0] | words[1] | words[2] | words[3]) & kHighBits) break;
  }
  return at;
}

/// The leading bytes of characters of two bytes and more, and what may come second; all that follow are 80 to BF.
struct Lead {
  std::uint8_t first, last;
  std::uint8_t length;
  std::uint8_t secondFirst, secondLast;
};
// clang-format off
constexpr std::array kLeads = {
    Lead{0xC2, 0xDF, 2, 0x80, 0xBF},
    Lead{0xE0, 0xE0, 3, 0xA0, 0xBF},  // below would be overlong
    Lead{0xE1, 0xEC, 3, 0x80, 0xBF},
    Lead{0xED, 0xED, 3, 0x80, 0x9F},  // above are the surrogates
    Lead{0xEE, 0xEF, 3, 0x80, 0xBF},
    Lead{0xF0, 0xF0, 4, 0x90, 0xBF},  // below would be overlong
    Lead{0xF1, 0xF3, 4, 0x80, 0xBF},
    Lead{0xF4, 0xF4, 4, 0x80, 0x8F},  // above is no Unicode
};
// clang-format on

/// The row of each leading byte.
constexpr auto kLeadOf = [] {
  std::array<std::uint8_t, 256> rows{};
  rows.fill(kLeads.size());
  for (std::size_t row = 0; row < kLeads.size(); ++row) {
    for (std::size_t byte = kLeads[row].first; byte <= kLeads[row].last; ++byte) {
      rows[byte] = static_cast<std::uint8_t>(row);
    }
  }
  return rows;
}();

/// The length of the character of two bytes and more at the front; 0 when there is none.
std::size_t longCharacter(const char* text, std::size_t size) noexcept {
  const auto byte = [text](std::size_t at) { return static_cast<std::uint8_t>(text[at]); };
  const std::size_t row = kLeadOf[byte(0)];
  if (row == kLeads.size()) return 0;
  const Lead& lead = kLeads[row];
  if (size < lead.length || byte(1) < lead.secondFirst || byte(1) > lead.secondLast) return 0;
  for (std::size_t at = 2; at < lead.length; ++at) {
    if ((byte(at) & 0xC0) != 0x80) return 0;
  }
  return lead.length;
}

}  // namespace

std::size_t validUtf8Prefix(std::string_view text) noexcept {
  std::size_t at = 0;
  while (at < text.size()) {
    const char* const here = text.data() + at;
    if (static_cast<std::uint8_t>(*here) < 0x80) {
      at += 1 + asciiPrefix(here + 1, text.size() - at - 1);
    } else if (const std::size_t length = longCharacter(here, text.size() - at)) {
      at += length;
    } else {
      break;
    }
  }
  return at;
}

}  // namespace jv
