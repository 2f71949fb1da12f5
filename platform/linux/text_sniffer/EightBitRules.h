/// The encodings whose characters are one to four bytes and depend on no state: Shift_JIS, Big5, the EUC family.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>

#include "platform/linux/text_sniffer/CodeTable.h"
#include "platform/linux/text_sniffer/Counts.h"
#include "platform/linux/text_sniffer/KnownPairs.h"

namespace jv::sniffing {

/// What a byte can be. The roles of a byte add up.
enum ByteRole : std::uint8_t {
  kSingle = 1,      ///< a character by itself
  kLead = 2,        ///< the first of a pair
  kTrail = 4,       ///< the second of a pair, and every byte behind an introducer
  kIntroducer = 8,  ///< stands before a pair, or before a plane and a pair
};

/// The roles of all bytes. Those below 80 are singles, ESC alone is not.
class ByteRoles {
 public:
  using Ranges = std::initializer_list<ByteRange>;

  constexpr ByteRoles(Ranges singles, Ranges leads, Ranges trails, Ranges introducers = {}) {
    add(kSingle, {{0x00, 0x1A}, {0x1C, 0x7F}});
    add(kSingle, singles);
    add(kLead, leads);
    add(kTrail, trails);
    add(kIntroducer, introducers);
  }

  constexpr std::uint8_t operator[](std::uint8_t byte) const { return roles_[byte]; }

 private:
  constexpr void add(ByteRole role, Ranges ranges) {
    for (const ByteRange range : ranges) {
      for (unsigned byte = range.first; byte <= range.last; ++byte) {
        roles_[byte] = static_cast<std::uint8_t>(roles_[byte] | role);
      }
    }
  }

  std::array<std::uint8_t, 256> roles_{};
};

/// An encoding.
struct EightBitRules {
  std::uint32_t encoding;  ///< Core encoding number
  ByteRoles roles;
  const CodeTable* pairs;                  ///< the characters of two bytes
  PairHabits habits;                       ///< which of them are frequent
  std::span<const CodeTable> behind = {};  ///< the pairs behind the introducer, a table a plane
  bool planeByte = false;                  ///< a byte between introducer and pair says which plane, from A1 on
};

/// All encodings of this kind.
std::span<const EightBitRules> eightBitRules();

/// The rules of @p encoding; null when it is none of these.
const EightBitRules* findEightBitRules(std::uint32_t encoding);

/// Judges the introducer at @p at and what follows, as `readCharacter`.
std::size_t readIntroduced(const EightBitRules& rules, Bytes text, std::size_t at, Counts& counts);

/// Judges the character at @p at, inside @p text, and gives the position behind it. What counts as one error:
/// - a lead and a trail, or an introducer and as many trails as it wants, that together are no character;
/// - a byte that is neither part of such a sequence nor a single.
/// A byte that is both lead and single is a single where the pair would be no character.
inline std::size_t readCharacter(const EightBitRules& rules, Bytes text, std::size_t at, Counts& counts) {
  const std::uint8_t first = text[at];
  const std::uint8_t role = rules.roles[first];
  if ((role & kLead) != 0 && text.size() - at > 1) {
    const std::uint8_t second = text[at + 1];
    if ((rules.roles[second] & kTrail) != 0) {
      const bool assigned = rules.pairs->holds(first, second);
      counts.features += assigned ? 1 : 0;
      if (assigned) return at + 2;
      if ((role & kSingle) == 0) {
        ++counts.errors;
        return at + 2;
      }
    }
  }
  if ((role & kIntroducer) != 0) return readIntroduced(rules, text, at, counts);
  if ((role & kSingle) == 0) ++counts.errors;
  return at + 1;
}

}  // namespace jv::sniffing
