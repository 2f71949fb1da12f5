// fault_probe SERVICE FOLDER SECRET SOCKET DESCRIPTORS THREADS CALL…: uses a service twice, disturbed by faults.py and
// undisturbed, and says what went wrong and what the process holds in the end. All system calls but those with the
// given numbers ask faults.py, which gets hold of them through SOCKET; DESCRIPTORS and THREADS are what a process
// usually holds. Without a service it says by its exit status whether calls can be watched here.
#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <string_view>
#include <thread>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <JorvaneFoundation/platform/Modules.h>

#include "services.h"

namespace {

using namespace faults;

constexpr int kControl = 900;  // the descriptor that the filter is handed over by
constexpr int kMostDescriptors = 1024;
constexpr long kMark = 9999;

/// @return the descriptor by which all calls but the sure ones ask. The call by which it is handed over doesn't.
int watchCalls(std::span<char*> sure) {
  std::vector<sock_filter> filter = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_sendmsg, 0, 4),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, kControl, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
  };
  for (const char* const number : sure) {
    filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(std::atoi(number)), 0, 1));
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  }
  filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF));
  const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) < 0) return -1;
  return static_cast<int>(syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &program));
}

void handOver(int descriptor) {
  alignas(cmsghdr) std::array<std::byte, CMSG_SPACE(sizeof(int))> room{};
  char byte = 0;
  iovec data{&byte, 1};
  msghdr message{nullptr, 0, &data, 1, room.data(), room.size(), 0};
  cmsghdr* const header = CMSG_FIRSTHDR(&message);
  header->cmsg_level = SOL_SOCKET;
  header->cmsg_type = SCM_RIGHTS;
  header->cmsg_len = CMSG_LEN(sizeof(int));
  std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
  if (descriptor < 0 || sendmsg(kControl, &message, 0) < 0) std::_Exit(2);
  close(descriptor);
  close(kControl);
}

struct Held {
  int descriptors = 0;
  int threads = 0;
  int children = 0;
};

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
Held heldAtRest(int usualDescriptors, int usualThreads) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  for (;;) {
    const Held now = held();
    const bool more = usualThreads > 0 && (now.threads > usualThreads || now.descriptors > usualDescriptors);
    if (!more || std::chrono::steady_clock::now() > end) return now;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::span words(argv, static_cast<std::size_t>(argc));
  if (argc < 7) return 2;
  const auto sure = words.subspan(7);
  if (*argv[1] == '\0') return watchCalls(sure) < 0;
  const auto service = std::ranges::find(services(), std::string_view(argv[1]), &Service::name);
  if (service == services().end()) return 2;
  if (service->prepare) service->prepare(argv[2]);
  const int socket = std::atoi(argv[4]);
  dup2(socket, kControl);
  close(socket);
  handOver(watchCalls(sure));

  Answers disturbed{argv[2], argv[3], true};
  syscall(kMark);
  service->run(disturbed);
  syscall(kMark);

  // A module is loaded once. Where that failed, the service's fixed answers are right from then on.
  const bool lacking =
      std::ranges::any_of(JVPlatform::modules(), [](const auto& module) { return !module.problem.empty(); });
  Answers undisturbed{argv[2], argv[3], lacking};
  service->run(undisturbed);
  const Held now = heldAtRest(std::atoi(argv[5]), std::atoi(argv[6]));
  for (const std::string& what : disturbed.wrong) std::printf("disturbed: %s\n", what.c_str());
  for (const std::string& what : undisturbed.wrong) std::printf("afterwards: %s\n", what.c_str());
  std::printf("held %d %d %d\n", now.descriptors, now.threads, now.children);
  return disturbed.wrong.empty() && undisturbed.wrong.empty() ? 0 : 1;
}
