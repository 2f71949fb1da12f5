#include <JorvaneFoundation/system/JVUtilities.h>

#include <gmock/gmock.h>

#include <limits>
#include <tuple>

#include <unistd.h>

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
  for (const std::uint32_t code : {0x547F0041U, 0x80FFE9A0U}) {
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
  // How many of the three releases it is at least.
  for (const auto& [running, expected] :
       {std::pair{NSOperatingSystemVersion{10, 14, -1}, 0}, {{10, 14, 0}, 1}, {{10, 15, 0}, 2}, {{11, 0, 0}, 3}}) {
    inOwnProcess([running, expected] {
      const jvtest::InstalledProcessInformation fake;
      for (fake->version = running; const bool again : {false, true}) {
        EXPECT_EQ(JVUtilities::runningOnMojave() + JVUtilities::runningOnCatalina() + JVUtilities::runningOnBigSur(),
                  expected)
            << again;
        fake->version = {};
      }
    });
  }
}

TEST(SystemIntegrityProtection, IsWhatTheToolSaysFirst) {
  struct Run {
    std::int32_t status;
    const char* output;
    bool enabled;
  };
  const std::vector<Run> cases[] = {
      // No answer is kept where the tool fails or says nothing.
      {{1, ": enabled.", false}, {0, "", false}, {0, "protection status: enabled.\n", true}, {0, "off", true}},
      {{0, ": enabled", false}, {0, ": enabled.", false}},
  };
  for (const auto& runs : cases) {
    inOwnProcess([&runs] {
      const auto fake = std::make_shared<jvtest::FakeProcess>();
      const jvtest::InstalledProcess installed(fake);
      for (const Run& run : runs) {
        fake->status = run.status;
        fake->output = run.output;
        EXPECT_EQ(JVUtilities::isSIPEnabled(), run.enabled);
      }
      EXPECT_THAT(fake->steps, testing::IsSupersetOf({"path /usr/bin/csrutil", "arguments status"}));
    });
  }
}

}  // namespace
