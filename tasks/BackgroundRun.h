/// Runs of tools that nobody waits for.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tasks/TaskRun.h"

namespace jv {

/// A `TaskRequest` that owns what it is made of.
struct OwnedTaskRequest {
  std::string path;
  std::vector<std::string> arguments;
  std::string input;
  std::optional<std::string> directory;
};

/// Starts the run and returns at once. @p deliver is called once, on a thread of the platform's own that it must not
/// block: when the tool has ended, or could not be launched.
///
/// As many tools run at the same time as there are descriptors and processes for. The others wait, in order, until one
/// of them ends; want of these is a failure only when no tool in the background is there to wait for.
void runTaskInBackground(OwnedTaskRequest request, std::function<void(TaskResult)> deliver);

}  // namespace jv
