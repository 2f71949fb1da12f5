#include "encoding/byte_kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>

#include "support/bytes.h"

namespace jv {
namespace {

// Bytes that sit on both sides of every boundary that a kernel knows, the common ones more than once.
constexpr auto kBoundaries =
    std::to_array<std::uint8_t>({0x00, 0x0A, 0x0B, 0x0D, 0x0E, 0x0F, 0x10, 0x1A, 0x1B, 0x1C, 'a', 'b',
                                 0x7F, 0x80, 0xBF, 0xC0, 0xC3, 0xE3, 0xEF, 0xF0, 0xFF, 'x',  'y', 'z'});

void expectLikeReference(const ByteKernels& kernels, reference::Bytes text) {
  EXPECT_EQ(kernels.isPossibleUTF8(text), reference::isPossibleUTF8(text));
  EXPECT_EQ(kernels.isPossibleUTF16(text), reference::isPossibleUTF16(text));
  EXPECT_EQ(kernels.containsHighASCII(text), reference::containsHighASCII(text));
  EXPECT_EQ(kernels.plainPrefix(text, 0), reference::plainPrefix(text));
  EXPECT_EQ(kernels.findLineBreak(text, 0), reference::findLineBreak(text, 0));
  const LineFeeds counted = kernels.countLineFeeds(text, 21);
  EXPECT_EQ(counted.count, std::ranges::count(text.first(counted.end), 0x0A));
  EXPECT_EQ(std::ranges::count(text.first(counted.end), 0x0D), 0);
}

TEST(ByteKernels, AgreeWithTheReferenceAtEveryAlignmentAndPlace) {
  for (const ByteKernels* kernels : runnableByteKernels()) {
    SCOPED_TRACE(kernels->name);
    std::mt19937 random(20);  // the same bytes each time
    for (std::size_t size = 0; size < 400; ++size) {
      const std::size_t offset = size % 67;
      const test::Bytes room = test::drawn(random, size + offset, kBoundaries);
      expectLikeReference(*kernels, reference::Bytes(room).subspan(offset));
      if (size < 2) continue;
      // What decides is alone in its vector, or a pair of it.
      test::Bytes text(size, 'a');
      const std::size_t at = random() % (size - 1);
      for (const std::uint8_t first : kBoundaries) {
        for (const std::uint8_t second : kBoundaries) {
          text[at] = first;
          text[at + 1] = second;
          expectLikeReference(*kernels, text);
        }
      }
    }
  }
}

}  // namespace
}  // namespace jv
