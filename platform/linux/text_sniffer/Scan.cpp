#include "platform/linux/text_sniffer/Scan.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace jv::sniffing {
namespace {

constexpr std::uint64_t kOnes = 0x0101010101010101;
constexpr std::uint64_t kHighBits = 0x8080808080808080;

/// The high bit of each byte that is zero. Only the lowest set bit is exact: a zero byte may carry into those above it.
constexpr std::uint64_t zeroBytes(std::uint64_t word) { return (word - kOnes) & ~word & kHighBits; }

constexpr std::uint64_t bytesEqualTo(std::uint8_t byte, std::uint64_t word) { return zeroBytes(word ^ (kOnes * byte)); }

/// The high bit of each byte that is no single in any 8-bit encoding or else needs a closer look.
constexpr std::uint64_t notPlainEightBit(std::uint64_t word) {
  return (word & kHighBits) | bytesEqualTo(kEscape, word);
}

/// The same while ASCII is on in one of the 7-bit encodings.
constexpr std::uint64_t notPlainIso2022(std::uint64_t word) {
  return notPlainEightBit(word) | bytesEqualTo(kShiftOut, word) | bytesEqualTo(kShiftIn, word);
}

/// The first position from @p at on that needs a closer look or has less than eight bytes before @p end.
template <auto notPlain>
std::size_t skipPlain(Bytes text, std::size_t at, std::size_t end) {
  while (at < end && end - at >= sizeof(std::uint64_t)) {
    std::uint64_t word;
    std::memcpy(&word, text.data() + at, sizeof word);
    if (const std::uint64_t special = notPlain(word)) {
      if constexpr (std::endian::native == std::endian::little)
        at += static_cast<unsigned>(std::countr_zero(special)) / 8;
      return at;
    }
    at += sizeof word;
  }
  return at;
}

/// The last bytes of a text, fewer than the quick readers need, with zeros behind them: a character in every encoding
/// and the second byte of none.
class Tail {
 public:
  Tail(Bytes text, std::size_t at) : size_(text.size() - at) { std::memcpy(bytes_, text.data() + at, size_); }

  [[nodiscard]] Bytes padded() const { return bytes_; }
  [[nodiscard]] std::size_t size() const { return size_; }

 private:
  std::uint8_t bytes_[2 * kQuickBytes] = {};
  std::size_t size_;
};

bool isTail(Bytes text, std::size_t at) { return text.size() - at < kQuickBytes; }

/// Reads the valid characters at the front of a tail. Behind the last byte the reader may stop anywhere in the zeros.
std::size_t readTail(const EightBitRules& rules, const QuickReaders& quick, Bytes text, std::size_t at,
                     std::uint64_t& features) {
  const Tail tail(text, at);
  return at + std::min(tail.size(), quick.eightBit(rules, pairClassesOf(rules), tail.padded(), 0, tail.size(), features));
}

// Where the quick readers stopped, so many bytes are read one by one before they are asked again: in text of another
// encoding they would stop at every other character.
constexpr std::size_t kByItself = 64;

std::size_t scanEightBit(const EightBitRules& rules, const QuickReaders* quick, Bytes text, std::size_t at,
                         std::size_t end, std::uint64_t errorLimit, Counts& total) {
  Counts counts = total;
  while (at < end && counts.errors < errorLimit) {
    std::size_t pause = end;
    if (quick != nullptr) {
      at = quick->eightBit(rules, pairClassesOf(rules), text, at, end, counts.features);
      if (at < end && isTail(text, at)) at = readTail(rules, *quick, text, at, counts.features);
      pause = std::min(end, at + kByItself);
    }
    while (at < pause && counts.errors < errorLimit) {
      if (text[at] < 0x80) {
        at = skipPlain<notPlainEightBit>(text, at, pause);
        if (at >= pause) break;
      }
      at = readCharacter(rules, text, at, counts);
    }
  }
  total = counts;
  return at;
}

/// What is cut off by the end of the text is as wrong before zeros, and takes as many bytes.
std::size_t readQuickly(const Iso2022Rules& rules, Iso2022State& state, const QuickReaders& quick, Bytes text,
                        std::size_t at, std::size_t end, std::uint64_t errorLimit, Counts& counts) {
  const auto read = [&](Bytes bytes, std::size_t from, std::size_t to) {
    return quick.iso2022(rules, knownPairsOfSets(), state, bytes, from, to, errorLimit, counts);
  };
  if (!isTail(text, at)) at = read(text, at, std::min(end, text.size() - kQuickBytes + 1));
  if (at >= end || counts.errors >= errorLimit) return at;
  const Tail tail(text, at);
  return at + std::min(tail.size(), read(tail.padded(), 0, end - at));
}

std::size_t scanIso2022(const Iso2022Rules& rules, Iso2022State& state, const QuickReaders* quick, Bytes text,
                        std::size_t at, std::size_t end, std::uint64_t errorLimit, Counts& total) {
  if (quick != nullptr) return readQuickly(rules, state, *quick, text, at, end, errorLimit, total);
  Counts counts = total;
  while (at < end && counts.errors < errorLimit) {
    if (&state.active() == &kAsciiSet) {
      at = skipPlain<notPlainIso2022>(text, at, end);
      if (at >= end) break;
    }
    at = readCharacter(rules, state, text, at, counts);
  }
  total = counts;
  return at;
}

}  // namespace

std::optional<Scan> Scan::of(std::uint32_t encoding, std::size_t start, const QuickReaders* quick) {
  Scan scan;
  scan.eightBit_ = findEightBitRules(encoding);
  if (scan.eightBit_ == nullptr) scan.iso2022_ = findIso2022Rules(encoding);
  if (scan.eightBit_ == nullptr && scan.iso2022_ == nullptr) return std::nullopt;
  scan.quick_ = quick;
  scan.at_ = start;
  return scan;
}

void Scan::advance(Bytes text, std::size_t end, std::uint64_t errorLimit) {
  at_ = eightBit_ != nullptr ? scanEightBit(*eightBit_, quick_, text, at_, end, errorLimit, counts_)
                             : scanIso2022(*iso2022_, state_, quick_, text, at_, end, errorLimit, counts_);
}

}  // namespace jv::sniffing
