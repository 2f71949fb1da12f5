// jv text-size: the room that a text takes.

#include <CLI/CLI.hpp>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include <JorvaneFoundation/fonts/NSString.h>

#include "commands.h"
#include "fonts.h"
#include "output.h"
#include "text_forms.h"

namespace {

using namespace JVFoundation;

struct Options {
  std::string text;
  double width = 0;
  std::string font;
  double size = 12;
  double paragraphSpacing = 0;
  bool json = false;
};

std::string lineOf(NSSize size, bool json) {
  if (json) return nlohmann::ordered_json{{"width", size.width}, {"height", size.height}}.dump() + '\n';
  std::array<char, 400> line;  // the largest number has 309 digits
  std::snprintf(line.data(), line.size(), "%g x %.4f\n", size.width, size.height);
  return line.data();
}

int fail(std::string_view why) {
  std::cerr << "jv text-size: " << why << '\n';
  return jv::kFailed;
}

int run(const Options& options) {
  const NSFont::Pointer font =
      options.font.empty() ? NSFont::systemFontOfSize(options.size) : NSFont::fontWithName(options.font, options.size);
  if (!font) {
    if (const auto why = jv::whyThereAreNoFonts()) return fail(*why);
    std::cerr << "jv text-size: no font has the name " << jv::printableName(options.font) << '\n';
    return jv::kNothing;
  }
  const std::string text =
      options.text == "-" ? std::string(std::istreambuf_iterator<char>(std::cin), {}) : options.text;
  const NSSize size = NSString::sizeWithWidth(
      text, options.width, {{NSFontAttributeName, font}, {NSParagraphSpacingAttributeName, options.paragraphSpacing}});
  if (!(size.height > 0)) return fail("nothing can be laid out: " + jv::moduleProblems());
  jv::Output output;
  output.write(lineOf(size, options.json));
  return output.flush() ? jv::kDone : fail(std::string("standard output: ") + std::strerror(output.error()));
}

/// What is wrong with numbers that were read as such.
void check(const Options& options) {
  jv::checkFontSize("--size", options.size);
  if (!(options.paragraphSpacing >= 0 && options.paragraphSpacing <= jv::kLargestFontSize)) {
    throw CLI::ValidationError("--paragraph-spacing", "a space is a number of points from 0 up to a million");
  }
  if (options.json && !std::isfinite(options.width)) {
    throw CLI::ValidationError("--width", "JSON has no such number; lines break nowhere in a negative width, too");
  }
}

constexpr const char* kFooter = R"(The width is the one that was asked for. In a width that is negative or infinite
lines break only where the text says so.)";

}  // namespace

void jv::addTextSizeCommand(CLI::App& app, int& status) {
  CLI::App* const command = app.add_subcommand("text-size", "The width and height of a text that is laid out in lines");
  command->footer(kFooter);
  const auto options = std::make_shared<Options>();
  const auto notEmpty = [](const std::string& value) { return value.empty() ? "it is empty" : ""; };
  command->add_option("TEXT", options->text, "The text, UTF-8; - is standard input")->required();
  command->add_option("--width", options->width, "Width of the lines, in points")
      ->required()
      ->check(notEmpty)
      ->option_text("W REQUIRED");
  command->add_option("--font", options->font, "Name of the font; without it, that of the user interface")
      ->option_text("NAME");
  command->add_option("--size", options->size, "Size of the font in points; 12 unless given")
      ->check(notEmpty)
      ->option_text("S");
  command->add_option("--paragraph-spacing", options->paragraphSpacing, "Points between paragraphs")
      ->check(notEmpty)
      ->option_text("P");
  command->add_flag("--json", options->json, "One line of JSON");
  command->callback([options, &status] {
    check(*options);
    status = run(*options);
  });
}
