/// Many descriptors, an alarm and a wake-up call behind one descriptor.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>

namespace jv {

/// Every member may be called on any thread and restarts what a signal interrupts.
class EventPoll {
 public:
  /// What `wait` reports besides the tokens given to `watch`.
  static constexpr std::uint64_t kWake = 0;
  static constexpr std::uint64_t kAlarm = 1;
  static constexpr std::uint64_t kFirstToken = 2;

  /// Starts out woken. @throws std::system_error when the system has no descriptor left; nothing is leaked then.
  EventPoll();
  EventPoll(const EventPoll&) = delete;
  EventPoll& operator=(const EventPoll&) = delete;
  ~EventPoll();

  /// Readable as long as `wait` has something to report.
  int descriptor() const noexcept { return poll_; }

  /// Reports @p token from now on whenever @p descriptor can be read, has ended or failed.
  /// @throws std::system_error when the descriptor is closed, watched already, or no kind to wait for.
  void watch(int descriptor, std::uint64_t token);
  /// The same for a descriptor that tells of changes by exceptional conditions, such as a table of the kernel's.
  void watchExceptions(int descriptor, std::uint64_t token);
  /// Nothing when @p descriptor has been closed meanwhile.
  void unwatch(int descriptor) noexcept;

  /// Reports `kWake`, once.
  void wake() noexcept;
  /// Takes back what has not been reported yet.
  void clearWake() noexcept;

  /// Reports `kAlarm` from @p time on, until the alarm is set anew; none switches it off.
  void setAlarm(std::optional<std::chrono::steady_clock::time_point> time) noexcept;

  /// Writes the tokens of what is ready to @p tokens and returns how many. Waits for the first one if @p block holds;
  /// 0 only comes from a call that does not.
  std::size_t wait(std::span<std::uint64_t> tokens, bool block) noexcept;

  /// Closes the three descriptors in a forked child, which shares what is behind them with its parent. The object is
  /// dead from then on.
  void abandon() noexcept;

 private:
  int poll_ = -1;
  int wake_ = -1;
  int alarm_ = -1;
};

}  // namespace jv
