#include <JorvaneFoundation/foundation/NSNumber.h>

#include <gtest/gtest.h>

#include <clocale>
#include <concepts>
#include <cstdlib>
#include <functional>
#include <limits>
#include <locale>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using JVFoundation::NSNumber;

constexpr auto kMin32 = std::numeric_limits<std::int32_t>::min();
constexpr auto kMax32 = std::numeric_limits<std::int32_t>::max();
constexpr auto kMin64 = std::numeric_limits<std::int64_t>::min();
constexpr auto kMax64 = std::numeric_limits<std::int64_t>::max();
constexpr auto kMaxU64 = std::numeric_limits<std::uint64_t>::max();
constexpr auto kInfinity = std::numeric_limits<double>::infinity();
constexpr auto kNaN = std::numeric_limits<double>::quiet_NaN();

// A kind is never guessed.
static_assert(!std::convertible_to<unsigned, NSNumber>);
static_assert(!std::convertible_to<const char*, NSNumber>);

TEST(NSNumber, ConvertsEveryKindToEveryType) {
  struct Case {
    NSNumber number;
    NSNumber::Kind kind;
    std::int32_t asInt;
    std::int64_t asLongLong;
    std::uint64_t asUnsigned;
    double asDouble;
    bool asBool;
    const char* text;
  };
  using enum NSNumber::Kind;
  const Case cases[] = {
      {true, boolean, 1, 1, 1, 1.0, true, "1"},
      {false, boolean, 0, 0, 0, 0.0, false, "0"},
      {std::int32_t{-666}, signed32, -666, -666, kMaxU64 - 665, -666.0, true, "-666"},
      {kMin32, signed32, kMin32, kMin32, std::uint64_t(std::int64_t{kMin32}), -0x1p31, true, "-2147483648"},
      {std::int64_t{1} << 40, signed64, 0, std::int64_t{1} << 40, std::uint64_t{1} << 40, 0x1p40, true,
       "1099511627776"},
      {kMin64, signed64, 0, kMin64, std::uint64_t{1} << 63, -0x1p63, true, "-9223372036854775808"},
      {std::uint64_t{1} << 63, unsigned64, 0, kMin64, std::uint64_t{1} << 63, 0x1p63, true, "9223372036854775808"},
      {kMaxU64, unsigned64, -1, -1, kMaxU64, 0x1p64, true, "18446744073709551615"},
      {13.0, floating, 13, 13, 13, 13.0, true, "13"},
      {-0.5, floating, 0, 0, 0, -0.5, true, "-0.5"},
      {-0.0, floating, 0, 0, 0, 0.0, false, "-0"},
      {0.1, floating, 0, 0, 0, 0.1, true, "0.1"},
      {-1e300, floating, kMin32, kMin64, 0, -1e300, true, "-1e+300"},
      {0x1p31, floating, kMax32, 0x80000000, 0x80000000, 0x1p31, true, "2147483648"},
      {0x1p63, floating, kMax32, kMax64, std::uint64_t{1} << 63, 0x1p63, true, "9223372036854775808"},
      {0x1p64, floating, kMax32, kMax64, kMaxU64, 0x1p64, true, "18446744073709551616"},
      {kInfinity, floating, kMax32, kMax64, kMaxU64, kInfinity, true, "inf"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(c.number.kind(), c.kind);
    EXPECT_EQ(c.number.intValue(), c.asInt);
    EXPECT_EQ(c.number.longLongValue(), c.asLongLong);
    EXPECT_EQ(c.number.unsignedLongLongValue(), c.asUnsigned);
    EXPECT_EQ(c.number.doubleValue(), c.asDouble);
    EXPECT_EQ(c.number.boolValue(), c.asBool);
    EXPECT_EQ(c.number.stringValue(), c.text);
  }
  EXPECT_EQ(NSNumber(kNaN).longLongValue(), 0);
  EXPECT_EQ(NSNumber(kNaN).stringValue(), "nan");
}

TEST(NSNumber, IsEqualInKindAndValue) {
  EXPECT_EQ(NSNumber(1), NSNumber(1));
  EXPECT_NE(NSNumber(1), NSNumber(2));
  EXPECT_NE(NSNumber(1), NSNumber(true));
  EXPECT_NE(NSNumber(1), NSNumber(std::int64_t{1}));
  EXPECT_NE(NSNumber(std::int64_t{-1}), NSNumber(kMaxU64)) << "the same bits, another kind";
  EXPECT_EQ(NSNumber(0.0), NSNumber(-0.0));
  EXPECT_EQ(NSNumber(kNaN), NSNumber(kNaN));
}

TEST(NSNumber, TextIgnoresTheLocale) {
  struct DecimalComma : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale before = std::locale::global(std::locale(std::locale::classic(), new DecimalComma));
  const std::string numericBefore = std::setlocale(LC_NUMERIC, nullptr);
  std::setlocale(LC_NUMERIC, "de_DE.UTF-8");  // where the machine has it
  EXPECT_EQ(NSNumber(1234567.5).stringValue(), "1234567.5");
  EXPECT_EQ(NSNumber(1234567).stringValue(), "1234567");
  std::setlocale(LC_NUMERIC, numericBefore.c_str());
  std::locale::global(before);
}

TEST(NSNumberDeathTest, FirstUniqueNumberOfAProcessIsOne) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a process of its own, in which no other test has run
  EXPECT_EXIT(
      {
        const NSNumber first = NSNumber::uniqueNumber();
        const NSNumber second = NSNumber::uniqueNumber();
        std::_Exit(first == NSNumber(std::uint64_t{1}) && second == NSNumber(std::uint64_t{2}) ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

TEST(NSNumber, UniqueNumbersDifferAcrossThreads) {
  std::vector<std::uint64_t> drawn[2];
  const auto draw = [](std::vector<std::uint64_t>& numbers) {
    for (int i = 0; i < 1000; ++i) numbers.push_back(NSNumber::uniqueNumber().unsignedLongLongValue());
  };
  std::thread other(draw, std::ref(drawn[1]));
  draw(drawn[0]);
  other.join();
  std::set<std::uint64_t> all(drawn[0].begin(), drawn[0].end());
  all.insert(drawn[1].begin(), drawn[1].end());
  EXPECT_EQ(all.size(), 2000U);
}

}  // namespace
