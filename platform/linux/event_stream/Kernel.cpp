#include "platform/linux/event_stream/Kernel.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include <sched.h>
#include <unistd.h>

namespace jv::watching {

Kernel::Kernel() : instance_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)), error_(errno) {
  instance_.leaveStandardStreams();
}

int Kernel::add(const char* path, std::uint32_t mask) noexcept {
  if (!instance_.isOpen()) return -error_;
  const std::uint32_t manner = IN_ONLYDIR | IN_DONT_FOLLOW | IN_EXCL_UNLINK | IN_MASK_ADD;
  int watch;
  do {
    watch = inotify_add_watch(instance_.get(), path, mask | manner);
  } while (watch < 0 && errno == EINTR);
  return watch < 0 ? -errno : watch;
}

void Kernel::remove(int watch) noexcept { inotify_rm_watch(instance_.get(), watch); }

std::size_t Kernel::read(Buffer& buffer) noexcept {
  ssize_t size;
  do {
    size = ::read(instance_.get(), buffer.data(), buffer.size());
  } while (size < 0 && errno == EINTR);
  return size < 0 ? 0 : static_cast<std::size_t>(size);
}

bool Kernel::leftNothing(std::size_t size) { return size + sizeof(inotify_event) + NAME_MAX + 1 <= kBufferSize; }

// A sandbox may forbid it. Then folders are named through their descriptors, which takes the kernel longer.
Standpoint::Standpoint() : own_(unshare(CLONE_FS) == 0) {}

void Standpoint::enter(int folder) noexcept {
  prefix_ = 0;
  if (own_ && fchdir(folder) == 0) return;  // it fails in a folder that may be read and not be passed through
  prefix_ = static_cast<std::size_t>(std::snprintf(path_.data(), path_.size(), "/proc/self/fd/%d/", folder));
}

const char* Standpoint::pathOf(const char* name) noexcept {
  if (prefix_ == 0) return name;
  const std::size_t length = std::min(std::strlen(name), path_.size() - prefix_ - 1);
  std::memcpy(path_.data() + prefix_, name, length);
  path_[prefix_ + length] = '\0';
  return path_.data();
}

}  // namespace jv::watching
