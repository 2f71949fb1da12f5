#include <JorvaneFoundation/fonts/NSFont.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <latch>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "fakes/FakeFontManager.h"
#include "fonts/support.h"

namespace {

using jv::test::FakeFontManager;
using jv::test::nameOf;
using JVFoundation::NSFont;
using JVPlatform::NSBoldFontMask;
using JVPlatform::NSItalicFontMask;

class Fonts : public testing::Test {
 protected:
  Fonts() {
    manager->add("Full", 0);
    manager->add("Full", NSItalicFontMask);
    manager->add("Full", NSBoldFontMask);
    manager->add("Full", NSItalicFontMask | NSBoldFontMask);
    manager->add("System", 0);
    manager->add("System", NSBoldFontMask);
    manager->add("Lone", 0);
    manager->add("Slanted", NSItalicFontMask);
    // Names that a manager happens to know, although they look like the system font's.
    manager->add(".SFNSText", 0);
    manager->add(".SFNSText", NSBoldFontMask);
  }

  FakeFontManager::Installed manager;
};

TEST_F(Fonts, NamesOfTheSystemFontAreSubstituted) {
  const struct {
    const char *why, *name, *expected;
  } cases[] = {
      {"first prefix", ".SFNSDisplay", "System"},
      {"nothing but the prefix", ".SFNS", "System"},
      {"a name that the manager knows", ".SFNSText", "System"},
      {"and its bold one", ".SFNSText-Bold", "System-Bold"},
      {"second prefix", ".AppleSystemUIFont", "System"},
      {"bold", ".AppleSystemUIFontBold", "System-Bold"},
      {"other weights are regular", ".SFNSDisplay-Heavy", "System"},
      {"Semibold does not end in Bold", ".SFNSText-Semibold", "System"},
      {"SemiBold does", ".SFNSText-SemiBold", "System-Bold"},
      {"case of the ending", ".SFNSText-bold", "System"},
      {"Bold elsewhere", ".SFNSText-BoldItalic", "System"},
      {"case of the prefix", ".sfnstext", "none"},
      {"case of the other prefix", ".applesystemUIFont", "none"},
      {"the prefix later in the name", "x.SFNSText-Bold", "none"},
      {"a prefix that is not whole", ".SFN", "none"},
      {"another name that ends in Bold", "Full-Bold", "Full-Bold"},
      {"a known name", "Lone", "Lone"},
      {"an unknown one", "NoSuchFont", "none"},
      {"an empty one", "", "none"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    const NSFont::Pointer font = NSFont::fontWithName(c.name, 13.5);
    EXPECT_EQ(nameOf(font), c.expected);
    EXPECT_TRUE(!font || font->pointSize() == 13.5);
  }
  // The other look-up substitutes nothing.
  EXPECT_EQ(nameOf(NSFont::jv_fontWithName(".SFNSText-Bold", 12)), ".SFNSText-Bold");
  EXPECT_EQ(nameOf(NSFont::jv_fontWithName(".AppleSystemUIFont", 12)), "none");
}

TEST_F(Fonts, AnAbsentNameGoesToTheManager) {
  manager->lastName = "something";
  EXPECT_EQ(NSFont::fontWithName(std::nullopt, 12), nullptr);
  EXPECT_EQ(manager->lastName, std::nullopt);
}

TEST_F(Fonts, VariantsStartFromTheNormalFont) {
  constexpr jv::test::Variants kCases[] = {
      {"all from upright", "Full", "Full", "Full-Bold", "Full-Italic", "Full-Bold-Italic"},
      {"bold of italic is upright", "Full-Italic", "Full", "Full-Bold", "Full-Italic", "Full-Bold-Italic"},
      {"italic of bold is not bold", "Full-Bold", "Full", "Full-Bold", "Full-Italic", "Full-Bold-Italic"},
      {"from both", "Full-Bold-Italic", "Full", "Full-Bold", "Full-Italic", "Full-Bold-Italic"},
      {"missing faces", "Lone", "Lone", "Lone", "Lone", "Lone"},
      {"missing upright face", "Slanted-Italic", "Slanted-Italic", "Slanted-Italic", "Slanted-Italic",
       "Slanted-Italic"},
      {"missing italic", "System-Bold", "System", "System-Bold", "System", "System"},
  };
  jv::test::expectVariants(kCases);
}

TEST_F(Fonts, AVariantIsComputedOnce) {
  const NSFont::Pointer font = NSFont::fontWithName("Full-Italic", 12);
  const NSFont::Pointer variants[] = {font->normalFont(), font->boldFont(), font->italicFont(), font->boldItalicFont()};
  EXPECT_EQ(manager->conversions, 4);
  EXPECT_EQ(font->normalFont(), variants[0]);
  EXPECT_EQ(font->boldFont(), variants[1]);
  EXPECT_EQ(font->italicFont(), variants[2]);
  EXPECT_EQ(font->boldItalicFont(), variants[3]);
  EXPECT_EQ(manager->conversions, 4);

  // The cache belongs to the object, not to the face.
  const NSFont::Pointer again = NSFont::fontWithName("Full-Italic", 12);
  EXPECT_NE(again->boldFont(), variants[1]);
  EXPECT_EQ(manager->conversions, 6);
}

TEST_F(Fonts, AMissingFaceGivesTheSameObjectAndLeavesItMortal) {
  NSFont::Pointer font = NSFont::fontWithName("Lone", 12);
  EXPECT_EQ(font->normalFont(), font);
  EXPECT_EQ(font->boldFont(), font);
  EXPECT_EQ(font->boldFont(), font);
  EXPECT_EQ(manager->conversions, 2) << "that it is the font itself is kept as well";
  NSFont::Pointer bold = NSFont::fontWithName("System-Bold", 12);
  EXPECT_EQ(bold->italicFont(), bold->normalFont());

  const std::weak_ptr<const NSFont> watched[] = {font, bold, bold->normalFont()};
  font.reset();
  bold.reset();
  for (const auto& each : watched) EXPECT_TRUE(each.expired());
}

TEST_F(Fonts, AVariantOutlivesItsFont) {
  const NSFont::Pointer bold = NSFont::fontWithName("Full", 12)->boldFont();
  EXPECT_EQ(bold->fullDisplayName(), "Full - 12.0");
}

TEST_F(Fonts, AnEmptyVariantIsAskedForAgain) {
  const NSFont::Pointer font = NSFont::fontWithName("Full", 12);
  manager->knowsNothing = true;
  EXPECT_EQ(font->normalFont(), nullptr);
  EXPECT_EQ(font->boldFont(), nullptr);
  EXPECT_EQ(font->fullDisplayName(), "(null) - 0.0");
  EXPECT_EQ(manager->conversions, 3);
  manager->knowsNothing = false;
  EXPECT_EQ(nameOf(font->boldFont()), "Full-Bold");
  EXPECT_EQ(font->fullDisplayName(), "Full - 12.0");
}

TEST_F(Fonts, TheDisplayNameIsThatOfTheNormalFontWithOneDecimal) {
  for (const auto& [size, expected] :
       {std::pair{12.0, "Full - 12.0"}, {11.5, "Full - 11.5"}, {13.96, "Full - 14.0"}, {0.04, "Full - 0.0"}}) {
    EXPECT_EQ(NSFont::fontWithName("Full-Bold-Italic", size)->fullDisplayName(), expected);
  }
  const std::string name = "A family with a name that is too long to be kept in place";
  manager->add(name, 0);
  std::string postScriptName = name;
  std::ranges::replace(postScriptName, ' ', '-');
  EXPECT_EQ(NSFont::fontWithName(postScriptName, 9)->fullDisplayName(), name + " - 9.0");
}

TEST_F(Fonts, TheLineHeightIsThatOfTheFontItself) {
  manager->add("Metrics", 0, 0.75, -0.25, 0.125);
  manager->add("Metrics", NSBoldFontMask, 1, -0.5, 0.25);
  const NSFont::Pointer bold = NSFont::fontWithName("Metrics-Bold", 16);
  EXPECT_EQ(bold->ascender(), 16);
  EXPECT_EQ(bold->descender(), -8);
  EXPECT_EQ(bold->leading(), 4);
  EXPECT_EQ(bold->lineHeight(), 28);
  EXPECT_EQ(bold->normalFont()->lineHeight(), 18);
}

TEST_F(Fonts, ThreadsGetTheSameVariants) {
  constexpr int kThreads = 4;
  for (int round = 0; round < 200; ++round) {
    const NSFont::Pointer font = NSFont::fontWithName("Full-Bold", 12);
    std::vector<NSFont::Pointer> got(kThreads);
    std::latch start(kThreads);
    std::vector<std::jthread> threads;
    for (NSFont::Pointer& variant : got) {
      threads.emplace_back([&] {
        start.arrive_and_wait();
        variant = font->boldItalicFont();
      });
    }
    threads.clear();
    for (const NSFont::Pointer& variant : got) ASSERT_EQ(variant, font->boldItalicFont());
  }
}

}  // namespace
