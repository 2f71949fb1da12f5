// Real layouts, with DejaVu and Liberation as the only fonts (see tests/support/with_fonts.py).
#include <JorvaneFoundation/platform/TextLayout.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include <endian.h>
#include <malloc.h>
#include <pango/pangoft2.h>

#include <JorvaneFoundation/fonts/NSString.h>

#include "support/bytes.h"

namespace {

using namespace JVFoundation;
using jv::test::repeated;
using JVPlatform::StyledText;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kTolerance = 1.0 / 512;  // points a line; a unit of Pango's is 1/1024

NSFont::Pointer sans() { return NSFont::fontWithName("Liberation Sans", 12); }
/// Each character is 6.0009765625 points wide.
NSFont::Pointer mono() { return NSFont::fontWithName("Liberation Mono", 10); }

double heightOf(std::string_view text, double width, const NSFont::Pointer& font) {
  return NSString::sizeWithWidth(text, width, {{NSFontAttributeName, font}}).height;
}

/// How many lines of its own font @p text takes.
double linesOf(std::string_view text, double width, const NSFont::Pointer& font) {
  const double lines = heightOf(text, width, font) / font->lineHeight();
  return std::abs(lines - std::round(lines)) < 1e-3 * lines ? std::round(lines) : lines;
}

TEST(TextLayout, BreaksLinesWhereTheyAreFull) {
  constexpr double kLetter = 6.0009765625;
  const struct {
    const char *why, *text;
    double width;
    int lines;
  } cases[] = {
      {"fits", "aaaa bbbb", 9 * kLetter, 1},
      {"a hair too wide", "aaaa bbbb", 8.99 * kLetter, 2},
      {"a blank at the end of a line takes no room", "aaaa bbbb", 4 * kLetter, 2},
      {"within a word that is too long, without a hyphen", "aaaaaaaaaaaa", 4 * kLetter, 3},
      {"no room at all", "abc", 0, 3},
      {"more than any integer", "aaaa bbbb cccc", 1e300, 1},
      {"at the end", "a\n", 100, 2},
      {"each kind of line's end", "a\nb\rc\r\nd\u2028e\u2029f", 100, 6},
      {"lines break in each paragraph", "aaaa bbbb\naaaa bbbb", 4 * kLetter, 4},
      {"no-break spaces hold", "aa\u00a0bb cc", 5 * kLetter, 2},
      {"a tab goes to the next multiple of eight", "a\tb", 8 * kLetter, 2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(linesOf(c.text, c.width, mono()), c.lines);
  }
}

TEST(TextLayout, ALineIsAsHighAsItsFont) {
  for (const char* name : {"Liberation Serif", "DejaVu Sans Condensed", "DejaVu Math TeX Gyre"}) {
    for (const double size : {0.01, 13.7, 1000.0, 1e15}) {
      SCOPED_TRACE(std::string(name) + " " + std::to_string(size));
      const NSFont::Pointer font = NSFont::fontWithName(name, size);
      EXPECT_NEAR(heightOf("Hxg", kInfinity, font) / font->lineHeight(), 1, 1e-3);
      // Where lines break does not depend on the size.
      EXPECT_EQ(linesOf("Hello wide world of text", 6 * size, font),
                linesOf("Hello wide world of text", 600, NSFont::fontWithName(name, 100)));
    }
  }
}

TEST(TextLayout, TheWidthComesBackAsItIs) {
  for (const double width : {100.25, 0.0, 1e300, -1.0, -kInfinity, std::nan("")}) {
    SCOPED_TRACE(width);
    const NSSize size = NSString::sizeWithWidth("ab", width);
    EXPECT_TRUE(size.width == width || (std::isnan(size.width) && std::isnan(width)));
    const int lines = width == 0 ? 2 : 1;  // what is no width is as wide as need be
    EXPECT_NEAR(size.height, lines * NSFont::systemFontOfSize(12)->lineHeight(), kTolerance) << "unrounded";
  }
}

TEST(TextLayout, SpacesParagraphsAsTheAttributesSay) {
  const double line = mono()->lineHeight();
  const TextAttributes attributes{{NSFontAttributeName, mono()}, {NSParagraphSpacingAttributeName, 5.0}};
  const double height = NSString::sizeWithWidth("a\r\nb\u2029c\u2028d\n", 100, attributes).height;
  EXPECT_NEAR(height, 5 * line + 15, 5 * kTolerance) << "lines that are no paragraphs";
  // What is missing or of another kind is the default.
  const double plain = heightOf("a\nb", 40, NSFont::systemFontOfSize(12));
  for (const TextAttributes& wrong : {TextAttributes{},
                                      {{NSFontAttributeName, NSFont::Pointer()}},
                                      {{NSFontAttributeName, 12.0}},
                                      {{NSParagraphSpacingAttributeName, NSTextAlignment::right}},
                                      {{NSParagraphSpacingAttributeName, -1.0}},
                                      {{NSParagraphSpacingAttributeName, kInfinity}}}) {
    EXPECT_EQ(NSString::sizeWithWidth("a\nb", 40, wrong).height, plain);
  }
}

TEST(TextLayout, OddBytesAreReplacementCharacters) {
  for (const auto& [odd, same] : {std::pair<std::string, std::string>{"a\xff", "a\ufffd"},
                                  {"\xed\xa0\x80", "\ufffd\ufffd\ufffd"},  // half of a pair
                                  {"\xc0\xaf", "\ufffd\ufffd"},            // longer than need be
                                  {std::string("\0\n\0", 3), "\ufffd\n\ufffd"},
                                  {repeated("\x80", 5000), repeated("\ufffd", 5000)}}) {
    for (const double width : {0.0, 50.0, kInfinity})
      EXPECT_EQ(heightOf(odd, width, sans()), heightOf(same, width, sans()));
  }
}

/// Texts in which every script breaks and joins in its own way.
const char* const kScripts[] = {
    "The quick brown fox jumps over the lazy dog, then rests; 12,345.67 times (or so).",
    "日本語の文章を折り返して表示するための試験です。句読点、括弧「」も禁則の対象になります。",
    "هذا نص عربي طويل لاختبار التفاف الأسطر مع أرقام 123 وكلمة English في الوسط.",
    "נוסח עברי עם abc ומספרים 456 בתוכו, ועוד קצת כדי שיהיו כמה שורות.",
    "นี่คือข้อความภาษาไทยสำหรับทดสอบการตัดบรรทัดโดยไม่มีช่องว่างระหว่างคำ",
    "e\u0301a\u0308o\u0302\u0323 n\u0303i\u0308 Z\u0351\u036b\u0343a\u0328l\u0334g\u0321o",
    "👨‍👩‍👧‍👦 family 👍🏽 hand 🇯🇵 flag ❤️ heart 😀😀😀😀😀😀",
};

/// What Pango says of a text in Liberation Sans that it lays out in one piece: its height, and its lines.
std::pair<double, int> pangoSize(std::string_view text, double width) {
  static PangoLayout* const layout = [] {
    PangoFontMap* const fonts = pango_ft2_font_map_new();
    pango_ft2_font_map_set_resolution(PANGO_FT2_FONT_MAP(fonts), 72, 72);
    PangoContext* const context = pango_font_map_create_context(fonts);
    pango_context_set_round_glyph_positions(context, FALSE);
    PangoLayout* const made = pango_layout_new(context);
    PangoFontDescription* const description = pango_font_description_from_string("Liberation Sans 12");
    pango_layout_set_font_description(made, description);
    pango_font_description_free(description);
    pango_layout_set_wrap(made, PANGO_WRAP_WORD_CHAR);
    PangoAttrList* const attributes = pango_attr_list_new();
    pango_attr_list_insert(attributes, pango_attr_insert_hyphens_new(FALSE));
    pango_layout_set_attributes(made, attributes);
    pango_attr_list_unref(attributes);
    return made;
  }();
  pango_layout_set_width(layout, std::isinf(width) ? -1 : static_cast<int>(width * PANGO_SCALE));
  pango_layout_set_text(layout, text.data(), static_cast<int>(text.size()));
  PangoRectangle extents;
  pango_layout_get_extents(layout, nullptr, &extents);
  return {static_cast<double>(extents.height) / PANGO_SCALE, pango_layout_get_line_count(layout)};
}

TEST(TextLayout, IsPangosOwnHoweverLongTheParagraph) {
  for (const std::string text : kScripts) {
    for (const std::string& paragraph : {text, repeated(text + ' ', 8000 / text.size())}) {
      for (const double width : {0.0, 40.0, 60.0, 97.5, 400.0, kInfinity}) {
        if (width < 60 && paragraph != text) continue;  // lines of a letter each may break elsewhere in long ones
        SCOPED_TRACE(text + " in " + std::to_string(width));
        const auto [height, lines] = pangoSize(paragraph, width);
        EXPECT_NEAR(heightOf(paragraph, width, sans()), height + lines * sans()->leading(), 1e-6);
      }
    }
  }
}

TEST(TextLayout, PilesOfMarksAreOneCharacter) {
  const std::string pile = std::string("e").append(repeated("\u0301", 20'000));
  for (const double width : {0.0, 60.0, 1e5, kInfinity}) EXPECT_EQ(linesOf(pile, width, mono()), 1) << width;
  // The letter and four words of five make a line, with the blank that is not seen at its end.
  EXPECT_EQ(linesOf(pile + repeated(" aaaa", 100), 21.5 * 6.0009765625, mono()), 25);
}

TEST(TextLayout, AnySizeAndWidthGoTogether) {
  for (const auto& [size, width] : {std::pair{0.5, 600.0}, {0.5, 9e3}, {12.0, 2e5}, {256.0, 2e6}, {1e6, 1e7}}) {
    SCOPED_TRACE(std::to_string(size) + " in " + std::to_string(width));
    constexpr double kAdvance = 1229.0 / 2048;
    const auto inLine = static_cast<std::size_t>(width / size / kAdvance);
    // A text some way from full lines, so that no rounding of a glyph's width matters.
    const std::size_t lines = std::max<std::size_t>(4, 5'000 / inLine);
    const std::string text = repeated("m", lines * inLine - inLine / 2);
    const double exact = linesOf(text, width, NSFont::fontWithName("Liberation Mono", size));
    EXPECT_NEAR(exact, static_cast<double>(lines), 1 + 2e-3 * static_cast<double>(lines));
  }
}

TEST(TextLayout, HugeTextsAreLaidOut) {
  for (const std::size_t count : {20UL, 1'000UL, 200'000UL}) {
    std::string tabs(count, '\t');
    tabs.front() = tabs.back() = 'a';
    for (const double width : {0.0, 400.0}) EXPECT_EQ(linesOf(tabs, width, mono()), 2) << "beyond a line's end";
  }
  constexpr std::size_t kSize = 2'000'000;
  EXPECT_EQ(linesOf(repeated("aaaa bbbb ", kSize / 10), kInfinity, mono()), 1);
  EXPECT_EQ(linesOf(repeated(std::string(199, 'a') + '\n', kSize / 200), 1e6, mono()), kSize / 200 + 1);
}

TEST(TextLayout, ThreadsGetTheSameSizesAndLeaveNothingBehind) {
  std::vector<double> expected;
  for (const char* text : kScripts) expected.push_back(heightOf(text, 80, sans()));
  std::size_t used[2];
  for (std::size_t& each : used) {
    // The first texts of a thread are the critical ones: it opens its fonts then.
    for (int round = 0; round < 20; ++round) {
      std::vector<std::jthread> threads;
      for (std::size_t thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&expected, thread] {
          for (std::size_t i = 0; i < expected.size(); ++i) {
            const std::size_t which = (i + thread) % expected.size();
            EXPECT_EQ(heightOf(kScripts[which], 80, sans()), expected[which]) << kScripts[which];
          }
        });
      }
    }
    each = mallinfo2().uordblks;
  }
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // they have an allocator of their own
  // Each of the 80 threads would leave more than a million bytes.
  EXPECT_LT(static_cast<double>(used[1]) - static_cast<double>(used[0]), 5'000'000);
#endif
}

TEST(TextLayout, DrawsPictures) {
  const auto layout = JVPlatform::textLayout();
  JVPlatform::TextStyle style;
  style.font = mono()->platformFont();
  const StyledText texts[] = {{"one\ntwo", style}, {"three", style}};
  const auto picture = layout->picture(texts, 100, 10, 2.5);
  ASSERT_TRUE(picture && picture->size() > 24);
  std::uint32_t sides[2];
  std::memcpy(sides, picture->data() + 16, sizeof sides);
  EXPECT_EQ(be32toh(sides[0]), 250);
  EXPECT_NEAR(be32toh(sides[1]), (3 * mono()->lineHeight() + 20) * 2.5, 1);
  const StyledText tall[] = {{"a\nb", {NSFont::fontWithName("DejaVu Sans", 1e5)->platformFont(), 0, {}}}};
  EXPECT_FALSE(layout->picture(tall, 100, 0, 1));
  for (const double wrong : {-1.0, 1e6, kInfinity, std::nan("")}) {
    EXPECT_FALSE(layout->picture(texts, wrong, 10, 1)) << "width";
    EXPECT_FALSE(layout->picture(texts, 100, wrong, 1)) << "margin";
    EXPECT_FALSE(layout->picture(texts, 100, 10, wrong)) << "scale";
  }
}

}  // namespace
