// What loading the library costs, what the facts cost next to a bare question to the kernel, and how soon a change of a
// link is told.
//
//   bench_system [--short] [--idle SECONDS]
//
// --idle then listens for so long and says how much processor time that took. The changes need root: they are made in a
// network of the program's own.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

#include <fcntl.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sched.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <JorvaneFoundation/dispatch/NSRunLoop.h>
#include <JorvaneFoundation/foundation/NSNotificationCenter.h>
#include <JorvaneFoundation/system/JVSystemConfigListener.h>
#include <JorvaneFoundation/system/JVUser.h>
#include <JorvaneFoundation/system/JVUtilities.h>

#include "support/report.h"

namespace {

using Clock = std::chrono::steady_clock;
using jv::bench::microsecondsOf;
using jv::bench::Who;
using JVFoundation::NSNotificationCenter;
using JVFoundation::NSRunLoop;

struct Times {
  std::vector<double> all;

  double at(double part) {
    std::ranges::sort(all);
    return all[static_cast<std::size_t>(part * static_cast<double>(all.size() - 1))];
  }
};

void runProgram(const char* program, const char* argument = nullptr) {
  char* words[] = {const_cast<char*>(program), const_cast<char*>(argument), nullptr};
  pid_t child;
  int status = 0;
  if (posix_spawn(&child, program, nullptr, nullptr, words, environ) != 0) std::abort();
  if (waitpid(child, &status, 0) != child || status != 0) std::abort();
}

void compareLoading(int rounds) {
  jv::bench::Subject("Loading the library", "µs")
      .compare("start and end of a program",
               {{Who::kFloor, "empty C++ program", microsecondsOf([] { runProgram(PROBE_WITHOUT); })},
                {Who::kOurs, "the same with the library", microsecondsOf([] { runProgram(PROBE_WITH); })}},
               rounds);
  std::putchar('\n');
  runProgram(PROBE_WITHOUT, "show");
  runProgram(PROBE_WITH, "show");
}

/// Links and IPv4 addresses on a fresh socket, as plainly as can be.
void dumpLinksAndAddresses() {
  const int kernel = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
  if (kernel < 0) std::abort();
  for (const auto& [kind, family] : {std::pair{RTM_GETLINK, AF_UNSPEC}, {RTM_GETADDR, AF_INET}}) {
    struct {
      nlmsghdr header;
      rtgenmsg body;
    } request{};
    request.header.nlmsg_len = NLMSG_LENGTH(sizeof request.body);
    request.header.nlmsg_type = static_cast<std::uint16_t>(kind);
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.body.rtgen_family = static_cast<std::uint8_t>(family);
    if (send(kernel, &request, request.header.nlmsg_len, 0) < 0) std::abort();
    for (bool done = false; !done;) {
      alignas(nlmsghdr) char buffer[32 * 1024];
      auto left = static_cast<unsigned>(recv(kernel, buffer, sizeof buffer, 0));
      for (auto* message = reinterpret_cast<nlmsghdr*>(buffer); NLMSG_OK(message, left);
           message = NLMSG_NEXT(message, left)) {
        done = done || message->nlmsg_type == NLMSG_DONE;
      }
    }
  }
  close(kernel);
}

void compareFacts(int rounds) {
  const jv::bench::Subject subject("Facts", "µs");
  subject.compare("address",
                  {{Who::kFloor, "one link and one address dump", microsecondsOf(dumpLinksAndAddresses)},
                   {Who::kOurs, "ipAddress", microsecondsOf([] { static_cast<void>(JVUtilities::ipAddress()); })}},
                  rounds);
  subject.compare(
      "names",
      {{Who::kFloor, "opening a file that is not there",
        microsecondsOf([] { close(open("/etc/no-such-file", O_RDONLY | O_CLOEXEC)); })},
       {Who::kOurs, "computerName", microsecondsOf([] { static_cast<void>(JVUtilities::computerName()); })},
       {Who::kOurs, "computerModel", microsecondsOf([] { static_cast<void>(JVUtilities::computerModel()); })},
       {Who::kOurs, "userName", microsecondsOf([] { static_cast<void>(JVUtilities::userName()); })}},
      rounds);
}

/// A link of the program's own that can be switched.
class Link {
 public:
  Link() : control_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    works_ =
        unshare(CLONE_NEWNET) == 0 && std::system(
                                          "{ ip link add jv0 type dummy || ip link add jv0 type ifb; } 2>/dev/null && "
                                          "ip addr add 192.0.2.1/24 dev jv0") == 0;
    if (!works_) return;
    close(control_);
    control_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);  // of the new network
  }
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;
  ~Link() { close(control_); }

  [[nodiscard]] bool works() const { return works_; }

  void set(bool up) const {
    ifreq request{};
    std::strcpy(request.ifr_name, "jv0");
    request.ifr_flags = static_cast<short>(up ? IFF_UP : 0);
    if (ioctl(control_, SIOCSIFFLAGS, &request) != 0) std::abort();
  }

 private:
  int control_;
  bool works_ = false;
};

std::ptrdiff_t descriptors() { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); }

void measureChanges(int flaps) {
  const Link link;
  if (!link.works()) {
    std::puts("\n- Changes of a link: not measured, since no network of its own can be had here.");
    return;
  }
  NSRunLoop& loop = NSRunLoop::mainRunLoop();
  auto& listener = JVSystemConfigListener::sharedListener();
  Clock::time_point told;
  int count = 0;
  const auto token =
      NSNotificationCenter::defaultCenter().addObserver(JVIPAddressChangedNotification, &listener, [&](const auto&) {
        told = Clock::now();
        ++count;
      });
  link.set(true);
  loop.drain();

  Times times;
  const auto before = descriptors();
  const int countBefore = count;
  for (int flap = 0; flap < flaps; ++flap) {
    for (const bool up : {false, true}) {
      const auto start = Clock::now();
      link.set(up);
      loop.drain();
      times.all.push_back(std::chrono::duration<double, std::micro>(told - start).count());
    }
  }
  std::printf(
      "\n- %d flaps of a link, each state waited for: told %d times; from the change to the notification median "
      "%.0f µs, 99 %% %.0f µs, longest %.0f µs.\n",
      flaps, count - countBefore, times.at(0.5), times.at(0.99), times.at(1));

  link.set(false);
  loop.drain();
  const int burst = count;
  for (int flap = 0; flap < flaps; ++flap) {
    link.set(false);
    link.set(true);
  }
  loop.drain();
  std::printf("- %d flaps in a burst: told %d times, last %s; %td descriptors more than before.\n", flaps,
              count - burst, listener.networkState().value_or("nothing").c_str(), descriptors() - before);
}

void measureIdle(int seconds) {
  JVSystemConfigListener::sharedListener();
  JVUser::sharedUser();
  NSRunLoop& loop = NSRunLoop::mainRunLoop();
  loop.drain();
  rusage before{};
  rusage after{};
  getrusage(RUSAGE_SELF, &before);
  loop.addTimer(std::chrono::seconds(seconds), [&loop] { loop.stop(); });
  loop.run();
  getrusage(RUSAGE_SELF, &after);
  const auto microseconds = [](const rusage& usage) {
    return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1'000'000 + usage.ru_utime.tv_usec +
           usage.ru_stime.tv_usec;
  };
  std::printf(
      "- %d idle seconds with both listeners: %ld µs of processor time, %ld wake-ups (one ends the measurement).\n",
      seconds, microseconds(after) - microseconds(before), after.ru_nvcsw - before.ru_nvcsw);
}

}  // namespace

int main(int argc, char** argv) {
  int rounds = 2000;
  int idle = 0;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--short") == 0) rounds = 200;
    if (std::strcmp(argv[i], "--idle") == 0 && i + 1 < argc) idle = std::atoi(argv[++i]);
  }
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  compareLoading(rounds / 10);
  compareFacts(rounds);
  measureChanges(1000);
  if (idle > 0) measureIdle(idle);
}
