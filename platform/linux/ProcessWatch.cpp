#include "platform/linux/ProcessWatch.h"

#include <algorithm>
#include <atomic>
#include <cerrno>

#include <fcntl.h>
#include <poll.h>

#include "platform/linux/ProcessEvents.h"

namespace jv {
namespace {

// Beyond 64 MiB in all, a user's fresh pipes are small ones, also those of other programs.
constexpr int kMostLargePipes = 24;
constexpr int kMostForSpeed = 4;
constexpr int kMoment = 10;  // milliseconds

std::atomic<int> largePipes{0};

}  // namespace

void Watch::close() {
  if (inPoll_) EventThread::shared().forget(*this);
  descriptor_.close();
  if (std::exchange(enlarged_, false)) largePipes.fetch_sub(1, std::memory_order_relaxed);
}

void Watch::mind(Watch& pipe) { (minded_[0] ? minded_[1] : minded_[0]) = &pipe; }

void Watch::wait() {
  const auto purpose = static_cast<short>(purpose_ == For::reading ? POLLIN : POLLOUT);
  std::array<pollfd, 3> polled{{{descriptor(), purpose, 0}, {-1, POLLIN, 0}, {-1, POLLIN, 0}}};
  for (std::size_t i = 0; i < minded_.size(); ++i) {
    if (minded_[i] && !minded_[i]->enlargeTried_) polled[i + 1].fd = minded_[i]->descriptor();
  }
  // Most tools end soon, their streams one after the other: looking at the minded pipes at once would mean to wake up
  // for each of them.
  if (poll(polled.data(), 1, kMoment) > 0) return;
  do {
    if (poll(polled.data(), polled.size(), -1) < 0 && errno != EINTR) return;
    for (std::size_t i = 0; i < minded_.size(); ++i) {
      pollfd& pipe = polled[i + 1];
      if (pipe.revents == 0) continue;
      if (pipe.revents & POLLIN) minded_[i]->enlarge(kLargestPipe, Why::need);
      pipe.fd = -1;  // enlarged, or at its end: it would be reported again and again
    }
  } while (polled[0].revents == 0);
}

void Watch::whenReady(std::function<void()> then) { EventThread::shared().whenReady(*this, std::move(then)); }

void Watch::enlarge(std::size_t size, Why why) {
  if (std::exchange(enlargeTried_, true)) return;
  const int most = why == Why::need ? kMostLargePipes : kMostForSpeed;
  if (largePipes.fetch_add(1, std::memory_order_relaxed) < most) {
    for (std::size_t wanted = std::min(size, kLargestPipe); wanted > kUsualPipe && !enlarged_; wanted /= 2) {
      enlarged_ = fcntl(descriptor(), F_SETPIPE_SZ, static_cast<int>(wanted)) >= 0;
    }
  }
  if (!enlarged_) largePipes.fetch_sub(1, std::memory_order_relaxed);
}

}  // namespace jv
