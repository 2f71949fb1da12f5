/// Keeps a server that has ended from ending the process.
#pragma once

#include <signal.h>

#include <cerrno>
#include <ctime>

namespace jv {

/// Holds SIGPIPE back on this thread while it lives, and takes away the one that came meanwhile. One that was pending
/// before stays so.
class BrokenPipeGuard {
 public:
  BrokenPipeGuard() noexcept {
    sigset_t pending;
    sigpending(&pending);
    wasPending_ = sigismember(&pending, SIGPIPE) == 1;
    sigemptyset(&brokenPipe_);
    sigaddset(&brokenPipe_, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &brokenPipe_, &before_);
  }
  BrokenPipeGuard(const BrokenPipeGuard&) = delete;
  BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;
  ~BrokenPipeGuard() {
    const int error = errno;
    if (!wasPending_) {
      const timespec now{};
      while (sigtimedwait(&brokenPipe_, nullptr, &now) < 0 && errno == EINTR) {
      }
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    errno = error;
  }

 private:
  sigset_t brokenPipe_;
  sigset_t before_;
  bool wasPending_;
};

}  // namespace jv
