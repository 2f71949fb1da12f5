/// Work whose result is wanted for the latest request alone.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include <JorvaneFoundation/dispatch/DispatchQueue.h>
#include <JorvaneFoundation/foundation/JVExport.h>
#include <JorvaneFoundation/foundation/PlainInitializer.h>

/// Runs pieces of work one after another on a serial queue of its own. A new piece asks the one that is running to
/// stop; a piece that was not asked has its completion handler called on the main thread.
///
///     JVDispatch search("search");
///     search.dispatchHandler(
///         [search, results, text] { while (!search.isStopped() && results->addNext(text)) {} },
///         [results] { show(*results); });
///
/// Only the running piece is asked to stop: those that wait behind it still run, each to its end.
/// `JVFoundation::LatestResult` skips them, and hands over a result of any type.
///
/// Completion handlers run while the main thread runs or drains `JVFoundation::NSRunLoop`, and wait until then. They
/// may come after the object that wanted the result is gone: have them hold a weak reference to it, and look.
///
/// A reference: copies refer to the same dispatcher, which lives as long as a reference to it or work on it. All
/// members may be called on any thread, handlers included. An idle dispatcher has no thread and takes 144 bytes.
class JV_EXPORT JVDispatch {
 public:
  /// A dispatcher that is stopped, with a new serial queue.
  /// @param label  names dispatcher and queue, UTF-8, copied; may be none.
  explicit JVDispatch(std::optional<std::string_view> label);
  /// Not to be used: raises `JVBadInitializerException`.
  [[deprecated("use JVDispatch(label)")]] JVDispatch();

  JVDispatch(const JVDispatch& other) noexcept;
  JVDispatch& operator=(const JVDispatch& other) noexcept;
  ~JVDispatch();

  [[nodiscard]] std::optional<std::string> label() const;
  /// Leaves the queue's name as it is.
  void setLabel(std::optional<std::string_view> label);

  [[nodiscard]] JVFoundation::DispatchQueue dispatchedQueue() const;
  /// The queue for what is dispatched from now on. The stop flag is kept on the queue: call `setStopped(true)` next,
  /// unless @p queue has it already.
  void setDispatchedQueue(const JVFoundation::DispatchQueue& queue);

  /// Whether no piece is running, or the running one has been asked to stop. Handlers ask from time to time, and return
  /// early once it holds. A few nanoseconds.
  /// @throws NSException when the queue that was set has no flag yet.
  [[nodiscard]] bool isStopped() const;
  /// Asks the running piece to stop, or takes that back. A piece that waits clears the flag when it begins.
  void setStopped(bool stopped);

  /// Asks the running piece to stop and adds a new one, at once. On the queue, in the order of the calls: the flag is
  /// cleared, @p handler runs, and unless it was asked to stop, @p completionHandler goes to the main queue and the
  /// flag is set again. So a completion handler may still read `isStopped()` as false.
  ///
  /// @p handler is destroyed on the queue after it has run, @p completionHandler on the main thread, whether it was
  /// called or not. Neither may be empty or let an exception out: that ends the process when its turn comes.
  /// @throws NSException as `isStopped` does.
  void dispatchHandler(std::function<void()> handler, std::function<void()> completionHandler);

  /// Whether both refer to the same dispatcher.
  friend bool operator==(const JVDispatch& a, const JVDispatch& b) noexcept { return a.state_ == b.state_; }

 protected:
  /// For the plain initializer of a derived class: raises under that class's name.
  explicit JVDispatch(const JVFoundation::PlainInitializer& initializer);

 private:
  struct State;

  State* state_;
};
