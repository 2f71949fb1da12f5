#include "platform/FileLock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <thread>

#include "support/temporary_folder.h"

namespace {

TEST(FileLock, IsWaitedForByTheClock) {
  using std::chrono::milliseconds;
  const jv::test::TemporaryFolder folder;
  const int held = open((folder.path() / "lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  const int other = open((folder.path() / "lock").c_str(), O_RDWR | O_CLOEXEC);
  EXPECT_EQ(jv::lockFile(held, milliseconds(0)), 0);
  const auto start = std::chrono::steady_clock::now();
  const auto handler = signal(SIGALRM, [](int) {});
  const itimerval often{{0, 500}, {0, 500}}, never{};
  setitimer(ITIMER_REAL, &often, nullptr);  // cuts every pause short
  EXPECT_EQ(jv::lockFile(other, milliseconds(500)), EWOULDBLOCK);
  setitimer(ITIMER_REAL, &never, nullptr);
  signal(SIGALRM, handler);
  EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(500));
  std::thread releasing([held] { close(held); });
  EXPECT_EQ(jv::lockFile(other, milliseconds(30'000)), 0);
  releasing.join();
  close(other);
  EXPECT_EQ(jv::lockFile(-1, milliseconds(30'000)), EBADF);
}

}  // namespace
