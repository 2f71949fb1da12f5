#include <JorvaneFoundation/encoding/byte_sniffers.h>
#include <JorvaneFoundation/encoding/sniffer_table.h>
#include <JorvaneFoundation/encoding/string_encodings.h>
#include <JorvaneFoundation/platform/SystemLog.h>
#include <JorvaneFoundation/platform/TextSniffer.h>

#include <gmock/gmock.h>

#include <cstring>
#include <initializer_list>
#include <iterator>
#include <string>

#include "fakes/FakeTextSniffer.h"
#include "support/bytes.h"

namespace {

using jv::test::FakeTextSniffer;
using jv::test::raw;
using testing::ElementsAre;
using testing::IsEmpty;

/// The table before any test wrote to it.
const std::vector<JVSniffer> kAtLoad(std::begin(JVSniffers), std::end(JVSniffers));

/// The exported table as it was, whatever a test does to it.
class SnifferTable : public testing::Test {
 protected:
  SnifferTable() { std::memcpy(before_, JVSniffers, sizeof before_); }
  ~SnifferTable() override {
    std::memcpy(JVSniffers, before_, sizeof before_);
    JVNumberOfSniffers = 17;
  }

  void enable(std::initializer_list<std::size_t> rows) {
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

TEST_F(SnifferTable, EndsWithARowOfOnes) {
  const auto bytes = std::as_bytes(std::span(kAtLoad).last(1));
  EXPECT_THAT(bytes, testing::Each(std::byte{0xFF}));
  EXPECT_EQ(JVNumberOfSniffers, 17u);
  for (const JVSniffer& row : std::span(kAtLoad).first(17)) {
    EXPECT_EQ(row.enabled, 0);
    EXPECT_EQ(row.matched, 0);
  }
}

TEST_F(SnifferTable, MarksAndWhatIsNoLegacyTextDecideAtOnce) {
  struct Case {
    const char* why;
    std::string_view text;
    std::initializer_list<std::size_t> enabled;
    std::vector<std::size_t> marked;  // one at most, which is the result as well
  };
  const Case cases[] = {
      {"little-endian", "\xFF\xFE", {0, 1, 5}, {0}},
      {"big-endian", "\xFE\xFFx", {0, 1, 5}, {0}},
      {"a UTF-32 mark is one of UTF-16", raw("\xFF\xFE\0\0"), {0}, {0}},
      {"its row is off", "\xFF\xFE", {1, 5}, {}},
      {"cut", "\xFF", {0, 1, 5}, {}},
      {"UTF-8", "\xEF\xBB\xBF\xFF", {0, 1, 5}, {1}},
      {"UTF-8, cut: possible UTF-8 all the same", "\xEF\xBB", {0, 1, 4}, {1}},
      {"no mark, no legacy rows: plain ASCII is UTF-8", "plain", {0, 1}, {1}},
      {"but UTF-16 comes first", raw("a\0\n\0"), {0, 1}, {0}},
      {"and neither is nothing", "\xF0", {1}, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    enable(c.enabled);
    EXPECT_EQ(sniff(c.text), static_cast<std::int64_t>(c.marked.size()));
    EXPECT_EQ(marked(), c.marked);
  }
}

TEST_F(SnifferTable, IsTestedForMarksEvenWhenNoRowCounts) {
  enable({0, 1});
  JVNumberOfSniffers = 0;
  EXPECT_EQ(sniff("\xEF\xBB\xBF"), 1);
  EXPECT_EQ(JVSniffers[1].matched, 1);
}

TEST_F(SnifferTable, AsksThePlatformAboutEachNeighbourOnce) {
  const FakeTextSniffer::Installed fake({});
  enable({2, 3, 4, 5, 7, 9});
  (void)sniff("\x80");
  EXPECT_THAT(fake->asked, ElementsAre(0x0001, 0x0820, 0x0920, 0x0002, 0x0A03));
  EXPECT_EQ(fake->maxErrors, 300u);
  EXPECT_EQ(fake->maxFeatures, 300u);
  EXPECT_EQ(fake->length, 1u);
  EXPECT_EQ(fake->disposed, 1);
}

TEST_F(SnifferTable, ChoosesTheErrorFreeAtTheTop) {
  struct Case {
    const char* why;
    std::vector<FakeTextSniffer::Answer> answers;  // best first
    std::string_view text;
    std::int64_t result;
    std::vector<std::size_t> marked;  // when line breaks are checked
  };
  const Case cases[] = {
      {"the best alone", {{0x0920, 0, 9}, {0x0820, 0, 8}}, "\x80\n", 1, {5}},
      {"ties together", {{0x0920, 0, 9}, {0x0820, 0, 9}}, "\x80\n", 2, {4, 5}},
      {"two rows for one encoding", {{0x0001, 0, 1}}, "\x80", 1, {2}},
      {"CR keeps Mac", {{0x0001, 0, 1}}, "\x80\r", 1, {2}},
      {"CRLF keeps DOS", {{0x0001, 0, 1}}, "\x80\r\n", 1, {3}},
      {"LF keeps Mac", {{0x0001, 0, 1}}, "\x80\n", 1, {2}},
      {"CR removes no LF row", {{0x0920, 0, 1}}, "\x80\r", 1, {5}},
      {"errors, but UTF-8", {{0x0920, 1, 9}, {0x0001, 2, 0}}, "\xC3\x80", 1, {1}},
      {"errors, but UTF-16", {{0x0920, 1, 9}}, raw("\xF0\0\n"), 1, {0}},
      {"UTF-8 comes before UTF-16", {{0x0920, 1, 9}}, raw("\xC3\x80\0\n"), 1, {1}},
      {"UTF-8 that fits a candidate is the candidate's", {{0x0920, 0, 1}}, "\xC3\x80", 1, {5}},
      {"errors, and nothing else", {{0x0920, 1, 9}}, "\xF0\x80", 0, {}},
      {"plain ASCII, whatever the platform says", {{0x0920, 0, 9}}, "plain", 9999, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    const FakeTextSniffer::Installed fake(c.answers);
    for (const bool checkLineBreaks : {false, true}) {
      enable({0, 1, 2, 3, 4, 5});
      EXPECT_EQ(sniff(c.text, checkLineBreaks), c.result);
    }
    EXPECT_EQ(marked(), c.marked);
  }
}

TEST_F(SnifferTable, LineBreaksCanRemoveTheOnlyChoice) {
  for (const std::string_view text : {"\x80\n", "\x80\r", "\x80"}) {
    const FakeTextSniffer::Installed fake({{0x0001, 0, 1}});
    enable({3, 4, 5});
    EXPECT_EQ(sniff(text), 0);
    EXPECT_THAT(marked(), IsEmpty());
  }
}

TEST_F(SnifferTable, CountsMarksThatWereLeftOver) {
  const FakeTextSniffer::Installed fake({{0x0920, 0, 1}});
  enable({5});
  JVSniffers[8].matched = 1;
  EXPECT_EQ(sniff("\x80\n"), 2);
  EXPECT_EQ(JVSniffers[3].matched, 0) << "the filter also overwrites the mark of a row that is off";
  EXPECT_EQ(JVSniffers[2].matched, -1);
}

TEST_F(SnifferTable, AFailingPlatformGivesNothingAndTouchesNothing) {
  const FakeTextSniffer::Installed fake({{0x0920, 0, 1}});
  enable({0, 1, 5});
  fake->createStatus = -1;
  EXPECT_EQ(sniff("plain ASCII too"), 0);
  EXPECT_EQ(fake->disposed, 0);
  fake->createStatus = 0;
  fake->sniffStatus = -1;
  EXPECT_EQ(sniff("plain ASCII too"), 0);
  EXPECT_EQ(fake->disposed, 0) << "not even after a failed sniff";
  EXPECT_THAT(marked(), IsEmpty());
}

struct RecordingLog final : JVPlatform::SystemLog {
  void log(std::string_view text) noexcept override { lines.emplace_back(text); }
  std::vector<std::string> lines;
};

TEST_F(SnifferTable, LogsTheEncodingThatNoneHas) {
  const auto log = std::make_shared<RecordingLog>();
  const auto before = JVPlatform::installSystemLog(log);
  const FakeTextSniffer::Installed fake({{0x0920, 0, 1}});
  enable({5});
  JVSniffers[5].encoding = 0xBEEFFEED;
  EXPECT_EQ(sniff("\x80\n"), 1);
  JVPlatform::installSystemLog(before);
  EXPECT_THAT(log->lines, ElementsAre("This is to get rid of resultEncoding not used warnings. Duh."));
}

}  // namespace
