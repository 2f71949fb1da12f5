/// Reading whole stretches of valid characters at once, where the processor has the vector instructions for it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/linux/text_sniffer/Counts.h"
#include "platform/linux/text_sniffer/EightBitRules.h"
#include "platform/linux/text_sniffer/Iso2022.h"
#include "platform/linux/text_sniffer/KnownPairs.h"

namespace jv::sniffing {

/// The classes of the bytes of one of `eightBitRules()`, rougher than its roles where that costs nothing.
struct PairClasses {
  /// By high nibble: 80 when bytes with it can be leads. All sixteen of them count as leads here, and those that are
  /// none get caught as pairs that are no characters.
  alignas(16) std::array<std::uint8_t, 16> leads{};
  /// The bytes that are no characters by themselves: those whose entries by low and by high nibble have a common bit.
  /// May hold bytes that are, if text rarely has them.
  alignas(16) std::array<std::uint8_t, 16> noSinglesByLowNibble{};
  alignas(16) std::array<std::uint8_t, 16> noSinglesByHighNibble{};
  /// The same for each byte of 80 and above by itself; what can lead a pair is no single here. Of the bytes below, ESC
  /// alone is no character.
  enum : std::uint8_t { kNoSingle = 1, kCanLead = 2 };
  HighByteTable ofHighByte{};
  KnownPairs known;
};

/// So many bytes the quick forms look at at once, and where a text has fewer left, those for encodings without states
/// stop. The others then read character by character.
constexpr std::size_t kQuickBytes = 66;

/// The quick forms. They read on from @p at, where a character begins, and give the position where they stopped, at the
/// beginning of another; the last character may end behind @p end.
struct QuickReaders {
  const char* name;
  /// An encoding without states, as long as the characters are valid; those of more than one byte are added to
  /// @p features. It may stop anywhere: the caller goes on with the next character by itself.
  std::size_t (*eightBit)(const EightBitRules& rules, const PairClasses& classes, Bytes text, std::size_t at,
                          std::size_t end, std::uint64_t& features);
  /// An encoding with states, up to @p end or the character that brings the errors to @p errorLimit.
  /// @param known  of each of `graphicPairSets()`
  std::size_t (*iso2022)(const Iso2022Rules& rules, const KnownPairs* known, Iso2022State& state, Bytes text,
                         std::size_t at, std::size_t end, std::uint64_t errorLimit, Counts& counts);
};

/// Those that this processor can run, the best ones last.
std::span<const QuickReaders* const> runnableQuickReaders();

/// The best ones; null when there are none.
const QuickReaders* quickReaders();

/// The classes for @p rules, and the known pairs of all `graphicPairSets()`. Worked out at the first question.
const PairClasses& pairClassesOf(const EightBitRules& rules);
const KnownPairs* knownPairsOfSets();

}  // namespace jv::sniffing
