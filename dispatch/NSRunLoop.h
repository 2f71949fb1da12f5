/// The main thread's loop: the main queue, timers and descriptors behind one pollable descriptor.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

#include <JorvaneFoundation/foundation/JVExport.h>

namespace JVFoundation {

/// Work for the main thread waits here until that thread runs or drains the loop.
///
/// A program without a loop of its own calls `run()`. One that has a loop (GLib, Qt, sd-event, libuv, Asio) watches
/// `fileDescriptor()` for reading, level-triggered, and calls `drain()` whenever it is readable. An idle loop costs
/// nothing.
///
/// The main thread is the process's initial thread. Handlers run there alone and must not let an exception out: that
/// ends the process. They may run or drain the loop again, as a dialog does; what waits is then run by the inner loop,
/// in the same order.
///
/// In a child that was forked without exec the loop is dead: it has no descriptor, runs nothing and takes no wake-up
/// away from its parent.
class JV_EXPORT NSRunLoop {
 public:
  using Handler = std::function<void()>;
  enum class Timer : std::uint64_t {};   ///< Names a timer. Never 0, never used twice.
  enum class Source : std::uint64_t {};  ///< Names a source. Never 0, never used twice.

  /// The only one. It lives until the process is gone, static destructors included.
  [[nodiscard]] static NSRunLoop& mainRunLoop() noexcept;
  /// Whether the calling thread is the process's initial thread.
  [[nodiscard]] static bool isMainThread() noexcept;

  NSRunLoop(const NSRunLoop&) = delete;
  NSRunLoop& operator=(const NSRunLoop&) = delete;

  /// Waits and drains until `stop()`.
  /// @throws NSException off the main thread; std::system_error when the system has no descriptor left.
  void run();
  /// Ends the innermost `run()` once the handlers that are due have run. Any thread. Remembered when none is running:
  /// the next one then ends after its first round. Not for signal handlers: what a loop is to do about a signal is a
  /// source on a signalfd.
  void stop() noexcept;

  /// Readable while there is something to drain. Owned by the loop. Any thread.
  /// @return -1 in a forked child. @throws std::system_error when the system has no descriptor left.
  [[nodiscard]] int fileDescriptor();
  /// Runs what is due now and returns: work that handlers add meanwhile waits for the next call, for which the
  /// descriptor stays readable. Never blocks.
  /// @throws as `run()` does.
  void drain();

  /// Calls @p handler once, @p delay from now on the monotonic clock; a negative delay is none. Any thread.
  /// @throws std::system_error when the system has no descriptor left.
  Timer addTimer(std::chrono::nanoseconds delay, Handler handler);
  /// Calls @p handler every @p interval, first one interval from now, without drift. Calls that were missed are left
  /// out. Any thread. @param interval  0.1 ms when it is not positive. @throws as `addTimer` does.
  Timer addRepeatingTimer(std::chrono::nanoseconds interval, Handler handler);
  /// Forgets @p timer; nothing when it is gone. Any thread: on the main thread its handler is not called any more,
  /// elsewhere a call that is under way goes on.
  void removeTimer(Timer timer) noexcept;

  /// Calls @p handler as long as @p descriptor can be read or has come to its end. The handler reads, or removes the
  /// source. The descriptor stays the caller's, who removes the source before closing it. Any thread.
  /// @throws std::system_error for a descriptor that is closed, already added, or no kind to wait for (a plain file),
  ///         or when the system has none left.
  Source addSource(int descriptor, Handler handler);
  /// Forgets @p source as `removeTimer` does.
  void removeSource(Source source) noexcept;

 private:
  NSRunLoop() = default;
  ~NSRunLoop() = default;
};

}  // namespace JVFoundation
