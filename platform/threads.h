/// What `dispatch/` asks of the system about threads and processes.
#pragma once

#include <chrono>

namespace jv {

/// Whether the calling thread is the process's initial thread.
bool isMainThread() noexcept;

/// Starts a detached thread that calls `entry(argument)`, with all signals blocked that are not the thread's own fault,
/// so that the application's signal handlers keep running on the application's threads.
/// @param name  for debuggers and process lists, at most 15 bytes.
/// @return false when the system refuses one more thread.
bool startThread(const char* name, void (*entry)(void*), void* argument) noexcept;

/// Names the processor time of the calling thread; valid as long as the thread runs.
int threadClock() noexcept;
/// Processor time that the thread of @p clock has used so far.
std::chrono::nanoseconds readThreadClock(int clock) noexcept;

/// From now on `isForkedChild` holds in children that are forked without exec, and @p inChild runs in each of them.
void watchForks(void (*inChild)()) noexcept;
bool isForkedChild() noexcept;

}  // namespace jv
