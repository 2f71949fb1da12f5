// For x86-64 processors with AVX2: classes of bytes are looked up by their low and high halves, sixteen entries a
// table.

#include <immintrin.h>

#include <bit>

#include "foundation/prefetch.h"
#include "foundation/processor.h"
#include "platform/linux/text_sniffer/QuickReaders.h"

#define JV_READERS_NAME "avx2"

JV_BEGIN_AVX2

namespace jv::sniffing {
namespace {

/// 64 bytes in two registers.
struct Block {
  __m256i low;
  __m256i high;
};

/// The top bit of each byte says whether it holds.
struct Mask {
  __m256i low;
  __m256i high;

  Mask operator&(Mask other) const { return {_mm256_and_si256(low, other.low), _mm256_and_si256(high, other.high)}; }
  Mask operator|(Mask other) const { return {_mm256_or_si256(low, other.low), _mm256_or_si256(high, other.high)}; }
};

std::uint64_t topBits(__m256i vector) { return static_cast<std::uint32_t>(_mm256_movemask_epi8(vector)); }
std::uint64_t bits(Mask mask) { return topBits(mask.low) | topBits(mask.high) << 32; }

__m256i loadHalf(const std::uint8_t* bytes) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes)); }
Block load(const std::uint8_t* bytes) { return {loadHalf(bytes), loadHalf(bytes + 32)}; }

__m256i all(unsigned byte) { return _mm256_set1_epi8(static_cast<char>(byte)); }

__m256i bothLanes(const std::array<std::uint8_t, 16>& table) {
  return _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(table.data())));
}

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

Mask is(Block block, unsigned byte) {
  return {_mm256_cmpeq_epi8(block.low, all(byte)), _mm256_cmpeq_epi8(block.high, all(byte))};
}

Mask isShift(Block block) {
  return is({_mm256_and_si256(block.low, all(0xFE)), _mm256_and_si256(block.high, all(0xFE))}, kShiftOut);
}

Mask isHigh(Block block) { return {block.low, block.high}; }

Mask isGraphic(Block block) {
  const Range graphic(ByteRange{0x21, 0x7E});
  return {graphic.contains(block.low), graphic.contains(block.high)};
}

/// Bytes, ready to be looked up.
struct Nibbles {
  explicit Nibbles(__m256i text)
      : low(_mm256_and_si256(text, all(0x0F))), high(_mm256_and_si256(_mm256_srli_epi16(text, 4), all(0x0F))) {}

  __m256i low;
  __m256i high;
};

/// `KnownPairs` in registers, but for the full trails and the gap.
struct KnownLeads {
  /// @param bytes  the bits of a byte that count: 7F where the text leaves high bits out
  /// @param bits   the bit in `HighByteSet` for each high nibble of the text
  KnownLeads(const KnownPairs& known, std::uint8_t bytes, __m256i bits)
      : bitOfHighNibble(bits),
        fullLeads(bothLanes(known.fullLeads.byLowNibble)),
        frequentLead(_mm256_and_si256(bothLanes(known.frequentLead), all(0xF0U | bytes / 16U))),
        firstTrail(_mm256_and_si256(bothLanes(known.firstTrail), all(bytes))),
        trailsBehindFirst(bothLanes(known.trailsBehindFirst)) {}

  [[nodiscard]] __m256i areFull(const Nibbles& leads) const {
    const __m256i bit = _mm256_shuffle_epi8(bitOfHighNibble, leads.high);
    return _mm256_cmpeq_epi8(_mm256_and_si256(_mm256_shuffle_epi8(fullLeads, leads.low), bit), bit);
  }

  [[nodiscard]] __m256i areFrequent(const Nibbles& leads, __m256i next) const {
    const __m256i isFrequent = _mm256_cmpeq_epi8(leads.high, _mm256_shuffle_epi8(frequentLead, leads.low));
    const __m256i inRange =
        within(next, _mm256_shuffle_epi8(firstTrail, leads.low), _mm256_shuffle_epi8(trailsBehindFirst, leads.low));
    return _mm256_and_si256(isFrequent, inRange);
  }

  __m256i bitOfHighNibble;
  __m256i fullLeads;
  __m256i frequentLead;
  __m256i firstTrail;
  __m256i trailsBehindFirst;
};

/// The bits of the high nibbles from 0 or from 8 on.
__m256i bitsFromZero() {
  return _mm256_broadcastsi128_si256(
      _mm_setr_epi8(0x01, 0x02, 0x04, 0x08, 0x10, 0x20, 0x40, static_cast<char>(0x80), 0, 0, 0, 0, 0, 0, 0, 0));
}
__m256i bitsFromEight() {
  return _mm256_broadcastsi128_si256(
      _mm_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, 0x01, 0x02, 0x04, 0x08, 0x10, 0x20, 0x40, static_cast<char>(0x80)));
}

template <bool kHasGap>
class Classes {
 public:
  explicit Classes(const PairClasses& tables)
      : canLead_(bothLanes(tables.leads)),
        noSinglesLow_(bothLanes(tables.noSinglesByLowNibble)),
        noSinglesHigh_(bothLanes(tables.noSinglesByHighNibble)),
        known_(tables.known, 0xFF, bitsFromEight()),
        fullTrails_(tables.known.fullTrails),
        gap_(tables.known.gap) {}

  [[nodiscard]] std::uint64_t noSingles(Block block) const {
    return ~bits({singles(Nibbles(block.low)), singles(Nibbles(block.high))});
  }

  [[nodiscard]] std::uint64_t leads(Block block) const {
    return bits({_mm256_shuffle_epi8(canLead_, Nibbles(block.low).high),
                 _mm256_shuffle_epi8(canLead_, Nibbles(block.high).high)});
  }

  /// Whether each byte, 80 or above, makes a known pair with the byte of @p next at its place.
  [[nodiscard]] std::uint64_t known(Block block, Block next) const {
    return bits({pairs(Nibbles(block.low), next.low), pairs(Nibbles(block.high), next.high)});
  }

 private:
  [[nodiscard]] __m256i singles(const Nibbles& nibbles) const {
    const __m256i no = _mm256_and_si256(_mm256_shuffle_epi8(noSinglesLow_, nibbles.low),
                                        _mm256_shuffle_epi8(noSinglesHigh_, nibbles.high));
    return _mm256_cmpeq_epi8(no, _mm256_setzero_si256());
  }

  [[nodiscard]] __m256i pairs(const Nibbles& leads, __m256i next) const {
    const __m256i full = _mm256_and_si256(known_.areFull(leads), fullTrails_.contains(next));
    const __m256i found = _mm256_or_si256(full, known_.areFrequent(leads, next));
    return kHasGap ? _mm256_andnot_si256(gap_.contains(next), found) : found;
  }

  __m256i canLead_;
  __m256i noSinglesLow_;
  __m256i noSinglesHigh_;
  KnownLeads known_;
  Range fullTrails_;
  Range gap_;
};

/// That a trail is graphic, which makes it one of the full trails, is for the reader to see.
class KnownGraphic {
 public:
  explicit KnownGraphic(const KnownPairs& known) : known_(known, 0x7F, bitsFromZero()) {}

  [[nodiscard]] Mask pairs(Block block, Block next) const {
    return {pairs(Nibbles(block.low), next.low), pairs(Nibbles(block.high), next.high)};
  }

 private:
  [[nodiscard]] __m256i pairs(const Nibbles& leads, __m256i next) const {
    return _mm256_or_si256(known_.areFull(leads), known_.areFrequent(leads, next));
  }

  KnownLeads known_;
};

}  // namespace
}  // namespace jv::sniffing

#include "platform/linux/text_sniffer/QuickReaders.inl"

JV_END_AVX2

namespace jv::sniffing {
extern const QuickReaders kAVX2QuickReaders;
const QuickReaders kAVX2QuickReaders = kReaders;
}  // namespace jv::sniffing
