/// A lock that is held for long work, in turns.
#pragma once

#include <mutex>

namespace jv::watching {

/// Others get a chance between a few pieces of the work.
class Turns {
 public:
  explicit Turns(std::mutex& mutex) : lock_(mutex, std::defer_lock) {}

  /// Before each piece. The lock is held from then on.
  void next() {
    if (left_-- > 0) return;
    if (lock_.owns_lock()) lock_.unlock();
    lock_.lock();
    left_ = kTurn;
  }

 private:
  static constexpr int kTurn = 64;

  std::unique_lock<std::mutex> lock_;
  int left_ = 0;
};

}  // namespace jv::watching
