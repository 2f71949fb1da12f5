#include <JorvaneFoundation/system/JVUtilities.h>
#include <JorvaneFoundation/system/NSProcessInfo.h>

#include <gmock/gmock.h>

#include <limits>
#include <tuple>

#include <unistd.h>

#include "system/fakes.h"

using JVFoundation::NSProcessInfo;

namespace {

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();

using Parts = std::tuple<std::int64_t, std::int64_t, std::int64_t>;

Parts partsOf(const NSOperatingSystemVersion& version) {
  return {version.majorVersion, version.minorVersion, version.patchVersion};
}

TEST(OperatingSystemVersion, ReadsThreePartsAndNoOtherNumber) {
  const struct {
    const char* why;
    std::optional<std::string_view> text;
    Parts expected;
  } cases[] = {
      {"none", std::nullopt, {}},
      {"empty", "", {}},
      {"three", "10.14.6", {10, 14, 6}},
      {"two", "11.0", {}},
      {"four", "10.15.7.1", {}},
      {"a fourth that is empty", "1.2.3.", {}},
      {"empty parts", "..", {}},
      {"an empty one in the middle", "10..3", {10, 0, 3}},
      {"no numbers", "a.b.c", {}},
      {"letters", "10.x.3", {10, 0, 3}},
      {"rubbish behind the number", "10.15.7beta", {10, 15, 7}},
      {"white space in front", " 10.\t15.\n7", {10, 15, 7}},
      {"white space behind", "10 .15 .7 ", {10, 15, 7}},
      {"signs", "+1.-2. 3", {1, -2, 3}},
      {"one sign only", "+-1.--2.- 3", {}},
      {"zeros in front", "010.0015.0", {10, 15, 0}},
      {"the largest and the smallest", "9223372036854775807.-9223372036854775808.0", {kMost, kLeast, 0}},
      {"beyond them", "9223372036854775808.-99999999999999999999999.1", {kMost, kLeast, 1}},
      {"a zero byte", std::string_view("1.2\0003.4", 7), {1, 2, 4}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(partsOf(JVUtilities::operatingSystemVersionFromString(c.text)), c.expected);
  }
}

TEST(OperatingSystemVersion, IsWrittenWithAllItsParts) {
  EXPECT_EQ(JVUtilities::stringFromOperatingSystemVersion({10, 14, 0}), "10.14.0");
  EXPECT_EQ(JVUtilities::stringFromOperatingSystemVersion({-1, 0, 0}), "-1.0.0");
  EXPECT_EQ(JVUtilities::stringFromOperatingSystemVersion({kMost, kLeast, 7}),
            "9223372036854775807.-9223372036854775808.7");
}

TEST(OSType, PacksFourCharacters) {
  const struct {
    const char* why;
    std::optional<std::string_view> text;
    std::uint32_t expected;
  } cases[] = {
      {"none", std::nullopt, 0},
      {"empty", "", 0},
      {"four", "TEXT", 0x54455854},
      {"filled up on the right", "TXT", 0x54585420},
      {"a single one", "a", 0x61202020},
      {"of more the first four", "abcdefgh", 0x61626364},
      {"Latin-1", "\xC3\xA9t\xC3\xA9", 0xE974E920},
      {"the edges of one byte", "\xC2\x80\xC3\xBF", 0x80FF2020},
      {"beyond one byte", "a\xC4\x80", 0},
      {"far beyond", "\xF0\x9F\x98\x80", 0},
      {"beyond, but behind the fourth", "abcd\xE2\x82\xAC", 0x61626364},
      {"no UTF-8", "\xFF\x80\xC3", 0xFF80C320},
      {"zero bytes", std::string_view("\0a\0b", 4), 0x00610062},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(JVUtilities::OSTypeFromString(c.text), c.expected);
  }
}

TEST(OSType, ComesBackUntrimmed) {
  EXPECT_EQ(JVUtilities::stringFromOSType(0x54455854), "TEXT");
  EXPECT_EQ(JVUtilities::stringFromOSType(0x61622020), "ab  ");
  EXPECT_EQ(JVUtilities::stringFromOSType(0), std::string(4, '\0'));
  for (std::uint32_t byte = 0; byte <= 0xFF; ++byte) {
    const std::uint32_t code = byte << 24 | 0x00207F80 | (255 - byte);
    EXPECT_EQ(JVUtilities::OSTypeFromString(JVUtilities::stringFromOSType(code)), code);
  }
}

// What is kept for the whole process is looked at in a process of its own: 0 when @p check holds there.
template <class Check>
void inOwnProcess(Check check) {
  testing::FLAGS_gtest_death_test_style = "fast";
  EXPECT_EXIT(
      {
        check();
        _exit(testing::Test::HasFailure() ? 1 : 0);
      },
      testing::ExitedWithCode(0), "");
}

TEST(RunningSystem, IsComparedWithReleasesOnce) {
  const struct {
    NSOperatingSystemVersion running;
    bool mojave, catalina, bigSur;
  } cases[] = {
      {{10, 13, 99}, false, false, false}, {{10, 14, 0}, true, false, false}, {{10, 15, 0}, true, true, false},
      {{10, 15, 7}, true, true, false},    {{11, 0, 0}, true, true, true},    {{9, 99, 99}, false, false, false},
      {{12, 0, 0}, true, true, true},      {{-1, 0, 0}, false, false, false}, {{10, 14, -1}, false, false, false},
  };
  for (const auto& c : cases) {
    inOwnProcess([&c] {
      const jvtest::InstalledProcessInformation fake;
      for (int i = 0; i < 2; ++i) {
        fake->version = i == 0 ? c.running : NSOperatingSystemVersion{};
        EXPECT_EQ(JVUtilities::runningOnMojave(), c.mojave);
        EXPECT_EQ(JVUtilities::runningOnCatalina(), c.catalina);
        EXPECT_EQ(JVUtilities::runningOnBigSur(), c.bigSur);
        EXPECT_EQ(fake->questions, 3) << "one each, and never again";
      }
    });
  }
}

struct OwnText final : NSProcessInfo {
  [[nodiscard]] std::string operatingSystemVersionString() const override { return "own text"; }
};

TEST(SystemDescription, NamesSystemVersionAndArchitecture) {
  const struct {
    std::int64_t code;
    const char* name;
  } cases[] = {
      {7, "i386"},
      {0x12, "PPC"},
      {0x1000007, "x86_64"},
      {0x1000012, "PPC64"},
      {0x100000C, "(unknown architecture)"},
      {0, "(unknown architecture)"},
  };
  for (const auto& c : cases) {
    inOwnProcess([&c] {
      const jvtest::InstalledProcessInformation fake;
      fake->text = "Version 10.15.7";
      fake->architecture = c.code;
      const std::string expected = std::string("macOS Version 10.15.7 ") + c.name;
      EXPECT_EQ(NSProcessInfo::processInfo().operatingSystemVersionDescription(), expected);
      fake->text = "other";
      const int questions = fake->questions;
      EXPECT_EQ(NSProcessInfo::processInfo().operatingSystemVersionDescription(), expected);
      EXPECT_EQ(OwnText().operatingSystemVersionDescription(), expected) << "one for the process";
      EXPECT_EQ(fake->questions, questions) << "asked again";
    });
  }
  inOwnProcess([] {
    const jvtest::InstalledProcessInformation fake;
    EXPECT_EQ(OwnText().operatingSystemVersionDescription(), "macOS own text (unknown architecture)");
  });
}

TEST(SystemIntegrityProtection, IsWhatTheToolSays) {
  const struct {
    const char* why;
    std::int32_t status;
    const char* output;
    bool enabled;
    bool kept;
  } cases[] = {
      {"on", 0, "System Integrity Protection status: enabled.\n", true, true},
      {"anywhere", 0, "a: enabled.b", true, true},
      {"off", 0, "System Integrity Protection status: disabled.\n", false, true},
      {"another case", 0, ": Enabled.", false, true},
      {"no full stop", 0, ": enabled", false, true},
      {"failed", 1, ": enabled.", false, false},
      {"silent", 0, "", false, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    inOwnProcess([&c] {
      const auto fake = std::make_shared<jvtest::FakeProcess>();
      const jvtest::InstalledProcess installed(fake);
      fake->status = c.status;
      fake->output = c.output;
      EXPECT_EQ(JVUtilities::isSIPEnabled(), c.enabled);
      EXPECT_THAT(fake->steps, testing::Contains("path /usr/bin/csrutil"));
      EXPECT_THAT(fake->steps, testing::Contains("arguments status"));
      fake->steps.clear();
      fake->status = 0;
      fake->output = c.kept ? (c.enabled ? "no more" : ": enabled.") : "now: enabled.";
      EXPECT_EQ(JVUtilities::isSIPEnabled(), c.kept ? c.enabled : true);
      EXPECT_EQ(fake->steps.empty(), c.kept) << "run again";
    });
  }
  inOwnProcess([] {
    const auto fake = std::make_shared<jvtest::FakeProcess>();
    const jvtest::InstalledProcess installed(fake);
    fake->beforeLaunch = [] { throw JVFoundation::NSException("NotThere", "not there"); };
    EXPECT_FALSE(JVUtilities::isSIPEnabled()) << "not launched";
    fake->beforeLaunch = [] {};
    fake->output = ": enabled.";
    EXPECT_TRUE(JVUtilities::isSIPEnabled());
  });
}

}  // namespace
