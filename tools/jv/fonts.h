/// What the commands about fonts share.
#pragma once

#include <optional>
#include <string>

namespace jv {

/// In points. Larger ones make sums that no number holds.
inline constexpr double kLargestFontSize = 1e6;

/// Throws a usage error about @p option unless @p size is that of a font.
void checkFontSize(const std::string& option, double size);

/// What keeps the library's modules from being loaded, ready to print; empty when all are that were needed.
std::string moduleProblems();

/// Why this machine has no font at all, ready to print; none when it has one.
std::optional<std::string> whyThereAreNoFonts();

}  // namespace jv
