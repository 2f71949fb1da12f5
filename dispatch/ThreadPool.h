/// The threads that serial queues and the concurrent queue borrow.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "dispatch/piece_list.h"
#include "dispatch/Queue.h"

namespace jv {

/// Starts a thread when work comes and all are busy, up to one for each processor. When work waits and nothing has
/// moved for a while, because handlers block, the keeper starts more. A thread that finds nothing to do for a while
/// ends, so that at rest there is none. Never torn down.
///
/// In a forked child the pool takes work and does none of it.
class ThreadPool {
 public:
  static ThreadPool& shared();

  /// Calls `run()` of @p queue once, on a thread of the pool.
  void add(Queue* queue) noexcept;
  /// Runs @p piece on a thread of the pool.
  void add(Piece* piece) noexcept;

  /// Whether some work waits for a thread. A guess, without a lock.
  bool somethingWaits() const noexcept { return waiting_.load(std::memory_order_relaxed) > 0; }

 private:
  struct Worker;
  using Lock = std::unique_lock<std::mutex>;

  ThreadPool();
  template <class Item>
  void addTo(FifoList<Item>& list, Item* item) noexcept;
  bool startWorker(Lock& lock) noexcept;
  void alertKeeper(Lock& lock) noexcept;

  void work(Worker& self) noexcept;
  void runOne(Lock& lock) noexcept;
  bool park(Worker& self, Lock& lock) noexcept;

  void keep() noexcept;
  void grow(bool computing, Lock& lock) noexcept;
  std::chrono::nanoseconds processorTime() const noexcept;

  std::mutex mutex_;
  FifoList<Queue> queues_;
  FifoList<Piece> pieces_;
  bool pieceNext_ = false;       // the two lists take turns
  std::atomic<int> waiting_{0};  // in both; written under the mutex
  std::uint64_t taken_ = 0;      // from both, ever
  Worker* workers_ = nullptr;    // all that run
  Worker* idle_ = nullptr;       // parked, the latest first
  Worker* spare_ = nullptr;      // without a thread
  int workerCount_ = 0;          // those being started included
  bool keeper_ = false;          // it exists
  bool keeperAsleep_ = false;    // and watches nothing
  std::condition_variable keeperWake_;
  const int processors_;
};

}  // namespace jv
