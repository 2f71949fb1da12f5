// jv text-size: the room that a text takes.

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include <JorvaneFoundation/fonts/NSString.h>
#include <JorvaneFoundation/platform/Modules.h>

#include "commands.h"
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

int run(const Options& options) {
  const NSFont::Pointer font =
      options.font.empty() ? NSFont::systemFontOfSize(options.size) : NSFont::fontWithName(options.font, options.size);
  if (!font && !options.font.empty()) {
    std::cerr << "jv text-size: no font has the name " << jv::printableName(options.font) << '\n';
    return jv::kNothing;
  }
  const std::string text =
      options.text == "-" ? std::string(std::istreambuf_iterator<char>(std::cin), {}) : options.text;
  const NSSize size = NSString::sizeWithWidth(
      text, options.width, {{NSFontAttributeName, font}, {NSParagraphSpacingAttributeName, options.paragraphSpacing}});
  if (options.json) {
    std::cout << nlohmann::ordered_json{{"width", size.width}, {"height", size.height}}.dump() << '\n';
  } else {
    std::printf("%g x %.4f\n", size.width, size.height);
  }
  if (!std::cout.flush() || std::fflush(stdout) != 0) return jv::kFailed;
  if (size.height > 0) return jv::kDone;
  std::string reason = "there are no fonts";
  for (const JVPlatform::ModuleState& module : JVPlatform::modules()) {
    if (!module.problem.empty()) reason = module.problem;
  }
  std::cerr << "jv text-size: nothing can be laid out: " << reason << '\n';
  return jv::kFailed;
}

constexpr const char* kFooter = R"(The width is the one that was asked for. In a width that is negative or infinite
lines break only where the text says so.)";

}  // namespace

void jv::addTextSizeCommand(CLI::App& app, int& status) {
  CLI::App* const command = app.add_subcommand("text-size", "The width and height of a text that is laid out in lines");
  command->footer(kFooter);
  const auto options = std::make_shared<Options>();
  command->add_option("TEXT", options->text, "The text, UTF-8; - is standard input")->required();
  command->add_option("--width", options->width, "Width of the lines, in points")->required()->option_text("W");
  command->add_option("--font", options->font, "Name of the font; without it, that of the user interface")
      ->option_text("NAME");
  command->add_option("--size", options->size, "Size of the font in points; 12 unless given")->option_text("S");
  command->add_option("--paragraph-spacing", options->paragraphSpacing, "Points between paragraphs")->option_text("P");
  command->add_flag("--json", options->json, "One line of JSON");
  command->callback([options, &status] {
    if (!std::isfinite(options->size) || options->size <= 0) {
      throw CLI::ValidationError("--size", "a size is a number of points above 0");
    }
    status = run(*options);
  });
}
