#include "platform/linux/text_sniffer/QuickReaders.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/text_sniffer/Scan.h"
#include "platform/linux/text_sniffer/reference.h"
#include "platform/text_sniffing.h"

namespace jv::sniffing {
namespace {

constexpr std::uint64_t kNoLimit = UINT64_MAX;

/// Draws text that is an encoding's own, with as many faults as asked for.
class TextOf {
 public:
  TextOf(std::uint32_t encoding, std::uint32_t seed) : random_(seed) {
    if (const EightBitRules* rules = findEightBitRules(encoding)) {
      add(*rules->pairs, 0);
      for (unsigned byte = 0x80; byte < 0x100; ++byte) {
        if ((rules->roles[static_cast<std::uint8_t>(byte)] & kSingle) != 0)
          others_.emplace_back(1, static_cast<char>(byte));
      }
      others_.insert(others_.end(), {"\x8E\xB1", "\x8F\xB0\xA1", "\x8E\xA2\xA1\xA1", "two words", "\r\n"});
      return;
    }
    for (const Designation& designation : findIso2022Rules(encoding)->designations) {
      if (designation.set->pairs != nullptr) add(*designation.set->pairs, 0x80);
      others_.push_back('\x1B' + std::string(designation.escape));
    }
    others_.insert(others_.end(), {"\x0E", "\x0F", "\n", " ", "\x1B(B", "ab"});
  }

  std::string draw(std::size_t length, unsigned faultsInAThousand) {
    std::string text;
    while (text.size() < length) {
      const auto lot = static_cast<unsigned>(random_() % 1000);
      if (lot < faultsInAThousand) {
        text += static_cast<char>(random_());
      } else if (lot < 950) {
        text += pairs_[random_() % pairs_.size()];
      } else {
        text += others_[random_() % others_.size()];
      }
    }
    text.resize(length);
    return text;
  }

 private:
  void add(const CodeTable& table, unsigned highBit) {
    for (unsigned lead = 0x80; lead < 0x100; ++lead) {
      for (unsigned trail = 0x40 | highBit; trail < 0x100; ++trail) {
        if (!table.holds(static_cast<std::uint8_t>(lead), static_cast<std::uint8_t>(trail))) continue;
        pairs_.push_back({static_cast<char>(lead & ~highBit), static_cast<char>(trail & ~highBit)});
      }
    }
  }

  std::mt19937 random_;
  std::vector<std::string> pairs_;
  std::vector<std::string> others_;
};

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
      // Exactly as long as the text, so that a sanitizer sees a read beyond the end.
      const auto buffer = std::make_unique<std::uint8_t[]>(text.size());
      std::ranges::copy(text, buffer.get());
      const Bytes bytes(buffer.get(), text.size());
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
    const Bytes bytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
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
