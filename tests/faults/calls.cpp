#include "calls.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <sys/syscall.h>

namespace faults {
namespace {

#define CALL(name, ...)                \
  {                                    \
    SYS_##name, #name, { __VA_ARGS__ } \
  }

// What no architecture but the older ones has stands between #ifdef.
// clang-format off
const std::vector<Call> kFailing = {
    // Files
    CALL(openat, EMFILE, ENFILE, ENOMEM, EACCES, EIO, EINTR),     CALL(read, EINTR, EIO),
    CALL(pread64, EINTR, EIO),                                    CALL(readv, EINTR, EIO),
    CALL(write, EINTR, EIO, ENOSPC),                              CALL(pwrite64, EINTR, EIO, ENOSPC),
    CALL(writev, EINTR, EIO, EPIPE),                              CALL(pwritev2, EINTR, EIO, EPIPE, EOPNOTSUPP),
    CALL(lseek, EIO),                                             CALL(newfstatat, EACCES, EIO, ENOMEM),
    CALL(statx, EACCES, EIO, ENOSYS),                             CALL(fstatfs, EIO, EINTR),
    CALL(statfs, EIO, EACCES),                                    CALL(getdents64, EIO, ENOENT),
    CALL(readlinkat, EIO, EACCES),                                CALL(faccessat, EACCES, EIO),
    CALL(faccessat2, EACCES, ENOSYS),                             CALL(fsync, EIO, ENOSPC),
    CALL(fdatasync, EIO, ENOSPC),                                 CALL(ftruncate, EIO, ENOSPC, EINTR),
    CALL(fallocate, ENOSPC, EOPNOTSUPP),                          CALL(fadvise64, EINVAL),
    CALL(fchmod, EPERM, EIO),                                     CALL(fchown, EPERM, EIO),
    CALL(mkdirat, EACCES, ENOSPC),                                CALL(renameat, EACCES, EIO, ENOSPC),
    CALL(renameat2, EACCES, EIO, ENOSPC),                         CALL(linkat, EACCES, EPERM, ENOSPC),
    CALL(unlinkat, EACCES, EIO),                                  CALL(flock, EINTR, ENOLCK),
    CALL(ioctl, EINVAL, ENOTTY),                                  CALL(fcntl, EINVAL, EMFILE, ENOLCK),
    CALL(chdir, EACCES, EIO),                                     CALL(fchdir, EACCES),
    CALL(name_to_handle_at, EOPNOTSUPP, ENOSYS),                  CALL(open_by_handle_at, EMFILE, ENOMEM, EPERM),
    // Descriptors of all kinds
    CALL(dup, EMFILE),                                            CALL(dup3, EMFILE),
    CALL(pipe2, EMFILE, ENFILE),                                  CALL(memfd_create, EMFILE, ENOSYS),
    CALL(eventfd2, EMFILE, ENFILE, ENOMEM),                       CALL(timerfd_create, EMFILE, ENFILE, ENOMEM),
    CALL(epoll_create1, EMFILE, ENFILE, ENOMEM),                  CALL(epoll_ctl, ENOMEM, ENOSPC),
    CALL(epoll_pwait, EINTR),                                     CALL(ppoll, EINTR, ENOMEM),
    CALL(pselect6, EINTR, ENOMEM),                                CALL(inotify_init1, EMFILE, ENFILE, ENOMEM),
    CALL(inotify_add_watch, ENOSPC, ENOMEM, EACCES, ENOENT),      CALL(inotify_rm_watch, EINVAL),
    CALL(fanotify_init, EMFILE, EPERM, ENOSYS),                   CALL(fanotify_mark, ENOSPC, ENOMEM),
    CALL(io_setup, EAGAIN, ENOSYS),                               CALL(io_submit, EAGAIN),
    // Sockets
    CALL(socket, EMFILE, ENFILE, ENOBUFS, EACCES, EAFNOSUPPORT),  CALL(socketpair, EMFILE, ENOBUFS),
    CALL(connect, ECONNREFUSED, EINTR, ENOENT, EAGAIN),           CALL(bind, EADDRINUSE, ENOMEM),
    CALL(sendto, EINTR, EAGAIN, ENOBUFS, EPIPE),                  CALL(sendmsg, EINTR, EAGAIN, ENOBUFS, EPIPE),
    CALL(recvfrom, EINTR, ECONNRESET, ENOBUFS),                   CALL(recvmsg, EINTR, ECONNRESET, ENOBUFS),
    CALL(getsockopt, ENOPROTOOPT, ENOBUFS),                       CALL(setsockopt, ENOPROTOOPT, ENOMEM),
    CALL(getsockname, ENOBUFS),                                   CALL(getpeername, ENOTCONN, ENOBUFS),
    CALL(shutdown, ENOTCONN),
    // Memory
    CALL(mmap, ENOMEM),                                           CALL(mremap, ENOMEM),
    CALL(mprotect, ENOMEM),                                       CALL(mlock, ENOMEM, EPERM),
    // Processes and threads
    CALL(clone, EAGAIN, ENOMEM),                                  CALL(clone3, EAGAIN, ENOMEM),
    CALL(execve, EIO, ENOMEM),                                    CALL(waitid, EINTR),
    CALL(close_range, ENOSYS, EPERM),                             CALL(unshare, EPERM),
    CALL(prlimit64, EPERM),                                       CALL(sched_getaffinity, EPERM),
    CALL(getrandom, EINTR),                                       CALL(pidfd_open, EMFILE, ENOSYS),
    CALL(pidfd_send_signal, EPERM),
#ifdef SYS_open
    CALL(open, EMFILE, ENOMEM, EACCES),                           CALL(stat, EACCES, EIO),
    CALL(lstat, EACCES, EIO),                                     CALL(fstat, EIO, ENOMEM),
    CALL(access, EACCES, EIO),                                    CALL(readlink, EACCES, EIO),
    CALL(mkdir, EACCES, ENOSPC),                                  CALL(rename, EACCES, EIO, ENOSPC),
    CALL(link, EACCES, EPERM, ENOSPC),                            CALL(unlink, EACCES, EIO),
    CALL(chmod, EPERM, EIO),                                      CALL(pipe, EMFILE, ENFILE),
    CALL(dup2, EMFILE),                                           CALL(poll, EINTR, ENOMEM),
    CALL(epoll_wait, EINTR),
#endif
};

#undef CALL

constexpr auto kSure = std::to_array<long>({
    SYS_close, SYS_munmap, SYS_munlock, SYS_madvise, SYS_brk, SYS_exit, SYS_exit_group, SYS_futex, SYS_rt_sigaction,
    SYS_rt_sigprocmask, SYS_rt_sigreturn, SYS_rt_sigpending, SYS_rt_sigtimedwait, SYS_sigaltstack,
    SYS_restart_syscall, SYS_getpid, SYS_gettid, SYS_getppid, SYS_getuid, SYS_geteuid, SYS_getgid, SYS_getegid,
    SYS_getresuid, SYS_getresgid, SYS_umask, SYS_uname, SYS_sysinfo, SYS_getcwd, SYS_prctl, SYS_clock_gettime,
    SYS_clock_getres, SYS_clock_nanosleep, SYS_gettimeofday, SYS_timerfd_settime, SYS_sched_yield, SYS_sched_getparam,
    SYS_sched_getscheduler, SYS_set_robust_list, SYS_rseq, SYS_membarrier, SYS_tgkill, SYS_kill, SYS_io_getevents,
    SYS_io_destroy,
#ifdef SYS_arch_prctl
    SYS_arch_prctl,
#endif
#ifdef SYS_time
    SYS_time,
#endif
});
// clang-format on

}  // namespace

std::span<const long> sureCalls() { return kSure; }

const Call* callOf(long number) {
  const auto found = std::ranges::find(kFailing, number, &Call::number);
  return found == kFailing.end() ? nullptr : &*found;
}

}  // namespace faults
