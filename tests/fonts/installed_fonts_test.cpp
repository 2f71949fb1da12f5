// Fonts that are really installed: DejaVu and Liberation alone, as tests/support/with_fonts.py sees to.
#include <JorvaneFoundation/fonts/NSFont.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include <JorvaneFoundation/platform/Modules.h>

#include "fonts/support.h"

namespace {

namespace fs = std::filesystem;
using jv::test::nameOf;
using JVFoundation::NSFont;

const char* const kLiberation = "/usr/share/fonts/truetype/liberation/";

TEST(InstalledFonts, AreFoundByExactName) {
  const struct {
    const char *why, *name, *expected;
  } cases[] = {
      {"PostScript name", "DejaVuSans-Bold", "DejaVuSans-Bold"},
      {"full name", "DejaVu Sans Bold", "DejaVuSans-Bold"},
      {"family: the plain face", "DejaVu Sans", "DejaVuSans"},
      {"family with a width", "DejaVu Sans Condensed", "DejaVuSansCondensed"},
      {"full name with a weight", "DejaVu Sans ExtraLight", "DejaVuSans-ExtraLight"},
      {"another family", "Liberation Mono", "LiberationMono"},
      {"a hyphen is no size", "DejaVu Sans-12", "none"},
      {"other case", "dejavusans-bold", "none"},
      {"other blanks", "DejaVuSans Bold", "none"},
      {"a generic name is no font", "sans-serif", "none"},
      {"a beginning", "DejaVu", "none"},
      {"unknown", "NoSuchFont", "none"},
      {"empty", "", "none"},
      {"not UTF-8", "\xff\xfe", "none"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(nameOf(NSFont::fontWithName(c.name, 12)), c.expected);
  }
  EXPECT_EQ(nameOf(NSFont::fontWithName(std::string_view("DejaVuSans\0", 11), 12)), "none") << "a zero byte";
  EXPECT_EQ(nameOf(NSFont::fontWithName(std::string(1 << 20, 'x'), 12)), "none") << "a long name";
  EXPECT_EQ(NSFont::fontWithName(std::nullopt, 12), nullptr);
}

TEST(InstalledFonts, TellTheirMetricsInPoints) {
  const struct {
    const char* name;
    double ascender, descender, gap;  // of the files' hhea tables
  } cases[] = {{"Liberation Sans", 1854, -434, 67}, {"DejaVu Sans", 1901, -483, 0}};
  for (const auto& c : cases) {
    for (const double size : {12.0, 0.001, 1e9}) {
      SCOPED_TRACE(testing::Message() << c.name << ' ' << size);
      const NSFont::Pointer font = NSFont::fontWithName(c.name, size);
      ASSERT_TRUE(font);
      EXPECT_EQ(font->pointSize(), size);
      EXPECT_DOUBLE_EQ(font->ascender(), size * c.ascender / 2048);
      EXPECT_DOUBLE_EQ(font->descender(), size * c.descender / 2048);
      EXPECT_NEAR(font->leading(), size * c.gap / 2048, 1e-12 * size);
      EXPECT_NEAR(font->lineHeight(), size * (c.ascender - c.descender + c.gap) / 2048, 1e-12 * size);
    }
  }
}

TEST(InstalledFonts, OfNoSizeThereAreNone) {
  for (const double size : {0.0, -12.0, std::numeric_limits<double>::infinity(), std::nan("")}) {
    SCOPED_TRACE(size);
    EXPECT_EQ(NSFont::fontWithName("DejaVu Sans", size), nullptr);
    EXPECT_EQ(NSFont::systemFontOfSize(size), nullptr);
    EXPECT_EQ(NSFont::boldSystemFontOfSize(size), nullptr);
  }
}

TEST(InstalledFonts, HaveVariantsOfTheirFamilyAndWidth) {
  constexpr jv::test::Variants kCases[] = {
      {"four faces", "Liberation Sans", "LiberationSans", "LiberationSans-Bold", "LiberationSans-Italic",
       "LiberationSans-BoldItalic"},
      {"oblique is italic", "DejaVuSans-BoldOblique", "DejaVuSans", "DejaVuSans-Bold", "DejaVuSans-Oblique",
       "DejaVuSans-BoldOblique"},
      {"the width stays", "DejaVu Sans Condensed", "DejaVuSansCondensed", "DejaVuSansCondensed-Bold",
       "DejaVuSansCondensed-Oblique", "DejaVuSansCondensed-BoldOblique"},
      {"light is normal", "DejaVu Sans ExtraLight", "DejaVuSans-ExtraLight", "DejaVuSans-Bold", "DejaVuSans-Oblique",
       "DejaVuSans-BoldOblique"},
      {"one face, whatever could be faked", "DejaVu Math TeX Gyre", "DejaVuMathTeXGyre-Regular",
       "DejaVuMathTeXGyre-Regular", "DejaVuMathTeXGyre-Regular", "DejaVuMathTeXGyre-Regular"},
  };
  jv::test::expectVariants(kCases);
  const NSFont::Pointer lone = NSFont::fontWithName("DejaVu Math TeX Gyre", 10);
  EXPECT_EQ(lone->boldFont(), lone);
  EXPECT_EQ(NSFont::fontWithName("DejaVuSans-Bold", 13)->fullDisplayName(), "DejaVu Sans - 13.0");
}

TEST(InstalledFonts, OneIsTheSystemFont) {
  EXPECT_EQ(nameOf(NSFont::systemFontOfSize(12)), "DejaVuSans");
  EXPECT_EQ(nameOf(NSFont::boldSystemFontOfSize(12)), "DejaVuSans-Bold");
  EXPECT_EQ(nameOf(NSFont::fontWithName(".SFNSText-Bold", 12)), "DejaVuSans-Bold");

  struct Case {
    const char *family, *regular, *bold;
  };
  for (const auto& [family, regular, bold] :
       {Case{"Liberation Serif", "LiberationSerif", "LiberationSerif-Bold"},
        {"DejaVu Math TeX Gyre", "DejaVuMathTeXGyre-Regular", "DejaVuMathTeXGyre-Regular"},
        {"No Such Family", "DejaVuSans", "DejaVuSans-Bold"},
        {"", "DejaVuSans", "DejaVuSans-Bold"}}) {
    NSFont::setSystemFontFamily(family);
    EXPECT_EQ(nameOf(NSFont::systemFontOfSize(12)), regular);
    EXPECT_EQ(nameOf(NSFont::boldSystemFontOfSize(12)), bold);
  }
}

fs::path ownFolder() { return std::getenv("JV_TEST_FONTS"); }

/// Asks until @p answer is right. Fontconfig looks at its folders once a second, and sees a change only in another
/// second than its last look.
template <class Answer>
bool comesTrue(Answer answer) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!answer()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    fs::last_write_time(ownFolder(), fs::file_time_type::clock::now());
  }
  return true;
}

std::string contentsOf(const std::string& file) {
  std::ifstream stream(std::string(kLiberation) + file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// The one font that has been installed for the test, under a name of its own.
constexpr char kNewFamily[] = "Departing Mono!";

/// Installs it. Its name is as long as the one that it replaces, so that the file stays whole.
void installNewFont() {
  std::string bytes = contentsOf("LiberationMono-Bold.ttf");
  const std::string from = "Liberation Mono";
  const auto replace = [&bytes](const std::string& before, const std::string& after) {
    for (std::size_t at = 0; (at = bytes.find(before, at)) != std::string::npos; at += after.size()) {
      bytes.replace(at, before.size(), after);
    }
  };
  const auto inTwoBytes = [](const std::string& text) {
    std::string wide;
    for (const char letter : text) wide.append({'\0', letter});
    return wide;
  };
  replace(from, kNewFamily);
  replace(inTwoBytes(from), inTwoBytes(kNewFamily));
  std::ofstream(ownFolder() / "New.ttf", std::ios::binary) << bytes;
}

bool hasNewFont() { return NSFont::fontWithName(kNewFamily, 12) != nullptr; }

TEST(InstalledFonts, ComeAndGo) {
  ASSERT_FALSE(hasNewFont());
  installNewFont();
  ASSERT_TRUE(comesTrue(hasNewFont));
  const NSFont::Pointer font = NSFont::fontWithName(kNewFamily, 12);
  EXPECT_EQ(font->normalFont(), font) << "no other face";

  fs::remove(ownFolder() / "New.ttf");
  ASSERT_TRUE(comesTrue([] { return !hasNewFont(); }));
  EXPECT_EQ(font->familyName(), kNewFamily);
  EXPECT_GT(font->lineHeight(), 0);
  EXPECT_EQ(font->normalFont(), font);
  EXPECT_EQ(font->italicFont(), nullptr) << "the family is gone";
}

TEST(InstalledFonts, BrokenFilesAreNone) {
  const std::string whole = contentsOf("LiberationSans-Bold.ttf");
  std::ofstream(ownFolder() / "Empty.ttf").flush();
  std::ofstream(ownFolder() / "Text.ttf") << "no font at all";
  std::ofstream(ownFolder() / "Half.ttf", std::ios::binary) << whole.substr(0, whole.size() / 2);
  installNewFont();
  ASSERT_TRUE(comesTrue(hasNewFont)) << "so the others were looked at as well";
  EXPECT_EQ(nameOf(NSFont::fontWithName("Liberation Sans", 12)->boldFont()), "LiberationSans-Bold");
  for (const auto& file : fs::directory_iterator(ownFolder())) fs::remove(file);
}

TEST(InstalledFonts, AreAskedForFromSeveralThreads) {
  std::vector<std::jthread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([thread] {
      for (int i = 0; i < 200; ++i) {
        const char* const name = i % 2 == thread % 2 ? "Liberation Serif" : "DejaVuSerif-Bold";
        const NSFont::Pointer font = NSFont::fontWithName(name, 9 + thread);
        ASSERT_TRUE(font);
        ASSERT_TRUE(font->boldItalicFont()->fontName().find("Bold") != std::string::npos);
        ASSERT_EQ(nameOf(NSFont::systemFontOfSize(i + 1)), "DejaVuSans");
      }
    });
  }
}

TEST(NoInstalledFonts, GiveNoFont) {
  EXPECT_EQ(NSFont::systemFontOfSize(12), nullptr);
  EXPECT_EQ(NSFont::boldSystemFontOfSize(12), nullptr);
  EXPECT_EQ(NSFont::fontWithName(".SFNSText", 12), nullptr);
  EXPECT_EQ(NSFont::fontWithName("DejaVu Sans", 12), nullptr);
  for (const JVPlatform::ModuleState& module : JVPlatform::modules()) EXPECT_EQ(module.problem, "");
}

}  // namespace
