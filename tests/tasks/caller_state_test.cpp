// Tools neither see nor disturb what else the application does with its descriptors, signals and children.
#include <gmock/gmock.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "tasks/support.h"

namespace {

using jvtest::launchSync;
using jvtest::TaskOutcome;

class CallerState : public jvtest::BothWays {};
INSTANTIATE_TEST_SUITE_P(, CallerState, testing::Values(launchSync, jvtest::launchAsync));

/// A signal's disposition for the time of a scope.
struct Disposition {
  Disposition(int number, void (*handler)(int), int flags = 0) : signal(number) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = flags;  // and no SA_RESTART
    sigaction(signal, &action, &before);
  }
  ~Disposition() { sigaction(signal, &before, nullptr); }
  int signal;
  struct sigaction before;
};

TEST_P(CallerState, ToolsStartWithACleanState) {
  const int leaking = open("/dev/null", O_RDONLY);
  const Disposition pipeIgnored(SIGPIPE, SIG_IGN);
  const Disposition realTimeIgnored(SIGRTMIN, SIG_IGN);
  sigset_t blocked, before, after;
  sigfillset(&blocked);
  pthread_sigmask(SIG_BLOCK, &blocked, &before);
  const TaskOutcome open = launch("/bin/ls", {"/proc/self/fd"});
  const TaskOutcome signals = launch("/bin/grep", {"-E", "Sig(Blk|Ign)", "/proc/self/status"});
  pthread_sigmask(SIG_SETMASK, &before, &after);
  EXPECT_TRUE(sigismember(&after, SIGUSR1)) << "the caller's mask stays";
  close(leaking);
  EXPECT_EQ(open.output, "0\n1\n2\n3\n");  // the last is of the folder itself
  EXPECT_EQ(signals.output, "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
}

TEST_P(CallerState, StandardStreamsMayBeClosed) {
  // Every combination of the three is closed, so that fresh pipes land there.
  for (unsigned mask = 1; mask < 8; ++mask) {
    SCOPED_TRACE(mask);
    const auto isClosed = [mask](int stream) { return mask >> stream & 1; };
    int saved[3];
    for (const int stream : {0, 1, 2}) saved[stream] = fcntl(stream, F_DUPFD_CLOEXEC, 100);
    for (const int stream : {0, 1, 2}) {
      if (isClosed(stream)) close(stream);
    }
    const TaskOutcome echo = launch("/bin/sh", {"-c", "cat; ls /proc/self/fd >&2"}, "input");
    const TaskOutcome failed = launch("/no/such/tool", {});
    for (const int stream : {0, 1, 2}) {
      EXPECT_TRUE(!isClosed(stream) || fcntl(stream, F_GETFD) == -1) << "nothing was left there";
      dup2(saved[stream], stream);
      close(saved[stream]);
    }
    EXPECT_EQ(echo, (TaskOutcome{0, "input", "0\n1\n2\n3\n"}));
    EXPECT_EQ(failed.status, -666);
  }
}

/// What is known of a tool that ended with @p status after somebody else has waited for it.
int statusOf(int status) {
  utsname system;
  uname(&system);
  int major = 0;
  int minor = 0;
  std::sscanf(system.release, "%d.%d", &major, &minor);
  return major > 6 || (major == 6 && minor >= 15) ? status : 0;
}

TEST_P(CallerState, TheApplicationMayIgnoreTheEndOfItsChildren) {
  for (const int flags : {0, SA_NOCLDWAIT}) {
    const Disposition ignored(SIGCHLD, flags ? SIG_DFL : SIG_IGN, flags);
    for (int i = 0; i < 20; ++i) EXPECT_EQ(launch("/bin/sh", {"-c", "kill $$"}).status, statusOf(15));
    EXPECT_EQ(launch("/no/such/tool", {}).status, -666);
  }
}

TEST_P(CallerState, TheApplicationMayWaitForAnyChildAndKeepsItsOwn) {
  const pid_t child = fork();
  if (child == 0) _exit(42);
  EXPECT_EQ(launch("/bin/false").status, 1);
  int own = 0;
  EXPECT_EQ(waitpid(child, &own, 0), child);
  EXPECT_EQ(WEXITSTATUS(own), 42);

  std::atomic<bool> done{false};
  std::thread thief([&] {
    while (!done) {
      if (waitpid(-1, nullptr, WNOHANG) <= 0) std::this_thread::yield();
    }
  });
  for (int i = 0; i < 50; ++i) EXPECT_THAT(launch("/bin/false").status, testing::AnyOf(1, statusOf(1)));
  done = true;
  thief.join();
}

// A tool that lives long, launched in the middle of many, must not keep their streams open.
TEST(ParallelLaunches, DoNotHoldOneAnothersPipes) {
  const std::string fifo = testing::TempDir() + "jv-caller-fifo-" + std::to_string(getpid());
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  std::vector<std::thread> others;
  std::thread longLived;
  for (int i = 0; i < 64; ++i) {
    if (i == 20) longLived = std::thread([&] { EXPECT_EQ(launchSync("/bin/cat", {fifo}).output, "written"); });
    others.emplace_back([text = std::to_string(i)] {
      for (int round = 0; round < 5; ++round) EXPECT_EQ(launchSync("/bin/cat", {}, text), (TaskOutcome{0, text, {}}));
    });
  }
  for (std::thread& other : others) other.join();
  std::ofstream(fifo) << "written";
  longLived.join();
  std::remove(fifo.c_str());
}

}  // namespace
