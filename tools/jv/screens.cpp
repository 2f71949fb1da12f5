// jv screens: where the displays lie, and which one a point belongs to.

#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <JorvaneFoundation/geometry/screen_lookup.h>
#include <JorvaneFoundation/platform/Modules.h>

#include "commands.h"
#include "output.h"
#include "screen_map.h"
#include "text_forms.h"

namespace jv {
namespace {

using JVFoundation::NSScreen;
using ScreenList = std::vector<std::shared_ptr<const NSScreen>>;

struct Options {
  std::string at;
  bool json = false;
  bool map = false;
};

/// A screen to tell about.
struct Found {
  std::size_t number;  ///< its place in the list, from 1
  std::shared_ptr<const NSScreen> screen;
  std::optional<bool> inside;  ///< whether the point that was asked for lies on it
};

/// The number at the front of @p text, which is taken away there.
std::optional<double> takeNumber(std::string_view& text) {
  double number = 0;
  const auto end = std::from_chars(text.data(), text.data() + text.size(), number);
  if (end.ec != std::errc() || !std::isfinite(number)) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end.ptr - text.data()));
  return number;
}

/// The point that @p text means: "1440,10.5".
std::optional<NSPoint> pointOf(std::string_view text) {
  const auto x = takeNumber(text);
  if (!x || !text.starts_with(',')) return std::nullopt;
  text.remove_prefix(1);
  const auto y = takeNumber(text);
  if (!y || !text.empty()) return std::nullopt;
  return NSPoint{*x, *y};
}

bool holds(const NSRect& frame, NSPoint point) {
  return frame.origin.x <= point.x && point.x < frame.origin.x + frame.size.width && frame.origin.y <= point.y &&
         point.y < frame.origin.y + frame.size.height;
}

std::vector<Found> find(const ScreenList& screens, std::optional<NSPoint> point) {
  std::vector<Found> found;
  const auto wanted = point ? JVScreenForPoint(*point, screens) : nullptr;
  for (std::size_t i = 0; i < screens.size(); ++i) {
    if (!point) found.push_back({i + 1, screens[i], std::nullopt});
    if (point && screens[i] == wanted) found.push_back({i + 1, wanted, holds(wanted->frame(), *point)});
  }
  return found;
}

std::string jsonOf(const Found& found) {
  const NSRect frame = found.screen->frame();
  nlohmann::ordered_json line;
  line["number"] = found.number;
  line["name"] = found.screen->name();
  line["x"] = frame.origin.x;
  line["y"] = frame.origin.y;
  line["width"] = frame.size.width;
  line["height"] = frame.size.height;
  line["scale"] = found.screen->scale();
  if (found.inside) line["inside"] = *found.inside;
  return line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
}

/// Columns as wide as their longest text.
std::string tableOf(const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  std::string table;
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) line += row[i] + std::string(widths[i] - row[i].size() + 2, ' ');
    line.erase(line.find_last_not_of(' ') + 1);
    table += line + '\n';
  }
  return table;
}

std::string textOf(const std::vector<Found>& all) {
  std::vector<std::vector<std::string>> rows;
  for (const Found& found : all) {
    const NSRect frame = found.screen->frame();
    const std::string& name = found.screen->name();
    rows.push_back({std::to_string(found.number), name.empty() ? "-" : printableName(name),
                    shortest(frame.size.width) + "x" + shortest(frame.size.height),
                    "at " + shortest(frame.origin.x) + "," + shortest(frame.origin.y),
                    "scale " + shortest(found.screen->scale()), found.inside.value_or(true) ? "" : "nearest"});
  }
  return tableOf(rows);
}

/// As wide as the terminal, and with its characters.
MapStyle styleOfTerminal() {
  MapStyle style;
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
    style.columns = std::clamp<int>(size.ws_col, 20, style.columns);
  }
  std::setlocale(LC_CTYPE, "");
  style.lines = std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
  return style;
}

std::string drawn(const ScreenList& screens, std::optional<NSPoint> point) {
  std::vector<MapScreen> boxes;
  for (const auto& screen : screens) boxes.push_back({screen->frame(), screen->name()});
  return mapOf(boxes, point, styleOfTerminal());
}

int complainOfNone() {
  std::string line = "jv screens: no display";
  for (const char* const variable : {"WAYLAND_DISPLAY", "DISPLAY"}) {
    const char* const value = std::getenv(variable);
    line += std::string("; ") + variable + (value && *value ? " is " + printableName(value) : " is not set");
  }
  std::fprintf(stderr, "%s\n", line.c_str());
  for (const JVPlatform::ModuleState& module : JVPlatform::modules()) {
    if (!module.problem.empty()) std::fprintf(stderr, "jv screens: %s\n", module.problem.c_str());
  }
  return kNothing;
}

int run(const Options& options) {
  const auto point = pointOf(options.at);
  const ScreenList screens = JVScreens();
  if (screens.empty()) return complainOfNone();
  const std::vector<Found> found = find(screens, point);
  Output output;
  if (options.json) {
    for (const Found& each : found) output.write(jsonOf(each));
  } else {
    if (options.map || isatty(STDOUT_FILENO) != 0) output.write(drawn(screens, point));
    output.write(textOf(found));
  }
  if (output.flush()) return kDone;
  std::fprintf(stderr, "jv screens: standard output: %s\n", std::strerror(output.error()));
  return kFailed;
}

constexpr const char* kFooter =
    R"text(Prints a line a screen, the primary one first: its number, name, size, place and scale. Sizes and places are in
points; y grows upwards, and the lower left corner of the primary screen is 0,0.

With --at there is one line, about the screen that the point lies on, or the one nearest to it, which the word "nearest"
then tells. On a terminal, a map of the screens comes before the lines, with the point as a star.

With --json a line is an object: number, name, x, y, width, height, scale, and with --at also inside.

Without a display the exit status is 1.)text";

void check(const Options& options) {
  if (!options.at.empty() && !pointOf(options.at)) {
    throw CLI::ValidationError("--at", "\"" + options.at + "\" is no point; write two numbers as X,Y");
  }
}

}  // namespace

void addScreensCommand(CLI::App& app, int& status) {
  CLI::App* command = app.add_subcommand("screens", "Where the displays lie, and which one a point belongs to");
  const auto options = std::make_shared<Options>();
  command->add_option("--at", options->at, "Only the screen at this point, or the one nearest to it")
      ->option_text("X,Y")
      ->check([](const std::string& text) { return text.empty() ? "it is empty" : ""; });
  command->add_flag("--map", options->map, "Draw the map also where the output is no terminal");
  command->add_flag("--json", options->json, "An object a line, for machines");
  command->footer(kFooter);
  command->callback([options, &status] {
    check(*options);
    status = run(*options);
  });
}

}  // namespace jv
