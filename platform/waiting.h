/// Waits for an answer, but not for ever.
#pragma once

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

namespace jv {

/// Waits until @p descriptor can be read, has ended or failed. False when it is @p deadline before that.
inline bool waitUntilReadable(int descriptor, std::chrono::steady_clock::time_point deadline) noexcept {
  using namespace std::chrono;
  for (;;) {
    const auto left = std::max(ceil<milliseconds>(deadline - steady_clock::now()), milliseconds(0));
    pollfd waiting = {descriptor, POLLIN, 0};
    const int ready = poll(&waiting, 1, static_cast<int>(left.count()));
    if (ready >= 0 || errno != EINTR) return ready > 0;
  }
}

}  // namespace jv
