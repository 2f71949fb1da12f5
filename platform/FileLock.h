/// Waiting for a file's lock. Header-only, for modules.
#pragma once

#include <poll.h>
#include <sys/file.h>

#include <cerrno>
#include <chrono>

namespace jv {

/// Takes the lock of the open @p file, which whoever has another descriptor of it then has to wait for; closing the
/// descriptor gives it back. Tries again for @p patience, which nothing shortens or draws out: signals do not count,
/// nor how busy the machine is.
/// @return  0, `EWOULDBLOCK` when somebody held it all the time, or another errno.
inline int lockFile(int file, std::chrono::milliseconds patience) {
  using Clock = std::chrono::steady_clock;
  constexpr int kPauseMilliseconds = 5;
  const Clock::time_point deadline = Clock::now() + patience;
  while (flock(file, LOCK_EX | LOCK_NB) != 0) {
    const int error = errno;
    if (error != EINTR && (error != EWOULDBLOCK || Clock::now() >= deadline)) return error;
    poll(nullptr, 0, kPauseMilliseconds);
  }
  return 0;
}

}  // namespace jv
