/// What the tests of tasks share: both ways to run a tool.
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

using Text = std::optional<std::string>;
using Words = std::vector<std::string>;

struct TaskOutcome {
  std::int32_t status = 0;
  Text output;
  Text error;

  friend bool operator==(const TaskOutcome&, const TaskOutcome&) = default;
  friend void PrintTo(const TaskOutcome& outcome, std::ostream* stream) {
    *stream << outcome.status;
    for (const auto& text : {outcome.output, outcome.error}) {
      *stream << ", " << (text ? testing::PrintToString(text->substr(0, 400)) : "none");
      if (text) *stream << " of " << text->size();
    }
  }
};

/// A handler that keeps what it is told in @p outcomes.
inline auto keepIn(std::vector<TaskOutcome>& outcomes) {
  return [&](std::int32_t status, Text output, Text error) {
    outcomes.push_back({status, std::move(output), std::move(error)});
  };
}

inline TaskOutcome launchSync(const std::string& path, const Words& arguments = {}, const Text& input = {},
                              const Text& directory = {}) {
  const auto result = JVFoundation::NSTask::launchSyncWithPath(path, arguments, input, directory);
  const auto text = [&](std::string_view key) { return result.text(key) ? Text(*result.text(key)) : std::nullopt; };
  return {result.number("JVTaskStatus")->intValue(), text("JVTaskOutput"), text("JVTaskError")};
}

inline TaskOutcome launchAsync(const std::string& path, const Words& arguments = {}, const Text& input = {},
                               const Text& directory = {}) {
  std::vector<TaskOutcome> outcomes;
  JVFoundation::NSTask::launchAsyncWithPath(path, arguments, input, directory, keepIn(outcomes));
  EXPECT_TRUE(drainUntil([&] { return !outcomes.empty(); }));
  return outcomes.empty() ? TaskOutcome{-1, {}, "no reply"} : outcomes.front();
}

/// Tests of both ways. None may leave a descriptor or a child behind.
class BothWays : public testing::TestWithParam<decltype(&launchSync)> {
 protected:
  static TaskOutcome launch(const std::string& path, const Words& arguments = {}, const Text& input = {},
                            const Text& directory = {}) {
    return GetParam()(path, arguments, input, directory);
  }
  void SetUp() override {
    launch("/bin/true");  // threads and descriptors that stay are there from now on
    descriptors_ = descriptors();
  }
  void TearDown() override {
    EXPECT_EQ(descriptors(), descriptors_);
    siginfo_t info;
    EXPECT_NE(waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT), 0) << "a child is left";
  }

 private:
  std::ptrdiff_t descriptors_ = 0;
};

}  // namespace jvtest
