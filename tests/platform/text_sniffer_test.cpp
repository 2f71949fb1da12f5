#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

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
      {"half-width katakana are single bytes", 0x0001, "\xB1\xB2\xDF"sv, {0, 0}},
      {"cut off by a line feed, which stays", 0x0001, "\x96\n\x93\xFA"sv, {1, 1}},

      {"code set 3: JIS X 0212 and JIS X 0213", 0x0920, "\x8F\xB0\xA1\x8F\xA1\xA1"sv, {0, 2}},
      {"code set 3: cut off by a letter", 0x0920, "\x8F\xB0z"sv, {2, 0}},
      {"characters, kana of the ETEN extension too", 0x0A03, "\xA4\xA4\xA4\xE5\xC6\xE7\xC7\xF2"sv, {0, 4}},
      {"unassigned, and a trail byte outside the range", 0x0A03, "\xA3\xC0\xA4\x80"sv, {3, 0}},

      {"planes 1 and 2 by introducer", 0x0931, "\x8E\xA1\xC4\xE3\x8E\xA2\xA1\xA1"sv, {0, 2}},
      {"introducer cut off, the rest is a pair", 0x0931, "\x8E\xA2\xA1"sv, {1, 1}},

      {"a vendor row of Mac Korean", 0x0003, "\xA1\x41\xA1\x7D"sv, {0, 2}},
      {"won sign before a digit, copyright before a blank", 0x0003, "\x81\x35\x83 \xFF"sv, {0, 0}},
      {"single bytes that also lead pairs", 0x0019, "\x80 \xFD\x31\xFE\xB0\xA1\xFF"sv, {0, 1}},

      {"kanji", 0x0820, "a\x1B$BF|K\\\x1B(Bz"sv, {0, 2}},
      {"unassigned pair, then on in step", 0x0820, "\x1B$B)!F|"sv, {1, 1}},
      {"pair cut off by a line feed", 0x0820, "\x1B$BF\nF|"sv, {1, 1}},
      {"pair cut off by an escape, which counts", 0x0820, "\x1B$BF\x1B(Bab"sv, {1, 0}},
      {"unknown escape", 0x0820, "\x1B[1m \x1B$A\x1B"sv, {3, 0}},
      {"shifts", 0x0820, "\x0E\x0F"sv, {2, 0}},
      {"high bytes, alone and among pairs", 0x0820, "\xA4\x1B$B\xC6\xFC"sv, {3, 0}},

      {"Hangul", 0x0840, "\x1B$)C\nab\x0EGQ1[\x0Fz"sv, {0, 2}},
      {"SO without the header", 0x0840, "\x0EGQ"sv, {1, 0}},
  };
  for (const auto& sample : samples) {
    SCOPED_TRACE(sample.why);
    EXPECT_EQ(sniffed(sample.encoding, bytesOf(sample.text)), sample.expected);
    EXPECT_EQ(countByReference(sample.encoding, bytesOf(sample.text), 300, 300), sample.expected);
  }
}

TEST(TextSniffer, CutsCountsOffAtTheMaximum) {
  std::string text;
  for (int i = 0; i < 50000; ++i) text += "\xC6\xFC\xA0";  // a character and an error each, over several blocks
  EXPECT_EQ(sniffed(0x0920, bytesOf(text), 300), (Counts{300, 300}));
  EXPECT_EQ(sniffed(0x0920, bytesOf(text), 0), (Counts{0, 0}));
  // One count at its maximum does not end the other.
  std::string late(100000, '\xA4');
  late += '\xA0';
  EXPECT_EQ(sniffed(0x0920, bytesOf(late), 300), (Counts{1, 300}));
}

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
  Listed list{{0x0820, 0x0001, 0x0930, 0x0940, 0x0920, 0x0840}};
  ASSERT_EQ(list.sniff(bytesOf("\xB0\xA1\xB1\xB2\xC4\xE3"sv)), 0);
  EXPECT_EQ(list.encodings, (std::vector<std::uint32_t>{0x0930, 0x0940, 0x0920, 0x0001, 0x0820, 0x0840}));
  EXPECT_EQ(list.errors, (std::vector<std::uint64_t>{0, 0, 0, 1, 6, 6}));
  EXPECT_EQ(list.features, (std::vector<std::uint64_t>{3, 3, 3, 0, 0, 0}));
}

TEST(TextSniffer, RefusesWhatItCannotDo) {
  const auto platform = JVPlatform::textSniffer();
  const std::uint32_t unknown[] = {0x0001, 0x0420};
  JVPlatform::TECSnifferObjectRef sniffer = nullptr;
  EXPECT_NE(platform->TECCreateSniffer(&sniffer, unknown), 0);
  EXPECT_EQ(sniffer, nullptr);
  EXPECT_NE(platform->TECSniffTextEncoding(nullptr, {}, {}, {}, 1, {}, 1), 0);

  Listed strange{{0x0001, 0x0100}}, shorter{{0x0001, 0x0920}};
  shorter.features.pop_back();
  for (Listed* list : {&strange, &shorter}) {
    EXPECT_NE(list->sniff(bytesOf("\xC6\xFC"sv)), 0);
    EXPECT_EQ(list->errors, (std::vector<std::uint64_t>{77, 77})) << "written on failure";
  }
}

TEST(TextSniffer, AgreesWithTheReferenceOnRandomText) {
  std::mt19937 random(20240611);  // NOLINT: the same texts in every run
  std::vector<TextOf> sources;
  for (const std::uint32_t encoding : kAllEncodings) sources.emplace_back(encoding, encoding);
  for (int round = 0; round < 600; ++round) {
    const std::size_t length = round % 20 == 0 ? 30000 + random() % 70000 : random() % 300;
    std::vector<std::uint8_t> text(round % 3 == 0 ? random() % 100 : 0, 'x');
    for (int part = 0; part < 2; ++part) {
      const auto own = sources[random() % sources.size()].draw(length / 2, round % 2 == 0 ? 0 : 5U << random() % 6);
      text.insert(text.end(), own.begin(), own.end());
    }
    const Bytes bytes = Bytes(text).subspan(std::min<std::size_t>(random() % 16, text.size()));
    const auto special = [](std::uint8_t c) { return c >= 0x80 || c == 0x1B || c == 0x0E || c == 0x0F; };
    const auto plain = static_cast<std::size_t>(std::ranges::find_if(bytes, special) - bytes.begin());
    Listed together{{std::begin(kAllEncodings), std::end(kAllEncodings)}};
    ASSERT_EQ(together.sniff(bytes), 0);
    for (std::size_t i = 0; i < together.encodings.size(); ++i) {
      const std::uint32_t encoding = together.encodings[i];
      SCOPED_TRACE(testing::Message() << "round " << round << ", encoding " << std::hex << encoding);
      const Counts whole = countByReference(encoding, bytes, UINT64_MAX, UINT64_MAX);
      ASSERT_EQ((Counts{together.errors[i], together.features[i]}), countByReference(encoding, bytes, 300, 300));
      ASSERT_EQ(sniffed(encoding, bytes, UINT64_MAX, {.plainPrefix = random() % (plain + 1)}), whole);
      const Counts judged = sniffed(encoding, bytes, UINT64_MAX, {.plainPrefix = plain, .errorFreeOnly = true});
      ASSERT_EQ(judged.errors, std::min<std::uint64_t>(whole.errors, 1));
      ASSERT_TRUE(whole.errors > 0 || judged == whole);
    }
  }
}

}  // namespace
}  // namespace jv::sniffing
