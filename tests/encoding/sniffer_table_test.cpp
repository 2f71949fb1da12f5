#include <JorvaneFoundation/encoding/byte_sniffers.h>
#include <JorvaneFoundation/encoding/sniffer_table.h>
#include <JorvaneFoundation/encoding/string_encodings.h>

#include <gmock/gmock.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/bytes.h"

namespace {

using jv::test::raw;
using testing::ElementsAre;

/// The exported table as it was, whatever a test does to it.
class SnifferTable : public testing::Test {
 protected:
  SnifferTable() { std::memcpy(before_, JVSniffers, sizeof before_); }
  ~SnifferTable() override {
    std::memcpy(JVSniffers, before_, sizeof before_);
    JVNumberOfSniffers = 17;
  }

  void enable(const std::vector<std::size_t>& rows) {
    for (JVSniffer& row : std::span(JVSniffers).first(17)) {
      row.enabled = 0;
      row.matched = -1;
    }
    for (const std::size_t r : rows) {
      JVSniffers[r].enabled = 1;
      JVSniffers[r].matched = 0;
    }
  }

  static std::vector<std::size_t> marked() {
    std::vector<std::size_t> rows;
    for (std::size_t r = 0; r < 17; ++r) {
      if (JVSniffers[r].matched == 1) rows.push_back(r);
    }
    return rows;
  }

  static std::int64_t sniff(std::string_view text, bool checkLineBreaks = true) {
    return sniffWithEnabledEncodings(reinterpret_cast<const std::uint8_t*>(text.data()), text.size(), checkLineBreaks);
  }

  JVSniffer before_[18];
};

TEST_F(SnifferTable, MarksTheRowsThatFit) {
  struct Case {
    const char* why;
    std::string_view text;
    std::vector<std::size_t> enabled;
    std::vector<std::size_t> marked;
    std::int64_t result;
  };
  const std::vector<std::size_t> unicode = {0, 1}, japanese = {0, 1, 2, 3, 4, 5}, noMac = {0, 1, 4, 5};
  const Case cases[] = {
      {"a mark of UTF-16", "\xFF\xFE", noMac, {0}, 1},
      {"a UTF-32 mark is one of UTF-16", raw("\xFF\xFE\0\0"), {0}, {0}, 1},
      {"its row is off", "\xFF\xFE", {1, 5}, {}, 0},
      {"UTF-8, cut: possible UTF-8 all the same", "\xEF\xBB", {0, 1, 4}, {1}, 1},
      {"no mark, no legacy rows: plain ASCII is UTF-8", "plain", unicode, {1}, 1},
      {"but UTF-16 comes first", raw("a\0\n\0"), unicode, {0}, 1},

      {"of the error-free the one with most characters", "\xB0\xA1\n", {2, 3, 5}, {5}, 1},
      {"ties together", "\xB0\xA1\xB1\xB2\xC4\xE3\n", {5, 13, 16}, {5, 13, 16}, 3},
      {"CRLF keeps DOS", "\x93\xFA\r\n", japanese, {3}, 1},
      {"LF can remove the only choice", "\x93\xFA\n", {3, 4, 5}, {}, 0},
      {"CR removes no LF row", "\xC6\xFC\r", noMac, {5}, 1},
      {"errors, but UTF-8", "\xC3\x80", noMac, {1}, 1},
      {"UTF-8 comes before UTF-16", raw("\xC3\x80\0\n"), noMac, {1}, 1},
      {"UTF-8 that fits a candidate is the candidate's", "\xC3\xA9", noMac, {5}, 1},
      {"errors, and nothing else", "\xF0\x80", noMac, {}, 0},
      {"plain ASCII", "plain", japanese, {}, JVPlainASCIISniffResult},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    enable(c.enabled);
    EXPECT_EQ(sniff(c.text), c.result);
    EXPECT_EQ(marked(), c.marked);
  }
  enable({2, 3, 4, 5});
  EXPECT_EQ(sniff("\x93\xFA\n", false), 1) << "the platform is asked about one of two neighbours";
  EXPECT_THAT(marked(), ElementsAre(2, 3)) << "line breaks do not count";
}

TEST_F(SnifferTable, CountsMarksThatWereLeftOver) {
  enable({5});
  JVSniffers[8].matched = 1;
  EXPECT_EQ(sniff("\xC6\xFC\n"), 2);
  EXPECT_EQ(JVSniffers[3].matched, 0) << "the filter also overwrites the mark of a row that is off";
  EXPECT_EQ(JVSniffers[2].matched, -1);
}

}  // namespace
