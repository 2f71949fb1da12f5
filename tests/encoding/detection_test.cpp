#include <JorvaneFoundation/encoding/JVEncodingDetector.h>
#include <JorvaneFoundation/encoding/byte_sniffers.h>
#include <JorvaneFoundation/encoding/detection.h>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <deque>
#include <string>
#include <thread>
#include <vector>

#include "fakes/FakeTextSniffer.h"
#include "support/bytes.h"
#include "support/temporary_folder.h"

namespace {

using jv::test::FakeTextSniffer;
using jv::test::raw;
using jv::test::TemporaryFolder;
using JVFoundation::EncodingDetection;
using JVFoundation::EncodingRule;
using JVFoundation::NSURL;

constexpr std::uint64_t kUnknown = 0xFFFFFFFF;

// "Nihongo" and "tekisuto" in each encoding.
constexpr std::string_view kEUC = "\xC6\xFC\xCB\xDC\xB8\xEC\xA5\xC6\xA5\xAD\xA5\xB9\xA5\xC8";
constexpr std::string_view kShiftJIS = "\x93\xFA\x96\x7B\x8C\xEA\x83\x65\x83\x4C\x83\x58\x83\x67";
constexpr std::string_view kISO2022 = "\x1B$B\x46\x7C\x4B\x5C\x38\x6C\x1B(B";
constexpr std::string_view kUTF8 =
    "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E\xE3\x83\x86\xE3\x82\xAD\xE3\x82\xB9\xE3\x83\x88";

std::string line(std::string_view text, std::string_view end = "\n") { return std::string(text) + std::string(end); }

struct Case {
  const char* why;
  const char* name;
  std::string contents;
  std::uint64_t encoding;
  EncodingRule rule;
};

const std::vector<Case>& cases() {
  static const std::vector<Case> all = {
      {"property list", "notes.PLIST", "x", kUnknown, EncodingRule::declaresItself},
      {"XML", "a.Xml", "x", kUnknown, EncodingRule::declaresItself},
      {"only these two", "a.plist2", "x", 1, EncodingRule::plainASCII},
      {"a hidden file has an empty extension", ".xml", "x", 1, EncodingRule::plainASCII},
      {"empty", "a.txt", "", 4, EncodingRule::empty},
      {"UTF-16 mark", "a", "\xFF\xFE", 10, EncodingRule::byteOrderMark},
      {"the other", "a", "\xFE\xFF", 10, EncodingRule::byteOrderMark},
      {"UTF-8 mark", "a", "\xEF\xBB\xBFx", 4, EncodingRule::byteOrderMark},
      {"7 bits", "a", "text\n", 1, EncodingRule::plainASCII},
      {"7 bits in UTF-16", "a", std::string(raw("t\0\n\0")), 1, EncodingRule::plainASCII},
      {"EUC-JP", "a", line(kEUC), 3, EncodingRule::legacyEncoding},
      {"EUC-JP before UTF-8", "a", line("caf\xC3\xA9"), 3, EncodingRule::legacyEncoding},
      {"ISO-2022-JP", "a", line(kISO2022), 21, EncodingRule::legacyEncoding},
      {"Shift_JIS with CRLF", "a", line(kShiftJIS, "\r\n"), 8, EncodingRule::legacyEncoding},
      {"Shift_JIS with LF", "a", line(kShiftJIS), 4, EncodingRule::lineBreaks},
      {"Shift_JIS with CR", "a", line(kShiftJIS, "\r"), 4, EncodingRule::lineBreaks},
      {"Shift_JIS without breaks", "a", line(kShiftJIS, ""), 4, EncodingRule::lineBreaks},
      {"UTF-8", "a", line(kUTF8), 4, EncodingRule::possibleUTF8},
      {"UTF-16 without mark", "a", std::string(raw("\xF8\x20\0\n")), 10, EncodingRule::possibleUTF16},
      {"colours in a log", "a", line("\x1B[31mred\x1B[0m " + std::string(kUTF8)), 4, EncodingRule::possibleUTF8},
      {"neither", "a", "\xFF\xF0 \x1B", 4, EncodingRule::nothingFits},
  };
  return all;
}

std::uint64_t detect(const std::string& path) {
  return JVEncodingDetector().encodingForFileAtURL(NSURL::fileURLWithPath(path));
}

TEST(EncodingDetector, NamesTheEncodingOfAFile) {
  for (const Case& c : cases()) {
    SCOPED_TRACE(c.why);
    const TemporaryFolder folder;
    const std::string path = folder.write(c.name, c.contents);
    EXPECT_EQ(detect(path), c.encoding);
    const EncodingDetection found = JVFoundation::detectEncodingOfFile(path);
    EXPECT_EQ(found.encoding, c.encoding);
    EXPECT_EQ(found.rule, c.rule);
  }
}

TEST(EncodingDetector, AnswersUnknownForWhatItCannotRead) {
  const TemporaryFolder folder;
  EXPECT_EQ(JVEncodingDetector().encodingForFileAtURL(std::nullopt), kUnknown);
  EXPECT_EQ(detect((folder.path() / "missing").string()), kUnknown);
  EXPECT_EQ(detect(folder.path().string()), kUnknown) << "a folder";
  const std::string pipe = (folder.path() / "pipe.xml").string();
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(detect(pipe), kUnknown) << "refused by its name, without waiting for a writer";
}

TEST(EncodingDetector, LeavesTheTableAloneWhenThereIsNothingToSniff) {
  const TemporaryFolder folder;
  const std::string empty = folder.write("empty", "");
  JVDefaultEncoding = 77;
  JVSniffers[7].matched = 5;
  EXPECT_EQ(detect(empty), 4u);
  EXPECT_EQ(JVDefaultEncoding, 77u);
  EXPECT_EQ(JVSniffers[7].matched, 5);
}

TEST(EncodingDetector, SetsTableAndDefaultsForEachFile) {
  const TemporaryFolder folder;
  JVDefaultLineBreakType = JVLineBreakTypeCR;
  EXPECT_EQ(detect(folder.write("a", line(kEUC))), 3u);
  EXPECT_EQ(JVDefaultEncoding, 0x08000100u);
  EXPECT_EQ(JVDefaultLineBreakType, 0u);
  for (std::size_t r = 0; r < 17; ++r) {
    const bool enabled = r == 0 || r == 1 || r == 3 || r == 4 || r == 5;
    EXPECT_EQ(JVSniffers[r].enabled, enabled ? 1 : 0) << r;
    // The line-break filter has overwritten the marks of the CRLF rows.
    const int mark = JVSniffers[r].lineBreakType == JVLineBreakTypeCRLF ? 0 : -1;
    EXPECT_TRUE(enabled || JVSniffers[r].matched == mark) << r;
  }
  EXPECT_EQ(JVSniffers[5].matched, 1);
  EXPECT_EQ(detect(folder.write("b", line(kISO2022))), 21u) << "marks of the file before are gone";
}

TEST(EncodingDetector, TakesTheFirstOfATieAndTheTerminatorForNone) {
  const TemporaryFolder folder;
  const std::string path = folder.write("a", "\x80\n");
  const FakeTextSniffer::Installed fake({{0x0920, 0, 3}, {0x0820, 0, 3}});
  EXPECT_EQ(detect(path), 21u);
  fake->sniffStatus = -1;
  EXPECT_EQ(detect(path), 4u) << "a failing platform is a text that nothing fits";
}

TEST(EncodingDetection, TellsLineBreaksAndCandidatesWhenAsked) {
  const std::string text = line(kEUC, "\r\n");
  const auto bytes = jv::test::bytesOf(text);
  EXPECT_TRUE(JVFoundation::detectEncoding(bytes).candidates.empty());
  const EncodingDetection found = JVFoundation::detectEncoding(bytes, {.lineBreaks = true, .candidates = true});
  EXPECT_EQ(found.encoding, 3u);
  EXPECT_EQ(found.lineBreakType, JVLineBreakTypeCRLF);
  ASSERT_EQ(found.candidates.size(), 3u);
  EXPECT_EQ(found.candidates[0].encoding, 0x0920u);
  EXPECT_EQ(found.candidates[0].errors, 0u);
  EXPECT_EQ(found.candidates[0].features, 7u);
}

TEST(EncodingDetection, IsReentrant) {
  std::deque<TemporaryFolder> folders;
  std::vector<std::string> paths;
  for (const Case& c : cases()) paths.push_back(folders.emplace_back().write(c.name, c.contents));
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&paths] {
      for (int round = 0; round < 50; ++round) {
        for (std::size_t i = 0; i < paths.size(); ++i) {
          EXPECT_EQ(JVFoundation::detectEncodingOfFile(paths[i]).encoding, cases()[i].encoding);
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(StringEncodings, ConvertAndHaveNames) {
  EXPECT_EQ(JVFoundation::stringEncodingOf(0x08000100), 4u);
  EXPECT_EQ(JVFoundation::stringEncodingOf(0x0A03), 0x80000A03u);
  EXPECT_EQ(JVFoundation::nameOfStringEncoding(8), "Shift_JIS");
  EXPECT_EQ(JVFoundation::nameOfStringEncoding(0x80000A03), "Big5");
  EXPECT_EQ(JVFoundation::nameOfStringEncoding(kUnknown), "unknown");
  EXPECT_EQ(
      JVFoundation::nameOfLineBreakType(JVFoundation::detectEncoding("a\r\n", {.lineBreaks = true}).lineBreakType),
      "CRLF");
  EXPECT_EQ(JVFoundation::nameOfLineBreakType(4), "unknown");
}

}  // namespace
