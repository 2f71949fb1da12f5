// What is handed to the layout, and what comes back. The layout itself is tested in text_layout_test.cpp.
#include <JorvaneFoundation/fonts/NSString.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "fakes/FakeFontManager.h"

namespace {

using namespace JVFoundation;
using jv::test::FakeFontManager;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// Keeps what it is asked.
class FakeLayout final : public JVPlatform::TextLayout {
 public:
  std::optional<NSRect> usedRect(std::string_view text, double width, const JVPlatform::TextStyle& style) override {
    lastText = text;
    lastWidth = width;
    lastStyle = style;
    return answer;
  }
  std::optional<std::vector<std::uint8_t>> picture(std::span<const JVPlatform::StyledText>, double, double,
                                                   double) override {
    return std::nullopt;
  }

  std::optional<NSRect> answer = NSRect{{0, 0}, {7, 13.96875}};
  std::string lastText;
  double lastWidth = 0;
  JVPlatform::TextStyle lastStyle;
};

class TextSize : public testing::Test {
 protected:
  TextSize() { JVPlatform::installTextLayout(layout); }
  ~TextSize() override { JVPlatform::installTextLayout(nullptr); }

  FakeFontManager::Installed manager;
  std::shared_ptr<FakeLayout> layout = std::make_shared<FakeLayout>();
};

TEST_F(TextSize, TheWidthComesBackAsItIs) {
  const std::pair<double, double> cases[] = {
      // asked for, laid out in
      {100.25, 100.25},       {0, 0},           {1e300, 1e300}, {-1, kInfinity}, {-kInfinity, kInfinity},
      {kInfinity, kInfinity}, {kNaN, kInfinity}};
  for (const auto& [width, laidOutIn] : cases) {
    SCOPED_TRACE(width);
    const NSSize size = NSString::sizeWithWidth("text", width);
    EXPECT_TRUE(size.width == width || (std::isnan(size.width) && std::isnan(width)));
    EXPECT_EQ(size.height, 13.96875) << "unrounded";
    EXPECT_EQ(layout->lastText, "text");
    EXPECT_EQ(layout->lastWidth, laidOutIn);
  }
}

TEST_F(TextSize, WithoutALayoutTheHeightIsNothing) {
  layout->answer = std::nullopt;
  const NSSize size = NSString::sizeWithWidth("text", 40);
  EXPECT_EQ(size.width, 40);
  EXPECT_EQ(size.height, 0);
}

TEST_F(TextSize, AttributesSayHowItLooks) {
  manager->add("Full", 0);
  const NSFont::Pointer font = NSFont::fontWithName("Full", 9);
  (void)NSString::sizeWithWidth("text", 40,
                                {{NSFontAttributeName, font},
                                 {NSParagraphSpacingAttributeName, 4.5},
                                 {NSTextAlignmentAttributeName, NSTextAlignment::justified}});
  EXPECT_EQ(layout->lastStyle.font, font->platformFont());
  EXPECT_EQ(layout->lastStyle.paragraphSpacing, 4.5);
  EXPECT_EQ(layout->lastStyle.alignment, NSTextAlignment::justified);
}

TEST_F(TextSize, WhatIsMissingOrOfAnotherKindIsTheDefault) {
  manager->add("System", 0);
  const TextAttributes cases[] = {
      {},
      {{NSFontAttributeName, NSFont::Pointer()}},
      {{NSFontAttributeName, 12.0}},
      {{NSParagraphSpacingAttributeName, NSTextAlignment::right}},
      {{NSParagraphSpacingAttributeName, -1.0}},
      {{NSParagraphSpacingAttributeName, kInfinity}},
      {{NSParagraphSpacingAttributeName, kNaN}},
      {{NSTextAlignmentAttributeName, 1.0}},
      {{"NSKern", 1.0}},
  };
  for (const TextAttributes& attributes : cases) {
    SCOPED_TRACE(&attributes - cases);
    (void)NSString::sizeWithWidth("text", 40, attributes);
    ASSERT_TRUE(layout->lastStyle.font);
    EXPECT_EQ(layout->lastStyle.font->face->postScriptName, "System");
    EXPECT_EQ(layout->lastStyle.font->pointSize, 12);
    EXPECT_EQ(layout->lastStyle.paragraphSpacing, 0);
    EXPECT_EQ(layout->lastStyle.alignment, NSTextAlignment::natural);
  }
}

TEST_F(TextSize, WithoutFontsTheLayoutChoosesOne) {
  (void)NSString::sizeWithWidth("text", 40);
  EXPECT_EQ(layout->lastStyle.font, std::nullopt);
}

}  // namespace
