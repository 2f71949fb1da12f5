#include "platform/linux/MappingGuard.h"

#include <csignal>
#include <cstdint>
#include <mutex>

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <atomic>

namespace jv {
namespace {

// What the handler reads. A place is free when its start is 0; end is written before start, and start is what counts.
struct Place {
  std::atomic<std::uintptr_t> start = 0;
  std::atomic<std::uintptr_t> end = 0;
  std::atomic<bool> shrank = false;
};

constinit std::array<Place, 64> places;
constinit std::mutex mutex;  // for taking and giving back places and the handler; never held in the handler
constinit int guarded = 0;
constinit struct sigaction before = {};
// A handler that was put in place of ours and calls it in turn comes to be the one before ours: not round and round.
// Of a model that the handler may touch on a thread that has never been here.
[[gnu::tls_model("initial-exec")]] constinit thread_local bool passingOn = false;

/// Puts pages of zeros from the one at @p address on in place of the rest of a guarded mapping.
bool mendAt(std::uintptr_t address) {
  for (Place& place : places) {
    const std::uintptr_t start = place.start.load(std::memory_order_acquire);
    const std::uintptr_t end = place.end.load(std::memory_order_acquire);
    if (place.start.load(std::memory_order_relaxed) != start) continue;  // another mapping's end by now
    if (start == 0 || address < start || address >= end) continue;
    const auto page = static_cast<std::uintptr_t>(getpagesize());
    const std::uintptr_t from = address & ~(page - 1);
    void* zeros =
        mmap(reinterpret_cast<void*>(from), end - from, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0);
    if (zeros == MAP_FAILED) return false;
    place.shrank.store(true, std::memory_order_relaxed);
    return true;
  }
  return false;
}

/// Has the signal end the process as it would have without a handler.
void letItEnd(int signal, const siginfo_t& info) {
  std::signal(signal, SIG_DFL);                // a fault comes again at once
  if (info.si_code <= 0) (void)raise(signal);  // one that was sent does not
}

void onBusError(int signal, siginfo_t* info, void* context) {
  if (info->si_code == BUS_ADRERR && mendAt(reinterpret_cast<std::uintptr_t>(info->si_addr))) return;
  if (passingOn) return letItEnd(signal, *info);
  passingOn = true;
  if ((before.sa_flags & SA_SIGINFO) != 0) {
    before.sa_sigaction(signal, info, context);
  } else if (before.sa_handler == SIG_DFL || before.sa_handler == SIG_IGN) {
    letItEnd(signal, *info);
  } else {
    before.sa_handler(signal);
  }
  passingOn = false;
}

void takeHandler() {
  struct sigaction ours = {};
  ours.sa_sigaction = onBusError;
  ours.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART;
  sigemptyset(&ours.sa_mask);
  sigaction(SIGBUS, &ours, &before);
}

/// Leaves alone a handler that the application put in place of ours meanwhile.
void giveHandlerBack() {
  struct sigaction now = {};
  sigaction(SIGBUS, nullptr, &now);
  if ((now.sa_flags & SA_SIGINFO) != 0 && now.sa_sigaction == onBusError) sigaction(SIGBUS, &before, nullptr);
}

}  // namespace

std::optional<int> guardMapping(const void* start, std::size_t size) noexcept {
  sigset_t blocked;  // on this thread: then a fault would end the process, whatever the handler
  if (pthread_sigmask(SIG_BLOCK, nullptr, &blocked) != 0 || sigismember(&blocked, SIGBUS) != 0) return std::nullopt;
  const std::lock_guard lock(mutex);
  for (std::size_t i = 0; i < places.size(); ++i) {
    Place& place = places[i];
    if (place.start.load(std::memory_order_relaxed) != 0) continue;
    if (guarded++ == 0) takeHandler();
    const auto address = reinterpret_cast<std::uintptr_t>(start);
    place.shrank.store(false, std::memory_order_relaxed);
    place.end.store(address + size, std::memory_order_release);
    place.start.store(address, std::memory_order_release);
    return static_cast<int>(i);
  }
  return std::nullopt;
}

bool mappingShrank(int place) noexcept {
  return places[static_cast<std::size_t>(place)].shrank.load(std::memory_order_relaxed);
}

void endGuard(int place) noexcept {
  const std::lock_guard lock(mutex);
  places[static_cast<std::size_t>(place)].start.store(0, std::memory_order_release);
  if (--guarded == 0) giveHandlerBack();
}

}  // namespace jv
