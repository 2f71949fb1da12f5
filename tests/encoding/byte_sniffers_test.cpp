#include <JorvaneFoundation/encoding/byte_sniffers.h>

#include <gtest/gtest.h>

#include "support/bytes.h"

namespace {

using jv::test::Bytes;
using jv::test::bytesOf;
using jv::test::raw;
using jv::test::repeated;

struct Question {
  const char* why;
  std::string text;
  std::int64_t answer;
};

template <class Ask>
void expectAnswers(std::initializer_list<Question> questions, Ask ask) {
  for (const Question& question : questions) {
    SCOPED_TRACE(question.why);
    const Bytes text = bytesOf(question.text);
    EXPECT_EQ(static_cast<std::int64_t>(ask(text)), question.answer);
  }
}

std::int64_t size(const Bytes& text) { return static_cast<std::int64_t>(text.size()); }

TEST(IsPossibleUTF8, JudgesEveryByteByTheTwoBehindIt) {
  expectAnswers(
      {
          {"empty", "", 1},
          {"overlong leads pass", std::string(raw("\xC0\x80")), 1},
          {"cut off by the end", "\xE3\x81", 1},
          {"lead without continuation", "\xE3\x41\x41", 0},
          {"only one byte behind a three-byte lead is looked at", "\xE3\x81\x41", 1},
          {"a continuation byte alone", "\x80", 1},
          {"two of them", "\x80\x80", 1},
          {"three of them", "\x80\x80\x80", 0},
          {"three behind a lead", "\xC3\x80\x80\x80", 0},
          {"a lead at the end", "\xC3", 1},
          {"an encoded surrogate", "\xED\xA0\x80", 1},
          {"four-byte leads reject", "\xF0\x9F\x98\x80", 0},
          {"at the last position too", "abc\xFF", 0},
          {"far in", repeated("\xE3\x81\x82", 5000) + "\xF0" + repeated("\xE3\x81\x82", 5000), 0},
          {"long", repeated("\xE3\x81\x82 a\r\n", 5000), 1},
      },
      [](const Bytes& text) { return isPossibleUTF8(text.data(), size(text)); });
  EXPECT_TRUE(isPossibleUTF8(nullptr, -5)) << "a negative length is empty, and the pointer is not read";
}

TEST(IsPossibleUTF16, LooksForALineBreakBehindAZero) {
  expectAnswers(
      {
          {"empty", "", 0},
          {"big-endian", std::string(raw("\x00\x0A")), 1},
          {"the first byte never counts", std::string(raw("\x0A\x00")), 0},
          {"little-endian", std::string(raw("a\x00\x0A\x00")), 1},
          {"carriage return", std::string(raw("a\x00\x0D")), 1},
          {"the last two of the window", repeated("a", 1998) + std::string(raw("\x00\x0A")), 1},
          {"split by the window's end", repeated("a", 1999) + std::string(raw("\x00\x0A")), 0},
          {"behind the window", repeated("a", 2000) + std::string(raw("\x00\x0A")), 0},
      },
      [](const Bytes& text) { return isPossibleUTF16(text.data(), text.size()); });
  EXPECT_FALSE(isPossibleUTF16(nullptr, 0));
}

TEST(ContainsHighASCII, CountsEscape) {
  expectAnswers(
      {
          {"empty", "", 0},
          {"letters", "ABC", 0},
          {"escape", "AB\x1B", 1},
          {"the last of many", repeated("x", 1000) + "\x80", 1},
          {"delete and controls are plain", std::string(raw("\x7F\x00\x0E\x0F")), 0},
      },
      [](const Bytes& text) { return containsHighASCII(text.data(), text.size()); });
  EXPECT_FALSE(containsHighASCII(nullptr, 0));
}

TEST(SniffLineBreakType, CountsAndDecides) {
  expectAnswers(
      {
          {"empty", "", JVLineBreakTypeNone},
          {"none", "abc", JVLineBreakTypeNone},
          {"LF", "\n", JVLineBreakTypeLF},
          {"CR", "\r", JVLineBreakTypeCR},
          {"CRLF", "\r\n", JVLineBreakTypeCRLF},
          {"CR wins a tie with LF", "a\nb\rc", JVLineBreakTypeCR},
          {"LF outnumbers", "a\r\nb\nc\n", JVLineBreakTypeLF},
          {"CR wins a tie with CRLF", "\r\n\r", JVLineBreakTypeCR},
          {"wide pair, little-endian", std::string(raw("\x0D\x00\x0A\x00")), JVLineBreakTypeCRLF},
          {"wide pair, big-endian", std::string(raw("\x00\x0D\x00\x0A")), JVLineBreakTypeCRLF},
          {"the byte behind a wide pair is not seen", std::string(raw("\x0D\x00\x0A\x0A")), JVLineBreakTypeCRLF},
          {"a wide pair needs its third byte", std::string(raw("\x0D\x00")), JVLineBreakTypeCR},
          {"21 of a kind are enough", repeated("\n", 21) + repeated("\r\n", 100), JVLineBreakTypeLF},
          {"20 are not", repeated("\n", 20) + repeated("\r\n", 100), JVLineBreakTypeCRLF},
          {"each kind counts for itself", repeated("\n", 20) + repeated("\r", 20) + repeated("\r\n", 21) + "\n\n",
           JVLineBreakTypeCRLF},
      },
      [](const Bytes& text) { return sniffLineBreakType(text.data(), size(text)); });
  EXPECT_EQ(sniffLineBreakType(nullptr, -1), JVLineBreakTypeNone);
}

}  // namespace
