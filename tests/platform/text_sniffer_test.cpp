#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "fakes/FakeTextSniffer.h"
#include "platform/linux/text_sniffer/reference.h"
#include "platform/text_sniffing.h"
#include "platform/texts_of_encodings.h"

namespace jv::sniffing {
namespace {

using namespace std::string_view_literals;
using JVPlatform::SniffHints;

struct Sample {
  const char* why;
  std::uint32_t encoding;
  std::string_view text;
  Counts expected;
};

void check(std::span<const Sample> samples) {
  for (const Sample& sample : samples) {
    SCOPED_TRACE(sample.why);
    EXPECT_EQ(sniffed(sample.encoding, bytesOf(sample.text)), sample.expected);
    EXPECT_EQ(countByReference(sample.encoding, bytesOf(sample.text), 300, 300), sample.expected);
  }
}

TEST(TextSniffer, CountsCharactersAndErrorsOfEightBitEncodings) {
  const Sample samples[] = {
      {"nothing", 0x0001, ""sv, {0, 0}},
      {"controls, SO and SI included, and a zero byte", 0x0920, "a\0\x01\x0E\x0F\x7F\r\n"sv, {0, 0}},
      {"ESC", 0x0940, "\x1B[1mbold"sv, {1, 0}},
      {"ESC in the middle of a long run", 0x0001, "0123456789012\x1B[0m9012345678901234567890"sv, {1, 0}},
      {"kanji", 0x0001, "\x93\xFA\x96\x7B"sv, {0, 2}},
      {"half-width katakana are single bytes", 0x0001, "\xB1\xB2\xDF"sv, {0, 0}},
      {"NEC row 13, NEC-selected and IBM characters", 0x0001, "\x87\x40\xED\x40\xFA\x40"sv, {0, 3}},
      {"a vendor row of Mac Japanese", 0x0001, "\x85\x40\xEB\x41"sv, {0, 2}},
      {"single bytes of Mac Japanese", 0x0001, "\x80\xA0\xFD\xFE\xFF"sv, {0, 0}},
      {"user-defined area", 0x0001, "\xF0\x40\xF9\xFC"sv, {2, 0}},
      {"unassigned", 0x0001, "\x81\xAD"sv, {1, 0}},
      {"cut off by the end", 0x0001, "\x93\xFA\x96"sv, {1, 1}},
      {"cut off by a line feed, which stays", 0x0001, "\x96\n\x93\xFA"sv, {1, 1}},
      {"the trail byte may look like a letter", 0x0001, "\x83\x41\x83\x5C"sv, {0, 2}},

      {"kanji", 0x0920, "\xC6\xFC\xCB\xDC"sv, {0, 2}},
      {"katakana of code set 2 have two bytes", 0x0920, "\x8E\xB1\x8E\xDF"sv, {0, 2}},
      {"beyond the katakana", 0x0920, "\x8E\xE0"sv, {1, 0}},
      {"code set 3: JIS X 0212 and JIS X 0213", 0x0920, "\x8F\xB0\xA1\x8F\xA1\xA1"sv, {0, 2}},
      {"code set 3: unassigned", 0x0920, "\x8F\xA2\xA1"sv, {1, 0}},
      {"code set 3: cut off by the end", 0x0920, "\x8F\xB0"sv, {2, 0}},
      {"code set 3: cut off by a letter", 0x0920, "\x8F\xB0z"sv, {2, 0}},
      {"C1 controls", 0x0920, "\x80\x85\x9F\xA0"sv, {4, 0}},
      {"NEC row 13", 0x0920, "\xAD\xA1"sv, {0, 1}},

      {"characters", 0x0002, "\xA4\xA4\xA4\xE5"sv, {0, 2}},
      {"euro and the extension of code page 950", 0x0002, "\xA3\xE1\xF9\xD6"sv, {0, 2}},
      {"single bytes of the Mac", 0x0002, "\x80\x81\x82\xA0\xFD\xFE\xFF"sv, {0, 0}},
      {"user-defined area", 0x0002, "\xFA\x40"sv, {1, 0}},
      {"characters, kana of the ETEN extension too", 0x0A03, "\xA4\xA4\xA4\xE5\xC6\xE7\xC7\xF2"sv, {0, 4}},
      {"unassigned, and a trail byte outside the range", 0x0A03, "\xA3\xC0\xA4\x80"sv, {3, 0}},

      {"plane 1", 0x0931, "\xC4\xE3\xC5\xC6"sv, {0, 2}},
      {"planes 1 and 2 by introducer", 0x0931, "\x8E\xA1\xC4\xE3\x8E\xA2\xA1\xA1"sv, {0, 2}},
      {"a plane without characters, and one that does not exist", 0x0931, "\x8E\xA8\xA1\xA1\x8E\xB0\xA1\xA1"sv, {2, 0}},
      {"introducer cut off, the rest is a pair", 0x0931, "\x8E\xA2\xA1"sv, {1, 1}},

      {"Hangul", 0x0940, "\xC7\xD1\xB1\xDB"sv, {0, 2}},
      {"unassigned row", 0x0940, "\xC9\xA1"sv, {1, 0}},
      {"Hangul beyond the standard", 0x0003, "\x81\x41\xC6\x52"sv, {0, 2}},
      {"a vendor row of Mac Korean", 0x0003, "\xA1\x41\xA1\x7D"sv, {0, 2}},
      {"won sign before a digit, copyright before a blank", 0x0003, "\x81\x35\x83 \xFF"sv, {0, 0}},

      {"characters", 0x0930, "\xD6\xD0\xCE\xC4"sv, {0, 2}},
      {"unassigned cell", 0x0930, "\xD7\xFA"sv, {1, 0}},
      {"characters beyond the standard", 0x0019, "\x81\x40\xFE\x4F"sv, {0, 2}},
      {"single bytes that also lead pairs", 0x0019, "\x80 \xFD\x31\xFE\xB0\xA1\xFF"sv, {0, 1}},
  };
  check(samples);
}

TEST(TextSniffer, FollowsEscapesAndShifts) {
  const Sample samples[] = {
      {"ASCII alone", 0x0820, "plain\r\n"sv, {0, 0}},
      {"kanji", 0x0820, "a\x1B$BF|K\\\x1B(Bz"sv, {0, 2}},
      {"the older set, and JIS X 0201 Roman", 0x0820, "\x1B$@F|\x1B(Jz"sv, {0, 1}},
      {"JIS X 0212", 0x0820, "\x1B$(D0!\x1B(B"sv, {0, 1}},
      {"JIS X 0213, both editions and planes", 0x0820, "\x1B$(O.!\x1B$(Q.!\x1B$(P!!"sv, {0, 3}},
      {"half-width katakana are single bytes", 0x0820, "\x1B(I1_\x1B(B"sv, {0, 0}},
      {"beyond the katakana", 0x0820, "\x1B(I`~"sv, {2, 0}},
      {"line breaks and blanks between pairs", 0x0820, "\x1B$BF|\r\n\t F|\x7F"sv, {0, 2}},
      {"unassigned pair, then on in step", 0x0820, "\x1B$B)!F|"sv, {1, 1}},
      {"pair cut off by a line feed", 0x0820, "\x1B$BF\nF|"sv, {1, 1}},
      {"pair cut off by an escape, which counts", 0x0820, "\x1B$BF\x1B(Bab"sv, {1, 0}},
      {"pair cut off by the end", 0x0820, "\x1B$BF"sv, {1, 0}},
      {"unknown escape", 0x0820, "\x1B[1m \x1B$A\x1B"sv, {3, 0}},
      {"escape cut off by the end", 0x0820, "\x1B$("sv, {1, 0}},
      {"shifts", 0x0820, "\x0E\x0F"sv, {2, 0}},
      {"high bytes, alone and among pairs", 0x0820, "\xA4\x1B$B\xC6\xFC"sv, {3, 0}},

      {"Hangul", 0x0840, "\x1B$)C\nab\x0EGQ1[\x0Fz"sv, {0, 2}},
      {"SO without the header", 0x0840, "\x0EGQ"sv, {1, 0}},
      {"SI without the header", 0x0840, "\x0F"sv, {1, 0}},
      {"header behind text", 0x0840, "text\x1B$)C\x0EGQ"sv, {0, 1}},
      {"the end of the line ends the shift", 0x0840, "\x1B$)C\x0EGQ\nGQ\x0E\x31["sv, {0, 2}},
      {"a Japanese escape", 0x0840, "\x1B$)C\x1B$B"sv, {1, 0}},
      {"unassigned row", 0x0840, "\x1B$)C\x0EI!"sv, {1, 0}},
      {"Japanese does not know the header", 0x0820, "\x1B$)C"sv, {1, 0}},
  };
  check(samples);
}

TEST(TextSniffer, TellsSiblingsApart) {
  const struct {
    const char* why;
    std::uint32_t holds, lacks;
    std::string_view text;
  } cases[] = {
      {"kana of the ETEN extension", 0x0A03, 0x0002, "\xC6\xE7"sv},
      {"copyright sign of the Mac", 0x0002, 0x0A03, "\xFD 1999"sv},
      {"Hangul beyond KS X 1001", 0x0003, 0x0940, "\x8C\x63"sv},
      {"characters beyond GB 2312", 0x0019, 0x0930, "\x94\x6B"sv},
      {"EUC-TW plane 1 is no KS X 1001", 0x0931, 0x0940, "\xC9\xA1"sv},
      {"EUC-CN is no EUC-JP", 0x0930, 0x0920, "\xA8\xE0"sv},
      {"EUC-KR is no EUC-CN", 0x0940, 0x0930, "\xA2\xA1"sv},
      {"EUC-CN is no EUC-KR", 0x0930, 0x0940, "\xA2\xE9"sv},
      {"EUC-JP is no EUC-CN", 0x0920, 0x0930, "\x8E\xB1"sv},
      {"Shift_JIS is no EUC-JP", 0x0001, 0x0920, "\x93\xFA"sv},
      {"EUC-JP is no Shift_JIS", 0x0920, 0x0001, "\xF4\xA1\xF3\xF3"sv},
      {"ISO-2022-JP is no ISO-2022-KR", 0x0820, 0x0840, "\x1B$BF|\x1B(B"sv},
      {"ISO-2022-KR is no ISO-2022-JP", 0x0840, 0x0820, "\x1B$)C\x0EGQ\x0F"sv},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(sniffed(c.holds, bytesOf(c.text)).errors, 0U);
    EXPECT_GT(sniffed(c.lacks, bytesOf(c.text)).errors, 0U);
  }
}

TEST(TextSniffer, CutsCountsOffAtTheMaximum) {
  std::string text;
  for (int i = 0; i < 50000; ++i) text += "\xC6\xFC\xA0";  // a character and an error each, over several blocks
  EXPECT_EQ(sniffed(0x0920, bytesOf(text), 300), (Counts{300, 300}));
  EXPECT_EQ(sniffed(0x0920, bytesOf(text), 1'000'000), (Counts{50000, 50000}));
  EXPECT_EQ(sniffed(0x0920, bytesOf(text), 0), (Counts{0, 0}));
  // One count at its maximum does not end the other.
  std::string late(100000, '\xA4');
  late += '\xA0';
  EXPECT_EQ(sniffed(0x0920, bytesOf(late), 300), (Counts{1, 300}));
}

struct Listed {
  std::vector<std::uint32_t> encodings;
  std::vector<std::uint64_t> errors = std::vector<std::uint64_t>(encodings.size(), 77);
  std::vector<std::uint64_t> features = std::vector<std::uint64_t>(encodings.size(), 77);

  JVPlatform::OSStatus sniff(Bytes text, const SniffHints& hints = {}) {
    const auto platform = JVPlatform::textSniffer();
    JVPlatform::TECSnifferObjectRef sniffer = nullptr;
    const std::uint32_t any = 0x0001;
    EXPECT_EQ(platform->TECCreateSniffer(&sniffer, {&any, 1}), 0);
    const auto status = platform->TECSniffTextEncoding(sniffer, text, encodings, errors, 300, features, 300, hints);
    platform->TECDisposeSniffer(sniffer);
    return status;
  }
};

TEST(TextSniffer, OrdersByErrorsThenFeaturesAndKeepsTies) {
  // EUC-JP, EUC-KR and EUC-CN hold the three characters; Shift_JIS takes them for six katakana.
  Listed list{{0x0820, 0x0001, 0x0930, 0x0940, 0x0920, 0x0840}};
  ASSERT_EQ(list.sniff(bytesOf("\xB0\xA1\xB1\xB2\xC4\xE3"sv)), 0);
  EXPECT_EQ(list.encodings, (std::vector<std::uint32_t>{0x0930, 0x0940, 0x0920, 0x0001, 0x0820, 0x0840}));
  EXPECT_EQ(list.errors, (std::vector<std::uint64_t>{0, 0, 0, 1, 6, 6}));
  EXPECT_EQ(list.features, (std::vector<std::uint64_t>{3, 3, 3, 0, 0, 0}));
}

TEST(TextSniffer, TakesListsOfAnyLength) {
  Listed none{{}};
  EXPECT_EQ(none.sniff(bytesOf("a"sv)), 0);
  Listed many{{}};
  for (int i = 0; i < 40; ++i) many.encodings.push_back(i % 3 == 0 ? 0x0920 : 0x0001);
  many.errors.resize(40);
  many.features.resize(40);
  ASSERT_EQ(many.sniff(bytesOf("\xC6\xFC"sv)), 0);
  EXPECT_TRUE(std::all_of(many.encodings.begin(), many.encodings.begin() + 14, [](auto e) { return e == 0x0920; }));
  EXPECT_EQ(many.features[13], 1U);
  EXPECT_EQ(many.features[14], 0U);
}

TEST(TextSniffer, RefusesWhatItCannotDo) {
  const auto platform = JVPlatform::textSniffer();
  const std::uint32_t unknown[] = {0x0001, 0x0420};
  JVPlatform::TECSnifferObjectRef sniffer = nullptr;
  EXPECT_NE(platform->TECCreateSniffer(&sniffer, unknown), 0);
  EXPECT_EQ(sniffer, nullptr);
  EXPECT_NE(platform->TECCreateSniffer(nullptr, {unknown, 1}), 0);
  EXPECT_NE(platform->TECDisposeSniffer(nullptr), 0);
  EXPECT_NE(platform->TECSniffTextEncoding(nullptr, {}, {}, {}, 1, {}, 1), 0);

  Listed strange{{0x0001, 0x0100}};
  EXPECT_NE(strange.sniff(bytesOf("\xC6\xFC"sv)), 0);
  EXPECT_EQ(strange.errors, (std::vector<std::uint64_t>{77, 77})) << "written on failure";
  Listed shorter{{0x0001, 0x0920}};
  shorter.features.pop_back();
  EXPECT_NE(shorter.sniff(bytesOf("\xC6\xFC"sv)), 0);
  EXPECT_EQ(shorter.errors, (std::vector<std::uint64_t>{77, 77})) << "written on failure";
}

TEST(TextSniffer, IsReplacedAndBroughtBack) {
  const auto other = std::make_shared<jv::test::FakeTextSniffer>(std::vector<jv::test::FakeTextSniffer::Answer>{});
  const auto first = JVPlatform::installTextSniffer(other);
  EXPECT_EQ(JVPlatform::textSniffer(), other);
  EXPECT_EQ(JVPlatform::installTextSniffer(nullptr), other);
  EXPECT_EQ(sniffed(0x0920, bytesOf("\xC6\xFC"sv)), (Counts{0, 1}));
  JVPlatform::installTextSniffer(first);
  EXPECT_EQ(JVPlatform::textSniffer(), first);
}

std::size_t plainPrefixOf(std::string_view text) {
  const auto special = [](char c) { return (c & 0x80) != 0 || c == '\x1B' || c == '\x0E' || c == '\x0F'; };
  return static_cast<std::size_t>(std::ranges::find_if(text, special) - text.begin());
}

TEST(TextSniffer, AgreesWithTheReferenceOnRandomText) {
  std::mt19937 random(20240611);  // NOLINT: the same texts in every run
  std::vector<TextOf> sources;
  for (const std::uint32_t encoding : kAllEncodings) sources.emplace_back(encoding, encoding);
  for (int round = 0; round < 600; ++round) {
    const std::size_t length = round % 20 == 0 ? 30000 + random() % 70000 : random() % 300;
    std::string text(round % 3 == 0 ? random() % 100 : 0, 'x');
    for (int part = 0; part < 2; ++part) {
      text += sources[random() % sources.size()].draw(length / 2, round % 2 == 0 ? 0 : 5U << random() % 6);
    }
    const ExactBuffer buffer(text, random() % 16);
    const Bytes bytes = buffer.bytes();
    const std::size_t prefix = plainPrefixOf(text);
    for (const std::uint32_t encoding : kAllEncodings) {
      SCOPED_TRACE(testing::Message() << "round " << round << ", encoding " << std::hex << encoding);
      const Counts whole = countByReference(encoding, bytes, UINT64_MAX, UINT64_MAX);
      ASSERT_EQ(sniffed(encoding, bytes, UINT64_MAX), whole);
      ASSERT_EQ(sniffed(encoding, bytes, 300), countByReference(encoding, bytes, 300, 300));
      ASSERT_EQ(sniffed(encoding, bytes, UINT64_MAX, {.plainPrefix = prefix == 0 ? 0 : random() % (prefix + 1)}),
                whole);
      const Counts judged = sniffed(encoding, bytes, UINT64_MAX, {.plainPrefix = prefix, .errorFreeOnly = true});
      if (whole.errors == 0) {
        ASSERT_EQ(judged, whole);
      } else {
        ASSERT_EQ(judged.errors, 1U);
      }
    }
    Listed together{{std::begin(kAllEncodings), std::end(kAllEncodings)}};
    ASSERT_EQ(together.sniff(bytes), 0);
    for (std::size_t i = 0; i < together.encodings.size(); ++i) {
      const Counts expected = countByReference(together.encodings[i], bytes, 300, 300);
      ASSERT_EQ((Counts{together.errors[i], together.features[i]}), expected);
    }
  }
}

TEST(TextSniffer, ServesManyThreadsAtOnce) {
  const std::string text = TextOf(0x0920, 7).draw(100000, 5);
  const Counts expected = countByReference(0x0920, bytesOf(text), UINT64_MAX, UINT64_MAX);
  std::vector<Counts> found(4);
  std::vector<std::thread> threads;
  for (Counts& counts : found) threads.emplace_back([&] { counts = sniffed(0x0920, bytesOf(text), UINT64_MAX); });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(found, std::vector<Counts>(4, expected));
}

}  // namespace
}  // namespace jv::sniffing
