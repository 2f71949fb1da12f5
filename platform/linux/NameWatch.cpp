#include "platform/linux/NameWatch.h"

#include <fcntl.h>
#include <linux/aio_abi.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <system_error>

namespace jv {
namespace {

/// Descriptors that wait for others forget what they have seen once it was asked for. So the kernel is told to write
/// down in a descriptor of its own, which stays readable until it is read, that a file has something urgent to tell.
class UrgentEvents {
 public:
  /// @return whether it works for this file on this system.
  bool start(int file) {
    file_ = file;
    event_ = Descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    return event_.isOpen() && syscall(SYS_io_setup, 1, &context_) == 0 && submit();
  }
  UrgentEvents() = default;
  UrgentEvents(const UrgentEvents&) = delete;
  UrgentEvents& operator=(const UrgentEvents&) = delete;
  ~UrgentEvents() {
    if (context_ != 0) syscall(SYS_io_destroy, context_);
  }

  [[nodiscard]] const Descriptor& descriptor() const { return event_; }

  /// Whether there was something; waits for the next from then on.
  bool take() {
    eventfd_t count;
    if (!event_.isOpen() || eventfd_read(event_.get(), &count) != 0) return false;
    io_event done;
    timespec now{};
    if (syscall(SYS_io_getevents, context_, 0, 1, &done, &now) == 1) submit();
    return true;
  }

 private:
  bool submit() {
    iocb request{};
    request.aio_lio_opcode = IOCB_CMD_POLL;
    request.aio_fildes = static_cast<std::uint32_t>(file_);
    request.aio_buf = POLLPRI;
    request.aio_flags = IOCB_FLAG_RESFD;
    request.aio_resfd = static_cast<std::uint32_t>(event_.get());
    iocb* const requests[] = {&request};
    return syscall(SYS_io_submit, context_, 1, requests) == 1;
  }

  int file_ = -1;
  Descriptor event_;
  aio_context_t context_ = 0;
};

constexpr std::uint32_t kEvents = IN_MOVED_TO | IN_MOVED_FROM | IN_CLOSE_WRITE | IN_CREATE | IN_DELETE;

bool isOfInterest(std::string_view name) { return name == "machine-info" || name == "hostname"; }

[[noreturn]] void fail(const char* operation) { throw std::system_error(errno, std::generic_category(), operation); }

}  // namespace

class NameWatch::HostNameWatch {
 public:
  explicit HostNameWatch(const std::string& path)
      : file_(open(path.c_str(), O_RDONLY | O_CLOEXEC)), works_(file_.isOpen() && events_.start(file_.get())) {}

  [[nodiscard]] bool works() const { return works_; }
  [[nodiscard]] const Descriptor& descriptor() const { return events_.descriptor(); }
  bool take() { return works_ && events_.take(); }

 private:
  Descriptor file_;
  UrgentEvents events_;
  bool works_;
};

NameWatch::NameWatch(const std::string& root, std::chrono::milliseconds pause)
    : folder_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)),
      hostName_(std::make_unique<HostNameWatch>(root + "/proc/sys/kernel/hostname")),
      poll_(epoll_create1(EPOLL_CLOEXEC)) {
  if (!poll_.isOpen()) fail("epoll_create1");
  const bool hasFolder =
      folder_.isOpen() && inotify_add_watch(folder_.get(), (root + "/etc").c_str(), kEvents | IN_ONLYDIR) >= 0;
  if (hasFolder) watch(folder_);
  if (hostName_->works()) watch(hostName_->descriptor());
  if (!hasFolder || !hostName_->works()) startTimer(pause);
}

NameWatch::~NameWatch() = default;

void NameWatch::watch(const Descriptor& descriptor) const {
  epoll_event event{.events = EPOLLIN, .data = {}};
  if (epoll_ctl(poll_.get(), EPOLL_CTL_ADD, descriptor.get(), &event) != 0) fail("epoll_ctl");
}

void NameWatch::startTimer(std::chrono::milliseconds pause) {
  timer_ = Descriptor(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
  if (!timer_.isOpen()) fail("timerfd_create");
  itimerspec every{};
  every.it_interval = every.it_value = {pause.count() / 1000, pause.count() % 1000 * 1'000'000};
  timerfd_settime(timer_.get(), 0, &every, nullptr);
  watch(timer_);
}

void NameWatch::perform() {
  const bool folder = readFolder();
  const bool hostName = hostName_->take();
  const bool timer = readTimer();
  const std::function<void()> changed = changed_;  // which the call may take away
  if ((folder || hostName || timer) && changed) changed();
}

/// Whether one of the files was named, or events were lost.
bool NameWatch::readFolder() const {
  bool named = false;
  alignas(inotify_event) std::array<char, 4096> buffer;
  for (;;) {
    const ssize_t length = read(folder_.get(), buffer.data(), buffer.size());
    if (length < 0 && errno == EINTR) continue;
    if (length <= 0) return named;
    for (const char* at = buffer.data(); at < buffer.data() + length;) {
      const auto& event = *reinterpret_cast<const inotify_event*>(at);
      named = named || (event.mask & IN_Q_OVERFLOW) != 0 || (event.len > 0 && isOfInterest(event.name));
      at += sizeof event + event.len;
    }
  }
}

bool NameWatch::readTimer() const {
  std::uint64_t times;
  return timer_.isOpen() && read(timer_.get(), &times, sizeof times) == sizeof times;
}

}  // namespace jv
