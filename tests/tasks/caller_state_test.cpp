// Tools neither see nor disturb what else the application does with its descriptors, signals and children.
#include <JorvaneFoundation/tasks/NSTask.h>

#include <gmock/gmock.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "tasks/support.h"

namespace {

using JVFoundation::NSTask;
using jvtest::outcomeOf;
using jvtest::program;
using jvtest::TaskOutcome;
using Words = std::vector<std::string>;
using Text = std::optional<std::string>;

TaskOutcome launchSync(const std::string& path, const Words& arguments, const Text& input = std::nullopt) {
  return outcomeOf(NSTask::launchSyncWithPath(path, arguments, input));
}

TaskOutcome launchAsync(const std::string& path, const Words& arguments, const Text& input = std::nullopt) {
  std::vector<TaskOutcome> outcomes;
  NSTask::launchAsyncWithPath(path, arguments, input, jvtest::keepIn(outcomes));
  if (!jvtest::drainUntil([&] { return !outcomes.empty(); })) return {-1, {}, "no reply"};
  return outcomes.front();
}

using Launch = TaskOutcome (*)(const std::string&, const Words&, const Text&);

/// Both faces, wherever the difference may matter.
class CallerState : public testing::TestWithParam<Launch> {
 protected:
  void SetUp() override {
    launch("/bin/true", {});  // threads and descriptors that stay are there from now on
    descriptors_ = jvtest::descriptors();
  }
  void TearDown() override {
    EXPECT_EQ(jvtest::descriptors(), descriptors_);
    EXPECT_FALSE(jvtest::hasChildren());
  }
  static TaskOutcome launch(const std::string& path, const Words& arguments, const Text& input = std::nullopt) {
    return GetParam()(path, arguments, input);
  }

 private:
  std::ptrdiff_t descriptors_ = 0;
};

INSTANTIATE_TEST_SUITE_P(, CallerState, testing::Values<Launch>(launchSync, launchAsync),
                         [](const auto& face) { return face.index == 0 ? "Sync" : "Async"; });

/// A signal's disposition for the time of a scope.
class Disposition {
 public:
  Disposition(int signal, void (*handler)(int)) : signal_(signal) {
    struct sigaction action {};
    action.sa_handler = handler;  // and no SA_RESTART
    sigaction(signal, &action, &before_);
  }
  ~Disposition() { sigaction(signal_, &before_, nullptr); }

 private:
  int signal_;
  struct sigaction before_;
};

sigset_t setOf(std::initializer_list<int> signals) {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : signals) sigaddset(&set, signal);
  return set;
}

TEST_P(CallerState, ToolsStartWithACleanState) {
  const int leaking = open("/dev/null", O_RDONLY);
  const int high = fcntl(leaking, F_DUPFD, 500);
  const Disposition pipeIgnored(SIGPIPE, SIG_IGN);
  const Disposition interruptIgnored(SIGINT, SIG_IGN);
  const Disposition realTimeIgnored(SIGRTMIN, SIG_IGN);
  sigset_t before;
  const sigset_t blocked = setOf({SIGPIPE, SIGTERM, SIGUSR1, SIGRTMAX});
  pthread_sigmask(SIG_BLOCK, &blocked, &before);
  setenv("JV_TEST_VARIABLE", "as it is", 1);

  const TaskOutcome outcome = launch(program("show_state"), {});

  unsetenv("JV_TEST_VARIABLE");
  sigset_t after;
  pthread_sigmask(SIG_SETMASK, &before, &after);
  EXPECT_TRUE(sigismember(&after, SIGUSR1) && sigismember(&after, SIGPIPE) && !sigismember(&after, SIGHUP));
  close(leaking);
  close(high);
  std::array<char, 4096> here;
  EXPECT_EQ(outcome.output, std::string("open 0 1 2\nblocked\nignored\ndirectory ") + getcwd(here.data(), here.size()) +
                                "\nvariable as it is\n");
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
    const TaskOutcome state = launch(program("show_state"), {});
    const TaskOutcome echo = launch("/bin/sh", {"-c", "cat; echo error >&2"}, "input");
    const TaskOutcome failed = launch("/no/such/tool", {});
    for (const int stream : {0, 1, 2}) {
      EXPECT_TRUE(!isClosed(stream) || fcntl(stream, F_GETFD) == -1) << "nothing was left there";
      dup2(saved[stream], stream);
      close(saved[stream]);
    }
    EXPECT_EQ(state.output.value_or("").substr(0, 11), "open 0 1 2\n");
    EXPECT_EQ(echo, (TaskOutcome{0, "input", "error\n"}));
    EXPECT_EQ(failed.status, -666);
  }
}

TEST_P(CallerState, BrokenPipesRaiseNoSignal) {
  static std::atomic<int> raised;
  raised = 0;
  const Disposition counted(SIGPIPE, [](int) { ++raised; });
  EXPECT_EQ(launch(program("close_input"), {}, std::string(4 << 20, 'x')), (TaskOutcome{0, "closed\n", {}}));
  EXPECT_EQ(raised, 0);
}

TEST_P(CallerState, SignalsInterruptNothing) {
  static std::atomic<int> ticks;
  ticks = 0;
  const Disposition counted(SIGALRM, [](int) { ++ticks; });
  const itimerval often{{0, 1000}, {0, 1000}};
  setitimer(ITIMER_REAL, &often, nullptr);
  const std::string text(300'000, 'x');
  EXPECT_EQ(launch("/bin/sh", {"-c", "sleep 0.2; cat; sleep 0.1; echo error >&2; exec 2>&-; sleep 0.1; exit 6"}, text),
            (TaskOutcome{6, text, "error\n"}));
  constexpr itimerval kNever{};
  setitimer(ITIMER_REAL, &kNever, nullptr);
  EXPECT_GT(ticks, 20);
}

/// Whether the kernel tells how a child ended after somebody else has waited for it.
bool kernelKeepsStatuses() {
  utsname system;
  uname(&system);
  int major = 0;
  int minor = 0;
  return std::sscanf(system.release, "%d.%d", &major, &minor) == 2 && (major > 6 || (major == 6 && minor >= 15));
}

TEST_P(CallerState, TheApplicationMayIgnoreTheEndOfItsChildren) {
  const int expected = kernelKeepsStatuses() ? 7 : 0;
  for (const int flags : {0, SA_NOCLDWAIT}) {
    struct sigaction action {};
    struct sigaction before;
    action.sa_handler = flags ? SIG_DFL : SIG_IGN;
    action.sa_flags = flags;
    sigaction(SIGCHLD, &action, &before);
    for (int i = 0; i < 20; ++i) {
      EXPECT_EQ(launch(program("end"), {"exit", "7"}).status, expected);
      EXPECT_EQ(launch(program("end"), {"signal", "15"}).status, kernelKeepsStatuses() ? 15 : 0);
    }
    EXPECT_EQ(launch("/no/such/tool", {}).status, -666);
    sigaction(SIGCHLD, &before, nullptr);
  }
}

TEST_P(CallerState, TheApplicationMayWaitForAnyChild) {
  std::atomic<bool> done{false};
  std::thread thief([&] {
    while (!done) {
      if (waitpid(-1, nullptr, WNOHANG) <= 0) std::this_thread::yield();
    }
  });
  for (int i = 0; i < 50; ++i) {
    const int status = launch(program("end"), {"exit", "7"}).status;
    EXPECT_TRUE(status == 7 || (status == 0 && !kernelKeepsStatuses())) << status;
  }
  done = true;
  thief.join();
}

TEST_P(CallerState, OtherChildrenAreLeftAlone) {
  const pid_t child = fork();
  if (child == 0) _exit(42);
  siginfo_t info;
  ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT), 0);
  EXPECT_EQ(launch(program("end"), {"exit", "7"}).status, 7);
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), 42);
}

TEST_P(CallerState, EveryDescriptorLimitGivesAnAnswer) {
  const std::string input(std::size_t{2} << 20, 'i');  // more than any pipe holds
  int failures = 0;
  bool launched = false;
  for (rlim_t limit = 3; limit < 100; ++limit) {
    TaskOutcome outcome;
    {
      const jvtest::DescriptorLimit tight(limit);
      outcome = launch("/usr/bin/wc", {"-c"}, input);
    }
    launched = outcome == TaskOutcome{0, "2097152\n", {}};
    if (launched) break;
    ++failures;
    EXPECT_EQ(outcome.status, -666);
    EXPECT_THAT(outcome.error.value_or(""), testing::HasSubstr("Too many open files"));
  }
  EXPECT_TRUE(launched);
  EXPECT_GE(failures, 6) << "each descriptor of a launch was the one too many";
}

TEST(ParallelLaunches, DoNotHoldOneAnothersPipes) {
  // A tool that lives long, launched in the middle of many, must not keep their streams open.
  const std::string fifo = testing::TempDir() + "jv-caller-fifo-" + std::to_string(getpid());
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  std::atomic<int> right{0};
  std::vector<std::thread> others;
  std::thread longLived;
  for (int i = 0; i < 64; ++i) {
    if (i == 20) longLived = std::thread([&] { EXPECT_EQ(launchSync("/bin/cat", {fifo}).output, "written"); });
    others.emplace_back([&, text = std::to_string(i)] {
      for (int round = 0; round < 5; ++round) right += launchSync("/bin/cat", {}, text) == TaskOutcome{0, text, {}};
    });
  }
  for (std::thread& other : others) other.join();
  EXPECT_EQ(right, 64 * 5);
  std::ofstream(fifo) << "written";
  longLived.join();
  std::remove(fifo.c_str());
}

}  // namespace
