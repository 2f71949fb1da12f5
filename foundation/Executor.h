/// How a facility is told where its calls are to run.
#pragma once

#include <functional>

namespace JVFoundation {

/// Runs a piece of work once, later, on some thread of its own, and returns at once. One that stands for a serial queue
/// runs the pieces one at a time, in the order in which they came. May be called on any thread.
using Executor = std::function<void(std::function<void()> work)>;

}  // namespace JVFoundation
