// The inner loops on vectors of JV_VECTOR_BYTES bytes, for the instruction set that is on where this is included. The
// including file includes the headers.
// Written with the compilers' portable vectors, so that one text serves x86-64, AVX2 and 64-bit Arm.
//
// All kernels are stateless: a byte is judged by itself and its neighbours, so a stretch can be skipped or looked at in
// any order, and what is left at the end goes to the reference.

namespace jv {
namespace {

constexpr std::size_t kWidth = JV_VECTOR_BYTES;
constexpr std::size_t kStride = 4 * kWidth;  // bytes between two branches

// Signed, so that one comparison tells continuation bytes (below -64) from the rest.
using Vector = std::int8_t __attribute__((vector_size(kWidth)));

Vector load(const std::uint8_t* bytes) {
  Vector vector;
  std::memcpy(&vector, bytes, kWidth);
  return vector;
}

Vector all(std::uint8_t byte) { return Vector{} + static_cast<std::int8_t>(byte); }

#if defined(__SSE2__)
/// The top bits of the bytes as a word, the first byte's lowest.
std::uint32_t topBits(Vector vector) {
#if JV_VECTOR_BYTES == 32
  return static_cast<std::uint32_t>(_mm256_movemask_epi8(reinterpret_cast<__m256i>(vector)));
#else
  return static_cast<std::uint32_t>(_mm_movemask_epi8(reinterpret_cast<__m128i>(vector)));
#endif
}

/// Whether the top bit of any byte is set.
bool anyTopBit(Vector vector) { return topBits(vector) != 0; }
#else
std::uint32_t topBits(Vector vector) {
  std::uint32_t bits = 0;
  for (std::size_t place = 0; place < kWidth; ++place) bits |= static_cast<std::uint32_t>(vector[place] < 0) << place;
  return bits;
}

// There is no instruction for the word, and mostly it is not needed.
bool anyTopBit(Vector vector) {
  std::uint64_t words[kWidth / 8];
  std::memcpy(words, &vector, kWidth);
  std::uint64_t together = 0;
  for (const std::uint64_t word : words) together |= word;
  return (together & 0x8080808080808080) != 0;
}
#endif

// Each of these has the top bit of the bytes in question set, and says nothing with the other bits.
Vector highASCII(Vector text) { return text | (text == all(0x1B)); }
Vector notPlain(Vector text) { return highASCII(text) | ((text & all(0xFE)) == all(0x0E)); }
Vector lineFeed(Vector text) { return text == all(0x0A); }
Vector carriageReturn(Vector text) { return text == all(0x0D); }
Vector lineBreak(Vector text) { return lineFeed(text) | carriageReturn(text); }
Vector wideLineBreak(Vector text, Vector before) { return lineBreak(text) & (before == all(0x00)); }

Vector breaksUTF8(Vector text, Vector next, Vector nextButOne) {
  const Vector continuation = text < all(0xC0);
  const Vector nextContinues = next < all(0xC0);
  const Vector leadAlone = text & ~(continuation | nextContinues);
  const Vector fourByteLead = (text & all(0xF0)) == all(0xF0);
  const Vector threeContinue = continuation & nextContinues & (nextButOne < all(0xC0));
  return leadAlone | fourByteLead | threeContinue;
}

/// A place of a text, and whether what was looked for is there.
struct Place {
  std::size_t at;
  bool isFound;
};

/// The first byte from @p from on that @p marks, or else the place from which on too few bytes are left for a vector.
template <Vector (*marks)(Vector)>
Place find(reference::Bytes text, std::size_t from) {
  std::size_t at = from;
  for (; text.size() - at >= kWidth; at += kWidth) {
    const Vector found = marks(load(text.data() + at));
    if (anyTopBit(found)) return {at + static_cast<std::size_t>(std::countr_zero(topBits(found))), true};
  }
  return {at, false};
}

/// The same where it is expected to be far.
template <Vector (*marks)(Vector)>
Place findFar(reference::Bytes text, std::size_t from) {
  std::size_t at = from;
  for (; text.size() - at >= kStride; at += kStride) {
    const std::uint8_t* here = text.data() + at;
    prefetchAhead<kStride / 64>(here);
    const Vector found =
        marks(load(here)) | marks(load(here + kWidth)) | marks(load(here + 2 * kWidth)) | marks(load(here + 3 * kWidth));
    if (anyTopBit(found)) break;
  }
  return find<marks>(text, at);
}

bool containsHighASCII(reference::Bytes text) {
  const Place high = findFar<highASCII>(text, 0);
  return high.isFound || reference::containsHighASCII(text, high.at);
}

std::size_t plainPrefix(reference::Bytes text, std::size_t from) {
  const Place end = findFar<notPlain>(text, from);
  return end.isFound ? end.at : reference::plainPrefix(text, end.at);
}

std::size_t findLineBreak(reference::Bytes text, std::size_t from) {
  const Place lineBreakFound = find<lineBreak>(text, from);
  return lineBreakFound.isFound ? lineBreakFound.at : reference::findLineBreak(text, lineBreakFound.at);
}

LineFeeds countLineFeeds(reference::Bytes text, unsigned enough) {
  LineFeeds counted;
  while (text.size() - counted.end >= kWidth && counted.count < enough) {
    const Vector here = load(text.data() + counted.end);
    if (anyTopBit(carriageReturn(here))) break;
    counted.count += static_cast<unsigned>(std::popcount(topBits(lineFeed(here))));
    counted.end += kWidth;
  }
  return counted;
}

bool isPossibleUTF16(reference::Bytes text) {
  const reference::Bytes window =
      text.first(text.size() < reference::kUTF16Window ? text.size() : reference::kUTF16Window);
  std::size_t at = 1;
  for (; at + kWidth <= window.size(); at += kWidth) {
    if (anyTopBit(wideLineBreak(load(window.data() + at), load(window.data() + at - 1)))) return true;
  }
  return reference::hasWideLineBreak(window, at);
}

Vector breaksUTF8At(const std::uint8_t* bytes) { return breaksUTF8(load(bytes), load(bytes + 1), load(bytes + 2)); }

bool isPossibleUTF8(reference::Bytes text) {
  constexpr std::size_t kLookAhead = 2;
  const std::uint8_t* bytes = text.data();
  std::size_t at = 0;
  for (; text.size() - at >= kStride + kLookAhead; at += kStride) {
    const std::uint8_t* here = bytes + at;
    prefetchAhead<kStride / 64>(here);
    const Vector any = load(here) | load(here + kWidth) | load(here + 2 * kWidth) | load(here + 3 * kWidth);
    if (!anyTopBit(any)) continue;
    const Vector broken = breaksUTF8At(here) | breaksUTF8At(here + kWidth) | breaksUTF8At(here + 2 * kWidth) |
                          breaksUTF8At(here + 3 * kWidth);
    if (anyTopBit(broken)) return false;
  }
  for (; text.size() - at >= kWidth + kLookAhead; at += kWidth) {
    if (anyTopBit(breaksUTF8At(bytes + at))) return false;
  }
  return reference::isPossibleUTF8(text, at);
}

constexpr ByteKernels kKernels = {JV_KERNEL_NAME,    isPossibleUTF8, isPossibleUTF16, containsHighASCII,
                                  plainPrefix,    findLineBreak,   countLineFeeds};

}  // namespace
}  // namespace jv
