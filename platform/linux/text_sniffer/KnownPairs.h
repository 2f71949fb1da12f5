/// The pairs of an encoding that need no look into its code table, in a form that vector instructions ask for sixteen
/// or thirty-two at a time.
#pragma once

#include <array>
#include <bitset>
#include <cstdint>

#include "platform/linux/text_sniffer/CodeTable.h"

namespace jv::sniffing {

/// Bytes from the first to the last.
struct ByteRange {
  std::uint8_t first;
  std::uint8_t last;
};

/// Which characters of an encoding are so frequent that they should be known pairs.
struct PairHabits {
  std::uint8_t frequentLeads;  ///< the high nibble of the leads of kana, punctuation and the like
  ByteRange fullTrails;        ///< a lead is full when it makes a character with every trail of these
};

/// A set of bytes of 80 and above: bit (high nibble - 8) of the entry of the low nibble.
struct alignas(16) HighByteSet {
  std::array<std::uint8_t, 16> byLowNibble{};

  constexpr void add(unsigned byte) {
    std::uint8_t& entry = byLowNibble[byte & 0x0F];
    entry = static_cast<std::uint8_t>(entry | 1U << (byte / 16 - 8));
  }
};

/// Something of each byte of 80 and above, by its lower seven bits.
using HighByteTable = std::array<std::uint8_t, 128>;

/// Pairs that are characters for certain, in two forms for look-ups of different sizes. The first: those of a full lead
/// and one of the full trails, and those of one of the sixteen frequent leads and a trail between its first and its
/// last; but none with a trail in the gap.
struct KnownPairs {
  HighByteSet fullLeads;
  ByteRange fullTrails = {};
  /// The high nibble of the frequent leads by low nibble; FF where that lead has no character.
  alignas(16) std::array<std::uint8_t, 16> frequentLead{};
  alignas(16) std::array<std::uint8_t, 16> firstTrail{};
  alignas(16) std::array<std::uint8_t, 16> trailsBehindFirst{};  ///< how many
  bool hasGap = false;
  ByteRange gap = {};  ///< bytes between the trails that are none
  /// The second: those of a lead and one of its trails from the first on; none with a trail in the gap.
  HighByteTable firstTrailOf{};
  HighByteTable trailCountOf{};
};

/// Works out the known pairs of @p table, whose trails are @p trails.
KnownPairs knownPairsOf(const CodeTable& table, const std::bitset<256>& trails, const PairHabits& habits);

}  // namespace jv::sniffing
