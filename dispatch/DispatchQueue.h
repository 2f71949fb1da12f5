/// Queues of work: serial ones that run one piece at a time, one that runs them side by side, and the main thread's.
#pragma once

#include <concepts>
#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

#include <JorvaneFoundation/foundation/JVExport.h>

namespace JVFoundation {
class DispatchQueue;
}

namespace jv {
class Queue;
Queue& queueOf(const JVFoundation::DispatchQueue& reference) noexcept;
struct Piece;
template <class Work>
Piece* makePiece(Work&& work);
}  // namespace jv

namespace JVFoundation {

/// A reference to a queue; copies refer to the same queue and cost an atomic increment. The queue lives as long as a
/// reference to it or work on it. All members may be called on any thread.
///
/// Queues own no thread: they borrow from one pool that starts at first use, grows when work waits and nothing moves,
/// and goes back to no thread at all when there is nothing to do. An idle serial queue is 72 bytes.
///
/// Work must not let an exception out: that ends the process, as an uncaught exception does.
class JV_EXPORT DispatchQueue {
 public:
  /// A new serial queue: pieces run one at a time, in the order in which they came, on threads of the pool.
  /// @param label  a name for people, UTF-8; copied.
  [[nodiscard]] static DispatchQueue create(std::optional<std::string_view> label = std::nullopt);
  /// The shared concurrent queue: pieces begin in order and run side by side; work that blocks holds up nothing.
  [[nodiscard]] static DispatchQueue globalQueue();
  /// The main thread's queue. Its pieces run, in order, while the main thread runs or drains `NSRunLoop`, and wait
  /// until then: a program that does neither never gets them.
  [[nodiscard]] static DispatchQueue mainQueue();

  DispatchQueue(const DispatchQueue& other) noexcept;
  DispatchQueue& operator=(const DispatchQueue& other) noexcept;
  ~DispatchQueue();

  /// Runs @p work once, later, on this queue, and returns at once. Whatever @p work holds is destroyed right after it
  /// has run, on the thread that ran it. An empty `std::function` ends the process when its turn comes.
  /// @param work  anything to be called without arguments, copied or moved; it need not be copyable.
  /// Cost: one allocation. @throws std::bad_alloc and what moving @p work throws; nothing was queued then.
  template <class Work>
  requires std::invocable < std::decay_t<Work>
  & > void async(Work&& work) const { submit(jv::makePiece(std::forward<Work>(work))); }

  /// Keeps @p value under @p key; only the address in @p key counts. Takes the place of an earlier value.
  /// @param value       none removes what is there.
  /// @param destructor  called with @p value once it is replaced, removed, or the queue goes; may be none. It runs on
  /// the
  ///                    thread that does so.
  void setSpecific(const void* key, void* value, void (*destructor)(void*) = nullptr) const;
  /// The value under @p key, or none. Where another thread may replace the value, the pointer can be dead before it is
  /// looked at: use `copySpecific` there.
  [[nodiscard]] void* getSpecific(const void* key) const noexcept;
  /// Copies the first @p size bytes that the value under @p key points to into @p copy. The value cannot be replaced in
  /// the meantime. @return whether there is a value; if not, @p copy is left alone.
  bool copySpecific(const void* key, void* copy, std::size_t size) const noexcept;

  /// The name given at creation; valid as long as the queue. The main and the global queue have fixed ones.
  [[nodiscard]] std::optional<std::string_view> label() const noexcept;

  /// Whether both refer to the same queue.
  friend bool operator==(const DispatchQueue& a, const DispatchQueue& b) noexcept { return a.queue_ == b.queue_; }

 private:
  friend jv::Queue& jv::queueOf(const DispatchQueue& reference) noexcept;
  explicit DispatchQueue(jv::Queue* owned) noexcept : queue_(owned) {}
  void submit(jv::Piece* piece) const noexcept;

  jv::Queue* queue_;
};

}  // namespace JVFoundation

// ---------------------------------------------------------------------------------------------------------------------
// How a piece of work travels. Part of the binary interface.

namespace jv {

/// A callable in one allocation. `run` calls it, destroys it and frees the piece.
struct Piece {
  void (*run)(Piece*);
  Piece* next;
};

template <class Work>
Piece* makePiece(Work&& work) {
  struct Holder : Piece {
    explicit Holder(Work&& held) : Piece{run, nullptr}, work(std::forward<Work>(held)) {}
    static void run(Piece* piece) {
      const std::unique_ptr<Holder> holder(static_cast<Holder*>(piece));
      holder->work();
    }
    std::decay_t<Work> work;
  };
  return new Holder(std::forward<Work>(work));
}

}  // namespace jv
