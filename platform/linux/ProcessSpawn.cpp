#include "platform/linux/ProcessSpawn.h"

#include <cerrno>
#include <csignal>
#include <cstddef>

#include <sched.h>
#include <sys/syscall.h>
#include <sys/wait.h>

// Until it executes the new program, the child borrows the memory of the thread that made it, which stands still
// meanwhile, and runs on a piece of that thread's stack. So it makes bare system calls alone: nothing that takes a
// lock, allocates, or that a sanitizer watches and would put down to the parent.
#define JV_BARE __attribute__((noinline, no_stack_protector, no_sanitize("address", "thread", "undefined")))

#if defined(__SANITIZE_THREAD__)
#define JV_UNDER_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define JV_UNDER_TSAN 1
#endif
#endif

#if defined(JV_UNDER_TSAN)
// ThreadSanitizer takes every clone() for a fork and resets its state in the child, which is the parent's own here.
// The C library exports the same function under this name, too.
extern "C" int __clone(int (*entry)(void*), void* stack, int flags, void* argument, ...);
#define clone __clone
#endif

namespace jv {
namespace {

constexpr std::size_t kStackSize = 16 * 1024;
constexpr int kExitOfFailedChild = 127;  // nobody sees it: the parent reads the reason from memory

struct Child {
  const SpawnOrder* order;
  SpawnStep failed;
  int error;
};

// Zero in the kernel's format, which differs by architecture, is the default action with no flags and no mask.
struct KernelSignalAction {
  alignas(void*) std::byte zero[64];
};
constexpr KernelSignalAction kDefaultAction{};
constexpr std::byte kNoSignals[_NSIG / 8]{};

JV_BARE int fail(Child* child, SpawnStep step) {
  child->failed = step;
  child->error = errno;
  syscall(SYS_exit_group, kExitOfFailedChild);
  return kExitOfFailedChild;
}

JV_BARE int runChild(void* argument) {
  auto* const child = static_cast<Child*>(argument);
  const SpawnOrder& order = *child->order;

  // Execution resets what is handled, not what is ignored.
  for (int signal = 1; signal < _NSIG; ++signal) {
    syscall(SYS_rt_sigaction, signal, &kDefaultAction, nullptr, sizeof kNoSignals);
  }
  for (int stream = 0; stream < 3; ++stream) {
    if (syscall(SYS_dup3, order.streams[static_cast<std::size_t>(stream)], stream, 0) < 0) {
      return fail(child, SpawnStep::streams);
    }
  }
  // Also what the application left open to inheritance. Where the kernel or a filter refuses, that is inherited.
  syscall(SYS_close_range, 3U, ~0U, 0U);
  if (order.directory && syscall(SYS_chdir, order.directory) < 0) return fail(child, SpawnStep::directory);
  // From here on a signal can end the child, but no longer run a handler in the parent's memory.
  syscall(SYS_rt_sigprocmask, SIG_SETMASK, &kNoSignals, nullptr, sizeof kNoSignals);
  syscall(SYS_execve, order.path, order.arguments, environ);
  return fail(child, SpawnStep::execution);
}

/// Returns 0, or the errno of clone.
JV_BARE int cloneChild(Child& child, int& process) {
  alignas(16) std::byte stack[kStackSize];  // below everything that the parent needs when it goes on
  const int flags = CLONE_VM | CLONE_VFORK | CLONE_PIDFD | SIGCHLD;
  return clone(runChild, stack + kStackSize, flags, &child, &process) < 0 ? errno : 0;
}

void reap(const Descriptor& process) {
  siginfo_t ignored;
  while (waitid(static_cast<idtype_t>(P_PIDFD), static_cast<id_t>(process.get()), &ignored, WEXITED) < 0 &&
         errno == EINTR) {
  }
}

}  // namespace

Spawned spawn(const SpawnOrder& order) {
  Child child{&order, SpawnStep::none, 0};
  int process = -1;

  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  const int error = cloneChild(child, process);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);

  Spawned spawned{Descriptor(process), child.failed, child.error};
  if (error != 0) return {Descriptor(), SpawnStep::process, error};
  if (spawned.failed != SpawnStep::none) {
    reap(spawned.process);
    spawned.process.close();
  }
  spawned.process.leaveStandardStreams();
  return spawned;
}

}  // namespace jv
