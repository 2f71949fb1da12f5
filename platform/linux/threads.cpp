#include "platform/threads.h"

#include <atomic>
#include <csignal>
#include <ctime>
#include <new>

#include <pthread.h>
#include <unistd.h>

namespace jv {
namespace {

std::atomic<bool> forkedChild{false};

/// Blocked signals that a thread raises by its own instructions would end the process without a word to debuggers,
/// sanitizers and crash handlers; profilers count on SIGPROF in every thread.
constexpr int kOwnSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS, SIGPROF};

struct Start {
  const char* name;
  void (*entry)(void*);
  void* argument;
};

}  // namespace

bool isMainThread() noexcept {
  static thread_local const bool isMain = gettid() == getpid();
  return isMain;
}

bool startThread(const char* name, void (*entry)(void*), void* argument) noexcept {
  sigset_t blocked;
  sigset_t before;
  sigfillset(&blocked);
  for (const int signal : kOwnSignals) sigdelset(&blocked, signal);

  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return false;
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  pthread_sigmask(SIG_SETMASK, &blocked, &before);  // inherited by the new thread
  const auto start = new (std::nothrow) Start{name, entry, argument};
  pthread_t thread;
  const bool started = start && pthread_create(
                                    &thread, &attributes,
                                    [](void* given) -> void* {
                                      const Start own = *static_cast<Start*>(given);
                                      delete static_cast<Start*>(given);
                                      pthread_setname_np(pthread_self(), own.name);
                                      own.entry(own.argument);
                                      return nullptr;
                                    },
                                    start) == 0;
  if (!started) delete start;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  pthread_attr_destroy(&attributes);
  return started;
}

int threadClock() noexcept {
  clockid_t clock = 0;
  pthread_getcpuclockid(pthread_self(), &clock);
  return clock;
}

std::chrono::nanoseconds readThreadClock(int clock) noexcept {
  timespec used{};
  clock_gettime(clock, &used);
  return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

void watchForks(void (*inChild)()) noexcept {
  static const int flagged = pthread_atfork(nullptr, nullptr, [] { forkedChild = true; });
  static_cast<void>(flagged);
  pthread_atfork(nullptr, nullptr, inChild);
}

bool isForkedChild() noexcept { return forkedChild.load(std::memory_order_relaxed); }

}  // namespace jv
