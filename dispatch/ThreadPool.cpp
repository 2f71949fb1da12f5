#include "dispatch/ThreadPool.h"

#include <algorithm>
#include <new>
#include <thread>
#include <utility>

#include "dispatch/guarded.h"
#include "platform/threads.h"

namespace jv {
namespace {

using namespace std::chrono_literals;

/// How long a thread stays without work.
constexpr auto kIdleTime = 2s;
/// How often the keeper looks while work waits.
constexpr auto kTick = 5ms;
/// How long nothing may move before the pool grows although its threads compute: one of them may wait in a loop for
/// what waits.
constexpr auto kPatience = 100ms;

/// Takes @p item out of the list that begins with @p first.
template <class Item>
void unlink(Item*& first, Item& item, Item* Item::*next) noexcept {
  Item** link = &first;
  while (*link != &item) link = &((*link)->*next);
  *link = item.*next;
}

}  // namespace

/// Outlives its thread, for the next one to use: whoever calls it does so after the mutex is free, and may be late.
struct ThreadPool::Worker {
  ThreadPool& pool;
  int clock = 0;
  Worker* next = nullptr;      // among all, or among the spare ones
  Worker* nextIdle = nullptr;  // among the parked
  bool called = false;         // taken from the parked to work
  std::condition_variable wake{};
};

ThreadPool::ThreadPool() : processors_(std::max(2, static_cast<int>(std::thread::hardware_concurrency()))) {
  watchForks([] {});
}

ThreadPool& ThreadPool::shared() {
  static ThreadPool* const pool = new ThreadPool;
  return *pool;
}

template <class Item>
void ThreadPool::addTo(FifoList<Item>& list, Item* item) noexcept {
  if (isForkedChild()) return;
  Lock lock(mutex_);
  list.add(item);
  waiting_.store(waiting_ + 1, std::memory_order_relaxed);
  if (idle_) {
    Worker* const worker = std::exchange(idle_, idle_->nextIdle);
    worker->called = true;
    lock.unlock();
    worker->wake.notify_one();
  } else if (workerCount_ >= processors_ || !startWorker(lock)) {
    alertKeeper(lock);
  }
}

void ThreadPool::add(Queue* queue) noexcept { addTo(queues_, queue); }
void ThreadPool::add(Piece* piece) noexcept { addTo(pieces_, piece); }

bool ThreadPool::startWorker(Lock& lock) noexcept {
  Worker* worker = spare_;
  if (worker) spare_ = worker->next;
  ++workerCount_;
  lock.unlock();
  if (!worker) worker = new (std::nothrow) Worker{*this};
  const auto run = [](void* given) {
    Worker& self = *static_cast<Worker*>(given);
    self.pool.work(self);
  };
  const bool started = worker && startThread("jv-worker", run, worker);
  lock.lock();
  if (started) return true;
  --workerCount_;
  if (worker) worker->next = std::exchange(spare_, worker);
  return false;
}

void ThreadPool::work(Worker& self) noexcept {
  Lock lock(mutex_);
  self.clock = threadClock();
  self.next = std::exchange(workers_, &self);
  do {
    while (waiting_ > 0) runOne(lock);
  } while (park(self, lock));
  unlink(workers_, self, &Worker::next);
  self.next = std::exchange(spare_, &self);
  --workerCount_;
}

void ThreadPool::runOne(Lock& lock) noexcept {
  const bool takePiece = queues_.empty() || (pieceNext_ && !pieces_.empty());
  Piece* const piece = takePiece ? pieces_.take() : nullptr;
  Queue* const queue = takePiece ? nullptr : queues_.take();
  pieceNext_ = !takePiece;
  waiting_.store(waiting_ - 1, std::memory_order_relaxed);
  ++taken_;
  lock.unlock();
  if (queue) queue->run();
  if (piece) guarded([piece] { piece->run(piece); });
  lock.lock();
}

/// @return whether there is work again; if not, the thread has had its time.
bool ThreadPool::park(Worker& self, Lock& lock) noexcept {
  self.called = false;
  self.nextIdle = std::exchange(idle_, &self);
  if (self.wake.wait_for(lock, kIdleTime, [&self] { return self.called; })) return true;
  unlink(idle_, self, &Worker::nextIdle);
  return false;
}

void ThreadPool::alertKeeper(Lock& lock) noexcept {
  if (!keeper_) {
    keeper_ = true;
    lock.unlock();
    const bool started = startThread(
        "jv-keeper", [](void* pool) { static_cast<ThreadPool*>(pool)->keep(); }, this);
    lock.lock();
    keeper_ = started;
  } else if (keeperAsleep_) {
    keeperAsleep_ = false;
    keeperWake_.notify_one();
  }
}

/// Looks at every tick whether what waits stands still, for at least a tick and until nothing waits.
void ThreadPool::keep() noexcept {
  Lock lock(mutex_);
  do {
    std::chrono::nanoseconds still{0};
    do {
      const std::uint64_t takenBefore = taken_;
      const auto timeBefore = processorTime();
      keeperWake_.wait_for(lock, kTick, [] { return false; });
      if (taken_ != takenBefore) {
        still = still.zero();
        continue;
      }
      still += kTick;
      const bool computing = processorTime() - timeBefore > kTick * processors_ / 2;
      if (still < (computing ? kPatience : kTick)) continue;
      grow(computing, lock);
      still = still.zero();
    } while (waiting_ > 0);
    keeperAsleep_ = true;
  } while (keeperWake_.wait_for(lock, kIdleTime, [this] { return !keeperAsleep_; }));
  keeperAsleep_ = false;
  keeper_ = false;
}

void ThreadPool::grow(bool computing, Lock& lock) noexcept {
  // There may be none, when the system had no thread for the first.
  for (int more = computing ? 1 : std::max(1, workerCount_); more > 0 && waiting_ > 0; --more) {
    if (!startWorker(lock)) return;
  }
}

/// What all workers have used together.
std::chrono::nanoseconds ThreadPool::processorTime() const noexcept {
  std::chrono::nanoseconds sum{0};
  for (const Worker* worker = workers_; worker; worker = worker->next) sum += readThreadClock(worker->clock);
  return sum;
}

}  // namespace jv
