#include <JorvaneFoundation/geometry/JVGeometry.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "geometry/support.h"

namespace {

using jv::test::Four;
using jv::test::numbersOf;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(CenteredRect, FitsAndCentres) {
  constexpr NSSize k100 = {100, 100};
  const struct {
    const char* why;
    NSSize size, room;
    Four kept, shrunk, grown;  // without scaling, with it, and with enlarging as well
  } cases[] = {
      {"too wide", {200, 100}, k100, {-43, 7, 200, 100}, {7, 32, 100, 50}, {7, 32, 100, 50}},
      {"too high", {100, 400}, k100, {7, -143, 100, 400}, {44.5, 7, 25, 100}, {44.5, 7, 25, 100}},
      {"width decides", {400, 300}, k100, {-143, -93, 400, 300}, {7, 19.5, 100, 75}, {7, 19.5, 100, 75}},
      {"height decides", {300, 400}, k100, {-93, -143, 300, 400}, {19.5, 7, 75, 100}, {19.5, 7, 75, 100}},
      {"smaller both ways", {50, 20}, k100, {32, 47, 50, 20}, {32, 47, 50, 20}, {7, 37, 100, 40}},
      {"exact in one way", {100, 20}, k100, {7, 47, 100, 20}, {7, 47, 100, 20}, {7, 47, 100, 20}},
      {"exact in both", k100, k100, {7, 7, 100, 100}, {7, 7, 100, 100}, {7, 7, 100, 100}},
      {"no width, too high", {0, 200}, k100, {57, -43, 0, 200}, {57, 7, 0, 100}, {57, 7, 0, 100}},
      {"no width, fits", {0, 50}, k100, {57, 32, 0, 50}, {57, 32, 0, 50}, {57, 7, 0, 100}},
      {"no height, too wide", {200, 0}, k100, {-43, 57, 200, 0}, {7, 57, 100, 0}, {7, 57, 100, 0}},
      {"no room", {20, 10}, {0, 0}, {-3, 2, 20, 10}, {7, 7, 0, 0}, {7, 7, 0, 0}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    const NSRect rect = {{-999, kInfinity}, c.size};  // its origin does not count
    const NSRect container = {{7, 7}, c.room};
    EXPECT_EQ(numbersOf(JVGeometry::centeredRect(rect, container, false)), c.kept);
    EXPECT_EQ(numbersOf(JVGeometry::centeredRect(rect, container, true)), c.shrunk);
    EXPECT_EQ(numbersOf(JVGeometry::centeredRect(rect, container, true, false)), c.shrunk);
    EXPECT_EQ(numbersOf(JVGeometry::centeredRect(rect, container, true, true)), c.grown);
    EXPECT_EQ(numbersOf(JVGeometry::centeredRect(rect, container, false, true)), c.kept) << "enlarging is a scaling";
  }
}

TEST(CenteredRect, DividesBeforeItMultiplies) {
  const NSRect fitted = JVGeometry::centeredRect({{0, 0}, {10, 1}}, {{0, 0}, {3, 3}}, true);
  EXPECT_EQ(fitted.size.height, (1.0 / 10.0) * 3.0);
  ASSERT_NE((1.0 / 10.0) * 3.0, 3.0 / 10.0) << "else this says nothing";
}

TEST(CenteredRect, ArithmeticStaysAsItIs) {
  const NSRect point = JVGeometry::centeredRect({{0, 0}, {0, 0}}, {{0, 0}, {10, 10}}, true, true);
  EXPECT_EQ(point.size.width, 10);
  EXPECT_TRUE(std::isnan(point.size.height));
  const NSRect infinite = JVGeometry::centeredRect({{0, 0}, {kInfinity, 10}}, {{0, 0}, {100, 100}}, true);
  EXPECT_EQ(numbersOf(infinite), (Four{0, 50, 100, 0}));
}

}  // namespace
