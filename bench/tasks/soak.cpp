// soak_tasks [LAUNCHES [AT_ONCE]]: launches tools (100,000), in the foreground on several threads and in the
// background, well and badly, then AT_ONCE (10,000) at the same time in the background. Says what the process holds
// before and after, and ends with 1 unless that is the same and the memory has stayed flat.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <JorvaneFoundation/dispatch/NSRunLoop.h>
#include <JorvaneFoundation/tasks/NSTask.h>

namespace {

using JVFoundation::NSTask;

struct Held {
  std::ptrdiff_t descriptors;
  std::ptrdiff_t threads;
  bool children;
  double mebibytes;
};

std::ptrdiff_t entriesOf(const char* folder) { return std::distance(std::filesystem::directory_iterator(folder), {}); }

double residentMebibytes() {
  std::size_t size = 0;
  std::size_t resident = 0;
  std::ifstream("/proc/self/statm") >> size >> resident;
  return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1 << 20);
}

Held held() {
  siginfo_t info;
  return {entriesOf("/proc/self/fd"), entriesOf("/proc/self/task"),
          waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0, residentMebibytes()};
}

void show(const char* when, const Held& now) {
  std::printf("%-8s %td descriptors, %td threads, %s, %.1f MiB\n", when, now.descriptors, now.threads,
              now.children ? "children" : "no children", now.mebibytes);
}

void expect(bool right) {
  if (right) return;
  std::puts("a tool gave the wrong answer");
  std::_Exit(1);
}

void launchOne(int number) {
  switch (number % 4) {
    case 0:
      return expect(NSTask::launchSyncWithPath("/bin/true", {}).number("JVTaskStatus")->intValue() == 0);
    case 1:
      return expect(*NSTask::launchSyncWithPath("/bin/cat", {}, "in").text("JVTaskOutput") == "in");
    case 2:
      return expect(NSTask::launchSyncWithPath("/bin/false", {}).number("JVTaskStatus")->intValue() == 1);
    default:
      return expect(NSTask::launchSyncWithPath("/no", {}).number("JVTaskStatus")->intValue() == -666);
  }
}

void launchOnThreads(int launches) {
  std::atomic<int> left{launches};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int number; (number = left.fetch_sub(1)) > 0;) launchOne(number);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

/// @p launches in the background, with no more than @p atOnce under way.
void launchInBackground(int launches, int atOnce, const std::vector<std::string>& sleep = {}) {
  auto& loop = JVFoundation::NSRunLoop::mainRunLoop();
  int started = 0;
  int ended = 0;
  const std::function<void()> startNext = [&] {
    const int number = started++;
    const bool missing = sleep.empty() && number % 4 == 3;
    const char* const path = missing ? "/no" : sleep.empty() ? "/bin/cat" : "/bin/sleep";
    NSTask::launchAsyncWithPath(path, sleep, sleep.empty() ? "in" : "",
                                [&, missing](std::int32_t status, const auto&, const auto&) {
                                  expect(status == (missing ? -666 : 0));
                                  if (started < launches) startNext();
                                  if (++ended == launches) loop.stop();
                                });
  };
  for (int i = 0; i < std::min(launches, atOnce); ++i) startNext();
  loop.run();
}

void launchAtOnce(int tools) {
  const Held before = held();
  std::atomic<bool> done{false};
  std::ptrdiff_t mostDescriptors = 0;
  std::ptrdiff_t mostThreads = 0;
  double mostMebibytes = 0;
  std::thread watcher([&] {
    while (!done) {
      const Held now = held();
      mostDescriptors = std::max(mostDescriptors, now.descriptors);
      mostThreads = std::max(mostThreads, now.threads);
      mostMebibytes = std::max(mostMebibytes, now.mebibytes);
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
  });
  const auto begin = std::chrono::steady_clock::now();
  launchInBackground(tools, tools, {"30"});
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  done = true;
  watcher.join();
  std::printf("%d tools that sleep 30 s: %.1f s, at most %td descriptors, %td threads, %.1f KiB a tool\n", tools,
              seconds, mostDescriptors, mostThreads - 1, (mostMebibytes - before.mebibytes) * 1024 / tools);
}

}  // namespace

int main(int argc, char** argv) {
  const int launches = argc > 1 ? std::atoi(argv[1]) : 100'000;
  const int atOnce = argc > 2 ? std::atoi(argv[2]) : 10'000;
  rlimit limit;
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
  std::setvbuf(stdout, nullptr, _IOLBF, 0);

  const int warmUp = std::max(launches / 20, 200);
  launchOnThreads(warmUp);
  launchInBackground(warmUp, 50);
  const Held before = held();
  show("before", before);
  launchOnThreads(launches / 2);
  show("half", held());
  launchInBackground(launches / 2, 50);
  const Held after = held();
  show("after", after);
  if (atOnce > 0) launchAtOnce(atOnce);
  const bool same = after.descriptors == before.descriptors && after.threads <= before.threads && !after.children;
  const bool flat = after.mebibytes < before.mebibytes + 4;
  std::puts(same && flat ? "nothing is left behind" : "something is left behind");
  return same && flat ? 0 : 1;
}
