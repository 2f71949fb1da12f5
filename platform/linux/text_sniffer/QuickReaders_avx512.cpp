// For x86-64 processors with AVX-512 and its look-ups among 128 bytes (VBMI): a table has an entry for each byte of 80
// and above, and comparisons give words.

#include <immintrin.h>

#include <bit>

#include "foundation/prefetch.h"
#include "foundation/processor.h"
#include "platform/linux/text_sniffer/QuickReaders.h"

#define JV_READERS_NAME "avx512"

JV_BEGIN_AVX512

namespace jv::sniffing {
namespace {

using Block = __m512i;
using Mask = std::uint64_t;

/// As a word in a general register. Compilers would rather go on in mask registers, and the way there and back would
/// come into the chain from one block to the next, three times as long as the rest of it.
std::uint64_t bits(Mask mask) {
  __asm__("" : "+r"(mask));
  return mask;
}

Block load(const std::uint8_t* bytes) { return _mm512_loadu_si512(bytes); }

__m512i all(unsigned byte) { return _mm512_set1_epi8(static_cast<char>(byte)); }

Mask is(Block block, unsigned byte) { return _mm512_cmpeq_epi8_mask(block, all(byte)); }
Mask isShift(Block block) { return is(_mm512_and_si512(block, all(0xFE)), kShiftOut); }
Mask isHigh(Block block) { return _mm512_movepi8_mask(block); }

/// The bytes of @p bytes from @p first on, @p count of them; both may differ from byte to byte.
Mask within(__m512i bytes, __m512i first, __m512i count) {
  return _mm512_cmplt_epu8_mask(_mm512_sub_epi8(bytes, first), count);
}

Mask isGraphic(Block block) { return within(block, all(0x21), all(0x7E - 0x21 + 1)); }

/// A `HighByteTable` in registers. Only the lower seven bits of a byte count.
struct Table {
  explicit Table(const HighByteTable& table)
      : first(_mm512_loadu_si512(table.data())), second(_mm512_loadu_si512(table.data() + 64)) {}
  [[nodiscard]] __m512i operator[](__m512i bytes) const { return _mm512_permutex2var_epi8(first, bytes, second); }

  __m512i first;
  __m512i second;
};

template <bool kHasGap>
class Classes {
 public:
  explicit Classes(const PairClasses& tables)
      : classes_(tables.ofHighByte),
        firstTrail_(tables.known.firstTrailOf),
        trailCount_(tables.known.trailCountOf),
        firstInGap_(all(tables.known.gap.first)),
        sizeOfGap_(all(tables.known.gap.last - tables.known.gap.first + 1U)) {}

  [[nodiscard]] std::uint64_t noSingles(Block block) const {
    return bits(is(block, kEscape) | (isHigh(block) & has(block, PairClasses::kNoSingle)));
  }
  [[nodiscard]] std::uint64_t leads(Block block) const {
    return bits(isHigh(block) & has(block, PairClasses::kCanLead));
  }
  [[nodiscard]] std::uint64_t known(Block block, Block next) const {
    const Mask found = within(next, firstTrail_[block], trailCount_[block]);
    return bits(kHasGap ? found & ~within(next, firstInGap_, sizeOfGap_) : found);
  }

 private:
  [[nodiscard]] Mask has(Block block, unsigned what) const { return _mm512_test_epi8_mask(classes_[block], all(what)); }

  Table classes_;
  Table firstTrail_;
  Table trailCount_;
  __m512i firstInGap_;
  __m512i sizeOfGap_;
};

class KnownGraphic {
 public:
  explicit KnownGraphic(const KnownPairs& known) : firstTrail_(known.firstTrailOf), trailCount_(known.trailCountOf) {}

  [[nodiscard]] Mask pairs(Block block, Block next) const {
    return within(_mm512_or_si512(next, all(0x80)), firstTrail_[block], trailCount_[block]);
  }

 private:
  Table firstTrail_;
  Table trailCount_;
};

}  // namespace
}  // namespace jv::sniffing

#include "platform/linux/text_sniffer/QuickReaders.inl"

JV_END_AVX512

namespace jv::sniffing {
extern const QuickReaders kAVX512QuickReaders;
const QuickReaders kAVX512QuickReaders = kReaders;
}  // namespace jv::sniffing
