#include <JorvaneFoundation/dispatch/NSOperationQueue.h>

#include <mutex>
#include <utility>

#include <JorvaneFoundation/foundation/NSException.h>

#include "platform/threads.h"

namespace JVFoundation {
namespace {

/// Whose operation the calling thread runs.
thread_local const NSOperationQueue* runningQueue = nullptr;

}  // namespace

struct NSOperationQueue::State {
  bool isMain = false;
  std::mutex mutex;  // guards what follows
  std::optional<DispatchQueue> underlying;
};

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
  if (!runningQueue) return std::nullopt;
  return *runningQueue;
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
  queue.async([self = *this, operation = std::move(operation)] {
    runningQueue = &self;
    operation();
    runningQueue = nullptr;
  });
}

}  // namespace JVFoundation
