#include "foundation/utf8.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

namespace {

/// The same by decoding, one character after the other.
std::size_t referencePrefix(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size()) {
    const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
    const std::uint8_t lead = byte(at);
    const std::size_t length = lead < 0x80    ? 1
                               : lead >= 0xF8 ? 0
                               : lead >= 0xF0 ? 4
                               : lead >= 0xE0 ? 3
                               : lead >= 0xC0 ? 2
                                              : 0;
    if (length == 0 || at + length > text.size()) break;
    std::uint32_t point = length == 1 ? lead : lead & (0x7FU >> length);
    bool whole = true;
    for (std::size_t i = 1; i < length; ++i) {
      whole = whole && (byte(at + i) & 0xC0) == 0x80;
      point = point << 6 | (byte(at + i) & 0x3FU);
    }
    constexpr std::uint32_t kShortest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (!whole || point < kShortest[length] || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) break;
    at += length;
  }
  return at;
}

std::string bytes(std::uint32_t value, int count) {
  std::string text;
  for (int i = count - 1; i >= 0; --i) text.push_back(static_cast<char>(value >> (8 * i)));
  return text;
}

TEST(Utf8, AgreesWithDecodingOnAllShortTexts) {
  for (std::uint32_t pair = 0; pair < 0x10000; ++pair) {
    const std::string two = bytes(pair, 2);
    ASSERT_EQ(jv::validUtf8Prefix(two), referencePrefix(two)) << std::hex << pair;
    // Every leading pair, with what may follow and what may not.
    for (const char* rest : {"\x80\x80", "\xBF\xBF", "\x7F\x80", "\x80\xC0", "\x80", "aa"}) {
      const std::string longer = two + rest;
      ASSERT_EQ(jv::validUtf8Prefix(longer), referencePrefix(longer)) << std::hex << pair << ' ' << rest;
    }
  }
}

TEST(Utf8, AgreesWithDecodingOnMixturesOfAllLengths) {
  std::mt19937 random(20);
  const std::string_view pieces[] = {
      "a",        "plain text of some length ", "\xC3\xA4", "\xE3\x81\x82", "\xF0\x9F\x98\x80", "\xED\xA0\x80",
      "\xC0\x80", "\xF4\x90\x80\x80",           "\x80",     {"\0", 1}};
  for (int round = 0; round < 20000; ++round) {
    std::string text(random() % 70, 'x');
    const std::size_t valid = random() % 40 == 0 ? 5 : 10;  // some texts are valid throughout
    for (std::size_t i = random() % 12; i > 0; --i) text += pieces[random() % valid];
    if (random() % 4 == 0) text.resize(random() % (text.size() + 1));
    ASSERT_EQ(jv::validUtf8Prefix(text), referencePrefix(text)) << testing::PrintToString(text);
    // The same when it comes in two parts.
    const std::size_t cut = random() % (text.size() + 1);
    const std::size_t first = jv::validUtf8Prefix(std::string_view(text).substr(0, cut));
    ASSERT_EQ(first + jv::validUtf8Prefix(std::string_view(text).substr(first)), referencePrefix(text));
  }
}

}  // namespace
