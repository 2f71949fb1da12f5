#include "dispatch/Queue.h"

#include <cstring>
#include <mutex>
#include <utility>

#include "dispatch/guarded.h"
#include "dispatch/MainLoop.h"
#include "dispatch/ThreadPool.h"

namespace jv {
namespace {

/// Pieces that a queue may run while other queues wait for a thread.
constexpr int kTurn = 16;

}  // namespace

static_assert(sizeof(void*) != 8 || sizeof(Queue) <= 72, "there may be thousands");

Queue::Queue(Kind kind, std::optional<std::string_view> label)
    : label_(label ? std::make_unique<const std::string>(*label) : nullptr), kind_(kind) {}

Queue::~Queue() {
  for (Specific* specific = &first_; specific; specific = specific->next.get()) {
    if (specific->key && specific->destructor) specific->destructor(specific->value);
  }
}

Queue* Queue::makeSerial(std::optional<std::string_view> label) { return new Queue(Kind::Serial, label); }

Queue* Queue::global() {
  static Queue* const queue = new Queue(Kind::Global, "global");
  return queue;
}

Queue* Queue::main() {
  static Queue* const queue = new Queue(Kind::Main, "main");
  return queue;
}

void Queue::release() noexcept {
  if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

void Queue::submit(Piece* piece) noexcept {
  switch (kind_) {
    case Kind::Serial:
      if (inbox_.put(piece)) ThreadPool::shared().add(retain());
      break;
    case Kind::Global:
      ThreadPool::shared().add(piece);
      break;
    case Kind::Main:
      MainLoop::shared().add(piece);
      break;
  }
}

void Queue::run() noexcept {
  ThreadPool& pool = ThreadPool::shared();
  for (int ran = 0;; ++ran) {
    if (!taken_) {
      taken_ = inbox_.takeAll();
      if (!taken_) {
        if (!inbox_.close()) continue;
        release();
        return;
      }
    }
    if (ran >= kTurn && pool.somethingWaits()) {
      pool.add(this);
      return;
    }
    Piece* const piece = std::exchange(taken_, taken_->next);
    guarded([piece] { piece->run(piece); });
  }
}

Queue::Specific* Queue::find(const void* key) noexcept {
  Specific* specific = &first_;
  while (specific && specific->key != key) specific = specific->next.get();
  return specific;
}

Queue::Specific* Queue::placeFor(const void* key) noexcept {
  Specific* const place = find(key);
  return place ? place : find(nullptr);
}

void Queue::setSpecific(const void* key, void* value, void (*destructor)(void*)) {
  if (!key) return;
  std::unique_lock lock(lock_);
  Specific* place = placeFor(key);
  if (!place) {
    lock.unlock();
    auto more = std::make_unique<Specific>();
    lock.lock();
    place = placeFor(key);  // another thread may have been here meanwhile
    if (!place) {
      place = more.get();
      more->next = std::move(first_.next);
      first_.next = std::move(more);
    }
  }
  place->key = value ? key : nullptr;
  void* const replaced = std::exchange(place->value, value);
  const auto destroy = std::exchange(place->destructor, destructor);
  lock.unlock();
  if (replaced && destroy) destroy(replaced);
}

void* Queue::specific(const void* key) noexcept {
  const std::lock_guard lock(lock_);
  const Specific* const found = key ? find(key) : nullptr;
  return found ? found->value : nullptr;
}

bool Queue::copySpecific(const void* key, void* copy, std::size_t size) noexcept {
  const std::lock_guard lock(lock_);
  const Specific* const found = key ? find(key) : nullptr;
  if (found) std::memcpy(copy, found->value, size);
  return found != nullptr;
}

std::optional<std::int8_t> Queue::byteOfSpecific(const void* key) noexcept {
  const std::lock_guard lock(lock_);
  const Specific* const found = key ? find(key) : nullptr;
  if (!found) return std::nullopt;
  return *static_cast<const std::int8_t*>(found->value);
}

std::optional<std::string_view> Queue::label() const noexcept {
  if (!label_) return std::nullopt;
  return *label_;
}

}  // namespace jv
