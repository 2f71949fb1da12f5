// Tools by the kernel's own means: clone, pidfd, pipes, poll and epoll.
#include <JorvaneFoundation/platform/Process.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <optional>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/linux/ProcessEvents.h"
#include "platform/linux/ProcessReason.h"
#include "platform/linux/ProcessSpawn.h"
#include "platform/linux/ProcessText.h"
#include "platform/linux/ProcessWatch.h"
#include "platform/linux/ProcessWrite.h"

namespace jv {
namespace {

// ---------------------------------------------------------------------------------------------------------------------
// Pipes

class PipeEnd final : public JVPlatform::FileHandle {
 public:
  PipeEnd(Descriptor descriptor, Watch::For purpose) : watch_(std::move(descriptor), purpose) {}

  bool writeData(std::string_view& data) override {
    if (data.size() > Watch::kUsualPipe) watch_.enlarge(data.size(), Watch::Why::need);
    const ssize_t written = writeWithoutSignal(watch_.descriptor(), data);
    if (written < 0 && (errno == EAGAIN || errno == ENOMEM)) return false;  // a pipe takes memory page by page
    data.remove_prefix(written < 0 ? data.size() : static_cast<std::size_t>(written));
    return data.empty();
  }

  bool readDataToEndOfFile(std::string& data) override {
    int waiting = 0;
    if (expectMany_) ioctl(watch_.descriptor(), FIONREAD, &waiting);
    expectMany_ = waiting > kFew;
    return expectMany_ ? readMany(data, static_cast<std::size_t>(waiting)) : readFew(data);
  }

  void closeFile() override { watch_.close(); }
  void wait() override { watch_.wait(); }
  void whenReady(std::function<void()> then) override { watch_.whenReady(std::move(then)); }

  Watch& watch() { return watch_; }
  /// Of this end alone: the tool's end is another open file.
  void stopBlocking() { fcntl(watch_.descriptor(), F_SETFL, O_NONBLOCK); }

 private:
  bool readMany(std::string& data, std::size_t waiting) {
    const std::size_t before = data.size();
    if (before + waiting >= Watch::kUsualPipe) watch_.enlarge(Watch::kLargestPipe, Watch::Why::speed);
    makeRoom(data, waiting);
    data.resize(before + waiting);
    const ssize_t count = readOnce(data.data() + before, waiting);
    const int error = errno;
    data.resize(before + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return isEnd(count, error);
  }

  bool readFew(std::string& data) {
    std::array<char, kFew> few;
    const ssize_t count = readOnce(few.data(), few.size());
    const int error = errno;
    if (count > 0) data.append(few.data(), static_cast<std::size_t>(count));
    expectMany_ = count == kFew;
    return isEnd(count, error);
  }

  ssize_t readOnce(char* to, std::size_t size) {
    ssize_t count;
    do {
      count = read(watch_.descriptor(), to, size);
    } while (count < 0 && errno == EINTR);
    return count;
  }

  bool isEnd(ssize_t count, int error) {
    if (count > 0 || (count < 0 && error == EAGAIN)) return false;
    if (count < 0) watch_.close();  // or the tool would wait for ever for somebody to read on
    return true;
  }

  // Most outputs are small, and take one call to the system instead of two.
  static constexpr int kFew = 16 * 1024;

  Watch watch_;
  bool expectMany_ = false;
};

class KernelPipe final : public JVPlatform::Pipe {
 public:
  KernelPipe(Descriptor reading, Descriptor writing)
      : reading_(std::move(reading), Watch::For::reading), writing_(std::move(writing), Watch::For::writing) {}

  PipeEnd& fileHandleForReading() override { return reading_; }
  PipeEnd& fileHandleForWriting() override { return writing_; }

 private:
  PipeEnd reading_;
  PipeEnd writing_;
};

// ---------------------------------------------------------------------------------------------------------------------
// How a child ended

struct Ending {
  std::int32_t status = 0;
  JVPlatform::TerminationReason reason = JVPlatform::TerminationReason::exit;
};

/// What the kernel tells of a child by its pidfd, also after somebody else has waited for it (Linux 6.15).
struct PidfdInfo {
  static constexpr std::uint64_t kExit = 1U << 3;
  std::uint64_t mask = kExit;
  std::uint64_t cgroup = 0;
  std::array<std::uint32_t, 11> identifiers{};
  std::int32_t waitStatus = 0;
};
static_assert(sizeof(PidfdInfo) == 64);
constexpr unsigned long kPidfdGetInfo = _IOWR(0xFF, 11, PidfdInfo);

std::optional<Ending> endingByPidfd(int process) {
  constexpr int kTries = 3;
  constexpr int kMilliseconds = 100;
  PidfdInfo info;
  for (int left = kTries;; --left) {
    info = {};
    const int result = ioctl(process, kPidfdGetInfo, &info);
    if (result == 0 && (info.mask & PidfdInfo::kExit)) break;
    if (left == 0 || (result < 0 && errno != ESRCH)) return std::nullopt;
    // Waited for, but not quite gone, or going this moment: it is gone when the pidfd hangs up.
    pollfd gone{process, 0, 0};
    poll(&gone, 1, kMilliseconds);
  }
  if (WIFSIGNALED(info.waitStatus)) {
    return Ending{WTERMSIG(info.waitStatus), JVPlatform::TerminationReason::uncaughtSignal};
  }
  return Ending{WEXITSTATUS(info.waitStatus)};
}

/// None while the child runs.
std::optional<Ending> endingOf(int process, int options) {
  siginfo_t info;
  for (;;) {
    info.si_pid = 0;
    if (waitid(P_PIDFD, static_cast<id_t>(process), &info, WEXITED | options) == 0) break;
    // The application ignores SIGCHLD or waits for any child: the status went elsewhere.
    if (errno != EINTR) return endingByPidfd(process).value_or(Ending{});
  }
  if (info.si_pid == 0) return std::nullopt;
  if (info.si_code == CLD_EXITED) return Ending{info.si_status};
  return Ending{info.si_status, JVPlatform::TerminationReason::uncaughtSignal};
}

// ---------------------------------------------------------------------------------------------------------------------
// Tasks

[[noreturn]] void raiseLaunchFailure(const std::string& path, int error) {
  raiseFailure("Cannot launch " + path, error);
}

[[noreturn]] void raiseDirectoryFailure(const std::string& directory, int error) {
  raiseFailure("Cannot change to the directory " + directory, error);
}

bool hasZeroByte(std::string_view text) { return text.find('\0') != std::string_view::npos; }

class KernelTask final : public JVPlatform::Task {
 public:
  ~KernelTask() override {
    if (!process_ || ending_) return;
    syscall(SYS_pidfd_send_signal, process_->descriptor(), SIGKILL, nullptr, 0U);
    endingOf(process_->descriptor(), 0);
  }

  void setStandardInput(JVPlatform::Pipe& pipe) override {
    input_ = &static_cast<KernelPipe&>(pipe);
    input_->fileHandleForWriting().stopBlocking();
  }
  void setStandardOutput(JVPlatform::Pipe& pipe) override {
    output_ = &static_cast<KernelPipe&>(pipe);
    output_->fileHandleForReading().stopBlocking();
  }
  void setStandardError(JVPlatform::Pipe& pipe) override {
    error_ = &static_cast<KernelPipe&>(pipe);
    error_->fileHandleForReading().stopBlocking();
  }

  void setLaunchPath(std::string_view path) override { path_ = path; }
  void setArguments(std::span<const std::string> arguments) override { arguments_ = arguments; }
  void setCurrentDirectoryPath(std::string_view path) override { directory_ = path; }

  void launch() override {
    refuseZeroBytes();
    std::vector<char*> arguments;
    arguments.reserve(arguments_.size() + 2);
    arguments.push_back(path_.data());
    for (const std::string& argument : arguments_) arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);

    Spawned spawned = spawn(
        {path_.c_str(),
         arguments.data(),
         directory_ ? directory_->c_str() : nullptr,
         {input_->fileHandleForReading().watch().descriptor(), output_->fileHandleForWriting().watch().descriptor(),
          error_->fileHandleForWriting().watch().descriptor()}});
    if (spawned.failed == SpawnStep::directory) raiseDirectoryFailure(*directory_, spawned.error);
    if (spawned.failed != SpawnStep::none) raiseLaunchFailure(path_, spawned.error);

    process_.emplace(std::move(spawned.process), Watch::For::reading);
    input_->fileHandleForReading().closeFile();
    output_->fileHandleForWriting().closeFile();
    error_->fileHandleForWriting().closeFile();
    Watch& output = output_->fileHandleForReading().watch();
    Watch& error = error_->fileHandleForReading().watch();
    input_->fileHandleForWriting().watch().mind(output);
    input_->fileHandleForWriting().watch().mind(error);
    output.mind(error);
  }

  bool waitUntilExit() override {
    if (!ending_) ending_ = endingOf(process_->descriptor(), WNOHANG);
    return ending_.has_value();
  }

  [[nodiscard]] std::int32_t terminationStatus() const override { return ending_->status; }
  [[nodiscard]] JVPlatform::TerminationReason terminationReason() const override { return ending_->reason; }

  void wait() override { process_->wait(); }
  void whenReady(std::function<void()> then) override { process_->whenReady(std::move(then)); }

 private:
  /// The kernel would take what stands before it for the whole, and the tool do something else than asked for.
  void refuseZeroBytes() const {
    if (directory_ && hasZeroByte(*directory_)) raiseDirectoryFailure(*directory_, EINVAL);
    if (hasZeroByte(path_) || std::ranges::any_of(arguments_, hasZeroByte)) raiseLaunchFailure(path_, EINVAL);
  }

  KernelPipe* input_ = nullptr;
  KernelPipe* output_ = nullptr;
  KernelPipe* error_ = nullptr;
  std::string path_;
  std::span<const std::string> arguments_;
  std::optional<std::string> directory_;
  std::optional<Watch> process_;
  std::optional<Ending> ending_;
};

class KernelProcess final : public JVPlatform::Process {
 public:
  std::unique_ptr<JVPlatform::Task> task() override { return std::make_unique<KernelTask>(); }

  std::unique_ptr<JVPlatform::Pipe> pipe() override {
    std::array<int, 2> ends{-1, -1};
    const bool made = pipe2(ends.data(), O_CLOEXEC) == 0;
    Descriptor reading(ends[0]);
    Descriptor writing(ends[1]);
    if (!made || !reading.leaveStandardStreams() || !writing.leaveStandardStreams()) {
      raiseFailure("Cannot make a pipe for a tool", errno);
    }
    return std::make_unique<KernelPipe>(std::move(reading), std::move(writing));
  }

  void performInBackground(std::function<void()> work) override {
    EventThread::shared().start();
    Launchers::shared().perform(std::move(work));
  }

  bool hasRoomForAnother() override {
    rlimit limit;
    if (getrlimit(RLIMIT_NOFILE, &limit) < 0) return true;
    const rlim_t left = std::min<rlim_t>(kLeftToApplication, limit.rlim_cur / 4);
    return openDescriptors() + kOfALaunch + left <= limit.rlim_cur;
  }

 private:
  static rlim_t openDescriptors() {
    struct stat folder;
    if (stat("/proc/self/fd", &folder) == 0 && folder.st_size > 0) return static_cast<rlim_t>(folder.st_size);
    // Before Linux 6.2: the lowest one that is free, below which all are taken.
    const Descriptor next(fcntl(EventThread::shared().descriptor(), F_DUPFD_CLOEXEC, 0));
    return next.isOpen() ? static_cast<rlim_t>(next.get()) : RLIM_INFINITY / 2;
  }

  static constexpr rlim_t kOfALaunch = 7;  // three pipes and a pidfd
  static constexpr rlim_t kLeftToApplication = 64;
};

}  // namespace

std::shared_ptr<JVPlatform::Process> makeProcess() { return std::make_shared<KernelProcess>(); }

}  // namespace jv
