#include "platform/linux/text_sniffer/QuickReaders.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "platform/linux/text_sniffer/Scan.h"
#include "platform/text_sniffing.h"

namespace jv::sniffing {
namespace {

/// Holds all quick readers against the reference, at once and in steps of @p step.
void expectLikeReference(std::uint32_t encoding, Bytes text, std::size_t step) {
  const Counts expected = countByReference(encoding, text, UINT64_MAX, UINT64_MAX);
  std::vector<const QuickReaders*> all = {nullptr};  // one character after the other
  std::ranges::copy(runnableQuickReaders(), std::back_inserter(all));
  for (const QuickReaders* readers : all) {
    for (const std::size_t size : {text.size(), step}) {
      Scan scan = *Scan::of(encoding, 0, readers);
      for (std::size_t end = 0; end < text.size();) {
        end += std::min(size, text.size() - end);
        scan.advance(text, end, UINT64_MAX);
      }
      ASSERT_EQ(scan.counts(), expected) << (readers ? readers->name : "none") << " in steps of " << size
                                         << ", encoding " << std::hex << encoding;
    }
  }
}

TEST(QuickReaders, AgreeWithTheReferenceOnEveryEncodingsOwnText) {
  for (const std::uint32_t encoding : kAllEncodings) {
    TextOf source(encoding, encoding);
    for (unsigned round = 0; round < 200; ++round) {
      const std::vector<std::uint8_t> text =
          source.draw(round % 10 == 0 ? 20000 : 60 + 3 * round, round % 4 == 0 ? 0 : round % 4 * 8);
      ASSERT_NO_FATAL_FAILURE(expectLikeReference(encoding, text, 1 + round));
    }
  }
}

TEST(QuickReaders, JudgeEveryPairLikeTheCodeTable) {
  for (const std::uint32_t encoding : kAllEncodings) {
    // Each pair stands among characters that are valid everywhere, once at each parity.
    for (unsigned lead = 0x80; lead < 0x100; ++lead) {
      std::vector<std::uint8_t> text;
      for (unsigned trail = 0; trail < 0x100; ++trail) {
        text.insert(text.end(), trail % 2, 'x');
        text.insert(text.end(), {static_cast<std::uint8_t>(lead), static_cast<std::uint8_t>(trail), ' ', 'y', 'z'});
      }
      ASSERT_NO_FATAL_FAILURE(expectLikeReference(encoding, text, 1 + lead));
    }
  }
}

}  // namespace
}  // namespace jv::sniffing
