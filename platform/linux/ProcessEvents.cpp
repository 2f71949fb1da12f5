#include "platform/linux/ProcessEvents.h"

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <utility>

#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <JorvaneFoundation/platform/Process.h>

#include "platform/linux/ProcessReason.h"
#include "platform/linux/ProcessWatch.h"
#include "platform/threads.h"

namespace jv {
namespace {

constexpr int kRetryMilliseconds = 10;
constexpr std::chrono::milliseconds kStuck{1000};

thread_local bool onEventThread = false;

}  // namespace

EventThread& EventThread::shared() {
  static auto& thread = *new EventThread;
  return thread;
}

void EventThread::start() {
  const std::lock_guard lock(mutex_);
  if (started_) return;
  Descriptor poll(epoll_create1(EPOLL_CLOEXEC));
  Descriptor wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  poll.leaveStandardStreams();
  wake.leaveStandardStreams();
  epoll_event event{.events = EPOLLIN, .data = {.ptr = nullptr}};
  if (!poll.isOpen() || !wake.isOpen() || epoll_ctl(poll.get(), EPOLL_CTL_ADD, wake.get(), &event) < 0) {
    raiseFailure("Cannot wait for tools in the background", errno);
  }
  poll_ = std::move(poll);
  wake_ = std::move(wake);
  if (!startThread(
          "jv-tools", [](void* self) { static_cast<EventThread*>(self)->run(); }, this)) {
    raiseFailure("Cannot start a thread for tools in the background", EAGAIN);
  }
  started_ = true;
}

void EventThread::whenReady(Watch& watch, std::function<void()> then) {
  if (onEventThread) {
    watch.then_ = std::move(then);
    expect(watch);
    return;
  }
  {
    const std::lock_guard lock(mutex_);
    orders_.push_back({&watch, std::move(then)});
  }
  wake();
}

void EventThread::wake() {
  while (eventfd_write(wake_.get(), 1) < 0 && errno != EAGAIN) {  // which means that it is awake already
  }
}

// A child of another thread can still hold the open file for a moment, and closing our descriptor would leave it in the
// poll set for as long.
void EventThread::forget(Watch& watch) {
  epoll_ctl(poll_.get(), EPOLL_CTL_DEL, watch.descriptor(), nullptr);
  watch.inPoll_ = false;
}

int EventThread::patience() const {
  if (!refused_.empty()) return kRetryMilliseconds;
  return Launchers::shared().isBehind() ? static_cast<int>(kStuck.count()) : -1;
}

void EventThread::run() {
  onEventThread = true;
  for (;;) {
    // One event at a time: what is done about it may do away with any other watch.
    epoll_event event;
    const int count = epoll_wait(poll_.get(), &event, 1, patience());
    Launchers::shared().relieve();
    if (count <= 0) {
      for (Watch* const watch : std::exchange(refused_, {})) tell(*watch);
    } else if (auto* const watch = static_cast<Watch*>(event.data.ptr)) {
      tell(*watch);
    } else {
      takeOrders();
    }
  }
}

void EventThread::takeOrders() {
  eventfd_t count;
  eventfd_read(wake_.get(), &count);
  std::vector<Order> orders;
  {
    const std::lock_guard lock(mutex_);
    orders.swap(orders_);
  }
  for (Order& order : orders) {
    order.watch->then_ = std::move(order.then);
    expect(*order.watch);
  }
}

void EventThread::expect(Watch& watch) {
  for (Watch* const pipe : watch.minded_) {
    if (pipe && !pipe->enlargeTried_ && !pipe->armed_) arm(*pipe);
  }
  if (!arm(watch)) refused_.push_back(&watch);
}

bool EventThread::arm(Watch& watch) {
  const std::uint32_t purpose = watch.purpose_ == Watch::For::reading ? EPOLLIN : EPOLLOUT;
  epoll_event event{.events = purpose | EPOLLONESHOT, .data = {.ptr = &watch}};
  const int operation = std::exchange(watch.inPoll_, true) ? EPOLL_CTL_MOD : EPOLL_CTL_ADD;
  watch.armed_ = epoll_ctl(poll_.get(), operation, watch.descriptor(), &event) == 0;
  if (!watch.armed_) watch.inPoll_ = operation == EPOLL_CTL_MOD;
  return watch.armed_;
}

void EventThread::tell(Watch& watch) {
  watch.armed_ = false;
  if (!watch.then_) {
    watch.enlarge(Watch::kLargestPipe, Watch::Why::need);
    return;
  }
  const std::function<void()> then = std::exchange(watch.then_, nullptr);  // it may destroy the watch
  then();
}

Launchers& Launchers::shared() {
  static auto& launchers = *new Launchers;
  return launchers;
}

void Launchers::perform(std::function<void()> work) {
  std::unique_lock lock(mutex_);
  const bool allBusy = work_.size() >= static_cast<std::size_t>(idle_);
  if (allBusy && threads_ < kUsualThreads) {
    addThread();
    if (threads_ == 0) raiseFailure("Cannot start a thread to launch tools", EAGAIN);
  }
  work_.push_back(std::move(work));
  filled_.notify_one();
  const bool fallsBehind = allBusy && !behind_.exchange(true, std::memory_order_relaxed);
  lock.unlock();
  if (fallsBehind) EventThread::shared().wake();  // to look after the launchers from time to time
}

void Launchers::addThread() {
  if (!startThread(
          "jv-launch", [](void* self) { static_cast<Launchers*>(self)->run(); }, this)) {
    return;
  }
  ++threads_;
  lastMove_ = Clock::now();
}

void Launchers::relieve() {
  if (!isBehind()) return;
  const std::lock_guard lock(mutex_);
  const bool stuck = !work_.empty() && Clock::now() - lastMove_ > kStuck;
  if (stuck && threads_ < kMostThreads) addThread();
}

void Launchers::run() {
  std::unique_lock lock(mutex_);
  while (threads_ <= kUsualThreads || !work_.empty()) {
    ++idle_;
    filled_.wait(lock, [this] { return !work_.empty(); });
    --idle_;
    std::function<void()> work = std::move(work_.front());
    work_.pop_front();
    if (work_.empty()) behind_.store(false, std::memory_order_relaxed);
    lastMove_ = Clock::now();
    lock.unlock();
    work();
    work = nullptr;  // before the lock: what it holds may hand in more
    lock.lock();
  }
  --threads_;
}

}  // namespace jv
