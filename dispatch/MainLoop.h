/// The main thread's work: what NSRunLoop is the face of.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "dispatch/piece_list.h"
#include "dispatch/TimerList.h"
#include "platform/EventPoll.h"

namespace jv {

/// Opens its descriptors once somebody asks for them: until then work just waits. Never destroyed.
class MainLoop {
 public:
  using Handler = std::function<void()>;

  static MainLoop& shared();

  /// Any thread.
  void add(Piece* piece) noexcept;
  void stop() noexcept;
  int descriptor() { return poll().descriptor(); }
  std::uint64_t addTimer(std::chrono::nanoseconds delay, std::chrono::nanoseconds repeat, Handler handler);
  void removeTimer(std::uint64_t id) noexcept;
  std::uint64_t addSource(int descriptor, Handler handler);
  void removeSource(std::uint64_t id) noexcept;

  /// The main thread.
  void run();
  void drain();

 private:
  struct Source {
    int descriptor;
    std::shared_ptr<const Handler> handler;
  };

  MainLoop() = default;
  EventPoll& poll();
  void round(EventPoll& poll, bool block);
  void runPieces(EventPoll& poll);
  void keepAwake(EventPoll& poll, bool awake) noexcept;
  void runTimers(EventPoll& poll);
  void runSource(std::uint64_t id);

  Inbox inbox_;
  std::atomic<EventPoll*> poll_{nullptr};
  std::atomic<bool> stop_{false};

  FifoList<Piece> pieces_;    // out of the inbox; the main thread's
  bool awake_ = false;        // the loop itself keeps the descriptor readable; the main thread's
  std::uint64_t rounds_ = 0;  // begun so far; the main thread's

  std::mutex mutex_;  // guards the rest
  std::uint64_t lastID_ = EventPoll::kFirstToken;
  TimerList timers_;
  std::unordered_map<std::uint64_t, Source> sources_;
};

}  // namespace jv
