#include "dispatch/MainLoop.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include <JorvaneFoundation/foundation/NSException.h>

#include "dispatch/guarded.h"
#include "platform/threads.h"

namespace jv {
namespace {

using Clock = std::chrono::steady_clock;

/// As good as never, and far from the end of the clock.
constexpr auto kLongestDelay = std::chrono::hours(24 * 365 * 100);

void requireMainThread() {
  if (isMainThread()) return;
  throw JVFoundation::NSException("NSInternalInconsistencyException",
                                  "The main run loop can only be run and drained on the main thread.");
}

}  // namespace

MainLoop& MainLoop::shared() {
  static MainLoop* const loop = new MainLoop;
  return *loop;
}

EventPoll& MainLoop::poll() {
  if (EventPoll* const poll = poll_) return *poll;
  const std::lock_guard lock(mutex_);
  if (!poll_) {
    poll_ = new EventPoll;
    watchForks([] { shared().poll_.load()->abandon(); });
  }
  return *poll_;
}

// Whoever finds the inbox empty wakes the loop: one call to the system for a burst. The piece goes in before the look
// at `poll_`, and the loop looks into the inbox after it has set `poll_`, so one of the two sees the other.
void MainLoop::add(Piece* piece) noexcept {
  if (!inbox_.put(piece)) return;
  if (EventPoll* const poll = poll_) poll->wake();
}

void MainLoop::stop() noexcept {
  stop_ = true;
  if (isMainThread()) return;  // where nobody is waiting
  if (EventPoll* const poll = poll_) poll->wake();
}

void MainLoop::run() {
  requireMainThread();
  do {
    if (isForkedChild()) return;
    round(poll(), !stop_);
  } while (!stop_.exchange(false));
}

void MainLoop::drain() {
  requireMainThread();
  if (!isForkedChild()) round(poll(), false);
}

void MainLoop::round(EventPoll& poll, bool block) {
  std::array<std::uint64_t, 32> room;
  const std::span ready = std::span(room).first(poll.wait(room, block));
  const std::uint64_t thisRound = ++rounds_;
  if (std::ranges::find(ready, EventPoll::kWake) != ready.end()) awake_ = false;
  runPieces(poll);
  for (const std::uint64_t token : ready) {
    // A handler has run an inner round, which may have dealt with the rest. What it has not is reported again.
    if (rounds_ != thisRound) return;
    if (token == EventPoll::kAlarm) runTimers(poll);
    if (token >= EventPoll::kFirstToken) runSource(token);
  }
}

// Pieces leave the list one by one, so that an inner round goes on where the outer one is. While some are left the
// descriptor stays readable: a handler may wait for them in a foreign loop, which sees nothing else.
void MainLoop::runPieces(EventPoll& poll) {
  for (Piece* piece = inbox_.takeAllAndClose(); piece;) pieces_.add(std::exchange(piece, piece->next));
  while (Piece* const piece = pieces_.take()) {
    keepAwake(poll, !pieces_.empty());
    guarded([piece] { piece->run(piece); });
  }
}

void MainLoop::keepAwake(EventPoll& poll, bool awake) noexcept {
  if (std::exchange(awake_, awake) == awake) return;
  if (awake) {
    poll.wake();
  } else {
    poll.clearWake();
    if (!inbox_.closed()) poll.wake();  // the call of a piece that came in meanwhile may have been cleared too
  }
}

void MainLoop::runTimers(EventPoll& poll) {
  const Clock::time_point now = Clock::now();
  std::unique_lock lock(mutex_);
  while (auto handler = timers_.takeDue(now)) {
    poll.setAlarm(timers_.next());
    lock.unlock();
    guarded(*handler);
    handler = nullptr;  // before the lock: what it holds may have timers of its own to remove
    lock.lock();
  }
  poll.setAlarm(timers_.next());
}

void MainLoop::runSource(std::uint64_t id) {
  std::unique_lock lock(mutex_);
  const auto source = sources_.find(id);
  if (source == sources_.end()) return;
  const auto handler = source->second.handler;
  lock.unlock();
  guarded(*handler);
}

std::uint64_t MainLoop::addTimer(std::chrono::nanoseconds delay, std::chrono::nanoseconds repeat, Handler handler) {
  EventPoll& open = poll();
  const Clock::time_point due = Clock::now() + std::clamp<std::chrono::nanoseconds>(delay, delay.zero(), kLongestDelay);
  auto shared = std::make_shared<const Handler>(std::move(handler));
  const std::lock_guard lock(mutex_);
  const std::uint64_t id = ++lastID_;
  timers_.add(id, due, repeat, std::move(shared));
  open.setAlarm(timers_.next());
  return id;
}

void MainLoop::removeTimer(std::uint64_t id) noexcept {
  TimerList::Handler removed;  // destroyed after the lock is free
  const std::lock_guard lock(mutex_);
  removed = timers_.remove(id);
  if (EventPoll* const open = poll_) open->setAlarm(timers_.next());
}

std::uint64_t MainLoop::addSource(int descriptor, Handler handler) {
  EventPoll& open = poll();
  auto shared = std::make_shared<const Handler>(std::move(handler));
  const std::lock_guard lock(mutex_);
  const std::uint64_t id = ++lastID_;
  const auto added = sources_.emplace(id, Source{descriptor, shared}).first;
  try {
    open.watch(descriptor, id);
  } catch (...) {
    sources_.erase(added);
    throw;
  }
  return id;
}

void MainLoop::removeSource(std::uint64_t id) noexcept {
  decltype(sources_)::node_type removed;  // destroyed after the lock is free
  const std::lock_guard lock(mutex_);
  removed = sources_.extract(id);
  if (removed) poll_.load()->unwatch(removed.mapped().descriptor);
}

}  // namespace jv
