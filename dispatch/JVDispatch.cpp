#include <JorvaneFoundation/dispatch/JVDispatch.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

#include <JorvaneFoundation/foundation/NSException.h>

#include "dispatch/ByteLock.h"
#include "dispatch/Queue.h"
#include "dispatch/stop_flag_key.h"

using JVFoundation::DispatchQueue;
using JVFoundation::NSException;

namespace {

using Label = std::unique_ptr<const std::string>;

Label makeLabel(std::optional<std::string_view> label) {
  return label ? std::make_unique<const std::string>(*label) : nullptr;
}

}  // namespace

struct JVDispatch::State {
  explicit State(std::optional<std::string_view> text) : queue(DispatchQueue::create(text)), label(makeLabel(text)) {}

  State* retain() noexcept {
    references.fetch_add(1, std::memory_order_relaxed);
    return this;
  }
  void release() noexcept {
    if (references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }

  std::atomic<std::uint32_t> references{1};
  jv::ByteLock lock;  // guards what follows
  DispatchQueue queue;
  Label label;
};

JVDispatch::JVDispatch(std::optional<std::string_view> label) : state_(new State(label)) { setStopped(true); }

JVDispatch::JVDispatch() : JVDispatch(JVFoundation::PlainInitializer{"JVDispatch"}) {}

JVDispatch::JVDispatch(const JVFoundation::PlainInitializer& initializer) : JVDispatch(std::nullopt) {
  NSException::raiseBadInitializerForClass(initializer.className);
}

JVDispatch::JVDispatch(const JVDispatch& other) noexcept : state_(other.state_->retain()) {}

JVDispatch& JVDispatch::operator=(const JVDispatch& other) noexcept {
  State* const before = std::exchange(state_, other.state_->retain());
  before->release();
  return *this;
}

JVDispatch::~JVDispatch() { state_->release(); }

std::optional<std::string> JVDispatch::label() const {
  const std::lock_guard lock(state_->lock);
  if (!state_->label) return std::nullopt;
  return *state_->label;
}

void JVDispatch::setLabel(std::optional<std::string_view> label) {
  Label replaced = makeLabel(label);
  const std::lock_guard lock(state_->lock);
  std::swap(state_->label, replaced);
}

DispatchQueue JVDispatch::dispatchedQueue() const {
  const std::lock_guard lock(state_->lock);
  return state_->queue;
}

void JVDispatch::setDispatchedQueue(const DispatchQueue& queue) {
  DispatchQueue replaced = queue;  // let go of once the lock is free: its values may be destroyed then
  const std::lock_guard lock(state_->lock);
  std::swap(state_->queue, replaced);
}

bool JVDispatch::isStopped() const {
  const void* const key = jv::stopFlagKey();
  std::unique_lock lock(state_->lock);
  const std::optional<std::int8_t> flag = jv::queueOf(state_->queue).byteOfSpecific(key);
  lock.unlock();
  if (!flag) {
    throw NSException("NSInternalInconsistencyException",
                      "The dispatched queue has no stop flag: call setStopped(true) after setDispatchedQueue.");
  }
  return *flag != 0;
}

void JVDispatch::setStopped(bool stopped) {
  void* const flag = std::malloc(sizeof(std::int8_t));
  if (!flag) throw std::bad_alloc();
  *static_cast<std::int8_t*>(flag) = stopped ? 1 : 0;
  dispatchedQueue().setSpecific(jv::stopFlagKey(), flag, std::free);
}

// The flag is read and written in separate steps, on purpose. A dispatch that comes between the end of a handler and
// the look at the flag still supersedes it; a piece that waits is asked to stop by nobody.
void JVDispatch::dispatchHandler(std::function<void()> handler, std::function<void()> completionHandler) {
  if (!isStopped()) setStopped(true);
  dispatchedQueue().async(
      [self = *this, handler = std::move(handler), completionHandler = std::move(completionHandler)]() mutable {
        self.setStopped(false);
        handler();
        if (!self.isStopped()) {
          DispatchQueue::mainQueue().async(std::move(completionHandler));
          self.setStopped(true);
        } else {
          // What it holds may belong to the main thread, windows for example.
          DispatchQueue::mainQueue().async([dropped = std::move(completionHandler)] {});
        }
      });
}
