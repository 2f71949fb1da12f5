#include <JorvaneFoundation/encoding/byte_sniffers.h>

#include <gtest/gtest.h>

#include <functional>

#include "support/bytes.h"

namespace {

using jv::test::Bytes;
using jv::test::raw;
using jv::test::repeated;

std::int64_t size(const Bytes& text) { return static_cast<std::int64_t>(text.size()); }

TEST(ByteSniffers, AnswerByTheirRules) {
  const auto utf8 = [](const Bytes& text) -> std::int64_t { return isPossibleUTF8(text.data(), size(text)); };
  const auto utf16 = [](const Bytes& text) -> std::int64_t { return isPossibleUTF16(text.data(), text.size()); };
  const auto high = [](const Bytes& text) -> std::int64_t { return containsHighASCII(text.data(), text.size()); };
  const auto lines = [](const Bytes& text) -> std::int64_t { return sniffLineBreakType(text.data(), size(text)); };
  const struct {
    const char* why;
    std::function<std::int64_t(const Bytes&)> ask;
    std::string text;
    std::int64_t answer;
  } cases[] = {
      {"overlong leads pass", utf8, std::string(raw("\xC0\x80")), 1},
      {"cut off by the end", utf8, "\xE3\x81", 1},
      {"only one byte behind a three-byte lead is looked at", utf8, "\xE3\x81\x41", 1},
      {"three of them", utf8, "\x80\x80\x80", 0},
      {"three behind a lead", utf8, "\xC3\x80\x80\x80", 0},
      {"four-byte leads reject", utf8, "\xF0\x9F\x98\x80", 0},
      {"at the last position too", utf8, "abc\xFF", 0},

      {"the first byte never counts", utf16, std::string(raw("\x0A\x00")), 0},
      {"little-endian", utf16, std::string(raw("a\x00\x0D\x00")), 1},
      {"the last two of the window", utf16, repeated("a", 1998) + std::string(raw("\x00\x0A")), 1},
      {"split by the window's end", utf16, repeated("a", 1999) + std::string(raw("\x00\x0A")), 0},

      {"high ASCII: delete and controls are plain", high, std::string(raw("\x7F\x00\x0E\x0F")), 0},

      {"CR wins a tie with LF", lines, "a\nb\rc", JVLineBreakTypeCR},
      {"CR wins a tie with CRLF", lines, "\r\n\r", JVLineBreakTypeCR},
      {"wide pair, little-endian", lines, std::string(raw("\x0D\x00\x0A\x00")), JVLineBreakTypeCRLF},
      {"the byte behind a wide pair is not seen", lines, std::string(raw("\x0D\x00\x0A\x0A")), JVLineBreakTypeCRLF},
      {"a wide pair needs its third byte", lines, std::string(raw("\x0D\x00")), JVLineBreakTypeCR},
      {"21 of a kind are enough", lines, repeated("\n", 21) + repeated("\r\n", 100), JVLineBreakTypeLF},
      {"20 are not", lines, repeated("\n", 20) + repeated("\r\n", 100), JVLineBreakTypeCRLF},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(c.ask(jv::test::bytesOf(c.text)), c.answer);
  }
  EXPECT_TRUE(isPossibleUTF8(nullptr, -5)) << "a negative length is empty, and the pointer is not read";
  EXPECT_EQ(sniffLineBreakType(nullptr, -1), JVLineBreakTypeNone);
}

}  // namespace
