// For x86-64 processors with AVX2.
//
// The encodings without states: in a run of bytes that can all be leads, leads and trails alternate from its first byte
// on, for the byte before the run is none and so cannot take the first as its trail. The leads of 64 bytes are thus a
// few operations on a word, and the rest is a look at the classes of bytes; the code table is asked about the few pairs
// that are neither known characters nor wrong by their classes.

#include <immintrin.h>

#include <bit>

#include "foundation/processor.h"
#include "platform/linux/text_sniffer/QuickReaders.h"

JV_BEGIN_AVX2

namespace jv::sniffing {
namespace {

constexpr std::size_t kVector = 32;
constexpr std::size_t kBlock = 2 * kVector;  // as many bytes as a word has bits
constexpr std::uint64_t kEvenPlaces = 0x5555555555555555;

__m256i load(const std::uint8_t* bytes) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes)); }

__m256i all(unsigned byte) { return _mm256_set1_epi8(static_cast<char>(byte)); }

__m256i is(__m256i bytes, unsigned byte) { return _mm256_cmpeq_epi8(bytes, all(byte)); }

__m256i bothHalves(const std::array<std::uint8_t, 16>& table) {
  return _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(table.data())));
}

/// The top bits of @p vector's bytes.
std::uint32_t topBits(__m256i vector) { return static_cast<std::uint32_t>(_mm256_movemask_epi8(vector)); }

/// The bits below the lowest one of @p bits, which is not 0.
std::uint64_t below(std::uint64_t bits) { return (bits & (0 - bits)) - 1; }

/// The bytes of @p bytes from @p first on, so many behind it as @p behind says; both may differ from byte to byte.
__m256i within(__m256i bytes, __m256i first, __m256i behind) {
  const __m256i above = _mm256_sub_epi8(bytes, first);
  return _mm256_cmpeq_epi8(_mm256_min_epu8(above, behind), above);
}

/// A range in registers.
struct Range {
  explicit Range(ByteRange range)
      : first(all(range.first)), behind(all(static_cast<unsigned>(range.last - range.first))) {}
  [[nodiscard]] __m256i contains(__m256i bytes) const { return within(bytes, first, behind); }

  __m256i first;
  __m256i behind;
};

/// Bytes, ready to be looked up.
struct Nibbles {
  explicit Nibbles(__m256i text)
      : low(_mm256_and_si256(text, all(0x0F))), high(_mm256_and_si256(_mm256_srli_epi16(text, 4), all(0x0F))) {}

  __m256i low;
  __m256i high;
};

/// `KnownPairs` in registers.
template <bool kHasGap>
struct Known {
  explicit Known(const KnownPairs& known)
      : fullLeads(bothHalves(known.fullLeads.byLowNibble)),
        fullTrails(known.fullTrails),
        frequentLead(bothHalves(known.frequentLead)),
        firstTrail(bothHalves(known.firstTrail)),
        trailsBehindFirst(bothHalves(known.trailsBehindFirst)),
        gap(known.gap) {}

  /// Whether each of @p leads, all 80 and above, makes a known pair with the byte of @p next at its place.
  [[nodiscard]] __m256i pairs(const Nibbles& leads, __m256i next) const {
    const __m256i bit = _mm256_shuffle_epi8(bitOfHighNibble, leads.high);
    const __m256i isFull = _mm256_cmpeq_epi8(_mm256_and_si256(_mm256_shuffle_epi8(fullLeads, leads.low), bit), bit);
    const __m256i full = _mm256_and_si256(isFull, fullTrails.contains(next));
    const __m256i isFrequent = _mm256_cmpeq_epi8(leads.high, _mm256_shuffle_epi8(frequentLead, leads.low));
    const __m256i inRange =
        within(next, _mm256_shuffle_epi8(firstTrail, leads.low), _mm256_shuffle_epi8(trailsBehindFirst, leads.low));
    const __m256i found = _mm256_or_si256(full, _mm256_and_si256(isFrequent, inRange));
    return kHasGap ? _mm256_andnot_si256(gap.contains(next), found) : found;
  }

  __m256i bitOfHighNibble = _mm256_broadcastsi128_si256(
      _mm_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, 0x01, 0x02, 0x04, 0x08, 0x10, 0x20, 0x40, static_cast<char>(0x80)));
  __m256i fullLeads;
  Range fullTrails;
  __m256i frequentLead;
  __m256i firstTrail;
  __m256i trailsBehindFirst;
  Range gap;
};

/// `KnownPairs` of a set of pairs, in registers, for bytes without their high bits. That a trail is graphic, which
/// makes it one of the full trails, is for the reader to see.
struct KnownGraphic {
  explicit KnownGraphic(const KnownPairs& known)
      : fullLeads(bothHalves(known.fullLeads.byLowNibble)),
        frequentLead(_mm256_and_si256(bothHalves(known.frequentLead), all(0xF7))),
        firstTrail(_mm256_and_si256(bothHalves(known.firstTrail), all(0x7F))),
        trailsBehindFirst(bothHalves(known.trailsBehindFirst)) {}

  /// Whether each of @p leads, if it is graphic, makes a known pair with the byte of @p next at its place.
  [[nodiscard]] __m256i pairs(const Nibbles& leads, __m256i next) const {
    const __m256i bit = _mm256_shuffle_epi8(bitOfHighNibble, leads.high);
    const __m256i isFull = _mm256_cmpeq_epi8(_mm256_and_si256(_mm256_shuffle_epi8(fullLeads, leads.low), bit), bit);
    const __m256i isFrequent = _mm256_cmpeq_epi8(leads.high, _mm256_shuffle_epi8(frequentLead, leads.low));
    const __m256i inRange =
        within(next, _mm256_shuffle_epi8(firstTrail, leads.low), _mm256_shuffle_epi8(trailsBehindFirst, leads.low));
    return _mm256_or_si256(isFull, _mm256_and_si256(isFrequent, inRange));
  }

  __m256i bitOfHighNibble = _mm256_broadcastsi128_si256(
      _mm_setr_epi8(0x01, 0x02, 0x04, 0x08, 0x10, 0x20, 0x40, static_cast<char>(0x80), 0, 0, 0, 0, 0, 0, 0, 0));
  __m256i fullLeads;
  __m256i frequentLead;
  __m256i firstTrail;
  __m256i trailsBehindFirst;
};

std::uint64_t joined(std::uint32_t low, std::uint32_t high) { return low | std::uint64_t{high} << kVector; }

/// Those of @p canLead that are leads, given that a character begins at the first place: every other one of each run.
std::uint64_t everyOther(std::uint64_t canLead) {
  const std::uint64_t starts = canLead & ~(canLead << 1);
  // The addition carries through the runs that start at even places and leaves the others as they are.
  const std::uint64_t fromEven = canLead & ~(canLead + (starts & kEvenPlaces));
  return (fromEven & kEvenPlaces) | (canLead & ~fromEven & ~kEvenPlaces);
}

/// Those of @p leads that begin no character by the code table. The bits @p highBits of a pair count as set.
std::uint64_t unassigned(const CodeTable& pairs, const std::uint8_t* bytes, std::uint64_t leads,
                         std::uint8_t highBits = 0) {
  std::uint64_t found = 0;
  for (; leads != 0; leads &= leads - 1) {
    const std::uint8_t* pair = bytes + std::countr_zero(leads);
    const auto lead = static_cast<std::uint8_t>(pair[0] | highBits);
    const auto trail = static_cast<std::uint8_t>(pair[1] | highBits);
    if (trail < 0x40 || !pairs.holds(lead, trail)) found |= leads & (0 - leads);
  }
  return found;
}

unsigned count(std::uint64_t bits) { return static_cast<unsigned>(std::popcount(bits)); }

template <bool kHasGap>
std::size_t readPairsAndSingles(const CodeTable& pairs, const PairClasses& classes, Bytes text, std::size_t at,
                                std::size_t end, std::uint64_t& features) {
  const __m256i canLead = bothHalves(classes.leads);
  const __m256i noSinglesLow = bothHalves(classes.noSinglesByLowNibble);
  const __m256i noSinglesHigh = bothHalves(classes.noSinglesByHighNibble);
  const Known<kHasGap> known(classes.known);

  std::uint64_t carried = 0;  // 1 when the block's first byte is the trail of the one before
  // A pair may begin at a block's last place, so one byte behind the block is looked at too.
  for (; at < end && at + kBlock < text.size(); at += kBlock) {
    const std::uint8_t* bytes = text.data() + at;
    const Nibbles first(load(bytes));
    const Nibbles second(load(bytes + kVector));
    const auto singles = [&](const Nibbles& nibbles) {
      const __m256i no = _mm256_and_si256(_mm256_shuffle_epi8(noSinglesLow, nibbles.low),
                                          _mm256_shuffle_epi8(noSinglesHigh, nibbles.high));
      return topBits(_mm256_cmpeq_epi8(no, _mm256_setzero_si256()));
    };
    const std::uint64_t noSingle = ~joined(singles(first), singles(second));
    if ((noSingle & ~carried) == 0) {
      carried = 0;
      continue;
    }

    const std::uint64_t lead =
        joined(topBits(_mm256_shuffle_epi8(canLead, first.high)), topBits(_mm256_shuffle_epi8(canLead, second.high)));
    const std::uint64_t assigned =
        joined(topBits(known.pairs(first, load(bytes + 1))), topBits(known.pairs(second, load(bytes + kVector + 1))));
    const std::uint64_t leads = everyOther(lead & ~carried);
    const std::uint64_t trails = leads << 1 | carried;
    const std::uint64_t wrong = (noSingle & ~leads & ~trails) | unassigned(pairs, bytes, leads & ~assigned);
    if (wrong != 0) {
      // A lead whose trail is wrong is left as well.
      const std::uint64_t good = below(wrong);
      const std::uint64_t whole = good & ~(leads & ~(good >> 1));
      features += count(leads & whole);
      return at + count(whole);
    }
    features += count(leads);
    carried = leads >> (kBlock - 1);
  }
  return at + carried;
}

std::size_t readEightBit(const EightBitRules& rules, const PairClasses& classes, Bytes text, std::size_t at,
                         std::size_t end, std::uint64_t& features) {
  const auto read = classes.known.hasGap ? readPairsAndSingles<true> : readPairsAndSingles<false>;
  return read(*rules.pairs, classes, text, at, end, features);
}

/// Reads pairs of a set, whole and assigned ones, up to whatever else comes.
std::size_t readGraphicPairs(const CodeTable& pairs, const KnownPairs& knownPairs, Bytes text, std::size_t at,
                             std::size_t end, std::uint64_t& features) {
  const KnownGraphic known(knownPairs);
  const Range graphic(ByteRange{0x21, 0x7E});
  for (; at < end && at + kBlock < text.size(); at += kBlock) {
    const std::uint8_t* bytes = text.data() + at;
    const __m256i first = load(bytes);
    const __m256i second = load(bytes + kVector);
    const std::uint64_t others = ~joined(topBits(graphic.contains(first)), topBits(graphic.contains(second)));
    // The pairs of which both bytes are graphic. Where to go on depends on them alone, unless one is wrong.
    const auto length = static_cast<unsigned>(std::countr_zero(others)) & ~1U;
    const std::uint64_t leads = length == kBlock ? kEvenPlaces : kEvenPlaces & ((std::uint64_t{1} << length) - 1);
    const auto areKnown = [&](__m256i vector, const std::uint8_t* next) {
      return topBits(known.pairs(Nibbles(vector), load(next)));
    };
    const std::uint64_t assigned = joined(areKnown(first, bytes + 1), areKnown(second, bytes + kVector + 1));
    if ((leads & ~assigned) != 0) [[unlikely]] {
      const std::uint64_t wrong = unassigned(pairs, bytes, leads & ~assigned, 0x80);
      if (wrong != 0) {
        const std::uint64_t right = leads & below(wrong);
        features += count(right);
        return at + 2 * count(right);
      }
    }
    features += length / 2;
    if (length != kBlock) return at + length;
  }
  return at;
}

/// Skips what is neither above 7F nor ESC, SO or SI.
std::size_t skipPlain(Bytes text, std::size_t at, std::size_t end) {
  for (; at < end && at + kVector <= text.size(); at += kVector) {
    const __m256i vector = load(text.data() + at);
    const __m256i escape = is(vector, kEscape);
    const __m256i shift = is(_mm256_and_si256(vector, all(0xFE)), kShiftOut);
    const std::uint32_t special = topBits(_mm256_or_si256(vector, _mm256_or_si256(escape, shift)));
    if (special != 0) return at + static_cast<unsigned>(std::countr_zero(special));
  }
  return at;
}

/// What is known of the bytes of a block of an encoding with states, a bit a byte.
struct Block {
  std::uint64_t escape = 0;
  std::uint64_t toPairs = 0;   ///< if an escape, ESC $ B or ESC $ @
  std::uint64_t toAscii = 0;   ///< if an escape, ESC ( B or ESC ( J
  std::uint64_t graphic = 0;   ///< 21 to 7E
  std::uint64_t notPlain = 0;  ///< 80 and above, SO and SI
  std::uint64_t known = 0;     ///< if it begins a pair, that is a character for certain

  void judge(const KnownGraphic& pairs, const Range& isGraphic, const std::uint8_t* bytes, unsigned place) {
    const __m256i text = load(bytes);
    const __m256i next = load(bytes + 1);
    const __m256i nextButOne = load(bytes + 2);
    const __m256i endsInB = is(nextButOne, 'B');
    const __m256i pairsNext = _mm256_and_si256(is(next, '$'), _mm256_or_si256(endsInB, is(nextButOne, '@')));
    const __m256i asciiNext = _mm256_and_si256(is(next, '('), _mm256_or_si256(endsInB, is(nextButOne, 'J')));
    const __m256i shift = is(_mm256_and_si256(text, all(0xFE)), kShiftOut);

    put(escape, is(text, kEscape), place);
    put(toPairs, pairsNext, place);
    put(toAscii, asciiNext, place);
    put(graphic, isGraphic.contains(text), place);
    put(notPlain, _mm256_or_si256(text, shift), place);
    put(known, pairs.pairs(Nibbles(text), next), place);
  }

 private:
  static void put(std::uint64_t& bits, __m256i found, unsigned place) {
    bits |= std::uint64_t{topBits(found)} << place;
  }
};

/// Reads text that changes between ASCII and @p usual by nothing but ESC ( B, ESC ( J, ESC $ B and ESC $ @ in turn,
/// as nearly all of it does, without a branch for each change. Stops before whatever else comes.
std::size_t readAlternating(const GraphicSet& usual, const KnownPairs& knownPairs, Iso2022State& state, Bytes text,
                            std::size_t at, std::size_t end, std::uint64_t& features) {
  const KnownGraphic known(knownPairs);
  const Range graphic(ByteRange{0x21, 0x7E});
  // What the block before has left: 1 when pairs are on; the bits of the rest of an escape sequence; 1 when the
  // first byte is a trail.
  std::uint64_t pairsOn = state.direct == &usual ? 1 : 0;
  std::uint64_t restOfEscape = 0;
  std::uint64_t carried = 0;

  for (; at < end && at + kBlock + 2 <= text.size(); at += kBlock) {
    Block block;
    block.judge(known, graphic, text.data() + at, 0);
    block.judge(known, graphic, text.data() + at + kVector, kVector);

    const std::uint64_t opens = block.escape & block.toPairs;
    const std::uint64_t closes = block.escape & block.toAscii;
    // Where they take turns, the difference fills the places from each opening up to the closing behind it, or to the
    // end of the block.
    const std::uint64_t on = closes - opens - pairsOn;
    const std::uint64_t onBefore = on << 1 | pairsOn;
    const std::uint64_t inEscape = block.escape | block.escape << 1 | block.escape << 2 | restOfEscape;
    const std::uint64_t inPairs = on & ~inEscape & block.graphic;
    const std::uint64_t leads = everyOther(inPairs & ~carried);
    const std::uint64_t trails = leads << 1 | carried;
    // Every escape sequence must be one of the four, and change what is on.
    std::uint64_t wrong = ((on & ~onBefore) ^ opens) | ((onBefore & ~on) ^ closes) | (block.escape ^ opens ^ closes) |
                          (trails & ~inPairs) | block.notPlain;
    wrong |= unassigned(*usual.pairs, text.data() + at, leads & ~block.known, 0x80);
    if (wrong != 0) [[unlikely]]
      break;
    features += count(trails);
    pairsOn = on >> (kBlock - 1);
    const std::uint64_t cutEscape = block.escape >> (kBlock - 2);  // two bytes follow, or one
    restOfEscape = cutEscape | cutEscape >> 1;
    carried = leads >> (kBlock - 1);
  }
  state.direct = pairsOn != 0 ? &usual : &kAsciiSet;
  return at - carried + count(restOfEscape);
}

std::size_t readIso2022(const Iso2022Rules& rules, const KnownPairs* known, Iso2022State& state, Bytes text,
                        std::size_t at, std::size_t end, std::uint64_t errorLimit, Counts& total) {
  Counts counts = total;
  while (at < end && counts.errors < errorLimit) {
    std::size_t pause = end;
    if (rules.usual != nullptr && !state.shiftedOut && (state.direct == rules.usual || state.direct == &kAsciiSet)) {
      at = readAlternating(*rules.usual, known[rules.usual->number], state, text, at, end, counts.features);
      pause = at + kBlock < end ? at + kBlock : end;
    }
    while (at < pause && counts.errors < errorLimit) {
      const GraphicSet& set = state.active();
      if (set.pairs != nullptr) {
        at = readGraphicPairs(*set.pairs, known[set.number], text, at, pause, counts.features);
      } else if (&set == &kAsciiSet) {
        at = skipPlain(text, at, pause);
      }
      if (at < pause) at = readCharacter(rules, state, text, at, counts);
    }
  }
  total = counts;
  return at;
}

}  // namespace
}  // namespace jv::sniffing

JV_END_AVX2

namespace jv::sniffing {
extern const QuickReaders kAVX2QuickReaders;
const QuickReaders kAVX2QuickReaders = {readEightBit, readIso2022};
}  // namespace jv::sniffing
