/// Many jobs on a few threads, with the results in the order of the jobs.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace jv {

/// Works on jobs as they are given and hands each result on when all before it have been. Holds a fixed number of
/// them at most; who gives more waits. With one thread there is none beside the caller's.
template <class Job, class Result>
class OrderedPool {
 public:
  struct Steps {
    std::function<Result(Job&&)> work;     ///< on any thread, several at once
    std::function<bool(Result&&)> take;    ///< one at a time, in order; false: no more are wanted
    std::function<void()> nothingPending;  ///< never while `take` runs; see `callerWaits`
  };

  OrderedPool(unsigned threads, Steps steps) : steps_(std::move(steps)), ring_(threads > 1 ? kRoom : 0) {
    for (unsigned i = 0; threads > 1 && i < threads; ++i) {
      try {
        threads_.emplace_back([this] { runWorker(); });
      } catch (const std::system_error&) {
        break;  // as many as the system allows; the caller's own at the worst
      }
    }
  }
  OrderedPool(const OrderedPool&) = delete;
  OrderedPool& operator=(const OrderedPool&) = delete;
  ~OrderedPool() {
    stop();
    join();
  }

  /// Has @p job done. Waits while too many are pending. False, and the job is dropped, when no more are wanted.
  bool give(Job job) {
    if (threads_.empty()) {
      stopped_ = stopped_ || !steps_.take(steps_.work(std::move(job)));
      return !stopped_;
    }
    std::unique_lock lock(mutex_);
    if (given_ - taken_ == kRoom) {
      callerSleeps_ = true;
      roomAgain_.wait(lock, [this] { return stopped_ || given_ - taken_ <= kRoom / 2; });
      callerSleeps_ = false;
    }
    if (stopped_) return false;
    slotOf(given_++).job = std::move(job);
    lock.unlock();
    jobGiven_.notify_one();
    return true;
  }

  /// Tells whether the caller is about to wait for something else before it gives more. While it does, the step
  /// `nothingPending` is made each time that nothing is.
  void callerWaits(bool waits) {
    const std::lock_guard lock(mutex_);
    callerWaits_ = waits;
    if (waits && given_ == taken_ && !taking_) steps_.nothingPending();
  }

  /// Waits until all jobs are done and taken. @throws what a step threw
  void finish() {
    {
      const std::lock_guard lock(mutex_);
      ended_ = true;
    }
    jobGiven_.notify_all();
    join();
    if (failure_) std::rethrow_exception(failure_);
  }

 private:
  static constexpr std::size_t kRoom = 1024;

  struct Slot {
    Job job;
    std::optional<Result> result;
  };

  Slot& slotOf(std::uint64_t number) { return ring_[number % kRoom]; }

  void stop() {
    {
      const std::lock_guard lock(mutex_);
      stopped_ = true;
    }
    jobGiven_.notify_all();
    roomAgain_.notify_all();
  }

  void join() {
    for (std::thread& thread : threads_) {
      if (thread.joinable()) thread.join();
    }
  }

  void runWorker() {
    try {
      std::unique_lock lock(mutex_);
      for (;;) {
        jobGiven_.wait(lock, [this] { return stopped_ || ended_ || claimed_ < given_; });
        if (stopped_ || claimed_ == given_) return;
        Slot& slot = slotOf(claimed_++);
        lock.unlock();
        Result result = steps_.work(std::move(slot.job));
        lock.lock();
        slot.result = std::move(result);
        takeResults(lock);
      }
    } catch (...) {
      {
        const std::lock_guard lock(mutex_);
        if (!failure_) failure_ = std::current_exception();
      }
      stop();
    }
  }

  /// Hands on what is ready, unless another thread is at it; that one will see what came in between.
  void takeResults(std::unique_lock<std::mutex>& lock) {
    if (taking_) return;
    taking_ = true;
    std::vector<Result> ready;
    for (;;) {
      ready.clear();
      while (!stopped_ && taken_ + ready.size() < claimed_ && slotOf(taken_ + ready.size()).result) {
        Slot& slot = slotOf(taken_ + ready.size());
        ready.push_back(std::move(*slot.result));
        slot.result.reset();
      }
      if (ready.empty()) break;
      lock.unlock();
      bool more = true;
      for (Result& result : ready) more = more && steps_.take(std::move(result));
      lock.lock();
      taken_ += ready.size();
      if (!more) stopped_ = true;
      if (stopped_) jobGiven_.notify_all();
      if (callerSleeps_ && (stopped_ || given_ - taken_ <= kRoom / 2)) roomAgain_.notify_one();
    }
    taking_ = false;
    if (callerWaits_ && given_ == taken_) steps_.nothingPending();
  }

  Steps steps_;
  std::vector<Slot> ring_;
  std::mutex mutex_;
  std::condition_variable jobGiven_;
  std::condition_variable roomAgain_;
  // Jobs are numbered as they come: those below taken_ are over, those below claimed_ have a thread.
  std::uint64_t given_ = 0;
  std::uint64_t claimed_ = 0;
  std::uint64_t taken_ = 0;
  bool taking_ = false;
  bool callerSleeps_ = false;
  bool callerWaits_ = false;
  bool ended_ = false;
  bool stopped_ = false;
  std::exception_ptr failure_;
  std::vector<std::thread> threads_;
};

}  // namespace jv
