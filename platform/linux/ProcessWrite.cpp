#include "platform/linux/ProcessWrite.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>

#include <sys/uio.h>
#include <unistd.h>

namespace jv {
namespace {

#ifndef RWF_NOSIGNAL
constexpr int RWF_NOSIGNAL = 0x100;  // Linux 6.18
#endif

ssize_t writeOnce(int descriptor, std::string_view data) {
  ssize_t written;
  do {
    written = write(descriptor, data.data(), data.size());
  } while (written < 0 && errno == EINTR);
  return written;
}

}  // namespace

ssize_t writeWithSignalHeldBack(int descriptor, std::string_view data) {
  sigset_t brokenPipe;
  sigset_t pending;
  sigset_t before;
  sigemptyset(&brokenPipe);
  sigaddset(&brokenPipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &brokenPipe, &before);
  sigpending(&pending);

  const ssize_t written = writeOnce(descriptor, data);
  const int error = errno;
  if (written < 0 && error == EPIPE && !sigismember(&pending, SIGPIPE)) {
    constexpr timespec kNow{};
    while (sigtimedwait(&brokenPipe, nullptr, &kNow) < 0 && errno == EINTR) {
    }
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  errno = error;
  return written;
}

ssize_t writeWithoutSignal(int descriptor, std::string_view data) {
  static std::atomic<bool> kernelHoldsBack{true};
  if (kernelHoldsBack.load(std::memory_order_relaxed)) {
    const iovec piece{const_cast<char*>(data.data()), data.size()};
    ssize_t written;
    do {
      written = pwritev2(descriptor, &piece, 1, -1, RWF_NOSIGNAL);
    } while (written < 0 && errno == EINTR);
    if (written >= 0 || (errno != EOPNOTSUPP && errno != ENOSYS && errno != EINVAL)) return written;
    kernelHoldsBack.store(false, std::memory_order_relaxed);
  }
  return writeWithSignalHeldBack(descriptor, data);
}

}  // namespace jv
