#include "platform/linux/text_sniffer/QuickReaders.h"

#include <array>
#include <bitset>

#include "foundation/processor.h"

namespace jv::sniffing {

#if defined(__x86_64__)
extern const QuickReaders kAVX2QuickReaders;
extern const QuickReaders kAVX512QuickReaders;
#endif

namespace {

constexpr std::size_t kEightBitCount = 9;
constexpr std::size_t kPairSetCount = 5;
std::bitset<256> trailsOf(const EightBitRules& rules) {
  std::bitset<256> trails;
  for (unsigned byte = 0; byte < trails.size(); ++byte) {
    trails[byte] = (rules.roles[static_cast<std::uint8_t>(byte)] & kTrail) != 0;
  }
  return trails;
}

/// Fills the tables of the bytes that are no singles. Sixteen bytes with the same high nibble are a row; each different
/// row has a bit, and where bits run out a row has them all.
void addNoSingles(const EightBitRules& rules, PairClasses& classes) {
  std::array<std::uint16_t, 8> rows{};
  for (unsigned high = 0; high < 16; ++high) {
    std::uint16_t row = 0;
    for (unsigned low = 0; low < 16; ++low) {
      const bool isSingle = (rules.roles[static_cast<std::uint8_t>(high * 16 + low)] & kSingle) != 0;
      if (!isSingle) row = static_cast<std::uint16_t>(row | 1U << low);
    }
    if (row == 0) continue;
    if (classes.leads[high] != 0) row = 0xFFFF;  // the leads among them decide
    unsigned bit = 0;
    while (bit + 1 < rows.size() && rows[bit] != 0 && rows[bit] != row) ++bit;
    rows[bit] = static_cast<std::uint16_t>(rows[bit] | row);
    classes.noSinglesByHighNibble[high] = static_cast<std::uint8_t>(1U << bit);
  }
  for (unsigned low = 0; low < 16; ++low) {
    for (unsigned bit = 0; bit < rows.size(); ++bit) {
      if ((rows[bit] >> low & 1) == 0) continue;
      classes.noSinglesByLowNibble[low] = static_cast<std::uint8_t>(classes.noSinglesByLowNibble[low] | 1U << bit);
    }
  }
}

PairClasses classesOf(const EightBitRules& rules) {
  PairClasses classes;
  for (unsigned byte = 0x80; byte <= 0xFF; ++byte) {
    // A lead that is no trail would end a run of leads; there is one such, and it is rare.
    const unsigned role = rules.roles[static_cast<std::uint8_t>(byte)];
    const bool canLead = (role & kLead) != 0 && (role & kTrail) != 0;
    const bool isSingle = (role & (kSingle | kLead)) == kSingle;
    if (canLead) classes.leads[byte / 16] = 0x80;
    classes.ofHighByte[byte - 0x80] =
        static_cast<std::uint8_t>((canLead ? PairClasses::kCanLead : 0) | (isSingle ? 0 : PairClasses::kNoSingle));
  }
  addNoSingles(rules, classes);
  classes.known = knownPairsOf(*rules.pairs, trailsOf(rules), rules.habits);
  return classes;
}

/// The sets of pairs are those of the EUC encodings without their high bits, and as frequent.
KnownPairs knownPairsOfSet(const GraphicSet& set) {
  std::bitset<256> trails;
  for (unsigned byte = 0xA1; byte <= 0xFE; ++byte) trails.set(byte);
  return knownPairsOf(*set.pairs, trails, {.frequentLeads = 0xA, .fullTrails = {0xA1, 0xFE}});
}

}  // namespace

std::span<const QuickReaders* const> runnableQuickReaders() {
#if defined(__x86_64__)
  static constexpr std::array<const QuickReaders*, 2> kAll = {&kAVX2QuickReaders, &kAVX512QuickReaders};
  return std::span(kAll).first(processorHasAVX512() ? 2 : processorHasAVX2() ? 1 : 0);
#else
  return {};
#endif
}

const QuickReaders* quickReaders() {
  const auto all = runnableQuickReaders();
  return all.empty() ? nullptr : all.back();
}

const PairClasses& pairClassesOf(const EightBitRules& rules) {
  static const auto all = [] {
    std::array<PairClasses, kEightBitCount> made;
    for (std::size_t i = 0; i < made.size(); ++i) made[i] = classesOf(eightBitRules()[i]);
    return made;
  }();
  return all[static_cast<std::size_t>(&rules - eightBitRules().data())];
}

const KnownPairs* knownPairsOfSets() {
  static const auto all = [] {
    std::array<KnownPairs, kPairSetCount> made;
    for (std::size_t i = 0; i < made.size(); ++i) made[i] = knownPairsOfSet(*graphicPairSets()[i]);
    return made;
  }();
  return all.data();
}

}  // namespace jv::sniffing
