/// The queue that code runs on, as something to ask for and to reply to.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include <JorvaneFoundation/dispatch/DispatchQueue.h>

namespace JVFoundation {

/// A reference to an operation queue: a face on a dispatch queue that running code can find. Copies refer to the same
/// queue. Any thread.
class JV_EXPORT NSOperationQueue {
 public:
  /// A new queue without an underlying queue: its operations run side by side on the shared concurrent queue.
  NSOperationQueue();
  NSOperationQueue(const NSOperationQueue&) noexcept;
  NSOperationQueue& operator=(const NSOperationQueue&) noexcept;
  ~NSOperationQueue();

  /// The main thread's; its underlying queue is `DispatchQueue::mainQueue()`.
  [[nodiscard]] static NSOperationQueue mainQueue();
  /// The main queue on the main thread, elsewhere the queue whose operation is running; none in any other code, work
  /// on a plain dispatch queue included.
  [[nodiscard]] static std::optional<NSOperationQueue> currentQueue();

  /// The dispatch queue that runs the operations, if one was set.
  [[nodiscard]] std::optional<DispatchQueue> underlyingQueue() const;
  /// Operations added from now on run on @p queue; none goes back to the shared concurrent queue.
  /// @throws NSException when this is the main queue, which keeps its own.
  void setUnderlyingQueue(std::optional<DispatchQueue> queue);

  /// Runs @p operation once, later.
  void addOperation(std::function<void()> operation) const;
  /// The same.
  void addOperationWithBlock(std::function<void()> operation) const { addOperation(std::move(operation)); }

  /// Whether both refer to the same queue.
  friend bool operator==(const NSOperationQueue& a, const NSOperationQueue& b) noexcept { return a.state_ == b.state_; }

 private:
  struct State;
  explicit NSOperationQueue(std::shared_ptr<State> state) noexcept;

  std::shared_ptr<State> state_;
};

}  // namespace JVFoundation
