// jv watch: shows what changes under folders, as it changes.

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iostream>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <JorvaneFoundation/fileevents/JVFileEventer.h>

#include "arguments.h"
#include "commands.h"
#include "ending_signals.h"
#include "output.h"
#include "text_forms.h"

namespace {

struct Options {
  std::vector<std::string> paths;
  std::string command;
  bool files = false;
  bool json = false;
  bool zero = false;
};

/// Local time with milliseconds and the distance from UTC.
std::string timeNow() {
  const auto now = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  const auto milliseconds =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  std::tm local{};
  localtime_r(&seconds, &local);
  std::array<char, 64> day{};
  std::array<char, 16> zone{};
  std::array<char, 96> text{};
  std::strftime(day.data(), day.size(), "%Y-%m-%dT%H:%M:%S", &local);
  std::strftime(zone.data(), zone.size(), "%z", &local);
  std::snprintf(text.data(), text.size(), "%s.%03d%s", day.data(), static_cast<int>(milliseconds), zone.data());
  return text.data();
}

std::string inText(const std::vector<std::string>& paths) {
  std::string block = timeNow() + '\n';
  for (const std::string& path : paths) block += "  " + jv::printableName(path) + '\n';
  return block;
}

/// A path that is no text comes as an object with its bytes.
std::string inJSON(const std::vector<std::string>& paths) {
  nlohmann::ordered_json line;
  line["time"] = timeNow();
  auto& list = line["paths"] = nlohmann::ordered_json::array();
  for (const std::string& path : paths) {
    if (jv::isUTF8(path)) {
      list.push_back(path);
    } else {
      list.push_back({{"hex", jv::hexadecimalOf(path)}});
    }
  }
  return line.dump() + '\n';
}

/// Runs a line of shell to its end, with @p input as its standard input. False when there is no shell to be had.
bool runCommand(const std::string& command, std::string_view input) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) < 0) return false;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[0], STDIN_FILENO);
  // Nothing that jv does with signals is meant for the command.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t none;
  sigset_t pipe;
  sigemptyset(&none);
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &pipe);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  const char* const words[] = {"sh", "-c", command.c_str(), nullptr};
  pid_t child = 0;
  const bool started =
      posix_spawn(&child, "/bin/sh", &actions, &attributes, const_cast<char* const*>(words), environ) == 0;
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[0]);
  while (started && !input.empty()) {
    const ssize_t size = write(ends[1], input.data(), input.size());
    if (size < 0 && errno != EINTR) break;  // the command has read enough
    if (size > 0) input.remove_prefix(static_cast<std::size_t>(size));
  }
  close(ends[1]);
  while (started && waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
  }
  return started;
}

/// Shows batches, on the watcher's queue.
class Reporter : public JVFileEventerDelegate {
 public:
  explicit Reporter(const Options& options) : options_(options) {}

  void fileSystemEventHappenedAtPaths(const std::vector<std::string>& paths) override {
    if (failed_) return;
    tellProblem();
    const bool shows = options_.command.empty();
    if (shows && !(output_.write(options_.json ? inJSON(paths) : inText(paths)) && output_.flush())) {
      fail(std::string("cannot write: ") + std::strerror(output_.error()));
    }
    if (!shows && !runCommand(options_.command, listOf(paths))) fail("cannot run /bin/sh");
  }

  /// Says once what the watcher has trouble with. Any thread.
  void tellProblem() {
    const std::lock_guard lock(mutex_);
    const JVFileEventer* const watcher = watcher_;
    const auto problem = watcher ? watcher->problem() : std::nullopt;
    if (problem == told_) return;
    if (problem) std::cerr << "jv watch: " + *problem + "\n";
    told_ = problem;
  }

  void setWatcher(const JVFileEventer* watcher) { watcher_ = watcher; }
  [[nodiscard]] bool failed() const { return failed_; }

 private:
  [[nodiscard]] std::string listOf(const std::vector<std::string>& paths) const {
    std::string list;
    for (const std::string& path : paths) list += path + (options_.zero ? '\0' : '\n');
    return list;
  }

  void fail(const std::string& why) {
    std::cerr << "jv watch: " + why + "\n";
    failed_ = true;
    kill(getpid(), SIGTERM);  // as if the user had asked for the end
  }

  const Options& options_;
  jv::Output output_;
  std::mutex mutex_;
  std::optional<std::string> told_;  // guarded by mutex_
  std::atomic<const JVFileEventer*> watcher_{nullptr};
  std::atomic<bool> failed_{false};
};

int watch(const Options& options) {
  const sigset_t ends = jv::blockEndingSignals();
  std::signal(SIGPIPE, SIG_IGN);  // an error of writing instead

  for (const std::string& path : options.paths) {
    struct stat about {};
    if (stat(path.c_str(), &about) < 0) {
      std::cerr << "jv watch: " + jv::printableName(path) + ": " + std::strerror(errno) + "; waiting for it\n";
    }
  }
  const auto reporter = std::make_shared<Reporter>(options);
  {
    const JVFileEventer watcher(reporter, options.paths, options.files);
    reporter->setWatcher(&watcher);
    reporter->tellProblem();
    // For scripts: from this line on, nothing is missed.
    std::cerr << "jv watch: watching\n" << std::flush;
    int signal = 0;
    sigwait(&ends, &signal);
    // A batch in progress is waited for, which may take as long as its reader or command likes: who asks again does
    // not wait.
    pthread_sigmask(SIG_UNBLOCK, &ends, nullptr);
    reporter->setWatcher(nullptr);
  }
  return reporter->failed() ? jv::kFailed : jv::kDone;
}

constexpr const char* kFooter = R"(Changes are collected for a tenth of a second. For each such batch there is a line
with the time and a line for each folder whose contents changed, or with --files
for each file. A new folder is shown with everything in it. Paths that do not
exist yet are waited for.

Once all folders are watched, "watching" is said on standard error. Ctrl-C ends jv
with exit status 0; while a batch is being shown or its command runs, once that is
over, or at once the second time.)";

}  // namespace

void jv::addWatchCommand(CLI::App& app, int& exitStatus) {
  CLI::App* const command = app.add_subcommand("watch", "What changes under folders, and at files");
  const auto options = std::make_shared<Options>();
  command->add_flag("--files", options->files, "What changed itself, and not the folder it is in");
  const auto json = command->add_flag("--json", options->json, "A line of JSON for each batch: time and paths");
  const auto exec =
      command
          ->add_option("--exec", options->command,
                       "Instead of showing a batch, run this line of shell with the paths on its standard "
                       "input, a line each; the next batch waits until it has ended")
          ->option_text("CMD")
          ->excludes(json);
  command->add_flag("-0,--null", options->zero, "For --exec: a zero byte behind each path, and not a line feed")
      ->needs(exec);
  addUnchangedArguments(*command, "PATH", options->paths, "Folders, each with everything below it, and files")
      ->required();
  command->footer(kFooter);
  command->callback([options, &exitStatus] { exitStatus = watch(*options); });
}
