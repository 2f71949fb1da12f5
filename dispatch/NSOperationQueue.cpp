#include <JorvaneFoundation/dispatch/NSOperationQueue.h>

#include <mutex>
#include <utility>

#include <JorvaneFoundation/foundation/NSException.h>

#include "platform/threads.h"

namespace JVFoundation {

struct NSOperationQueue::State {
  bool isMain = false;
  std::mutex mutex;  // guards what follows
  std::optional<DispatchQueue> underlying;

  /// Of the operation that the calling thread runs.
  static thread_local std::shared_ptr<State> current;
};

thread_local std::shared_ptr<NSOperationQueue::State> NSOperationQueue::State::current;

NSOperationQueue::NSOperationQueue() : state_(std::make_shared<State>()) {}
NSOperationQueue::NSOperationQueue(std::shared_ptr<State> state) noexcept : state_(std::move(state)) {}
NSOperationQueue::NSOperationQueue(const NSOperationQueue&) noexcept = default;
NSOperationQueue& NSOperationQueue::operator=(const NSOperationQueue&) noexcept = default;
NSOperationQueue::~NSOperationQueue() = default;

NSOperationQueue NSOperationQueue::mainQueue() {
  static const auto* const state = [] {
    auto made = std::make_shared<State>();
    made->isMain = true;
    made->underlying = DispatchQueue::mainQueue();
    return new std::shared_ptr<State>(std::move(made));  // never destroyed
  }();
  return NSOperationQueue(*state);
}

std::optional<NSOperationQueue> NSOperationQueue::currentQueue() {
  if (jv::isMainThread()) return mainQueue();
  if (State::current) return NSOperationQueue(State::current);
  return std::nullopt;
}

std::optional<DispatchQueue> NSOperationQueue::underlyingQueue() const {
  const std::lock_guard lock(state_->mutex);
  return state_->underlying;
}

void NSOperationQueue::setUnderlyingQueue(std::optional<DispatchQueue> queue) {
  if (state_->isMain) {
    throw NSException("NSInvalidArgumentException", "The main operation queue keeps its underlying queue.");
  }
  const std::lock_guard lock(state_->mutex);
  std::swap(state_->underlying, queue);
}

void NSOperationQueue::addOperation(std::function<void()> operation) const {
  const std::optional<DispatchQueue> underlying = underlyingQueue();
  const DispatchQueue queue = underlying ? *underlying : DispatchQueue::globalQueue();
  queue.async([state = state_, operation = std::move(operation)]() mutable {
    State::current = std::move(state);
    operation();
    State::current.reset();
  });
}

}  // namespace JVFoundation
