// fault_probe sync|async: one launch that goes well unless a system call is made to fail, and one that fails. Whatever
// happens, there must be an answer, and nothing may be left behind. Ends with 0 when that is so.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <system_error>

#include <sys/stat.h>
#include <sys/wait.h>

#include <JorvaneFoundation/dispatch/NSRunLoop.h>
#include <JorvaneFoundation/tasks/NSTask.h>

namespace {

using JVFoundation::NSTask;

const std::string kInput(200'000, 'x');

std::int32_t launchSync(const char* path) {
  const auto result = NSTask::launchSyncWithPath(path, {}, kInput, "/");
  return result.number("JVTaskStatus")->intValue();
}

std::int32_t launchAsync(const char* path) {
  std::optional<std::int32_t> answer;
  auto& loop = JVFoundation::NSRunLoop::mainRunLoop();
  NSTask::launchAsyncWithPath(path, {}, kInput, "/", [&](std::int32_t status, const auto&, const auto&) {
    if (answer) std::abort();  // called twice
    answer = status;
    loop.stop();
  });
  while (!answer) {
    try {
      loop.run();
    } catch (const std::system_error&) {  // the loop itself had no descriptor
    }
  }
  return *answer;
}

/// By system calls that are not made to fail.
int openDescriptors() {
  int count = 0;
  struct stat ignored;
  for (int descriptor = 0; descriptor < 200; ++descriptor) count += fstat(descriptor, &ignored) == 0;
  return count;
}

bool hasChildren() {
  siginfo_t info;
  return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

}  // namespace

int main(int argc, char** argv) {
  const bool async = argc > 1 && std::strcmp(argv[1], "async") == 0;
  const auto launch = async ? launchAsync : launchSync;
  const int before = openDescriptors();
  const std::int32_t cat = launch("/bin/cat");
  const std::int32_t missing = launch("/no/such/tool");
  // What stays with the background's threads and the main loop: an epoll descriptor each and what wakes them.
  constexpr int kStay = 5;
  const int left = openDescriptors() - before - (async ? kStay : 0);
  std::printf("%d %d, %d descriptors left, children: %d\n", cat, missing, left, hasChildren());
  return missing != -666 || left > 0 || hasChildren();
}
