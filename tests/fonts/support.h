/// Names of fonts and of their variants, which tests compare.
#pragma once

#include <gtest/gtest.h>

#include <span>
#include <string>

#include <JorvaneFoundation/fonts/NSFont.h>

namespace jv::test {

inline std::string nameOf(const JVFoundation::NSFont::Pointer& font) { return font ? font->fontName() : "none"; }

struct Variants {
  const char *why, *name, *normal, *bold, *italic, *boldItalic;
};

/// Holds the variants of each font against the names that are expected.
inline void expectVariants(std::span<const Variants> cases) {
  for (const Variants& c : cases) {
    SCOPED_TRACE(c.why);
    const auto font = JVFoundation::NSFont::fontWithName(c.name, 11.5);
    ASSERT_TRUE(font);
    EXPECT_EQ(nameOf(font->boldFont()), c.bold);  // before the normal font was asked for
    EXPECT_EQ(nameOf(font->normalFont()), c.normal);
    EXPECT_EQ(nameOf(font->italicFont()), c.italic);
    EXPECT_EQ(nameOf(font->boldItalicFont()), c.boldItalic);
    EXPECT_EQ(font->boldItalicFont()->pointSize(), 11.5);
  }
}

}  // namespace jv::test
