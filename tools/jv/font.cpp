// jv font: what there is to know of a font, and a picture of it.

#include <CLI/CLI.hpp>
#include <array>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <JorvaneFoundation/fonts/NSFont.h>
#include <JorvaneFoundation/platform/TextLayout.h>

#include "commands.h"
#include "fonts.h"
#include "output.h"
#include "text_forms.h"

namespace {

using JVFoundation::NSFont;

struct Options {
  std::string name;
  double size = 0;
  std::string variant;
  std::string specimen;
  bool json = false;
};

struct Variant {
  const char* option;
  const char* key;
  NSFont::Pointer (NSFont::*of)() const;
};
constexpr std::array kVariants{
    Variant{"normal", "normal", &NSFont::normalFont},
    Variant{"bold", "bold", &NSFont::boldFont},
    Variant{"italic", "italic", &NSFont::italicFont},
    Variant{"bold-italic", "boldItalic", &NSFont::boldItalicFont},
};

NSFont::Pointer fontOf(const Options& options) {
  const NSFont::Pointer font = NSFont::fontWithName(options.name, options.size);
  if (!font || options.variant.empty()) return font;
  return ((*font).*std::ranges::find(kVariants, options.variant, [](const Variant& v) { return v.option; })->of)();
}

/// Says why there is no font, and gives the exit status.
int complain(const Options& options) {
  if (const auto why = jv::whyThereAreNoFonts()) {
    std::cerr << "jv font: " << *why << '\n';
    return jv::kFailed;
  }
  std::cerr << "jv font: no font has the name " << jv::printableName(options.name) << '\n';
  return jv::kNothing;
}

std::string jsonOf(const NSFont& font) {
  nlohmann::ordered_json line;
  line["name"] = font.fontName();
  line["family"] = font.familyName();
  line["displayName"] = font.displayName();
  line["fullDisplayName"] = font.fullDisplayName();
  line["pointSize"] = font.pointSize();
  line["ascender"] = font.ascender();
  line["descender"] = font.descender();
  line["leading"] = font.leading();
  line["lineHeight"] = font.lineHeight();
  for (const Variant& variant : kVariants) {
    const NSFont::Pointer other = (font.*variant.of)();
    line["variants"][variant.key] = other ? nlohmann::ordered_json(other->fontName()) : nullptr;
  }
  line["file"] = font.platformFont().face->file;
  return line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
}

std::string textOf(const NSFont& font) {
  constexpr std::size_t kColumn = 13;
  std::string lines;
  const auto text = [&lines](std::string label, std::string_view value) {
    label.resize(kColumn, ' ');
    lines += label + jv::printableName(value) + '\n';  // a font file says what it likes
  };
  const auto number = [&lines](std::string label, double value) {
    label.resize(kColumn, ' ');
    std::array<char, 64> digits;
    std::snprintf(digits.data(), digits.size(), "%9.4f\n", value);
    lines += label + digits.data();
  };
  text("name", font.fontName());
  text("family", font.familyName());
  text("shown as", font.displayName());
  text("with size", font.fullDisplayName());
  number("size", font.pointSize());
  number("ascender", font.ascender());
  number("descender", font.descender());
  number("leading", font.leading());
  number("line height", font.lineHeight());
  for (const Variant& variant : kVariants) {
    const NSFont::Pointer other = (font.*variant.of)();
    text(variant.option, other ? other->fontName() : "none");
  }
  text("file", font.platformFont().face->file);
  return lines;
}

/// The font at other sizes and in its other styles, as a PNG file; none when it cannot be drawn.
std::optional<std::vector<std::uint8_t>> specimenOf(const NSFont& font) {
  constexpr double kWidth = 640;
  constexpr double kMargin = 24;
  constexpr double kScale = 2;
  constexpr double kSpace = 6;
  constexpr std::string_view kCharacters =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZ\nabcdefghijklmnopqrstuvwxyz\n0123456789 .,:;!?'\"()[]{} &@#%+-=/*\n";
  constexpr std::string_view kSentence = "The quick brown fox jumps over the lazy dog.";

  std::vector<JVPlatform::StyledText> texts;
  std::vector<std::string> lines;
  lines.reserve(1 + kVariants.size());  // the texts are views into it
  const auto add = [&](std::string_view text, JVPlatform::Font styled, std::optional<double> size = {}) {
    if (size) styled.pointSize = *size;
    texts.push_back({text, {styled, kSpace, JVPlatform::NSTextAlignment::left}});
  };
  const JVPlatform::Font& own = font.platformFont();
  add(lines.emplace_back(font.displayName() + "\n"), own, 28);
  add(kCharacters, own);
  for (const double size : {9, 12, 18, 24, 36, 48}) add(kSentence, own, size);
  for (const Variant& variant : kVariants) {
    if (const NSFont::Pointer other = (font.*variant.of)()) {
      add(lines.emplace_back(std::string("\n") + other->fontName()), other->platformFont());
    }
  }
  return JVPlatform::textLayout()->picture(texts, kWidth, kMargin, kScale);
}

int writeSpecimen(const NSFont& font, const std::string& file) {
  const auto picture = specimenOf(font);
  if (!picture) {
    std::cerr << "jv font: the specimen cannot be drawn, or is too large\n";
    return jv::kFailed;
  }
  std::ofstream stream(file, std::ios::binary);
  stream.write(reinterpret_cast<const char*>(picture->data()), static_cast<std::streamsize>(picture->size()));
  if (stream.flush()) return jv::kDone;
  std::cerr << "jv font: cannot write " << jv::printableName(file) << '\n';
  return jv::kFailed;
}

int run(const Options& options) {
  const NSFont::Pointer font = fontOf(options);
  if (!font) return complain(options);
  const int status = options.specimen.empty() ? jv::kDone : writeSpecimen(*font, options.specimen);
  jv::Output output;
  output.write(options.json ? jsonOf(*font) : textOf(*font));
  if (output.flush()) return status;
  std::cerr << "jv font: standard output: " << std::strerror(output.error()) << '\n';
  return jv::kFailed;
}

constexpr const char* kFooter = R"(NAME is a PostScript name (DejaVuSans-Bold), a full name (DejaVu Sans Bold) or a
family (DejaVu Sans), and is compared exactly. A NAME that begins .SFNS stands
for the font of the user interface, and for its bold face when it ends in Bold.)";

}  // namespace

void jv::addFontCommand(CLI::App& app, int& status) {
  CLI::App* const command = app.add_subcommand("font", "The metrics of a font, its variants, and a picture of it");
  command->footer(kFooter);
  const auto options = std::make_shared<Options>();
  command->add_option("NAME", options->name, "Name of the font")->required();
  command->add_option("SIZE", options->size, "Size in points")->required();
  std::vector<std::string> variants;
  for (const Variant& variant : kVariants) variants.emplace_back(variant.option);
  command->add_option("--variant", options->variant, "Look at another style of its family")
      ->check(CLI::IsMember(variants));
  command->add_option("--specimen", options->specimen, "Write a picture of the font to a PNG file")->option_text("F");
  command->add_flag("--json", options->json, "One line of JSON");
  command->callback([options, &status] {
    jv::checkFontSize("SIZE", options->size);
    status = run(*options);
  });
}
