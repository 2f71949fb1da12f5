#include <JorvaneFoundation/system/JVUtilities.h>

#include <gtest/gtest.h>

#include <limits>
#include <tuple>

#include "system/fakes.h"

namespace {

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();

using Parts = std::tuple<std::int64_t, std::int64_t, std::int64_t>;

TEST(OperatingSystemVersion, ReadsThreePartsAndNoOtherNumber) {
  const struct {
    const char* why;
    std::optional<std::string_view> text;
    Parts expected;
  } cases[] = {
      {"none", std::nullopt, {}},
      {"two", "11.0", {}},
      {"a fourth that is empty", "1.2.3.", {}},
      {"rubbish behind the number", "10.15.7beta", {10, 15, 7}},
      {"white space around", " 10.\t15 .\n7 ", {10, 15, 7}},
      {"signs", "+1.-2.+-3", {1, -2, 0}},
      {"the largest and the smallest", "9223372036854775807.-9223372036854775808.0", {kMost, kLeast, 0}},
      {"beyond them", "9223372036854775808.-99999999999999999999999.1", {kMost, kLeast, 1}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    const NSOperatingSystemVersion version = JVUtilities::operatingSystemVersionFromString(c.text);
    EXPECT_EQ(Parts(version.majorVersion, version.minorVersion, version.patchVersion), c.expected);
  }
  EXPECT_EQ(JVUtilities::stringFromOperatingSystemVersion({-1, kMost, 0}), "-1.9223372036854775807.0");
}

TEST(OSType, PacksFourCharacters) {
  const struct {
    const char* why;
    std::optional<std::string_view> text;
    std::uint32_t expected;
  } cases[] = {
      {"none", std::nullopt, 0},
      {"filled up on the right", "TXT", 0x54585420},
      {"the edges of one byte", "\xC2\x80\xC3\xBF", 0x80FF2020},
      {"beyond one byte", "a\xC4\x80", 0},
      {"beyond, but behind the fourth", "abcd\xE2\x82\xAC", 0x61626364},
      {"no UTF-8", "\xFF\x80\xC3", 0xFF80C320},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(JVUtilities::OSTypeFromString(c.text), c.expected);
  }
  EXPECT_EQ(JVUtilities::stringFromOSType(0x61622020), "ab  ") << "untrimmed";
  EXPECT_EQ(JVUtilities::stringFromOSType(0x7F80FF00), std::string("\x7F\xC2\x80\xC3\xBF\0", 6));
}

TEST(RunningSystem, IsComparedWithReleasesOnce) {
  const jvtest::InstalledProcessInformation fake;
  for (const NSOperatingSystemVersion& running : {NSOperatingSystemVersion{10, 15, 0}, NSOperatingSystemVersion{}}) {
    fake->version = running;
    EXPECT_TRUE(JVUtilities::runningOnMojave());
    EXPECT_TRUE(JVUtilities::runningOnCatalina());
    EXPECT_FALSE(JVUtilities::runningOnBigSur());
  }
}

}  // namespace
