#include "tasks/TaskRun.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <csignal>
#include <ctime>

#include <unistd.h>

#include "fakes/FakeProcess.h"
#include "platform/linux/ProcessWrite.h"
#include "tasks/BackgroundRun.h"

namespace {

TEST(TaskRun, TakesItsStepsInOrderBothWays) {
  using Text = std::optional<std::string>;
  const std::vector<std::string> arguments{"one", "two"};
  const std::string setUp =
      "task, pipe input, pipe output, pipe error, standard input is input, standard output is output, "
      "standard error is error, path /tool, arguments one two, ";
  const std::string release = "release error, release output, release input, ";
  const struct {
    const char* why;
    std::string input;
    Text directory;
    bool launches;
    std::string expected;  // between the two
  } cases[] = {
      {"without an input nothing is written, and the input stays open",
       "",
       {},
       true,
       "launch, read output, read error, exited, status, "},
      {"all of the input, and its end, come before any output", "hello", "/here", true,
       "directory /here, launch, write input hel, wait input, write input lo, close input, "
       "read output, read error, exited, status, "},
      {"a failed launch reads nothing", "", "", false, "directory , launch, "},
      {"and writes what fits", "hi", {}, false, "launch, write input hi, close input, "},
      {"alone: nobody will ever make room", "hello", {}, false, "launch, write input hel, "},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    const auto check = [&](auto run) {
      const auto fake = std::make_shared<jvtest::FakeProcess>();
      fake->inputRoom = 3;
      fake->output = "output";
      if (!c.launches) fake->beforeLaunch = [] { throw JVFoundation::NSException("Any", "No such tool"); };
      const jvtest::InstalledProcess installed(fake);
      const jv::TaskResult result = run();
      EXPECT_EQ(result.status, c.launches ? 0 : -666);
      EXPECT_EQ(result.output, c.launches ? Text("output") : std::nullopt);
      EXPECT_EQ(result.error, c.launches ? std::nullopt : Text("No such tool"));
      std::string steps;
      for (const std::string& step : fake->steps) steps += step + ", ";
      EXPECT_EQ(steps, setUp + c.expected + release);
    };
    check([&] { return jv::runTask({"/tool", arguments, c.input, c.directory}); });
    check([&] {
      std::vector<jv::TaskResult> results;
      jv::runTaskInBackground({"/tool", arguments, c.input, c.directory},
                              [&](const jv::TaskResult& result) { results.push_back(result); });
      EXPECT_EQ(results.size(), 1);
      return results.at(0);
    });
  }
}

// The way for kernels that cannot hold the signal back themselves.
TEST(ProcessWrite, FailsWithoutASignalWhenNobodyReads) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  EXPECT_EQ(jv::writeWithSignalHeldBack(ends[1], "text"), -1);
  EXPECT_EQ(errno, EPIPE);

  // No signal is pending that was not so before, and none that was is gone.
  sigset_t pipe, before;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe, &before);
  constexpr timespec kNow{};
  for (const int expected : {-1, SIGPIPE}) {
    if (expected == SIGPIPE) raise(SIGPIPE);
    EXPECT_EQ(jv::writeWithSignalHeldBack(ends[1], "text"), -1);
    EXPECT_EQ(sigtimedwait(&pipe, nullptr, &kNow), expected);
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  close(ends[1]);
}

}  // namespace
