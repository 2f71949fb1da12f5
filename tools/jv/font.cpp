// jv font: what there is to know of a font, and a picture of it.

#include <CLI/CLI.hpp>
#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <JorvaneFoundation/fonts/NSFont.h>
#include <JorvaneFoundation/platform/Modules.h>
#include <JorvaneFoundation/platform/TextLayout.h>

#include "commands.h"
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
  for (const JVPlatform::ModuleState& module : JVPlatform::modules()) {
    if (module.problem.empty()) continue;
    std::cerr << "jv font: fonts cannot be looked up: " << module.problem << '\n';
    return jv::kFailed;
  }
  std::cerr << "jv font: no font has the name " << jv::printableName(options.name) << '\n';
  return jv::kNothing;
}

void showJson(const NSFont& font) {
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
  std::cout << line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

void show(const NSFont& font) {
  const auto text = [](const char* label, std::string_view value) {
    std::printf("%-12s %.*s\n", label, static_cast<int>(value.size()), value.data());
  };
  const auto number = [](const char* label, double value) { std::printf("%-12s %9.4f\n", label, value); };
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
  text("file", jv::printableName(font.platformFont().face->file));
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
  options.json ? showJson(*font) : show(*font);
  return std::cout.flush() && std::fflush(stdout) == 0 ? status : jv::kFailed;
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
    if (!std::isfinite(options->size) || options->size <= 0) {
      throw CLI::ValidationError("SIZE", "a size is a number of points above 0");
    }
    status = run(*options);
  });
}
