#include "platform/FileLock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <string>

#include "support/temporary_folder.h"

namespace {

TEST(FileLock, IsWaitedForByTheClock) {
  using std::chrono::milliseconds;
  const jv::test::TemporaryFolder folder;
  const std::string path = folder.write("lock", "");
  const int held = open(path.c_str(), O_RDWR | O_CLOEXEC), other = open(path.c_str(), O_RDWR | O_CLOEXEC);
  EXPECT_EQ(jv::lockFile(held, milliseconds(0)), 0);
  const auto start = std::chrono::steady_clock::now();
  signal(SIGALRM, [](int) {});
  const itimerval often{{0, 500}, {0, 500}}, never{};
  setitimer(ITIMER_REAL, &often, nullptr);  // cuts every pause short
  EXPECT_EQ(jv::lockFile(other, milliseconds(500)), EWOULDBLOCK);
  setitimer(ITIMER_REAL, &never, nullptr);
  EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(500));
  close(held);
  EXPECT_EQ(jv::lockFile(other, milliseconds(0)), 0);
  close(other);
}

}  // namespace
