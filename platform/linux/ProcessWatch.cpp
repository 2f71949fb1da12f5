#include "platform/linux/ProcessWatch.h"

#include <algorithm>
#include <atomic>
#include <cerrno>

#include <fcntl.h>
#include <poll.h>

#include "platform/linux/ProcessEvents.h"

namespace jv {
namespace {

constexpr int kMostLargePipes = 8;

std::atomic<int> largePipes{0};

}  // namespace

void Watch::close() {
  if (inPoll_) EventThread::shared().forget(*this);
  descriptor_.close();
  if (std::exchange(enlarged_, false)) largePipes.fetch_sub(1, std::memory_order_relaxed);
}

void Watch::mind(Watch& pipe) { (minded_[0] ? minded_[1] : minded_[0]) = &pipe; }

void Watch::wait() {
  std::array<pollfd, 3> polled;
  std::array<Watch*, 3> watches;
  nfds_t count = 0;
  const auto add = [&](Watch* watch, short events) {
    watches[count] = watch;
    polled[count++] = {watch->descriptor(), events, 0};
  };
  add(this, purpose_ == For::reading ? POLLIN : POLLOUT);
  for (Watch* const pipe : minded_) {
    if (pipe && !pipe->enlargeTried_) add(pipe, POLLIN);
  }

  while (poll(polled.data(), count, -1) < 0 && errno == EINTR) {
  }
  for (nfds_t i = 1; i < count; ++i) {
    if (polled[i].revents & POLLIN) watches[i]->enlarge(kLargestPipe);
  }
}

void Watch::whenReady(std::function<void()> then) { EventThread::shared().whenReady(*this, std::move(then)); }

void Watch::enlarge(std::size_t size) {
  if (std::exchange(enlargeTried_, true)) return;
  if (largePipes.fetch_add(1, std::memory_order_relaxed) < kMostLargePipes) {
    for (std::size_t wanted = std::min(size, kLargestPipe); wanted > kUsualPipe && !enlarged_; wanted /= 2) {
      enlarged_ = fcntl(descriptor(), F_SETPIPE_SZ, static_cast<int>(wanted)) >= 0;
    }
  }
  if (!enlarged_) largePipes.fetch_sub(1, std::memory_order_relaxed);
}

}  // namespace jv
