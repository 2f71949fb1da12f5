/// A lock of one byte.
#pragma once

#include <atomic>
#include <chrono>
#include <thread>

namespace jv {

/// For short sections that call nothing of others, in objects of which there are thousands. Taking it when it is free
/// is one atomic exchange, giving it back a plain store.
class ByteLock {
 public:
  void lock() noexcept {
    while (held_.exchange(true, std::memory_order_acquire)) {
      // The holder was preempted. Sleeping lets it finish even if it is less urgent than this thread.
      for (int spins = 0; held_.load(std::memory_order_relaxed); ++spins) {
        if (spins > kSpins) std::this_thread::sleep_for(std::chrono::microseconds(20));
      }
    }
  }
  void unlock() noexcept { held_.store(false, std::memory_order_release); }

 private:
  static constexpr int kSpins = 200;
  std::atomic<bool> held_{false};
};

}  // namespace jv
