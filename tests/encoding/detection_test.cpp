#include <JorvaneFoundation/encoding/JVEncodingDetector.h>
#include <JorvaneFoundation/encoding/byte_sniffers.h>
#include <JorvaneFoundation/encoding/detection.h>

#include <gtest/gtest.h>

#include <string>

#include "support/bytes.h"
#include "support/temporary_folder.h"

namespace {

using jv::test::raw;
using jv::test::TemporaryFolder;
using JVFoundation::EncodingDetection;
using JVFoundation::EncodingRule;
using JVFoundation::NSURL;

constexpr std::uint64_t kUnknown = 0xFFFFFFFF;

// "Nihongo" in two encodings.
constexpr const char* kEUC = "\xC6\xFC\xCB\xDC\xB8\xEC\n";
constexpr const char* kISO2022 = "\x1B$B\x46\x7C\x4B\x5C\x38\x6C\x1B(B\n";

const struct Case {
  const char* why;
  const char* name;
  std::string contents;
  std::uint64_t encoding;
  EncodingRule rule;
} kCases[] = {
    {"a property list", "notes.PLIST", "x", kUnknown, EncodingRule::declaresItself},
    {"a hidden file has an empty extension", ".xml", "x", 1, EncodingRule::plainASCII},
    {"empty", "a.txt", "", 4, EncodingRule::empty},
    {"UTF-16 mark", "a", "\xFF\xFE", 10, EncodingRule::byteOrderMark},
    {"UTF-8 mark", "a", "\xEF\xBB\xBFx", 4, EncodingRule::byteOrderMark},
    {"7 bits in UTF-16", "a", std::string(raw("t\0\n\0")), 1, EncodingRule::plainASCII},
    {"EUC-JP before UTF-8", "a", "caf\xC3\xA9\n", 3, EncodingRule::legacyEncoding},
    {"ISO-2022-JP", "a", kISO2022, 21, EncodingRule::legacyEncoding},
    {"Shift_JIS with CRLF", "a", "\x93\xFA\x96\x7B\r\n", 8, EncodingRule::legacyEncoding},
    {"Shift_JIS with LF", "a", "\x93\xFA\x96\x7B\n", 4, EncodingRule::lineBreaks},
    {"a tie is the first row's", "a", "\xE0\xA1\r\n", 8, EncodingRule::legacyEncoding},
    {"unless line breaks speak against it", "a", "\xE0\xA1\n", 3, EncodingRule::legacyEncoding},
    {"UTF-8", "a", "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E\n", 4, EncodingRule::possibleUTF8},
    {"UTF-16 without mark", "a", std::string(raw("\xF8\x20\0\n")), 10, EncodingRule::possibleUTF16},
    {"colours in a log", "a", "\x1B[31mred\x1B[0m \xE6\x97\xA5\n", 4, EncodingRule::possibleUTF8},
    {"neither", "a", "\xFF\xF0 \x1B", 4, EncodingRule::nothingFits},
};

std::uint64_t detect(const std::string& path) {
  return JVEncodingDetector().encodingForFileAtURL(NSURL::fileURLWithPath(path));
}

TEST(EncodingDetector, NamesTheEncodingOfAFile) {
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.why);
    const TemporaryFolder folder;
    const std::string path = folder.write(c.name, c.contents);
    EXPECT_EQ(detect(path), c.encoding);
    const EncodingDetection found = JVFoundation::detectEncodingOfFile(path);
    EXPECT_EQ(found.encoding, c.encoding);
    EXPECT_EQ(found.rule, c.rule);
  }
}

TEST(EncodingDetector, SetsTableAndDefaultsForEachFileThatItSniffs) {
  const TemporaryFolder folder;
  JVDefaultLineBreakType = JVLineBreakTypeCR;
  EXPECT_EQ(detect(folder.write("a", kEUC)), 3u);
  EXPECT_EQ(JVDefaultEncoding, 0x08000100u);
  EXPECT_EQ(JVDefaultLineBreakType, 0u);
  std::string enabled, marks;
  for (std::size_t r = 0; r < 17; ++r) {
    enabled += std::to_string(JVSniffers[r].enabled);
    marks += std::to_string(JVSniffers[r].matched) + " ";
  }
  EXPECT_EQ(enabled, "11011100000000000");
  // The line-break filter has overwritten the marks of the CRLF rows.
  EXPECT_EQ(marks, "0 0 -1 0 0 1 -1 0 -1 -1 -1 0 -1 -1 -1 0 -1 ");
  JVDefaultEncoding = 77;
  EXPECT_EQ(detect(folder.write("empty", "")), 4u);
  EXPECT_EQ(JVDefaultEncoding, 77u) << "nothing to sniff";
  EXPECT_EQ(detect(folder.write("b", kISO2022)), 21u) << "marks of the file before are gone";
}

TEST(EncodingDetection, TellsLineBreaksAndCandidatesWhenAsked) {
  EXPECT_TRUE(JVFoundation::detectEncoding(jv::test::bytesOf(kEUC)).candidates.empty());
  const EncodingDetection found =
      JVFoundation::detectEncoding(jv::test::bytesOf(kEUC), {.lineBreaks = true, .candidates = true});
  EXPECT_EQ(found.lineBreakType, JVLineBreakTypeLF);
  ASSERT_EQ(found.candidates.size(), 3u);
  EXPECT_EQ(found.candidates[0].encoding, 0x0920u);
  EXPECT_EQ(found.candidates[0].features, 3u);
}

}  // namespace
