#include <JorvaneFoundation/encoding/byte_sniffers.h>

#include <cstddef>
#include <span>

#include "encoding/byte_kernels.h"

namespace {

/// A negative length is an empty buffer.
std::span<const std::uint8_t> bufferOf(const std::uint8_t* bytes, std::int64_t length) {
  return {bytes, length > 0 ? static_cast<std::size_t>(length) : 0};
}

/// The bytes 00 0A behind a carriage return: the rest of a line-break pair in UTF-16 of either byte order.
bool isWidePair(std::span<const std::uint8_t> text, std::size_t at) {
  return text.size() - at > 2 && text[at + 1] == 0x00 && text[at + 2] == 0x0A;
}

}  // namespace

std::uint32_t JVDefaultLineBreakType = JVLineBreakTypeNone;

bool isPossibleUTF8(const std::uint8_t* bytes, std::int64_t length) noexcept {
  return jv::byteKernels().isPossibleUTF8(bufferOf(bytes, length));
}

bool isPossibleUTF16(const std::uint8_t* bytes, std::uint64_t length) noexcept {
  return jv::byteKernels().isPossibleUTF16({bytes, length});
}

bool containsHighASCII(const std::uint8_t* bytes, std::uint64_t length) noexcept {
  return jv::byteKernels().containsHighASCII({bytes, length});
}

std::int64_t sniffLineBreakType(const std::uint8_t* bytes, std::int64_t length) noexcept {
  constexpr unsigned kEnough = 21;
  const std::span text = bufferOf(bytes, length);
  const jv::ByteKernels& kernels = jv::byteKernels();
  unsigned counts[4] = {};  // by line-break type

  // Nearly all text has line feeds alone, and then they are all there is to count.
  const jv::LineFeeds lineFeeds = kernels.countLineFeeds(text, kEnough);
  if (lineFeeds.count >= kEnough) return JVLineBreakTypeLF;
  counts[JVLineBreakTypeLF] = lineFeeds.count;

  for (std::size_t at = kernels.findLineBreak(text, lineFeeds.end); at < text.size();) {
    std::int64_t type = JVLineBreakTypeCR;
    std::size_t width = 1;
    if (text[at] == 0x0A) {
      type = JVLineBreakTypeLF;
    } else if (isWidePair(text, at)) {
      type = JVLineBreakTypeCRLF;
      width = 4;  // the zero half of the line feed too, which may lie past the end
    } else if (text.size() - at > 1 && text[at + 1] == 0x0A) {
      type = JVLineBreakTypeCRLF;
      width = 2;
    }
    if (++counts[type] == kEnough) break;
    if (width >= text.size() - at) break;
    at = kernels.findLineBreak(text, at + width);
  }

  // Carriage return wins a tie with the pair, and both win a tie with line feed.
  const std::int64_t candidate =
      counts[JVLineBreakTypeCRLF] > counts[JVLineBreakTypeCR] ? JVLineBreakTypeCRLF : JVLineBreakTypeCR;
  if (counts[JVLineBreakTypeLF] > counts[candidate]) return JVLineBreakTypeLF;
  return counts[candidate] > 0 ? candidate : std::int64_t{JVLineBreakTypeNone};
}
