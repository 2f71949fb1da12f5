#include "platform/linux/text_sniffer/KnownPairs.h"

#include <optional>

namespace jv::sniffing {
namespace {

constexpr unsigned kFirstTrail = 0x40;
constexpr unsigned kLastTrail = 0xFE;

/// The bytes between the lowest trail and the highest that are none, for there is one such gap at most.
ByteRange gapIn(const std::bitset<256>& trails) {
  unsigned first = kFirstTrail;
  while (first < kLastTrail && !trails[first]) ++first;
  while (first <= kLastTrail && trails[first]) ++first;
  unsigned end = first;
  while (end <= kLastTrail && !trails[end]) ++end;
  if (end > kLastTrail) return {1, 0};
  return {static_cast<std::uint8_t>(first), static_cast<std::uint8_t>(end - 1)};
}

/// One row of a code table, and which bytes need not be in it.
struct Row {
  const CodeTable& table;
  ByteRange gap;
  unsigned lead;

  [[nodiscard]] bool isCharacter(unsigned trail) const {
    return table.holds(static_cast<std::uint8_t>(lead), static_cast<std::uint8_t>(trail));
  }
  [[nodiscard]] bool isInGap(unsigned trail) const { return trail >= gap.first && trail <= gap.last; }
};

bool isFull(const Row& row, ByteRange trails) {
  for (unsigned trail = trails.first; trail <= trails.last; ++trail) {
    if (!row.isCharacter(trail) && !row.isInGap(trail)) return false;
  }
  return true;
}

/// The range with the most characters of @p row, the gap aside; none when it is empty.
std::optional<ByteRange> longestRange(const Row& row) {
  std::optional<ByteRange> longest;
  unsigned most = 0;
  unsigned count = 0;  // of characters in the range at hand
  unsigned first = kFirstTrail;
  for (unsigned trail = kFirstTrail; trail <= kLastTrail; ++trail) {
    if (row.isCharacter(trail)) {
      if (++count <= most) continue;
      most = count;
      longest = ByteRange{static_cast<std::uint8_t>(first), static_cast<std::uint8_t>(trail)};
    } else if (!row.isInGap(trail)) {
      count = 0;
      first = trail + 1;
    }
  }
  return longest;
}

}  // namespace

KnownPairs knownPairsOf(const CodeTable& table, const std::bitset<256>& trails, const PairHabits& habits) {
  KnownPairs known;
  known.fullTrails = habits.fullTrails;
  known.frequentLead.fill(0xFF);
  known.gap = gapIn(trails);
  known.hasGap = known.gap.first <= known.gap.last;
  for (unsigned lead = 0x80; lead <= 0xFF; ++lead) {
    const Row row = {table, known.gap, lead};
    if (isFull(row, habits.fullTrails)) known.fullLeads.add(lead);
    const std::optional<ByteRange> range = longestRange(row);
    if (!range) continue;
    const auto behindFirst = static_cast<std::uint8_t>(range->last - range->first);
    known.firstTrailOf[lead - 0x80] = range->first;
    known.trailCountOf[lead - 0x80] = static_cast<std::uint8_t>(behindFirst + 1);
    if (lead / 16 != habits.frequentLeads) continue;
    known.frequentLead[lead % 16] = habits.frequentLeads;
    known.firstTrail[lead % 16] = range->first;
    known.trailsBehindFirst[lead % 16] = behindFirst;
  }
  return known;
}

}  // namespace jv::sniffing
