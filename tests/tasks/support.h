/// What the tests of tasks share: the programs, and what the process holds.
#pragma once

#include <JorvaneFoundation/dispatch/NSRunLoop.h>
#include <JorvaneFoundation/tasks/NSTask.h>

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>

namespace jvtest {

inline constexpr std::chrono::seconds kBound{30};

/// The path of one of the programs in tests/programs.
inline std::string program(const std::string& name) { return JV_TEST_PROGRAMS "/" + name; }

struct TaskOutcome {
  std::int32_t status = 0;
  std::optional<std::string> output;
  std::optional<std::string> error;

  friend bool operator==(const TaskOutcome&, const TaskOutcome&) = default;
  friend void PrintTo(const TaskOutcome& outcome, std::ostream* stream) {
    const auto show = [&](const char* name, const std::optional<std::string>& text) {
      *stream << name;
      if (!text)
        *stream << "none";
      else
        *stream << testing::PrintToString(text->substr(0, 400)) << " of " << text->size();
    };
    *stream << outcome.status;
    show(", output ", outcome.output);
    show(", error ", outcome.error);
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

/// Drains the main loop as a foreign loop does until @p done holds. @return whether it did before the bound.
template <class Condition>
bool drainUntil(Condition done) {
  auto& loop = JVFoundation::NSRunLoop::mainRunLoop();
  const auto end = std::chrono::steady_clock::now() + kBound;
  while (!done()) {
    if (std::chrono::steady_clock::now() > end) return false;
    pollfd wanted{loop.fileDescriptor(), POLLIN, 0};
    if (poll(&wanted, 1, 100) == 1) loop.drain();
  }
  return true;
}

inline std::ptrdiff_t entriesOf(const char* folder) {
  return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}
inline std::ptrdiff_t openDescriptors() { return entriesOf("/proc/self/fd"); }

/// Whether the process has a child, running or dead.
inline bool hasChildren() {
  siginfo_t info;
  return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

/// The soft limit of descriptors, for the time of a scope.
class DescriptorLimit {
 public:
  explicit DescriptorLimit(rlim_t limit) {
    getrlimit(RLIMIT_NOFILE, &before_);
    setrlimit(RLIMIT_NOFILE, std::array{rlimit{limit, before_.rlim_max}}.data());
  }
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;
  ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &before_); }

 private:
  rlimit before_;
};

}  // namespace jvtest
