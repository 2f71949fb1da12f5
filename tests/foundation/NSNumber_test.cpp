#include <JorvaneFoundation/foundation/NSNumber.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <thread>

namespace {

using JVFoundation::NSNumber;

constexpr auto kMin32 = std::numeric_limits<std::int32_t>::min();
constexpr auto kMax32 = std::numeric_limits<std::int32_t>::max();
constexpr auto kMin64 = std::numeric_limits<std::int64_t>::min();
constexpr auto kMax64 = std::numeric_limits<std::int64_t>::max();
constexpr auto kMaxU64 = std::numeric_limits<std::uint64_t>::max();
constexpr auto kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(NSNumber, ConvertsEveryKindToEveryType) {
  const struct {
    NSNumber number;
    std::int32_t asInt;
    std::int64_t asLongLong;
    std::uint64_t asUnsigned;
    const char* text;
  } cases[] = {
      {true, 1, 1, 1, "1"},
      {std::int32_t{-666}, -666, -666, kMaxU64 - 665, "-666"},
      {std::int64_t{1} << 40, 0, std::int64_t{1} << 40, std::uint64_t{1} << 40, "1099511627776"},
      {kMaxU64, -1, -1, kMaxU64, "18446744073709551615"},
      {-0.0, 0, 0, 0, "-0"},
      {-1e300, kMin32, kMin64, 0, "-1e+300"},
      {0x1p63, kMax32, kMax64, std::uint64_t{1} << 63, "9223372036854775808"},
      {kNaN, 0, 0, 0, "nan"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(c.number.intValue(), c.asInt);
    EXPECT_EQ(c.number.longLongValue(), c.asLongLong);
    EXPECT_EQ(c.number.unsignedLongLongValue(), c.asUnsigned);
    EXPECT_EQ(c.number.stringValue(), c.text);
    for (const auto& other : cases) EXPECT_EQ(c.number == other.number, &c == &other);
  }
  EXPECT_NE(NSNumber(std::int64_t{-1}), NSNumber(kMaxU64)) << "the same bits, another kind";
  EXPECT_FALSE(NSNumber(-0.0).boolValue());
  EXPECT_TRUE(NSNumber(kNaN).boolValue());
}

TEST(NSNumberDeathTest, UniqueNumbersCountFromOneAcrossThreads) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a process of its own, in which no other test has run
  EXPECT_EXIT(
      {
        constexpr std::uint64_t kEach = 1000;
        const auto draw = [] {
          for (std::uint64_t i = 0; i < kEach; ++i) (void)NSNumber::uniqueNumber();
        };
        const bool isOne = NSNumber::uniqueNumber() == NSNumber(std::uint64_t{1});
        std::thread other(draw);
        draw();
        other.join();
        std::_Exit(isOne && NSNumber::uniqueNumber() == NSNumber(2 * kEach + 2) ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
