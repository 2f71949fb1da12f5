/// What a reference to a queue refers to.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "dispatch/ByteLock.h"
#include "dispatch/piece_list.h"

namespace jv {

/// Counted by its references, of which an open inbox holds one.
class Queue {
 public:
  static Queue* makeSerial(std::optional<std::string_view> label);
  static Queue* global();
  static Queue* main();

  Queue* retain() noexcept {
    references_.fetch_add(1, std::memory_order_relaxed);
    return this;
  }
  void release() noexcept;

  void submit(Piece* piece) noexcept;
  /// Runs what waits in a serial queue, on a thread of the pool; after a while gives way to other queues.
  void run() noexcept;

  void setSpecific(const void* key, void* value, void (*destructor)(void*));
  void* specific(const void* key) noexcept;
  bool copySpecific(const void* key, void* copy, std::size_t size) noexcept;
  /// The first byte of the value; none when there is no value.
  std::optional<std::int8_t> byteOfSpecific(const void* key) noexcept;

  std::optional<std::string_view> label() const noexcept;

  Queue* next = nullptr;  ///< in the pool's list of queues with work

 private:
  enum class Kind : std::uint8_t { Serial, Global, Main };

  /// A value under a key; without a key it is free.
  struct Specific {
    const void* key = nullptr;
    void* value = nullptr;
    void (*destructor)(void*) = nullptr;
    std::unique_ptr<Specific> next;
  };

  Queue(Kind kind, std::optional<std::string_view> label);
  ~Queue();
  Specific* find(const void* key) noexcept;
  Specific* placeFor(const void* key) noexcept;

  Inbox inbox_;
  Piece* taken_ = nullptr;  // from the inbox, oldest first; belongs to the thread that runs the queue
  std::unique_ptr<const std::string> label_;
  Specific first_;  // most queues have one value at most
  std::atomic<std::uint32_t> references_{1};
  ByteLock lock_;  // guards the values
  const Kind kind_;
};

}  // namespace jv
