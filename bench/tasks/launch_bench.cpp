// What a launch costs, next to a plain posix_spawn with three pipes and to other libraries. On a machine that has other
// work, look at the best.
//
//   bench_tasks [--short] [--touched GIB] [--rounds N]
//
// --touched first fills that much memory in small pages: what a fork would have to copy.
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

#include "support/report.h"

namespace {

using Arguments = std::vector<std::string>;
using Clock = std::chrono::steady_clock;

using jv::bench::microsecondsOf;
using jv::bench::Subject;
using jv::bench::Who;

/// Gives the size of the output.
using Launch = std::function<std::size_t(const char* path, const Arguments&)>;

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

struct Launcher {
  Who who;
  const char* name;
  Launch launch;
};

std::vector<Launcher> launchers() {
  Launch glib, qt;
#ifdef WITH_GLIB
  glib = glibSpawnSync;
#endif
#ifdef WITH_QT
  qt = qtProcess;
#endif
  return {
      {Who::kFloor, "posix_spawn, plain", floorOfOneLaunch},
      {Who::kOurs, "launchSyncWithPath", launchSync},
      {Who::kPeer, "g_spawn_sync", glib},
      {Who::kPeer, "QProcess", qt},
  };
}

void compare(const Subject& subject, const char* what, const char* path, const Arguments& arguments,
             std::size_t expected, int rounds) {
  std::vector<jv::bench::Candidate> candidates;
  for (const Launcher& launcher : launchers()) {
    candidates.push_back({launcher.who, launcher.name, {}});
    if (!launcher.launch) continue;
    candidates.back().measure = microsecondsOf([=, launch = launcher.launch] {
      if (launch(path, arguments) != expected) std::abort();
    });
  }
  subject.compare(what, candidates, rounds);
}

double launchesASecond(int threads, int launches, const Launch& launch) {
  std::atomic<int> left{launches};
  const auto all = microsecondsOf([&] {
    std::vector<std::thread> launching;
    for (int i = 0; i < threads; ++i) {
      launching.emplace_back([&] {
        while (left.fetch_sub(1) > 0) launch("/bin/true", {});
      });
    }
    for (std::thread& thread : launching) thread.join();
  });
  return launches / *all() * 1e6;
}

void compareThreads(int launches, int rounds) {
  const Subject subject("Launches from many threads", "a second", jv::bench::Better::kMore);
  for (const int threads : {2, 64}) {
    std::vector<jv::bench::Candidate> candidates;
    for (const Launcher& launcher : launchers()) {
      if (launcher.who == Who::kPeer) continue;
      candidates.push_back(
          {launcher.who, launcher.name, [=] { return launchesASecond(threads, launches, launcher.launch); }});
    }
    subject.compare(std::to_string(threads) + " threads", candidates, rounds);
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
    std::printf("- Peak memory beyond an output of %zu MiB: %.1f MiB.\n", output >> 20,
                static_cast<double>(more) / 1024);
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
  std::printf("- Holding %zu GiB of touched small pages.\n", gibibytes);
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
  std::putchar('\n');
  for (const std::size_t size : {33, 64, 100}) showPeakMemory(size << 20);
  if (touched > 0) touch(touched);

  const Subject subject("Launches and output", "µs");
  compare(subject, "/bin/true", "/bin/true", {}, 0, rounds);
  const auto write = [&](const char* what, int mebibytes, const char* piece, int times) {
    compare(subject, what, WRITE_BYTES, {"1", std::to_string(mebibytes << 20), piece},
            static_cast<std::size_t>(mebibytes) << 20, times);
  };
  write("1 MiB in pieces of 64 KiB", 1, "65536", rounds);
  write("64 MiB in pieces of 64 KiB", 64, "65536", rounds / 10);
  write("1 MiB in pieces of 4 KiB", 1, "4096", rounds);
  write("64 MiB in pieces of 4 KiB", 64, "4096", rounds / 10);
  compareThreads(20 * rounds, 3);
}
