#include <JorvaneFoundation/geometry/JVGeometry.h>
#include <JorvaneFoundation/geometry/rectangles.h>
#include <JorvaneFoundation/geometry/screen_lookup.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

namespace {

using Two = std::array<double, 2>;
using Four = std::array<double, 4>;

Two numbersOf(NSPoint point) { return {point.x, point.y}; }
Four numbersOf(NSRect rect) { return {rect.origin.x, rect.origin.y, rect.size.width, rect.size.height}; }

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kLargest = std::numeric_limits<double>::max();
const double kNaN = std::nan("");

TEST(Rectangles, FromAnyTwoOppositeCornersAndRoundedDown) {
  EXPECT_EQ(numbersOf(JVRectFromPoints({10, 20}, {4, 30})), (Four{4, 20, 6, 10}));
  EXPECT_EQ(numbersOf(JVRectFromPoints({4, 20}, {10, 30})), (Four{4, 20, 6, 10}));
  EXPECT_EQ(numbersOf(JVIntegerRect({{-0.5, 0.5}, {1, -0.5}})), (Four{-1, 0, 1, -1})) << "each number on its own";
  EXPECT_EQ(numbersOf(JVIntegerRect({{-1e300, 0.1}, {kInfinity, 1e18}})), (Four{-1e300, 0, kInfinity, 1e18}));
}

TEST(Rectangles, AdjustPointsToTheEdges) {
  constexpr NSRect kSquare = {{0, 0}, {10, 10}};
  EXPECT_EQ(numbersOf(JVPointAdjustInRect({15, -kInfinity}, kSquare)), (Two{10, 0}));
  EXPECT_EQ(numbersOf(JVPointAdjustInRect({10, 4}, kSquare)), (Two{10, 4})) << "on a high edge, which belongs to it";
  EXPECT_EQ(numbersOf(JVPointAdjustInRect({5, 12}, {{10, 10}, {-8, -8}})), (Two{10, 2})) << "a negative size";
  EXPECT_TRUE(std::isnan(JVPointAdjustInRect({kNaN, 0}, kSquare).x));
}

TEST(Rectangles, CornersAndMiddles) {
  // No two of its edges and middles have a number in common.
  constexpr NSRect kRect = {{10, 200}, {30, 50}};
  for (const bool flipped : {false, true}) {
    const double top = flipped ? 200 : 250, bottom = flipped ? 250 : 200;
    EXPECT_EQ(numbersOf(JVRectTopLeftFlipped(kRect, flipped)), (Two{10, top}));
    EXPECT_EQ(numbersOf(JVRectBottomLeftFlipped(kRect, flipped)), (Two{10, bottom}));
    EXPECT_EQ(numbersOf(JVRectTopRightFlipped(kRect, flipped)), (Two{40, top}));
    EXPECT_EQ(numbersOf(JVRectBottomRightFlipped(kRect, flipped)), (Two{40, bottom}));
  }
  EXPECT_EQ(numbersOf(JVRectTopMid(kRect)), (Two{25, 250}));
  EXPECT_EQ(numbersOf(JVRectBottomMid(kRect)), (Two{25, 200}));
  EXPECT_EQ(numbersOf(JVRectLeftMid(kRect)), (Two{10, 225}));
  EXPECT_EQ(numbersOf(JVRectRightMid(kRect)), (Two{40, 225}));
  // The mean of both edges would be infinite here, for maxX is.
  constexpr double kHuge = 1.5e308;
  EXPECT_EQ(numbersOf(JVRectCenter({{kHuge, -kHuge}, {kHuge / 2, kHuge}})), (Two{kHuge + kHuge / 4, -kHuge / 2}));
}

TEST(Rectangles, Distance) {
  EXPECT_EQ(JVPointsDistance({1, 2}, {4, -2}), 5);
  EXPECT_EQ(JVPointsDistance({1e200, 0}, {0, 0}), kInfinity) << "by the squares";
  // 5.154609587543949 where a processor multiplies and adds in one step.
  EXPECT_EQ(JVPointsDistance({1.6, 4.9}, {0, 0}), 5.15460958754395);
}

TEST(CenteredRect, FitsAndCentres) {
  constexpr NSSize k100 = {100, 100};
  const struct {
    const char* why;
    NSSize size, room;
    Four kept, shrunk, grown;  // without scaling, with it, and with enlarging as well
  } cases[] = {
      {"too wide", {200, 100}, k100, {-43, 7, 200, 100}, {7, 32, 100, 50}, {7, 32, 100, 50}},
      {"height decides", {300, 400}, k100, {-93, -143, 300, 400}, {19.5, 7, 75, 100}, {19.5, 7, 75, 100}},
      {"smaller both ways", {50, 20}, k100, {32, 47, 50, 20}, {32, 47, 50, 20}, {7, 37, 100, 40}},
      {"no width, too high", {0, 200}, k100, {57, -43, 0, 200}, {57, 7, 0, 100}, {57, 7, 0, 100}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    const NSRect rect = {{-999, kInfinity}, c.size};  // its origin does not count
    const NSRect container = {{7, 7}, c.room};
    EXPECT_EQ(numbersOf(JVGeometry::centeredRect(rect, container, false)), c.kept);
    EXPECT_EQ(numbersOf(JVGeometry::centeredRect(rect, container, true)), c.shrunk);
    EXPECT_EQ(numbersOf(JVGeometry::centeredRect(rect, container, true, true)), c.grown);
    EXPECT_EQ(numbersOf(JVGeometry::centeredRect(rect, container, false, true)), c.kept) << "enlarging is a scaling";
  }
}

TEST(CenteredRect, KeepsTheOrderOfItsArithmetic) {
  const NSRect fitted = JVGeometry::centeredRect({{0, 0}, {10, 1}}, {{0, 0}, {3, 3}}, true);
  EXPECT_EQ(fitted.size.height, (1.0 / 10.0) * 3.0) << "divides before it multiplies";
  const NSRect point = JVGeometry::centeredRect({{0, 0}, {0, 0}}, {{0, 0}, {10, 10}}, true, true);
  EXPECT_EQ(point.size.width, 10);
  EXPECT_TRUE(std::isnan(point.size.height));
}

TEST(ScreenForPoint, IsTheFirstThatHoldsItElseTheNearest) {
  const std::vector<NSRect> pair = {{{0, 0}, {1440, 900}}, {{1440, 0}, {1920, 1080}}};
  const struct {
    const char* why;
    std::vector<NSRect> frames;
    NSPoint point;
    std::ptrdiff_t expected;
  } cases[] = {
      {"just below it", pair, {1439.5, 10}, 0},
      {"above the smaller one, nearer to the other", pair, {1430, 1000}, 1},
      {"high edge of the last one", pair, {3360, 1080}, 1},
      {"overlapping, the first wins", {{{0, 0}, {100, 100}}, {{50, 50}, {10, 10}}}, {55, 55}, 0},
      {"holding it wins over distance 0", {{{0, 0}, {100, 100}}, {{100, 0}, {9, 9}}}, {100, 5}, 1},
      {"equally near, the first wins", {{{0, 0}, {100, 100}}, {{200, 0}, {100, 100}}}, {150, 50}, 0},
      {"by both ways, not the straight line", {{{0, 0}, {100, 100}}, {{240, 100}, {100, 100}}}, {150, 150}, 1},
      {"infinitely far", pair, {-kInfinity, kInfinity}, 0},
      {"no number", pair, {kNaN, 0}, 0},
      {"at the largest distance, the later one is taken",
       {{{-kLargest, 0}, {0, 0}}, {{-kLargest, 0}, {0, 0}}},
       {0, 0},
       1},
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
