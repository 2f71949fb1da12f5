// What watching costs, next to a bare walk that adds a watch for each folder with as many threads, and to inotifywait
// and watchman where they are installed.
//
//   bench_fileevents [--short] [--in FOLDER] [--sizes N,N,…] [--rounds N] [--no-peers] [--burst] [--cold]
//
// Trees are made in FOLDER (the folder for temporary files; tmpfs is best) with 10 folders in a folder and 3 files in
// each. --burst writes 200,000 files into new folders and counts what was not told of, once with a watch for each
// folder and, where that is allowed, once with a watch of the whole file system. --cold drops the system's caches
// before each round, as root alone can.
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <sstream>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

#include <fcntl.h>
#include <malloc.h>
#include <spawn.h>
#include <sys/fanotify.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <JorvaneFoundation/fileevents/JVFileEventer.h>

#include "platform/linux/event_stream/Batch.h"
#include "platform/linux/event_stream/factory.h"
#include "support/report.h"

namespace {

namespace fs = std::filesystem;
using jv::bench::Who;
using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point begin) {
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

struct Options {
  std::string in = fs::temp_directory_path().string();
  std::vector<std::size_t> sizes{1'000, 10'000, 100'000};
  int rounds = 5;
  bool burst = false;
  bool cold = false;
  bool peers = true;
};

// ---------------------------------------------------------------------------------------------------------------------

/// A tree of exactly so many folders below its top.
class Tree {
 public:
  Tree(const std::string& in, std::size_t folders) : path_(in + "/jv-bench-XXXXXX") {
    if (!mkdtemp(path_.data())) std::abort();
    std::deque<std::string> open{path_};
    for (std::size_t made = 0; made < folders; open.pop_front()) {
      for (int i = 0; i < 10 && made < folders; ++i, ++made) {
        open.push_back(open.front() + "/d" + std::to_string(i));
        if (mkdir(open.back().c_str(), 0755) < 0) {
          std::perror(open.back().c_str());
          std::exit(1);
        }
        for (const char* file : {"/f0", "/f1", "/f2"}) close(creat((open.back() + file).c_str(), 0644));
      }
    }
  }
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;
  ~Tree() { fs::remove_all(path_); }
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_;
};

/// How large a tree has to be for its file system to be watched.
constexpr std::size_t kNeverLarge = ~std::size_t{0};
void callLarge(std::size_t folders) { JVPlatform::installEventStream(jv::watching::makeEventStream(folders)); }

/// The least that watches a file system. None without the right to it.
std::optional<double> timeOfMark(const std::string& folder) {
  const auto begin = Clock::now();
  const int instance = fanotify_init(FAN_REPORT_DFID_NAME | FAN_UNLIMITED_QUEUE | FAN_CLOEXEC, 0);
  const int marked = fanotify_mark(instance, FAN_MARK_ADD | FAN_MARK_FILESYSTEM, FAN_CREATE | FAN_DELETE | FAN_MODIFY,
                                   AT_FDCWD, folder.c_str());
  const double taken = millisecondsSince(begin);
  if (instance >= 0) close(instance);
  return marked == 0 ? std::optional(taken) : std::nullopt;
}

/// The least that watches a tree: each thread takes a folder, watches it, reads it, and offers the folders in it.
class Floor {
 public:
  explicit Floor(const std::string& top) : instance_(inotify_init1(IN_CLOEXEC)) {
    open_.push_back(top);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < std::max(2U, std::thread::hardware_concurrency()); ++i) {
      threads.emplace_back([this] { walk(); });
    }
    for (std::thread& thread : threads) thread.join();
  }
  Floor(const Floor&) = delete;
  Floor& operator=(const Floor&) = delete;
  ~Floor() { close(instance_); }
  [[nodiscard]] std::size_t count() const { return count_; }

 private:
  void walk() {
    std::unique_lock lock(mutex_);
    for (;;) {
      if (open_.empty()) {
        if (busy_ == 0) return changed_.notify_all();
        changed_.wait(lock);
        continue;
      }
      const std::string folder = std::move(open_.back());
      open_.pop_back();
      ++busy_;
      lock.unlock();
      std::vector<std::string> found = read(folder);
      lock.lock();
      --busy_;
      for (std::string& name : found) open_.push_back(std::move(name));
      if (busy_ == 0 || found.size() > 1) changed_.notify_all();
    }
  }

  std::vector<std::string> read(const std::string& folder) {
    constexpr std::uint32_t kMask = IN_MODIFY | IN_ATTRIB | IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVE;
    std::vector<std::string> found;
    if (inotify_add_watch(instance_, folder.c_str(), kMask) >= 0) ++count_;
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    alignas(8) std::array<char, 32768> buffer;
    for (long size; (size = syscall(SYS_getdents64, descriptor, buffer.data(), buffer.size())) > 0;) {
      for (long at = 0; at < size;) {
        struct Record {
          std::uint64_t inode, offset;
          std::uint16_t length;
          unsigned char type;
          char name[1];
        };
        const auto* const record = reinterpret_cast<const Record*>(buffer.data() + at);
        at += record->length;
        if (record->type == 4 && std::strcmp(record->name, ".") != 0 && std::strcmp(record->name, "..") != 0) {
          found.push_back(folder + '/' + record->name);
        }
      }
    }
    close(descriptor);
    return found;
  }

  int instance_;
  std::atomic<std::size_t> count_{0};
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> open_;
  int busy_ = 0;
};

class Recorder : public JVFileEventerDelegate {
 public:
  void fileSystemEventHappenedAtPaths(const std::vector<std::string>& paths) override {
    const std::lock_guard lock(mutex_);
    last_ = Clock::now();
    ++calls_;
    largest_ = std::max(largest_, paths.size());
    told_.insert(paths.begin(), paths.end());
    changed_.notify_all();
  }
  bool waitFor(const std::string& path, std::chrono::seconds bound = std::chrono::seconds(60)) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, bound, [&] { return told_.contains(path); });
  }
  Clock::time_point last() {
    const std::lock_guard lock(mutex_);
    return last_;
  }
  int calls() {
    const std::lock_guard lock(mutex_);
    return calls_;
  }
  std::size_t largest() {
    const std::lock_guard lock(mutex_);
    return largest_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::unordered_set<std::string> told_;
  Clock::time_point last_;
  int calls_ = 0;
  std::size_t largest_ = 0;
};

// ---------------------------------------------------------------------------------------------------------------------

/// Milliseconds until a tool that is started says @p mark on its standard error, or output, all of which then goes to
/// @p copy. None without the tool.
std::optional<double> timeUntilSaid(const std::vector<std::string>& command, const std::string& mark,
                                    std::string* copy = nullptr) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) < 0) std::abort();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
  std::vector<char*> words;
  for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  pid_t child = 0;
  const auto begin = Clock::now();
  const bool started = posix_spawnp(&child, words[0], &actions, nullptr, words.data(), environ) == 0;
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  std::string said;
  std::array<char, 4096> buffer;
  std::optional<double> taken;
  for (ssize_t size; started && (size = read(ends[0], buffer.data(), buffer.size())) > 0;) {
    said.append(buffer.data(), static_cast<std::size_t>(size));
    if (said.find(mark) == std::string::npos) continue;
    taken = millisecondsSince(begin);
    if (copy) *copy = said;
    break;
  }
  close(ends[0]);
  if (started) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
  return taken;
}

/// With a server of its own, which has to be started already for the time not to count.
std::optional<double> timeOfWatchman(const std::string& folder) {
  const std::string state = "/tmp/jv-bench-watchman-" + std::to_string(getpid());
  fs::create_directories(state);
  const std::vector<std::string> base{"watchman", "--sockname=" + state + "/sock", "--statefile=" + state + "/state",
                                      "--logfile=" + state + "/log", "--pidfile=" + state + "/pid"};
  auto with = [&](std::initializer_list<std::string> more) {
    std::vector<std::string> command = base;
    command.insert(command.end(), more);
    return command;
  };
  const bool there = timeUntilSaid(with({"get-pid"}), "\"pid\"").has_value();
  std::optional<double> taken;
  if (there) {
    const auto begin = Clock::now();
    // The answer to the query comes once the tree has been read.
    if (timeUntilSaid(with({"watch", folder}), "\"watch\"") && timeUntilSaid(with({"clock", folder}), "\"clock\"") &&
        timeUntilSaid(with({"find", folder, "no-such-name"}), "\"files\"")) {
      taken = millisecondsSince(begin);
    }
    timeUntilSaid(with({"shutdown-server"}), "\"shutdown-server\"");
  }
  fs::remove_all(state);
  return taken;
}

/// The memory that the process has for itself: heap and stacks, not the pages of programs and libraries.
long ownBytes() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    long kilobytes = 0;
    if (word == "RssAnon:" && status >> kilobytes) return kilobytes * 1024;
  }
  return 0;
}

void dropCaches() {
  sync();
  std::ofstream("/proc/sys/vm/drop_caches") << 3;
}

/// What is to be said below the table.
std::string measureSetUp(const jv::bench::Subject& subject, const Options& options, std::size_t folders) {
  const Tree tree(options.in, folders);
  std::vector<double> teardowns;
  std::string notes;
  const auto measured = [&](std::function<std::optional<double>()> milliseconds) -> jv::bench::Measure {
    return [=, &options]() -> std::optional<double> {
      if (options.cold) dropCaches();
      const auto taken = milliseconds();
      malloc_trim(0);
      // The kernel gives the watches of the one before back while the next one begins.
      std::this_thread::sleep_for(std::chrono::microseconds(folders * 3));
      if (!taken) return std::nullopt;
      return *taken * 1e3 / static_cast<double>(folders);
    };
  };
  const auto timeOfWatcher = [&]() -> std::optional<double> {
    const auto begin = Clock::now();
    auto watcher = std::make_unique<JVFileEventer>(std::make_shared<Recorder>(), std::vector{tree.path()}, false);
    const double taken = millisecondsSince(begin);
    if (const auto problem = watcher->problem()) notes = "- " + *problem + "\n";
    const auto end = Clock::now();
    watcher = nullptr;
    teardowns.push_back(millisecondsSince(end));
    return taken;
  };
  std::vector<jv::bench::Candidate> candidates{
      {Who::kFloor, "bare walk", measured([&] {
         const auto begin = Clock::now();
         const Floor floor(tree.path());
         const double taken = millisecondsSince(begin);
         if (floor.count() < folders)
           notes = "- The limit of watches was reached: raise fs.inotify.max_user_watches.\n";
         return taken;
       })},
      {Who::kOurs, "JVFileEventer", measured([&] {
         callLarge(kNeverLarge);
         return timeOfWatcher();
       })},
      // With the right to watch file systems, which it does for large trees.
      {Who::kOurs, "JVFileEventer, as root", measured([&] {
         callLarge(jv::watching::kLargeTree);
         return timeOfMark(tree.path()) ? timeOfWatcher() : std::nullopt;
       })},
      {Who::kPeer, "bare mark", measured([&] { return timeOfMark(tree.path()); })},
  };
  if (options.peers) {
    candidates.push_back({Who::kPeer, "inotifywait", measured([&] {
                            return timeUntilSaid({"inotifywait", "-r", "-m", tree.path()}, "Watches established");
                          })});
    candidates.push_back({Who::kPeer, "watchman", measured([&] { return timeOfWatchman(tree.path()); })});
  }
  const std::string size = std::to_string(folders) + " folders";
  subject.compare(size + (options.cold ? ", cold caches" : ""), candidates, options.rounds);

  std::ranges::sort(teardowns);
  std::array<char, 200> text;
  std::snprintf(text.data(), text.size(), "- %s: teardown median %.3f ms, worst %.3f ms", size.c_str(),
                teardowns[teardowns.size() / 2], teardowns.back());
  // In a process that has done nothing else.
  const std::string self = fs::read_symlink("/proc/self/exe");
  std::string memory;
  timeUntilSaid({self, "--memory", tree.path(), std::to_string(folders)}, "a folder\n", &memory);
  return notes + text.data() + "; " + memory;
}

void measureMemory(const std::string& tree, double folders) {
  callLarge(kNeverLarge);
  const long before = ownBytes();
  const JVFileEventer watcher(std::make_shared<Recorder>(), {tree}, false);
  malloc_trim(0);
  std::printf("memory %.1f bytes a folder\n", static_cast<double>(ownBytes() - before) / folders);
}

void measureLatency(const Options& options, int count) {
  const Tree tree(options.in, 1000);
  const auto recorder = std::make_shared<Recorder>();
  const JVFileEventer watcher(recorder, {tree.path()}, true);
  std::vector<double> times;
  for (int i = 0; i < count; ++i) {
    const std::string file = tree.path() + "/d3/new" + std::to_string(i);
    const auto begin = Clock::now();
    close(creat(file.c_str(), 0644));
    if (!recorder->waitFor(file)) std::puts("- A change was not told of.");
    times.push_back(std::chrono::duration<double, std::milli>(recorder->last() - begin).count());
  }
  std::ranges::sort(times);
  const auto at = [&](double part) {
    return times[static_cast<std::size_t>(part * static_cast<double>(times.size() - 1))];
  };
  std::printf(
      "- From the first change to the delegate, %d times: median %.2f ms, 99 %% within %.2f ms, worst %.2f ms.\n",
      count, at(0.5), at(0.99), times.back());

  const int callsBefore = recorder->calls();
  const auto begin = Clock::now();
  while (millisecondsSince(begin) < 2000) close(creat((tree.path() + "/d1/steady").c_str(), 0644));
  std::printf("- Calls a second under steady writing: %.1f.\n", (recorder->calls() - callsBefore) / 2.0);

  const auto switches = [] {
    long sum = 0;
    for (const auto& thread : fs::directory_iterator("/proc/self/task")) {
      std::ifstream file(thread.path() / "status");
      std::string name;
      for (std::string line; std::getline(file, line);) {
        if (line.starts_with("Name:")) name = line.substr(6);
        if (name.starts_with("jv-files") && line.starts_with("voluntary_ctxt_switches:"))
          sum += std::stol(line.substr(24));
      }
    }
    return sum;
  };
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  const long before = switches();
  std::this_thread::sleep_for(std::chrono::seconds(2));
  std::printf("- Wake-ups of the event thread in 2 s without a change: %ld.\n", switches() - before);
}

void measureBatch() {
  std::vector<std::string> paths;
  for (int i = 0; i < 100'000; ++i)
    paths.push_back("/home/somebody/Documents/project/source/" + std::to_string(i) + ".cpp");
  double best = 1e9;
  for (int round = 0; round < 10; ++round) {
    jv::watching::Batch batch;
    const auto begin = Clock::now();
    for (const std::string& path : paths) batch.add(path);
    const double collected = millisecondsSince(begin);
    const auto taking = Clock::now();
    const auto taken = batch.take({});
    if (taken.size() != paths.size()) std::abort();
    best = std::min(best, collected);
    if (round == 9) {
      std::printf("- A batch of 100,000 paths: %.2f ms to collect in all, %.4f ms to hand over.\n", best,
                  millisecondsSince(taking));
    }
  }
}

void measureBurst(const Options& options, int folders) {
  constexpr int kFiles = 100;
  const Tree tree(options.in, 10);
  const auto recorder = std::make_shared<Recorder>();
  const auto folderRecorder = std::make_shared<Recorder>();
  const JVFileEventer watcher(recorder, {tree.path()}, true);
  const JVFileEventer folderWatcher(folderRecorder, {tree.path()}, false);
  const auto begin = Clock::now();
  std::vector<std::string> made;
  std::vector<std::string> files;
  for (int i = 0; i < folders; ++i) {
    const std::string above = made.empty() || i % 20 == 0 ? tree.path() : made.back();
    made.push_back(above + "/new" + std::to_string(i));
    mkdir(made.back().c_str(), 0755);
    for (int f = 0; f < kFiles; ++f) {
      const std::string file = made.back() + "/f" + std::to_string(f);
      for (int times = 0; times < (f % 3 == 0 ? 2 : 1); ++times) {
        const int descriptor = open(file.c_str(), O_CREAT | O_WRONLY | O_TRUNC | O_CLOEXEC, 0644);
        if (write(descriptor, "text", 4) != 4) std::abort();
        close(descriptor);
      }
      f % 5 == 0 ? static_cast<void>(unlink(file.c_str())) : files.push_back(file);
    }
  }
  const double wrote = millisecondsSince(begin);
  const std::string last = tree.path() + "/last";
  mkdir(last.c_str(), 0755);
  recorder->waitFor(last);
  folderRecorder->waitFor(last);
  // What was lost is looked for on the disk after the last event.
  const auto missedOf = [](Recorder& who, const std::vector<std::string>& paths) {
    std::size_t missed = 0;
    auto bound = std::chrono::seconds(30);
    for (const std::string& path : paths) {
      if (who.waitFor(path, bound)) continue;
      ++missed;
      bound = std::chrono::seconds(0);
    }
    return missed;
  };
  std::printf(
      "- A burst of %d files in %d new folders in %.0f ms: folders missed %zu, files missed %zu of %zu; calls %d, "
      "largest "
      "%zu.\n",
      folders * kFiles, folders, wrote, missedOf(*folderRecorder, made), missedOf(*recorder, files), files.size(),
      recorder->calls(), recorder->largest());
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  bool isShort = false;
  for (int i = 1; i < argc; ++i) {
    const std::string option = argv[i];
    if (option == "--short") isShort = true;
    if (option == "--burst") options.burst = true;
    if (option == "--cold") options.cold = true;
    if (option == "--memory" && i + 2 < argc) {
      measureMemory(argv[i + 1], std::atof(argv[i + 2]));
      return 0;
    }
    if (option == "--no-peers") options.peers = false;
    if (option == "--rounds" && i + 1 < argc) options.rounds = std::atoi(argv[++i]);
    if (option == "--in" && i + 1 < argc) options.in = argv[++i];
    if (option == "--sizes" && i + 1 < argc) {
      options.sizes.clear();
      std::istringstream sizes(argv[++i]);
      for (std::string size; std::getline(sizes, size, ',');) options.sizes.push_back(std::stoul(size));
    }
  }
  if (isShort) {
    options.sizes = {1'000, 10'000};
    options.rounds = 3;
  }
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  const jv::bench::Subject subject("Watching a tree", "µs a folder");
  std::string notes;
  for (const std::size_t size : options.sizes) notes += measureSetUp(subject, options, size);
  std::printf("\n%s", notes.c_str());
  measureLatency(options, isShort ? 10 : 100);
  measureBatch();
  if (!options.burst && !isShort) return 0;
  for (const std::size_t large : {kNeverLarge, std::size_t{0}}) {
    callLarge(large);
    measureBurst(options, isShort ? 100 : 2000);
  }
}
