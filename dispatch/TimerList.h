/// Timers in the order in which they are due.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>

namespace jv {

/// Knows no clock: the caller says what time it is. One thread at a time.
class TimerList {
 public:
  using Time = std::chrono::steady_clock::time_point;
  using Interval = std::chrono::steady_clock::duration;
  using Handler = std::shared_ptr<const std::function<void()>>;

  /// @param id      not in use.
  /// @param repeat  0 for a timer that is due once.
  void add(std::uint64_t id, Time due, Interval repeat, Handler handler);
  /// The handler of the timer that is gone now, for the caller to destroy; none when there is no such timer.
  Handler remove(std::uint64_t id) noexcept;

  /// When the next one is due.
  [[nodiscard]] std::optional<Time> next() const noexcept;
  /// Takes the first one that is due by @p now; a repeating one is due again later than @p now, in step.
  Handler takeDue(Time now);

 private:
  struct Timer {
    Interval repeat;
    Handler handler;
  };

  std::map<std::pair<Time, std::uint64_t>, Timer> timers_;
  std::unordered_map<std::uint64_t, Time> due_;  // of each timer
};

}  // namespace jv
