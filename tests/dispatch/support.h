/// What the tests of queues and the run loop share: waiting for events, and counting what the process holds.
#pragma once

#include <JorvaneFoundation/dispatch/DispatchQueue.h>
#include <JorvaneFoundation/dispatch/NSRunLoop.h>

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <string>
#include <thread>

#include <poll.h>

namespace jvtest {

inline constexpr std::chrono::seconds kBound{30};

/// Something that happens a number of times.
class Events {
 public:
  void happen() {
    const std::lock_guard lock(mutex_);
    ++count_;
    changed_.notify_all();
  }
  /// Whether it has happened @p count times before the bound.
  bool wait(int count = 1) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kBound, [&] { return count_ >= count; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int count_ = 0;
};

/// Waits until everything that @p queue holds has run.
inline void finish(const JVFoundation::DispatchQueue& queue) {
  Events done;
  queue.async([&] { done.happen(); });
  ASSERT_TRUE(done.wait());
}

inline bool isReadable(int descriptor, std::chrono::milliseconds bound = {}) {
  pollfd wanted{descriptor, POLLIN, 0};
  return poll(&wanted, 1, static_cast<int>(bound.count())) == 1;
}

/// Drains the main loop as a foreign loop does until @p done holds. @return whether it did before the bound.
template <class Condition>
bool drainUntil(Condition done) {
  JVFoundation::NSRunLoop& loop = JVFoundation::NSRunLoop::mainRunLoop();
  const auto end = std::chrono::steady_clock::now() + kBound;
  while (!done()) {
    if (std::chrono::steady_clock::now() > end) return false;
    if (isReadable(loop.fileDescriptor(), std::chrono::milliseconds(100))) loop.drain();
  }
  return true;
}

/// Drains until nothing is left that is due.
inline void drainAll() {
  JVFoundation::NSRunLoop& loop = JVFoundation::NSRunLoop::mainRunLoop();
  while (isReadable(loop.fileDescriptor())) loop.drain();
}

/// For what the system gives no event for, such as the end of a detached thread.
template <class Condition>
bool eventually(Condition holds) {
  const auto end = std::chrono::steady_clock::now() + kBound;
  while (!holds() && std::chrono::steady_clock::now() < end) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  return holds();
}

inline auto entriesOf(const char* folder) {
  return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}
inline auto descriptors() { return entriesOf("/proc/self/fd"); }

/// Threads of the library's own. A sanitizer may have threads as well.
inline int ownThreads() {
  int count = 0;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string name;
    std::getline(std::ifstream(thread.path() / "comm"), name);
    count += name.starts_with("jv-");
  }
  return count;
}

}  // namespace jvtest
