#include "platform/linux/text_sniffer/QuickReaders.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/text_sniffer/Scan.h"
#include "platform/linux/text_sniffer/reference.h"
#include "platform/text_sniffing.h"
#include "platform/texts_of_encodings.h"

namespace jv::sniffing {
namespace {

constexpr std::uint64_t kNoLimit = UINT64_MAX;

Counts scanned(std::uint32_t encoding, Bytes text, const QuickReaders* quick, std::size_t step) {
  Scan scan = *Scan::of(encoding, 0, quick);
  for (std::size_t end = 0; end < text.size();) {
    end += std::min(step, text.size() - end);
    scan.advance(text, end, kNoLimit);
  }
  return scan.counts();
}

/// Holds all quick readers against @p expected, at once and in steps of @p step.
void expectCounts(const Counts& expected, std::uint32_t encoding, Bytes text, std::size_t step) {
  for (const QuickReaders* readers : runnableQuickReaders()) {
    SCOPED_TRACE(readers->name);
    ASSERT_EQ(scanned(encoding, text, readers, text.size()), expected);
    ASSERT_EQ(scanned(encoding, text, readers, step), expected) << "in steps";
  }
}

TEST(QuickReaders, AgreeWithTheReferenceOnEveryEncodingsOwnText) {
  for (const std::uint32_t encoding : kAllEncodings) {
    TextOf source(encoding, encoding);
    for (unsigned round = 0; round < 200; ++round) {
      SCOPED_TRACE(testing::Message() << "round " << round << ", encoding " << std::hex << encoding);
      const std::size_t length = round % 10 == 0 ? 20000 : 60 + 3 * round;
      const std::string text = source.draw(length, round % 4 == 0 ? 0 : round % 4 * 8);
      const ExactBuffer buffer(text);
      const Bytes bytes = buffer.bytes();
      const Counts expected = countByReference(encoding, bytes, kNoLimit, kNoLimit);
      ASSERT_EQ(scanned(encoding, bytes, nullptr, bytes.size()), expected) << "one by one";
      ASSERT_NO_FATAL_FAILURE(expectCounts(expected, encoding, bytes, 1 + round));
    }
  }
}

/// Text that changes between ASCII and kanji in turn, with a fault now and then, at every place of a block in the end.
std::string alternatingText(std::mt19937& random, std::size_t length, unsigned faultsInAThousand) {
  static constexpr std::string_view kOn[] = {"\x1B$B", "\x1B$@"};
  static constexpr std::string_view kOff[] = {"\x1B(B", "\x1B(J"};
  static constexpr std::string_view kFaults[] = {"\x1B", "\x1B$B", "\x1B(B", "\x1B(I", "\x0E", "\x80", "x", "\x1B$"};
  std::string text;
  while (text.size() < length) {
    for (std::size_t words = random() % 20; words > 0; --words) text += random() % 5 == 0 ? '\n' : 'w';
    text += kOn[random() % 2];
    for (std::size_t pairs = random() % 50; pairs > 0; --pairs) {
      text += static_cast<char>(0x30 + random() % 0x10);
      text += static_cast<char>(0x21 + random() % 0x5E);
      if (random() % 40 == 0) text += ' ';
      if (random() % 1000 < faultsInAThousand) text += kFaults[random() % std::size(kFaults)];
    }
    text += kOff[random() % 2];
  }
  text.resize(length);
  return text;
}

TEST(QuickReaders, FollowChangesOfTheCharacterSetLikeTheReference) {
  constexpr std::uint32_t kIso2022Jp = 0x0820;
  std::mt19937 random(2022);
  for (unsigned round = 0; round < 1500; ++round) {
    SCOPED_TRACE(round);
    const std::string text = alternatingText(random, 64 + random() % 1000, round % 3 * 4);
    const Bytes bytes = bytesOf(text);
    const Counts expected = countByReference(kIso2022Jp, bytes, kNoLimit, kNoLimit);
    ASSERT_NO_FATAL_FAILURE(expectCounts(expected, kIso2022Jp, bytes, 1 + random() % 200));
  }
}

TEST(QuickReaders, JudgeEveryPairLikeTheCodeTable) {
  for (const std::uint32_t encoding : kAllEncodings) {
    if (findEightBitRules(encoding) == nullptr) continue;
    // Each pair stands among characters that are valid everywhere, once at each parity.
    for (unsigned lead = 0x80; lead < 0x100; ++lead) {
      std::vector<std::uint8_t> text;
      for (unsigned trail = 0; trail < 0x100; ++trail) {
        text.insert(text.end(), trail % 2, 'x');
        text.insert(text.end(), {static_cast<std::uint8_t>(lead), static_cast<std::uint8_t>(trail), ' ', 'y', 'z'});
      }
      SCOPED_TRACE(testing::Message() << std::hex << "encoding " << encoding << ", lead " << lead);
      const Counts expected = countByReference(encoding, text, kNoLimit, kNoLimit);
      ASSERT_NO_FATAL_FAILURE(expectCounts(expected, encoding, text, 1 + lead));
    }
  }
}

}  // namespace
}  // namespace jv::sniffing
