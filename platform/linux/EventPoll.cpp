#include "platform/EventPoll.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include "platform/linux/Descriptor.h"

namespace jv {
namespace {

[[noreturn]] void fail(const char* operation) { throw std::system_error(errno, std::generic_category(), operation); }

/// What was opened, out of the way of the standard streams.
int opened(int descriptor, const char* operation) {
  Descriptor owned(descriptor);
  if (!owned.isOpen() || !owned.leaveStandardStreams()) fail(operation);
  return owned.release();
}

void add(int poll, int descriptor, std::uint32_t events, std::uint64_t token) {
  epoll_event event{.events = events, .data = {.u64 = token}};
  if (epoll_ctl(poll, EPOLL_CTL_ADD, descriptor, &event) < 0) fail("epoll_ctl");
}

}  // namespace

EventPoll::EventPoll() {
  try {
    poll_ = opened(epoll_create1(EPOLL_CLOEXEC), "epoll_create1");
    wake_ = opened(eventfd(1, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd");
    alarm_ = opened(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK), "timerfd_create");
    // Each write is an edge of its own and reported once, without anybody having to read what was written: one call to
    // the system less for each wake-up.
    add(poll_, wake_, EPOLLIN | EPOLLET, kWake);
    add(poll_, alarm_, EPOLLIN, kAlarm);
  } catch (...) {
    abandon();
    throw;
  }
}

EventPoll::~EventPoll() { abandon(); }

void EventPoll::watch(int descriptor, std::uint64_t token) { add(poll_, descriptor, EPOLLIN, token); }

void EventPoll::watchExceptions(int descriptor, std::uint64_t token) { add(poll_, descriptor, EPOLLPRI, token); }

void EventPoll::unwatch(int descriptor) noexcept { epoll_ctl(poll_, EPOLL_CTL_DEL, descriptor, nullptr); }

void EventPoll::wake() noexcept {
  // Whoever makes this call makes it once, and what is lost here leaves the loop asleep for ever.
  constexpr int kTries = 10;
  for (int tries = 0; tries < kTries && eventfd_write(wake_, 1) < 0 && wake_ >= 0; ++tries) {
    if (errno == EAGAIN) clearWake();  // so many calls that the count is full
  }
}

void EventPoll::clearWake() noexcept {
  eventfd_t count;
  eventfd_read(wake_, &count);
}

void EventPoll::setAlarm(std::optional<std::chrono::steady_clock::time_point> time) noexcept {
  itimerspec alarm{};
  if (time) {
    // A time of zero would switch the alarm off.
    const auto since = std::max(time->time_since_epoch(), std::chrono::steady_clock::duration(1));
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(since);
    alarm.it_value = {seconds.count(), static_cast<long>((since - seconds).count())};
  }
  timerfd_settime(alarm_, TFD_TIMER_ABSTIME, &alarm, nullptr);
}

std::size_t EventPoll::wait(std::span<std::uint64_t> tokens, bool block) noexcept {
  std::array<epoll_event, 64> events;
  const int room = static_cast<int>(std::min(tokens.size(), events.size()));
  int ready;
  do {
    ready = epoll_wait(poll_, events.data(), room, block ? -1 : 0);
  } while (ready < 0 && errno == EINTR);
  const std::size_t count = ready < 0 ? 0 : static_cast<std::size_t>(ready);
  for (std::size_t i = 0; i < count; ++i) tokens[i] = events[i].data.u64;
  return count;
}

void EventPoll::abandon() noexcept {
  for (int* const descriptor : {&poll_, &wake_, &alarm_}) {
    if (*descriptor >= 0) close(*descriptor);
    *descriptor = -1;
  }
}

}  // namespace jv
