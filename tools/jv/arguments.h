/// Arguments that are to pass byte for byte.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace jv {

/// Adds positional arguments @p name, any number of them, that end up in @p values unchanged. An ordinary option of
/// many values would take "[a,b]" apart; one that still waits for its least number of values does not, and no policy
/// but "throw" minds that they never come.
inline CLI::Option* addUnchangedArguments(CLI::App& command, const std::string& name, std::vector<std::string>& values,
                                          const std::string& description) {
  constexpr int kMoreThanThereAre = 1 << 28;
  return command.add_option(name, values, description)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)  // first, since it changes what is expected
      ->expected(kMoreThanThereAre, -1)
      ->allow_extra_args(false)
      ->option_text("...");
}

}  // namespace jv
