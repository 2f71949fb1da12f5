// The child's system calls are watched by a seccomp filter that asks its parent (seccomp_unotify(2)). Unlike a tracer,
// it sees the calls of all threads in one order, costs microseconds, and can be had without privileges.
#include "Attempt.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <new>
#include <random>
#include <set>
#include <thread>

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <JorvaneFoundation/platform/Modules.h>

namespace faults {
namespace {

using Clock = std::chrono::steady_clock;

/// For a whole child. The longest that a service may wait for another program is 25 seconds, each time.
constexpr std::chrono::seconds kBound{120};
/// By chance, one call in so many fails.
constexpr unsigned kOneIn = 50;
constexpr int kControl = 900;  // the descriptor that the filter is handed over by
constexpr int kMostDescriptors = 1024;

/// Between parent and child, without a system call.
struct Shared {
  std::atomic<bool> disturbing{false};
  Held held;
};

[[noreturn]] void stop(const char* what) {
  std::perror(what);
  std::_Exit(2);
}

// ---------------------------------------------------------------------------------------------------------------------
// The child

/// @return the descriptor by which all calls but the sure ones ask. The calls by which the child hands it over don't.
int watchCalls() {
  std::vector<sock_filter> filter = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_sendmsg, 0, 4),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, kControl, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
  };
  for (const long number : sureCalls()) {
    filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(number), 0, 1));
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  }
  filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF));
  const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) < 0) return -1;
  return static_cast<int>(syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &program));
}

/// A message with room for a descriptor.
struct DescriptorMessage {
  alignas(cmsghdr) std::array<std::byte, CMSG_SPACE(sizeof(int))> room{};
  char byte = 0;
  iovec data{&byte, 1};
  msghdr message{nullptr, 0, &data, 1, room.data(), room.size(), 0};
};

void handOver(int descriptor) {
  DescriptorMessage carrier;
  cmsghdr* const header = CMSG_FIRSTHDR(&carrier.message);
  header->cmsg_level = SOL_SOCKET;
  header->cmsg_type = SCM_RIGHTS;
  header->cmsg_len = CMSG_LEN(sizeof(int));
  std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
  if (sendmsg(kControl, &carrier.message, 0) < 0) stop("sendmsg");
}

int takeOver(int socket) {
  DescriptorMessage carrier;
  int descriptor = -1;
  if (recvmsg(socket, &carrier.message, MSG_CMSG_CLOEXEC) == 1 &&
      carrier.message.msg_controllen >= CMSG_LEN(sizeof(int))) {
    std::memcpy(&descriptor, CMSG_DATA(CMSG_FIRSTHDR(&carrier.message)), sizeof descriptor);
  }
  return descriptor;
}

Held held() {
  Held now;
  struct stat ignored;
  for (int descriptor = 0; descriptor < kMostDescriptors; ++descriptor) {
    now.descriptors += fstat(descriptor, &ignored) == 0;
  }
  now.threads = static_cast<int>(std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}));
  siginfo_t info;
  now.children = waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0;
  return now;
}

/// Threads without work go after a while, and some descriptors are closed in the background.
Held heldAtRest(const std::optional<Held>& usual) {
  const auto end = Clock::now() + std::chrono::seconds(10);
  for (;;) {
    const Held now = held();
    const bool more = usual && (now.threads > usual->threads || now.descriptors > usual->descriptors);
    if (!more || Clock::now() > end) return now;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

void say(const char* when, const Answers& answers) {
  for (const std::string& what : answers.wrong()) std::printf("%s: %s\n", when, what.c_str());
}

/// @param usual  see `attempt`
[[noreturn]] void beChild(const Service& service, const std::string& folder, const std::optional<Held>& usual,
                          Shared& shared) {
  const int listener = watchCalls();
  handOver(listener);
  if (listener < 0) std::_Exit(2);
  close(listener);
  close(kControl);
  signal(SIGPIPE, SIG_DFL);

  Answers disturbed(true, folder);
  shared.disturbing = true;
  service.run(disturbed);
  shared.disturbing = false;

  // A module is loaded once. Where that failed, the service's fixed answers are right from then on.
  const bool lacking =
      std::ranges::any_of(JVPlatform::modules(), [](const auto& module) { return !module.problem.empty(); });
  Answers undisturbed(lacking, folder);
  service.run(undisturbed);
  shared.held = heldAtRest(usual);
  say("disturbed", disturbed);
  say("afterwards", undisturbed);
  std::exit(disturbed.wrong().empty() && undisturbed.wrong().empty() ? 0 : 1);
}

// ---------------------------------------------------------------------------------------------------------------------
// The parent

class Watcher {
 public:
  Watcher(const Service& service, const Fault& fault, const Shared& shared, Outcome& outcome)
      : service_(service), fault_(fault), shared_(shared), outcome_(outcome), chance_(fault.seed) {}

  /// Deals with one call.
  void answer(int listener) {
    seccomp_notif asked{};
    if (ioctl(listener, SECCOMP_IOCTL_NOTIF_RECV, &asked) < 0) return;  // gone meanwhile
    seccomp_notif_resp reply{};
    reply.id = asked.id;
    reply.error = -errorFor(asked);
    if (reply.error == 0) reply.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
    ioctl(listener, SECCOMP_IOCTL_NOTIF_SEND, &reply);
  }

 private:
  int errorFor(const seccomp_notif& asked) {
    if (!shared_.disturbing || tools_.contains(asked.pid)) return 0;
    const long number = asked.data.nr;
    const Call* const call = callOf(number);
    const int nth = ++outcome_.calls[number];
    if (!call) {
      if (nth == 1) outcome_.wrong.push_back("system call " + std::to_string(number) + " is in no list");
      return 0;
    }
    int error = 0;
    if (fault_.call == call && fault_.nth == nth) error = fault_.error;
    // Without memory a program ends, sooner or later.
    const bool isMemory = number == SYS_mmap || number == SYS_mremap;
    if (!fault_.call && fault_.seed != 0 && chance_() % kOneIn == 0 && !isMemory) {
      error = call->errors[chance_() % call->errors.size()];
      if (isListed(*call, error, service_)) error = 0;
    }
    outcome_.failed += error != 0;
    if (error == 0 && number == SYS_execve) tools_.insert(asked.pid);  // what a tool does is its own business
    return error;
  }

  const Service& service_;
  const Fault& fault_;
  const Shared& shared_;
  Outcome& outcome_;
  std::mt19937 chance_;
  std::set<std::uint32_t> tools_;
};

std::string readAll(int descriptor) {
  fcntl(descriptor, F_SETFL, O_NONBLOCK);
  std::string text;
  std::array<char, 4096> piece;
  for (ssize_t count; (count = read(descriptor, piece.data(), piece.size())) > 0;) {
    text.append(piece.data(), static_cast<std::size_t>(count));
  }
  return text;
}

/// @return whether the child ended by itself.
bool watch(int child, int listener, Watcher& watcher) {
  const auto end = Clock::now() + kBound;
  std::array<pollfd, 2> wanted{{{child, POLLIN, 0}, {listener, POLLIN, 0}}};
  while (Clock::now() < end) {
    if (poll(wanted.data(), wanted.size(), 1000) <= 0) continue;
    if (wanted[1].revents & POLLIN)
      watcher.answer(listener);
    else if (wanted[0].revents)
      return true;
  }
  return false;
}

void judge(int child, bool ended, const std::string& said, Outcome& outcome) {
  const auto add = [&](const std::string& what) { outcome.wrong.push_back(what); };
  if (!ended) {
    add("no answer (process " + std::to_string(child) + ")");
    if (getenv("JV_FAULTS_KEEP")) pause();  // for a debugger
    kill(child, SIGKILL);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (ended && WIFSIGNALED(status)) add(std::string("ended by ") + strsignal(WTERMSIG(status)));
  if (WIFEXITED(status) && WEXITSTATUS(status) != 0) add("exit status " + std::to_string(WEXITSTATUS(status)));
  if (!outcome.wrong.empty() && !said.empty()) add(said);
  if (said.find(kSecret) != std::string::npos) add("the secret is in the output");
}

}  // namespace

bool isListed(const Call& call, int error, const Service& service) {
  const std::string fault = std::string(call.name) + " " + strerrorname_np(error) + ";";
  for (std::size_t at = 0; (at = service.never.find(fault, at)) != std::string_view::npos; ++at) {
    if (at == 0 || service.never[at - 1] == ';') return true;
  }
  return false;
}

bool canWatch() {
  const pid_t child = fork();
  if (child == 0) std::_Exit(watchCalls() < 0);
  int status = 1;
  waitpid(child, &status, 0);
  return status == 0;
}

Outcome attempt(const Service& service, const Fault& fault, const std::optional<Held>& usual) {
  void* const page = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (page == MAP_FAILED) stop("mmap");
  auto& shared = *new (page) Shared;
  std::array<int, 2> control;
  std::array<int, 2> output;
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, control.data()) < 0) stop("socketpair");
  if (pipe2(output.data(), O_CLOEXEC) < 0) stop("pipe2");

  std::string folder = std::filesystem::temp_directory_path() / "jv-faults-XXXXXX";
  if (!mkdtemp(folder.data())) stop("mkdtemp");
  if (service.prepare) service.prepare(folder);

  const pid_t child = fork();
  if (child < 0) stop("fork");
  if (child == 0) {
    for (const auto& [from, to] : {std::pair(output[1], 1), {output[1], 2}, {control[1], kControl}}) dup2(from, to);
    beChild(service, folder, usual, shared);
  }
  close(control[1]);
  close(output[1]);
  const int listener = takeOver(control[0]);
  if (listener < 0) stop("the filter");
  const int process = static_cast<int>(syscall(SYS_pidfd_open, child, 0));

  Outcome outcome;
  Watcher watcher(service, fault, shared, outcome);
  const bool ended = watch(process, listener, watcher);
  judge(child, ended, readAll(output[0]), outcome);
  outcome.held = shared.held;
  if (usual && outcome.wrong.empty()) {
    const auto compare = [&](const char* what, int now, int before) {
      if (now > before) {
        outcome.wrong.push_back(std::to_string(now) + " " + what + " left, usually " + std::to_string(before));
      }
    };
    compare("descriptors", outcome.held.descriptors, usual->descriptors);
    compare("threads", outcome.held.threads, usual->threads);
    compare("children", outcome.held.children, usual->children);
  }
  for (const int descriptor : {control[0], output[0], listener, process}) close(descriptor);
  munmap(page, sizeof(Shared));
  std::filesystem::remove_all(folder);
  return outcome;
}

}  // namespace faults
