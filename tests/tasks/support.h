/// What the tests of tasks share: the programs, and what the process holds.
#pragma once

#include <JorvaneFoundation/tasks/NSTask.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <sys/wait.h>

#include "dispatch/support.h"

namespace jvtest {

/// The path of one of the programs in tests/programs.
inline std::string program(const std::string& name) { return JV_TEST_PROGRAMS "/" + name; }

struct TaskOutcome {
  std::int32_t status = 0;
  std::optional<std::string> output;
  std::optional<std::string> error;

  friend bool operator==(const TaskOutcome&, const TaskOutcome&) = default;
  friend void PrintTo(const TaskOutcome& outcome, std::ostream* stream) {
    *stream << outcome.status;
    for (const auto& text : {outcome.output, outcome.error}) {
      *stream << ", " << (text ? testing::PrintToString(text->substr(0, 400)) : "none");
      if (text) *stream << " of " << text->size();
    }
  }
};

inline TaskOutcome outcomeOf(const JVFoundation::Value& result) {
  const auto text = [&](std::string_view key) {
    const std::string* const found = result.text(key);
    return found ? std::optional(*found) : std::nullopt;
  };
  const JVFoundation::NSNumber* const status = result.number("JVTaskStatus");
  return {status ? status->intValue() : -1, text("JVTaskOutput"), text("JVTaskError")};
}

/// A handler that keeps what it is told in @p outcomes.
inline auto keepIn(std::vector<TaskOutcome>& outcomes) {
  return [&](std::int32_t status, std::optional<std::string> output, std::optional<std::string> error) {
    outcomes.push_back({status, std::move(output), std::move(error)});
  };
}

/// Whether the process has a child, running or dead.
inline bool hasChildren() {
  siginfo_t info;
  return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

}  // namespace jvtest
