#include <JorvaneFoundation/geometry/screen_lookup.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <vector>

#include "fakes/FakeScreens.h"

namespace {

using jv::test::FakeScreens;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kMax = std::numeric_limits<double>::max();

/// The place in @p list of the screen under @p point; none when there is no screen.
std::optional<std::ptrdiff_t> indexFor(NSPoint point, const JVPlatform::Screens::List& list) {
  const auto screen = JVScreenForPoint(point);
  EXPECT_EQ(screen, JVScreenForPoint(point, list)) << "both forms agree";
  if (!screen) return std::nullopt;
  return std::ranges::find(list, screen) - list.begin();
}

TEST(ScreenForPoint, IsTheFirstThatHoldsItElseTheNearest) {
  const std::vector<NSRect> pair = {{{0, 0}, {1440, 900}}, {{1440, 0}, {1920, 1080}}};
  const std::vector<NSRect> apart = {{{0, 0}, {100, 100}}, {{200, 0}, {100, 100}}};
  const std::vector<NSRect> diagonal = {{{0, 0}, {100, 100}}, {{240, 100}, {100, 100}}};
  const struct {
    const char* why;
    std::vector<NSRect> frames;
    NSPoint point;
    std::optional<std::ptrdiff_t> expected;
  } cases[] = {
      {"no screens", {}, {0, 0}, std::nullopt},
      {"low edge", pair, {1440, 10}, 1},
      {"just below it", pair, {1439.5, 10}, 0},
      {"far outside", pair, {5000, 500}, 1},
      {"origin", pair, {0, 0}, 0},
      {"above the smaller one, nearer to it", pair, {1400, 920}, 0},
      {"above the smaller one, nearer to the other", pair, {1430, 1000}, 1},
      {"beyond a corner", {{{0, 0}, {100, 100}}}, {-10, -10}, 0},
      {"high edge of the last one", pair, {3360, 1080}, 1},
      {"overlapping, the first wins", {{{0, 0}, {100, 100}}, {{50, 50}, {10, 10}}}, {55, 55}, 0},
      {"one that holds it wins over one at distance 0 before it",
       {{{0, 0}, {100, 100}}, {{100, 0}, {9, 9}}},
       {100, 5},
       1},
      {"equally near, the first wins", apart, {150, 50}, 0},
      {"by horizontal plus vertical distance, not by the straight line", diagonal, {150, 150}, 1},
      {"infinitely far", pair, {kInfinity, 0}, 0},
      {"infinitely far in both directions", pair, {-kInfinity, kInfinity}, 0},
      {"no number", pair, {kNaN, kNaN}, 0},
      {"at the largest distance, the later one is taken", {{{-kMax, 0}, {0, 0}}, {{-kMax, 0}, {0, 0}}}, {0, 0}, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    const FakeScreens::Installed fake(c.frames);
    EXPECT_EQ(indexFor(c.point, fake->list), c.expected);
  }
}

TEST(ScreenForPoint, ReadsTheListAfreshEachTime) {
  constexpr NSRect kLeft = {{0, 0}, {100, 100}};
  constexpr NSRect kRight = {{100, 0}, {100, 100}};
  const FakeScreens::Installed fake(std::vector{kLeft});
  const auto first = JVScreenForPoint({150, 50});
  fake->setFrames({kLeft, kRight});
  const auto second = JVScreenForPoint({150, 50});
  EXPECT_EQ(second, fake->list[1]);
  EXPECT_EQ(first->frame().origin.x, 0) << "what was found before is still there";
}

}  // namespace
