#include <algorithm>
#include <cstdint>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "platform/linux/text_sniffer/QuickReaders.h"
#include "platform/linux/text_sniffer/Scan.h"
#include "platform/text_sniffing.h"

namespace jv::sniffing {
namespace {

using namespace std::string_view_literals;

TEST(TextSniffer, CountsCharactersAndErrors) {
  const struct {
    const char* why;
    std::uint32_t encoding;
    std::string_view text;
    Counts expected;
  } samples[] = {
      {"controls, SO and SI included, and a zero byte", 0x0920, "a\0\x01\x0E\x0F\x7F\r\n"sv, {0, 0}},
      {"ESC", 0x0940, "\x1B[1mbold"sv, {1, 0}},
      {"half-width katakana are single bytes", 0x0001, "\xB1\xB2\xDF"sv, {0, 0}},
      {"single bytes of Mac Japanese", 0x0001, "\x80\xA0\xFD\xFE\xFF"sv, {0, 0}},
      {"user-defined area", 0x0001, "\xF0\x40\xF9\xFC"sv, {2, 0}},
      {"cut off by a line feed, which stays", 0x0001, "\x96\n\x93\xFA"sv, {1, 1}},
      {"code set 2 has two bytes, of which not all are katakana", 0x0920, "\x8E\xB1\x8E\xE0"sv, {1, 1}},
      {"code set 3: cut off by a letter", 0x0920, "\x8F\xB0z"sv, {2, 0}},
      {"C1 controls", 0x0920, "\x80\x85\x9F\xA0"sv, {4, 0}},
      {"unassigned, and a trail byte outside the range", 0x0A03, "\xA3\xC0\xA4\x80"sv, {3, 0}},
      {"planes by introducer, and one that is cut off", 0x0931, "\x8E\xA2\xA1\xA1\x8E\xA2\xA1"sv, {1, 2}},
      {"single bytes that also lead pairs", 0x0019, "\x80 \xFD\x31\xFE\xB0\xA1\xFF"sv, {0, 1}},
      {"pair cut off by a line feed", 0x0820, "\x1B$BF\nF|"sv, {1, 1}},
      {"pair cut off by an escape, which counts", 0x0820, "\x1B$BF\x1B(Bab"sv, {1, 0}},
      {"unknown escapes, and shifts", 0x0820, "\x1B[1m \x1B$A\x1B \x0E\x0F"sv, {5, 0}},
      {"the end of the line ends the shift", 0x0840, "\x1B$)C\x0EGQ\nGQ\x0E\x31["sv, {0, 2}},
      {"SO without the header", 0x0840, "\x0EGQ"sv, {1, 0}},
  };
  for (const auto& sample : samples) {
    SCOPED_TRACE(sample.why);
    EXPECT_EQ(sniffed(sample.encoding, bytesOf(sample.text)), sample.expected);
    EXPECT_EQ(countByReference(sample.encoding, bytesOf(sample.text), 300, 300), sample.expected);
  }
}

/// A list of encodings, with answers that were not written yet.
struct Listed {
  std::vector<std::uint32_t> encodings;
  std::vector<std::uint64_t> errors = std::vector<std::uint64_t>(encodings.size(), 77);
  std::vector<std::uint64_t> features = errors;

  JVPlatform::OSStatus sniff(Bytes text) {
    const auto platform = JVPlatform::textSniffer();
    JVPlatform::TECSnifferObjectRef sniffer = nullptr;
    EXPECT_EQ(platform->TECCreateSniffer(&sniffer, {}), 0);
    const auto status = platform->TECSniffTextEncoding(sniffer, text, encodings, errors, 300, features, 300);
    platform->TECDisposeSniffer(sniffer);
    return status;
  }
};

TEST(TextSniffer, OrdersByErrorsThenFeaturesAndKeepsTies) {
  // EUC-JP, EUC-KR and EUC-CN hold the three characters; Shift_JIS takes them for six katakana.
  const Bytes text = bytesOf("\xB0\xA1\xB1\xB2\xC4\xE3"sv);
  Listed list{{0x0820, 0x0001, 0x0930, 0x0940, 0x0920, 0x0840}};
  ASSERT_EQ(list.sniff(text), 0);
  EXPECT_EQ(list.encodings, (std::vector<std::uint32_t>{0x0930, 0x0940, 0x0920, 0x0001, 0x0820, 0x0840}));
  EXPECT_EQ(list.errors, (std::vector<std::uint64_t>{0, 0, 0, 1, 6, 6}));
  EXPECT_EQ(list.features, (std::vector<std::uint64_t>{3, 3, 3, 0, 0, 0}));
  Listed strange{{0x0001, 0x0100}};
  EXPECT_NE(strange.sniff(text), 0);
  EXPECT_EQ(strange.errors, (std::vector<std::uint64_t>{77, 77})) << "written on failure";
}

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
      ASSERT_EQ(scan.counts(), expected) << (readers ? readers->name : "none") << " in steps of " << size;
    }
  }
}

TEST(TextSniffer, AgreesWithTheReferenceOnRandomText) {
  std::mt19937 random(20240611);  // NOLINT: the same texts in every run
  std::vector<TextOf> sources;
  for (const std::uint32_t encoding : kAllEncodings) sources.emplace_back(encoding, encoding);
  for (int round = 0; round < 600; ++round) {
    const std::size_t length = round % 20 == 0 ? 30000 + random() % 70000 : 20 + random() % 600;
    std::vector<std::uint8_t> text(round % 3 == 0 ? random() % 100 : 0, 'x');
    for (int part = round % 3; part < 3; ++part) {
      const auto own = sources[random() % sources.size()].draw(length, round % 2 == 0 ? 0 : 5U << random() % 6);
      text.insert(text.end(), own.begin(), own.end());
    }
    const Bytes bytes = Bytes(text).subspan(random() % 16);
    const auto special = [](std::uint8_t c) { return c >= 0x80 || c == 0x1B || c == 0x0E || c == 0x0F; };
    const auto plain = static_cast<std::size_t>(std::ranges::find_if(bytes, special) - bytes.begin());
    Listed together{{std::begin(kAllEncodings), std::end(kAllEncodings)}};
    ASSERT_EQ(together.sniff(bytes), 0);
    for (std::size_t i = 0; i < together.encodings.size(); ++i) {
      const std::uint32_t encoding = together.encodings[i];
      SCOPED_TRACE(testing::Message() << "round " << round << ", encoding " << std::hex << encoding);
      ASSERT_NO_FATAL_FAILURE(expectLikeReference(encoding, bytes, 1 + random() % 200));
      ASSERT_EQ((Counts{together.errors[i], together.features[i]}), countByReference(encoding, bytes, 300, 300));
      const Counts whole = sniffed(encoding, bytes, UINT64_MAX, {.plainPrefix = random() % (plain + 1)});
      ASSERT_EQ(whole, countByReference(encoding, bytes, UINT64_MAX, UINT64_MAX));
      const Counts judged = sniffed(encoding, bytes, UINT64_MAX, {.plainPrefix = plain, .errorFreeOnly = true});
      ASSERT_EQ(judged.errors, std::min<std::uint64_t>(whole.errors, 1));
      ASSERT_TRUE(whole.errors > 0 || judged == whole);
    }
  }
}

TEST(TextSniffer, JudgesEveryPairLikeTheReference) {
  for (const std::uint32_t encoding : kAllEncodings) {
    // Each pair stands among characters that are valid everywhere, once at each parity.
    for (unsigned lead = 0x80; lead < 0x100; ++lead) {
      std::vector<std::uint8_t> text;
      for (unsigned trail = 0; trail < 0x100; ++trail) {
        text.insert(text.end(), trail % 2, 'x');
        text.insert(text.end(), {static_cast<std::uint8_t>(lead), static_cast<std::uint8_t>(trail), ' ', 'y', 'z'});
      }
      SCOPED_TRACE(testing::Message() << std::hex << "encoding " << encoding << ", lead " << lead);
      ASSERT_NO_FATAL_FAILURE(expectLikeReference(encoding, text, 1 + lead));
    }
  }
}

}  // namespace
}  // namespace jv::sniffing
