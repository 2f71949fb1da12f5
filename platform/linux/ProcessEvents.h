/// The threads behind tools that run in the background: one that waits for all of them, and a few that launch them.
/// They start with the first tool, sleep while there is nothing to do, and are never torn down.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <vector>

#include "platform/linux/Descriptor.h"

namespace jv {

class Watch;

class EventThread {
 public:
  static EventThread& shared();

  /// Makes sure that it runs. Raises `ResourceShortage`; the next call then tries again. Any thread.
  void start();

  /// Calls @p then once @p watch is ready. The caller does not touch @p watch again outside @p then. Any thread, after
  /// `start`.
  void whenReady(Watch& watch, std::function<void()> then);

  /// Has it look after the launchers. Any thread, after `start`.
  void wake();

  /// A descriptor that is there to stay, after `start`.
  [[nodiscard]] int descriptor() const { return poll_.get(); }

  /// The end of a watch that was waited for. On this thread.
  void forget(Watch& watch);

 private:
  struct Order {
    Watch* watch;
    std::function<void()> then;
  };

  void run();
  [[nodiscard]] int patience() const;  // milliseconds, or -1: for as long as it takes
  void takeOrders();
  bool arm(Watch& watch);
  void expect(Watch& watch);
  static void tell(Watch& watch);

  std::mutex mutex_;
  bool started_ = false;       // guarded by mutex_
  std::vector<Order> orders_;  // guarded by mutex_
  Descriptor poll_;
  Descriptor wake_;
  std::vector<Watch*> refused_;  // that the poll set had no room for; this thread's
};

class Launchers {
 public:
  static Launchers& shared();

  /// Calls @p work on one of the threads, in turn. Raises `ResourceShortage` when there is none and none can be made.
  /// After `EventThread::start`.
  void perform(std::function<void()> work);

  /// Whether work waits for a thread.
  [[nodiscard]] bool isBehind() const { return behind_.load(std::memory_order_relaxed); }

  /// Starts one more thread when work has waited for long, since those that launch stand still. The event thread's.
  void relieve();

 private:
  void addThread();
  void run();

  using Clock = std::chrono::steady_clock;

  // A launch keeps its thread waiting while the kernel reads the program, so two are faster than one. A program on a
  // network share that does not answer keeps it for as long as it likes: then there are more for a while.
  static constexpr int kUsualThreads = 2;
  static constexpr int kMostThreads = 16;

  std::mutex mutex_;
  std::condition_variable filled_;
  std::deque<std::function<void()>> work_;
  Clock::time_point lastMove_;
  int threads_ = 0;
  int idle_ = 0;
  std::atomic<bool> behind_ = false;  // written under mutex_
};

}  // namespace jv
