#include "fonts.h"

#include <CLI/CLI.hpp>

#include <JorvaneFoundation/fonts/NSFont.h>
#include <JorvaneFoundation/platform/Modules.h>

#include "text_forms.h"

namespace jv {

void checkFontSize(const std::string& option, double size) {
  if (size > 0 && size <= kLargestFontSize) return;
  throw CLI::ValidationError(option, "a size is a number of points above 0, up to a million");
}

std::string moduleProblems() {
  std::string problems;
  for (const JVPlatform::ModuleState& module : JVPlatform::modules()) {
    if (!module.problem.empty()) problems += (problems.empty() ? "" : "; ") + printableName(module.problem);
  }
  return problems;
}

std::optional<std::string> whyThereAreNoFonts() {
  if (JVFoundation::NSFont::systemFontOfSize(12)) return std::nullopt;
  const std::string problems = moduleProblems();
  return problems.empty() ? "there are no fonts" : "fonts cannot be looked up: " + problems;
}

}  // namespace jv
