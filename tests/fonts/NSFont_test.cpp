// Fonts that are really installed: DejaVu and Liberation alone, or none, as tests/support/with_fonts.py sees to.
#include <JorvaneFoundation/fonts/NSFont.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <latch>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include <JorvaneFoundation/fonts/NSString.h>
#include <JorvaneFoundation/platform/Modules.h>

namespace {

namespace fs = std::filesystem;
using JVFoundation::NSFont;

std::string nameOf(const NSFont::Pointer& font) { return font ? font->fontName() : "none"; }

TEST(Fonts, AreFoundByExactName) {
  const struct {
    const char* why;
    std::string name, expected;
  } cases[] = {
      {"PostScript name", "DejaVuSans-Bold", "DejaVuSans-Bold"},
      {"full name", "DejaVu Sans Bold", "DejaVuSans-Bold"},
      {"family: the plain face", "DejaVu Sans", "DejaVuSans"},
      {"a hyphen is no size", "DejaVu Sans-12", "none"},
      {"other case", "dejavusans-bold", "none"},
      {"a generic name is no font", "sans-serif", "none"},
      {"a zero byte", std::string("DejaVuSans\0", 11), "none"},
      {"a long name", std::string(1 << 20, 'x'), "none"},
      {"names of the system font: first prefix", ".SFNS", "DejaVuSans"},
      {"second prefix, bold", ".AppleSystemUIFontBold", "DejaVuSans-Bold"},
      {"Semibold does not end in Bold", ".SFNSText-Semibold", "DejaVuSans"},
      {"SemiBold does", ".SFNSText-SemiBold", "DejaVuSans-Bold"},
      {"case of the prefix", ".sfnstext", "none"},
      {"the prefix later in the name", "x.SFNSText-Bold", "none"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(nameOf(NSFont::fontWithName(c.name, 12)), c.expected);
  }
  EXPECT_EQ(NSFont::fontWithName(std::nullopt, 12), nullptr);
  EXPECT_EQ(NSFont::jv_fontWithName(".SFNSText-Bold", 12), nullptr) << "which substitutes nothing";
}

TEST(Fonts, TellTheirMetricsInPoints) {
  for (const double size : {12.0, 0.001, 1e9}) {
    const NSFont::Pointer font = NSFont::fontWithName("Liberation Sans", size);
    ASSERT_TRUE(font);
    EXPECT_EQ(font->pointSize(), size);
    // The file's hhea table has 1854, -434 and 67.
    EXPECT_DOUBLE_EQ(font->ascender(), size * 1854 / 2048);
    EXPECT_DOUBLE_EQ(font->descender(), size * -434 / 2048);
    EXPECT_NEAR(font->lineHeight(), size * (1854 + 434 + 67) / 2048, 1e-12 * size);
  }
  for (const double size : {0.0, -12.0, std::numeric_limits<double>::infinity(), std::nan("")}) {
    EXPECT_EQ(NSFont::fontWithName("DejaVu Sans", size), nullptr);
    EXPECT_EQ(NSFont::systemFontOfSize(size), nullptr);
  }
}

TEST(Fonts, HaveVariantsOfTheirFamilyAndWidth) {
  const struct {
    const char* name;
    std::array<const char*, 4> variants;  // normal, bold, italic and both
  } cases[] = {
      {"Liberation Sans",
       {"LiberationSans", "LiberationSans-Bold", "LiberationSans-Italic", "LiberationSans-BoldItalic"}},
      {"DejaVuSans-BoldOblique", {"DejaVuSans", "DejaVuSans-Bold", "DejaVuSans-Oblique", "DejaVuSans-BoldOblique"}},
      {"DejaVu Serif Condensed",
       {"DejaVuSerifCondensed", "DejaVuSerifCondensed-Bold", "DejaVuSerifCondensed-Italic",
        "DejaVuSerifCondensed-BoldItalic"}},
      {"DejaVu Sans ExtraLight",
       {"DejaVuSans-ExtraLight", "DejaVuSans-Bold", "DejaVuSans-Oblique", "DejaVuSans-BoldOblique"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const NSFont::Pointer font = NSFont::fontWithName(c.name, 11.5);
    ASSERT_TRUE(font);
    const auto variants = [&] {
      return std::array{font->normalFont(), font->boldFont(), font->italicFont(), font->boldItalicFont()};
    };
    const auto found = variants();
    for (std::size_t i = 0; i < found.size(); ++i) EXPECT_EQ(nameOf(found[i]), c.variants[i]);
    EXPECT_EQ(found[3]->pointSize(), 11.5);
    EXPECT_EQ(variants(), found) << "made once";
  }
  EXPECT_EQ(NSFont::fontWithName("DejaVuSans-Bold", 13.96)->fullDisplayName(), "DejaVu Sans - 14.0");
}

TEST(Fonts, AMissingFaceGivesTheSameObjectAndLeavesItMortal) {
  // Its only face, whatever could be faked.
  NSFont::Pointer lone = NSFont::fontWithName("DejaVu Math TeX Gyre", 10);
  EXPECT_EQ(lone->boldFont(), lone);
  EXPECT_EQ(lone->italicFont(), lone);
  const NSFont::Pointer bold = NSFont::fontWithName("Liberation Sans", 10)->boldFont();
  EXPECT_EQ(nameOf(bold), "LiberationSans-Bold") << "outlives the font that it is of";
  const std::weak_ptr<const NSFont> watched = lone;
  lone.reset();
  EXPECT_TRUE(watched.expired());
}

TEST(Fonts, OneIsTheSystemFont) {
  using Names = std::array<const char*, 3>;  // family, regular, bold
  for (const auto& [family, regular, bold] : {Names{"Liberation Serif", "LiberationSerif", "LiberationSerif-Bold"},
                                              {"No Such Family", "DejaVuSans", "DejaVuSans-Bold"}}) {
    NSFont::setSystemFontFamily(family);
    EXPECT_EQ(nameOf(NSFont::systemFontOfSize(12)), regular);
    EXPECT_EQ(nameOf(NSFont::boldSystemFontOfSize(12)), bold);
  }
}

TEST(Fonts, AreAskedForFromSeveralThreads) {
  constexpr int kThreads = 4;
  for (int round = 0; round < 200; ++round) {
    const NSFont::Pointer shared = NSFont::fontWithName("DejaVuSerif-Bold", 12);
    std::vector<NSFont::Pointer> got(kThreads);
    std::latch start(kThreads);
    std::vector<std::jthread> threads;
    for (std::size_t thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([&, thread] {
        start.arrive_and_wait();
        got[thread] = shared->boldItalicFont();
        EXPECT_EQ(nameOf(NSFont::fontWithName("Liberation Serif", 9 + round)->boldFont()), "LiberationSerif-Bold");
      });
    }
    threads.clear();
    EXPECT_EQ(std::ranges::count(got, shared->boldItalicFont()), kThreads);
  }
}

TEST(NoFonts, GiveNeitherFontNorText) {
  for (const char* name : {".SFNSText", "DejaVu Sans"}) EXPECT_EQ(NSFont::fontWithName(name, 12), nullptr);
  EXPECT_EQ(NSFont::systemFontOfSize(12), nullptr);
  const NSSize size = JVFoundation::NSString::sizeWithWidth("text", 100);
  EXPECT_TRUE(size.width == 100 && size.height == 0);
  for (const JVPlatform::ModuleState& module : JVPlatform::modules()) EXPECT_EQ(module.problem, "");
}

/// Asks until @p answer is right. Fontconfig looks at its folders once a second, and sees a change only in another
/// second than its last look.
template <class Answer>
bool comesTrue(const fs::path& folder, Answer answer) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!answer()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    fs::last_write_time(folder, fs::file_time_type::clock::now());
  }
  return true;
}

TEST(NoFonts, ComeAndGoAmongBrokenFiles) {
  const fs::path installed = "/usr/share/fonts/truetype/liberation/LiberationMono-Regular.ttf";
  const fs::path folder = std::getenv("JV_TEST_FONTS"), file = folder / "New.ttf";
  const auto font = [] { return NSFont::fontWithName("Liberation Mono", 12); };
  ASSERT_EQ(font(), nullptr);
  std::ofstream(folder / "Empty.ttf").flush();
  std::ofstream(folder / "Text.ttf") << "no font at all";
  fs::copy_file(installed, folder / "Half.ttf");
  fs::resize_file(folder / "Half.ttf", fs::file_size(installed) / 2);
  fs::copy_file(installed, file);
  ASSERT_TRUE(comesTrue(folder, font));
  const NSFont::Pointer kept = font();
  EXPECT_EQ(kept->normalFont(), kept);

  fs::remove(file);
  ASSERT_TRUE(comesTrue(folder, [&] { return !font(); }));
  EXPECT_EQ(kept->familyName(), "Liberation Mono");
  EXPECT_EQ(kept->normalFont(), kept);
  EXPECT_EQ(kept->italicFont(), nullptr) << "the family is gone";
  fs::copy_file(installed, file);
  EXPECT_TRUE(comesTrue(folder, [&] { return kept->italicFont() == kept; })) << "an empty variant is asked for again";
}

}  // namespace
