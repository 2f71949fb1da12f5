#include <JorvaneFoundation/geometry/screen_lookup.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kMax = std::numeric_limits<double>::max();

TEST(ScreenForPoint, IsTheFirstThatHoldsItElseTheNearest) {
  const std::vector<NSRect> pair = {{{0, 0}, {1440, 900}}, {{1440, 0}, {1920, 1080}}};
  const struct {
    const char* why;
    std::vector<NSRect> frames;
    NSPoint point;
    std::ptrdiff_t expected;
  } cases[] = {
      {"low edge", pair, {1440, 10}, 1},
      {"just below it", pair, {1439.5, 10}, 0},
      {"above the smaller one, nearer to it", pair, {1400, 920}, 0},
      {"above the smaller one, nearer to the other", pair, {1430, 1000}, 1},
      {"high edge of the last one", pair, {3360, 1080}, 1},
      {"overlapping, the first wins", {{{0, 0}, {100, 100}}, {{50, 50}, {10, 10}}}, {55, 55}, 0},
      {"holding it wins over distance 0", {{{0, 0}, {100, 100}}, {{100, 0}, {9, 9}}}, {100, 5}, 1},
      {"equally near, the first wins", {{{0, 0}, {100, 100}}, {{200, 0}, {100, 100}}}, {150, 50}, 0},
      {"by both ways, not the straight line", {{{0, 0}, {100, 100}}, {{240, 100}, {100, 100}}}, {150, 150}, 1},
      {"infinitely far", pair, {-kInfinity, kInfinity}, 0},
      {"no number", pair, {kNaN, kNaN}, 0},
      {"at the largest distance, the later one is taken", {{{-kMax, 0}, {0, 0}}, {{-kMax, 0}, {0, 0}}}, {0, 0}, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    std::vector<std::shared_ptr<const JVFoundation::NSScreen>> screens;
    for (const NSRect& frame : c.frames) screens.push_back(JVFoundation::NSScreen::create(frame));
    EXPECT_EQ(std::ranges::find(screens, JVScreenForPoint(c.point, screens)) - screens.begin(), c.expected);
  }
  EXPECT_EQ(JVScreenForPoint({0, 0}, {}), nullptr) << "no screens";
}

}  // namespace
