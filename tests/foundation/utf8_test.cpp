#include "foundation/utf8.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <random>
#include <string>

namespace {

/// The same by decoding, one character after the other.
std::size_t referencePrefix(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size()) {
    const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
    const int ones = std::countl_one(byte(at));
    const auto length = static_cast<std::size_t>(ones == 0 ? 1 : ones);
    if (ones == 1 || ones > 4 || at + length > text.size()) break;
    std::uint32_t point = byte(at) & (0xFFU >> ones);
    for (std::size_t i = at + 1; i < at + length; ++i) {
      if ((byte(i) & 0xC0) != 0x80) return at;
      point = point << 6 | (byte(i) & 0x3FU);
    }
    constexpr std::uint32_t kShortest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (point < kShortest[length] || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) break;
    at += length;
  }
  return at;
}

TEST(Utf8, AgreesWithDecodingOnAllShortTexts) {
  for (std::uint32_t pair = 0; pair < 0x10000; ++pair) {
    // Every leading pair, with what may follow and what may not.
    for (const char* rest : {"", "\x80\x80", "\xBF\xBF", "\x7F\x80", "\x80\xC0", "\x80", "aa"}) {
      const std::string text = std::string{static_cast<char>(pair >> 8), static_cast<char>(pair)} + rest;
      ASSERT_EQ(jv::validUtf8Prefix(text), referencePrefix(text)) << std::hex << pair << ' ' << rest;
    }
  }
}

TEST(Utf8, AgreesWithDecodingOnMixturesOfAllLengths) {
  std::mt19937 random(20);
  const std::string_view pieces[] = {"plain text of some length ", "\xC3\xA4", "\xE3\x81\x82", "\xF0\x9F\x98\x80",
                                     "\xED\xA0\x80"};
  for (int round = 0; round < 20000; ++round) {
    std::string text(random() % 70, 'x');
    const std::size_t kinds = round % 2 == 0 ? 4 : 5;  // some texts are valid throughout
    for (std::size_t i = random() % 12; i > 0; --i) text += pieces[random() % kinds];
    ASSERT_EQ(jv::validUtf8Prefix(text), referencePrefix(text)) << testing::PrintToString(text);
  }
}

}  // namespace
