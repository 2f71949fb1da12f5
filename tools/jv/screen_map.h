/// A small picture of the screens, made of characters.
#pragma once

#include <optional>
#include <span>
#include <string>

#include <JorvaneFoundation/foundation/NSGeometry.h>

namespace jv {

struct MapScreen {
  NSRect frame;      ///< with y growing upwards
  std::string name;  ///< left out when it does not fit, or holds anything but printable ASCII
};

struct MapStyle {
  int columns = 72;  ///< what the picture may take up at most
  int rows = 20;
  bool lines = true;  ///< drawn with the line characters of Unicode, else with those of ASCII
};

/// Each screen as a box with its place in the list, from 1, its name and size in it, and @p mark as a star if it lies
/// among them. Whole lines; empty when there is nothing to draw.
[[nodiscard]] std::string mapOf(std::span<const MapScreen> screens, std::optional<NSPoint> mark, const MapStyle& style);

/// @p number in as few digits as bring it back: "1920", "1.5".
[[nodiscard]] std::string shortest(double number);

}  // namespace jv
