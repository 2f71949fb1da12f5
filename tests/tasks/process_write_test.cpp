#include "platform/linux/ProcessWrite.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace {

/// The way of the kernel in use, and the one for those that cannot hold the signal back.
class PipeWriting : public testing::TestWithParam<ssize_t (*)(int, std::string_view)> {};
INSTANTIATE_TEST_SUITE_P(, PipeWriting, testing::Values(jv::writeWithoutSignal, jv::writeWithSignalHeldBack));

TEST_P(PipeWriting, WritesWhatFitsAndFailsWithoutASignal) {
  std::array<int, 2> ends;
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
  EXPECT_EQ(GetParam()(ends[1], "some text"), 9);
  const std::string more(1 << 20, 'x');
  EXPECT_GT(GetParam()(ends[1], more), 0);
  EXPECT_EQ(GetParam()(ends[1], more), -1);
  EXPECT_EQ(errno, EAGAIN);

  close(ends[0]);
  EXPECT_EQ(GetParam()(ends[1], more), -1);
  EXPECT_EQ(errno, EPIPE);

  // Neither a signal that was pending, nor one less.
  sigset_t pipe, before, pending;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe, &before);
  EXPECT_EQ(GetParam()(ends[1], more), -1);
  sigpending(&pending);
  EXPECT_FALSE(sigismember(&pending, SIGPIPE));
  raise(SIGPIPE);
  EXPECT_EQ(GetParam()(ends[1], more), -1);
  constexpr timespec kNow{};
  EXPECT_EQ(sigtimedwait(&pipe, nullptr, &kNow), SIGPIPE);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  close(ends[1]);
}

}  // namespace
