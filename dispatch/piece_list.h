/// How pieces wait: a list in order for one thread, and an inbox that any thread adds to without a lock.
#pragma once

#include <atomic>
#include <utility>

#include <JorvaneFoundation/dispatch/DispatchQueue.h>

namespace jv {

/// First in, first out; links what it holds through the member `next`.
template <class Item>
class FifoList {
 public:
  bool empty() const noexcept { return first_ == nullptr; }

  void add(Item* item) noexcept {
    item->next = nullptr;
    (first_ ? last_->next : first_) = item;
    last_ = item;
  }

  /// The oldest, or none.
  Item* take() noexcept {
    Item* const item = first_;
    if (item) first_ = item->next;
    return item;
  }

 private:
  Item* first_ = nullptr;
  Item* last_ = nullptr;
};

/// What has come in, on a stack without a lock. Any thread puts; one thread at a time takes, all at once. The inbox is
/// open while somebody has it in hand to take from it; who puts something into a closed one must see to that.
class Inbox {
 public:
  /// @return whether the inbox was closed. It is open now.
  bool put(Piece* piece) noexcept {
    Piece* newest = newest_.load(std::memory_order_relaxed);
    do {
      piece->next = newest;
    } while (!newest_.compare_exchange_weak(newest, piece));
    return newest == nullptr;
  }

  /// Takes everything and leaves the inbox open. @return the oldest, the others behind it; none when there is nothing.
  Piece* takeAll() noexcept { return oldestFirst(newest_.exchange(&openEnd_)); }
  /// The same, and leaves the inbox closed.
  Piece* takeAllAndClose() noexcept { return oldestFirst(newest_.exchange(nullptr)); }

  /// Closes the inbox if it is open and empty. @return whether it did.
  bool close() noexcept {
    Piece* expected = &openEnd_;
    return newest_.compare_exchange_strong(expected, nullptr);
  }

  bool closed() const noexcept { return newest_.load() == nullptr; }

 private:
  static Piece* oldestFirst(Piece* newest) noexcept {
    Piece* oldest = nullptr;
    while (newest && newest != &openEnd_) newest = std::exchange(newest->next, std::exchange(oldest, newest));
    return oldest;
  }

  static inline constinit Piece openEnd_{};  // the bottom of an open inbox

  std::atomic<Piece*> newest_{nullptr};
};

}  // namespace jv
