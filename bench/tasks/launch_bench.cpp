// What a launch costs, next to a plain posix_spawn with three pipes and to other libraries. The candidates take turns,
// so that whatever else the machine does strikes all of them; a row is the median and the best time, each with its
// ratio to the first row. On a machine that has other work, look at the best.
//
//   bench_tasks [--short] [--touched GIB] [--rounds N]
//
// --touched first fills that much memory in small pages: what a fork would have to copy.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#ifdef WITH_GLIB
#include <glib.h>
#endif
#ifdef WITH_QT
#include <QCoreApplication>
#include <QProcess>
#endif

#include <JorvaneFoundation/tasks/NSTask.h>

namespace {

using Arguments = std::vector<std::string>;
using Clock = std::chrono::steady_clock;

struct Candidate {
  const char* name;
  std::function<std::size_t(const char* path, const Arguments&)> run;  // returns the size of the output
};

std::size_t floorOfOneLaunch(const char* path, const Arguments& arguments) {
  int input[2], output[2], error[2];
  if (pipe2(input, O_CLOEXEC) < 0 || pipe2(output, O_CLOEXEC) < 0 || pipe2(error, O_CLOEXEC) < 0) std::abort();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input[0], 0);
  posix_spawn_file_actions_adddup2(&actions, output[1], 1);
  posix_spawn_file_actions_adddup2(&actions, error[1], 2);
  std::vector<char*> words{const_cast<char*>(path)};
  for (const std::string& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);
  pid_t child;
  if (posix_spawn(&child, path, &actions, nullptr, words.data(), environ) != 0) std::abort();
  posix_spawn_file_actions_destroy(&actions);
  for (const int end : {input[0], output[1], error[1]}) close(end);

  std::size_t size = 0;
  for (const int end : {output[0], error[0]}) {
    std::string text;
    char buffer[64 * 1024];
    for (ssize_t count; (count = read(end, buffer, sizeof buffer)) > 0;) {
      text.append(buffer, static_cast<std::size_t>(count));
    }
    size += text.size();
  }
  int status;
  waitpid(child, &status, 0);
  for (const int end : {input[1], output[0], error[0]}) close(end);
  return size;
}

std::size_t launchSync(const char* path, const Arguments& arguments) {
  const auto result = JVFoundation::NSTask::launchSyncWithPath(path, arguments);
  const std::string* const output = result.text("JVTaskOutput");
  return output ? output->size() : 0;
}

#ifdef WITH_GLIB
std::size_t glibSpawnSync(const char* path, const Arguments& arguments) {
  std::vector<char*> words{const_cast<char*>(path)};
  for (const std::string& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);
  char* output = nullptr;
  char* error = nullptr;
  int status;
  if (!g_spawn_sync(nullptr, words.data(), nullptr, G_SPAWN_DEFAULT, nullptr, nullptr, &output, &error, &status,
                    nullptr)) {
    std::abort();
  }
  const std::size_t size = std::strlen(output);
  g_free(output);
  g_free(error);
  return size;
}
#endif

#ifdef WITH_QT
std::size_t qtProcess(const char* path, const Arguments& arguments) {
  QStringList words;
  for (const std::string& argument : arguments) words << QString::fromStdString(argument);
  QProcess process;
  process.start(QString::fromUtf8(path), words);
  if (!process.waitForFinished(-1)) std::abort();
  return static_cast<std::size_t>(process.readAllStandardOutput().size());
}
#endif

std::vector<Candidate> candidates() {
  return {
      {"posix_spawn, plain", floorOfOneLaunch},
      {"launchSyncWithPath", launchSync},
#ifdef WITH_GLIB
      {"g_spawn_sync", glibSpawnSync},
#endif
#ifdef WITH_QT
      {"QProcess", qtProcess},
#endif
  };
}

double secondsOf(const std::function<void()>& work) {
  const auto begin = Clock::now();
  work();
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

void compare(const char* title, const char* path, const Arguments& arguments, std::size_t expected, int rounds) {
  std::printf("%s, %d rounds\n", title, rounds);
  const auto all = candidates();
  std::vector<std::vector<double>> times(all.size());
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t turn = 0; turn < all.size(); ++turn) {
      // Another one begins each time, and so follows another.
      const std::size_t i = (turn + static_cast<std::size_t>(round)) % all.size();
      times[i].push_back(secondsOf([&] {
        if (all[i].run(path, arguments) != expected) std::abort();
      }));
    }
  }
  for (std::size_t i = 0; i < all.size(); ++i) std::ranges::sort(times[i]);
  const auto middle = times[0].size() / 2;
  for (std::size_t i = 0; i < all.size(); ++i) {
    std::printf("  %-20s %10.1f us %6.2f %12.1f us %6.2f\n", all[i].name, times[i][middle] * 1e6,
                times[i][middle] / times[0][middle], times[i].front() * 1e6, times[i].front() / times[0].front());
  }
}

double launchesASecond(int threads, int launches, const Candidate& candidate) {
  std::atomic<int> left{launches};
  return launches / secondsOf([&] {
           std::vector<std::thread> launchers;
           for (int i = 0; i < threads; ++i) {
             launchers.emplace_back([&] {
               while (left.fetch_sub(1) > 0) candidate.run("/bin/true", {});
             });
           }
           for (std::thread& launcher : launchers) launcher.join();
         });
}

void compareThreads(int launches, int rounds) {
  constexpr int kFew = 2;
  constexpr int kMany = 64;
  std::printf("launches a second on %d and %d threads, best of %d rounds\n", kFew, kMany, rounds);
  const auto all = candidates();
  for (std::size_t i = 0; i < 2; ++i) {
    double few = 0;
    double many = 0;
    for (int round = 0; round < rounds; ++round) {
      few = std::max(few, launchesASecond(kFew, launches, all[i]));
      many = std::max(many, launchesASecond(kMany, launches, all[i]));
    }
    std::printf("  %-20s %8.0f %8.0f  %6.2f\n", all[i].name, few, many, many / few);
  }
}

void showPeakMemory(std::size_t size) {
  // In a process of its own, since the peak never falls.
  const pid_t child = fork();
  if (child == 0) {
    rusage before, after;
    getrusage(RUSAGE_SELF, &before);
    const std::size_t output = launchSync(WRITE_BYTES, {"1", std::to_string(size)});
    getrusage(RUSAGE_SELF, &after);
    const long more = after.ru_maxrss - before.ru_maxrss - static_cast<long>(output / 1024);
    std::printf("peak memory beyond an output of %zu MiB: %.1f MiB\n", output >> 20, static_cast<double>(more) / 1024);
    std::fflush(stdout);
    _exit(0);
  }
  waitpid(child, nullptr, 0);
}

void touch(std::size_t gibibytes) {
  const std::size_t size = gibibytes << 30;
  void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED || madvise(memory, size, MADV_NOHUGEPAGE) != 0) std::abort();
  std::memset(memory, 1, size);
  std::printf("holding %zu GiB of touched small pages\n", gibibytes);
}

}  // namespace

int main(int argc, char** argv) {
  int rounds = 200;
  std::size_t touched = 0;
  for (int i = 1; i < argc; ++i) {
    const std::string option = argv[i];
    if (option == "--short") rounds = 20;
    if (option == "--rounds" && i + 1 < argc) rounds = std::atoi(argv[++i]);
    if (option == "--touched" && i + 1 < argc) touched = std::strtoul(argv[++i], nullptr, 10);
  }
#ifdef WITH_QT
  const QCoreApplication application(argc, argv);
#endif
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  for (const std::size_t size : {33, 64, 100}) showPeakMemory(size << 20);
  if (touched > 0) touch(touched);
  compare("/bin/true", "/bin/true", {}, 0, rounds);
  for (const char* piece : {"65536", "4096"}) {
    std::printf("-- written in pieces of %s bytes\n", piece);
    compare("1 MiB of output", WRITE_BYTES, {"1", std::to_string(1 << 20), piece}, 1 << 20, rounds);
    compare("64 MiB of output", WRITE_BYTES, {"1", std::to_string(64 << 20), piece}, 64 << 20, rounds / 10);
  }
  compareThreads(20 * rounds, 3);
}
