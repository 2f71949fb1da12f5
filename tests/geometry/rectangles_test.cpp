#include <JorvaneFoundation/geometry/rectangles.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "geometry/support.h"

namespace {

using jv::test::Four;
using jv::test::numbersOf;
using jv::test::Two;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr NSRect kSquare = {{0, 0}, {10, 10}};

TEST(Rectangles, FromAnyTwoOppositeCorners) {
  const Four expected = {4, 20, 6, 10};
  for (const auto& [a, b] : {std::pair{NSPoint{10, 20}, NSPoint{4, 30}}, {{4, 30}, {10, 20}}, {{4, 20}, {10, 30}}}) {
    EXPECT_EQ(numbersOf(JVRectFromPoints(a, b)), expected);
  }
  EXPECT_EQ(numbersOf(JVRectFromPoints({3, -3}, {3, -3})), (Four{3, -3, 0, 0}));
}

TEST(Rectangles, RoundEachNumberDownOnItsOwn) {
  const struct {
    const char* why;
    NSRect rect;
    Four expected;
  } cases[] = {
      {"negative numbers go down", {{-0.5, 1.9}, {2.5, 2.5}}, {-1, 1, 2, 2}},
      {"the size does not make up for the origin", {{0.5, 0.5}, {1, 1}}, {0, 0, 1, 1}},
      {"negative sizes go down too", {{0, 0}, {-0.5, -3}}, {0, 0, -1, -3}},
      {"what no integer type holds", {{-1e300, 0.1}, {kInfinity, 1e18}}, {-1e300, 0, kInfinity, 1e18}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(numbersOf(JVIntegerRect(c.rect)), c.expected);
  }
  EXPECT_TRUE(std::isnan(JVIntegerRect({{std::nan(""), 0}, {0, 0}}).origin.x));
}

TEST(Rectangles, AdjustPointsToTheEdges) {
  const struct {
    const char* why;
    NSPoint point;
    NSRect rect;
    Two expected;
  } cases[] = {
      {"beyond two edges", {15, -3}, kSquare, {10, 0}},
      {"inside", {4.5, 9}, kSquare, {4.5, 9}},
      {"on the high edges, which belong to it", {10, 10}, kSquare, {10, 10}},
      {"negative size: below the minimum comes first", {5, 12}, {{10, 10}, {-8, -8}}, {10, 2}},
      {"infinitely far", {kInfinity, -kInfinity}, kSquare, {10, 0}},
      {"infinitely wide", {7, 7}, {{0, 0}, {kInfinity, kInfinity}}, {7, 7}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(numbersOf(JVPointAdjustInRect(c.point, c.rect)), c.expected);
  }
  EXPECT_TRUE(std::isnan(JVPointAdjustInRect({std::nan(""), 0}, kSquare).x));
}

TEST(Rectangles, CornersAndMiddles) {
  // No two of its edges and middles have a number in common.
  constexpr NSRect kRect = {{10, 200}, {30, 50}};
  const struct {
    const char* name;
    NSPoint (*function)(NSRect, bool);
    Two plain, flipped;
  } corners[] = {
      {"top left", JVRectTopLeftFlipped, {10, 250}, {10, 200}},
      {"bottom left", JVRectBottomLeftFlipped, {10, 200}, {10, 250}},
      {"top right", JVRectTopRightFlipped, {40, 250}, {40, 200}},
      {"bottom right", JVRectBottomRightFlipped, {40, 200}, {40, 250}},
  };
  for (const auto& c : corners) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(numbersOf(c.function(kRect, false)), c.plain);
    EXPECT_EQ(numbersOf(c.function(kRect, true)), c.flipped);
  }
  EXPECT_EQ(numbersOf(JVRectCenter(kRect)), (Two{25, 225}));
  EXPECT_EQ(numbersOf(JVRectTopMid(kRect)), (Two{25, 250}));
  EXPECT_EQ(numbersOf(JVRectBottomMid(kRect)), (Two{25, 200}));
  EXPECT_EQ(numbersOf(JVRectLeftMid(kRect)), (Two{10, 225}));
  EXPECT_EQ(numbersOf(JVRectRightMid(kRect)), (Two{40, 225}));
}

TEST(Rectangles, MiddlesAreOriginPlusHalfTheSize) {
  // The mean of both edges would be infinite here, for maxX is.
  constexpr double kHuge = 1.5e308;
  EXPECT_EQ(numbersOf(JVRectCenter({{kHuge, -kHuge}, {kHuge / 2, kHuge}})), (Two{kHuge + kHuge / 4, -kHuge / 2}));
  EXPECT_EQ(JVRectTopMid({{kHuge, 0}, {kHuge / 2, 1}}).x, kHuge + kHuge / 4);
}

TEST(Rectangles, Distance) {
  EXPECT_EQ(JVPointsDistance({1, 2}, {4, -2}), 5);
  EXPECT_EQ(JVPointsDistance({3, 3}, {3, 3}), 0);
  EXPECT_EQ(JVPointsDistance({1e200, 0}, {0, 0}), kInfinity) << "by the squares";
  EXPECT_EQ(JVPointsDistance({1e-200, 0}, {0, 0}), 0) << "by the squares";
  // 5.154609587543949 where a processor multiplies and adds in one step.
  EXPECT_EQ(JVPointsDistance({1.6, 4.9}, {0, 0}), 5.15460958754395);
}

}  // namespace
