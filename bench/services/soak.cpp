// soak_services [SECONDS [SERVICE…]]: all services, or those named, at once for so long (an hour). From time to time
// everything comes to rest, and what the process then holds is printed: it must be the same from the end of the
// warm-up, a quarter of the time, to the end.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <JorvaneFoundation/JorvaneFoundation.h>

#include "actors.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using soak::expect;

/// At rest, and then for so long: the pool's threads go after two seconds without work.
constexpr auto kRest = 3s;
constexpr int kToolsAtOnce = 8;
/// What allocators may keep more of at one time than at another.
constexpr double kHeapKibibytes = 256;
constexpr double kResidentKibibytes = 8 * 1024;

struct Held {
  double resident;  // KiB
  double heap;      // KiB
  std::ptrdiff_t descriptors;
  std::ptrdiff_t threads;
  bool children;
};

std::ptrdiff_t entriesOf(const char* folder) { return std::distance(std::filesystem::directory_iterator(folder), {}); }

Held held() {
  std::size_t size = 0;
  std::size_t resident = 0;
  std::ifstream("/proc/self/statm") >> size >> resident;
  const struct mallinfo2 heap = mallinfo2();
  siginfo_t info;
  return {static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1024,
          static_cast<double>(heap.uordblks + heap.hblkhd) / 1024, entriesOf("/proc/self/fd"),
          entriesOf("/proc/self/task"), waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0};
}

/// Where rounds begin and end.
class Gate {
 public:
  /// Waits while all rest. @return false when it is over.
  bool begin() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return state_ != State::resting; });
    if (state_ == State::over) return false;
    ++underWay_;
    return true;
  }
  void end() {
    const std::lock_guard lock(mutex_);
    --underWay_;
  }

  enum class State { open, resting, over };
  void set(State state) {
    const std::lock_guard lock(mutex_);
    state_ = state;
    changed_.notify_all();
  }
  bool isQuiet() {
    const std::lock_guard lock(mutex_);
    return underWay_ == 0;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  State state_ = State::open;
  int underWay_ = 0;
};

/// An actor on its thread, round after round.
struct Working {
  Working(soak::Actor what, Gate& gate)
      : actor(std::move(what)), thread([this, &gate] {
          while (gate.begin()) {
            actor.round();
            ++rounds;
            gate.end();
          }
        }) {}

  soak::Actor actor;
  std::atomic<long> rounds{0};
  std::thread thread;
};

/// The whole; lives on the main thread and its loop.
class Soak {
 public:
  Soak(std::chrono::seconds length, const std::vector<std::string_view>& names, const std::string& folder,
       bool withNetwork)
      : begin_(Clock::now()), length_(length), interval_(std::max<Clock::duration>(length / 30, 1s)) {
    nextRest_ = begin_ + interval_;
    const auto isWanted = [&](std::string_view name) {
      return names.empty() || std::ranges::find(names, name) != names.end();
    };
    withTools_ = isWanted("background");
    withSearches_ = isWanted("superseding");
    for (soak::Actor& actor : soak::actors(folder, withNetwork)) {
      if (!isWanted(actor.name)) continue;
      working_.push_back(std::make_unique<Working>(std::move(actor), gate_));
    }
    std::printf("%8s %9s %9s %11s %7s  rounds\n", "seconds", "RSS KiB", "heap KiB", "descriptors", "threads");
    loop_.addRepeatingTimer(50ms, [this] { tick(); });
    loop_.addRepeatingTimer(2ms, [this] { supersede(); });
    startTools();
  }

  bool run() {
    loop_.run();
    gate_.set(Gate::State::over);
    for (const auto& working : working_) working->thread.join();
    return flat();
  }

 private:
  void startTools() {
    for (int i = 0; withTools_ && i < kToolsAtOnce; ++i) startTool();
  }

  void startTool() {
    ++tools_;
    const bool missing = ++launches_ % 4 == 0;
    JVFoundation::NSTask::launchAsyncWithPath(
        missing ? "/no" : "/bin/cat", {}, "in", [this, missing](std::int32_t status, const auto& output, const auto&) {
          expect(missing ? status == -666 : status == 0 && output == "in", "a tool in the background");
          --tools_;
          if (!comingToRest_) startTool();
        });
  }

  /// Typing that is faster than the search.
  void supersede() {
    if (comingToRest_ || !withSearches_) return;
    ++searches_;
    search_.dispatchHandler(
        [search = search_, this] {
          for (int page = 0; page < 50 && !search.isStopped(); ++page) std::this_thread::sleep_for(100us);
          --searches_;
        },
        [this] { ++completions_; });
    JVFoundation::DispatchQueue::globalQueue().async(
        [this] { JVFoundation::DispatchQueue::mainQueue().async([this] { ++replies_; }); });
  }

  void tick() {
    const auto now = Clock::now();
    if (!comingToRest_) {
      if (now < nextRest_) return;
      comingToRest_ = true;
      gate_.set(Gate::State::resting);
    }
    // The rounds under way end first, and some of them wait for what happens on this thread.
    if (tools_ > 0 || searches_ > 0 || !gate_.isQuiet()) {
      atRestSince_.reset();
      return;
    }
    if (!atRestSince_) atRestSince_ = now;
    if (now - *atRestSince_ < kRest) return;
    record(now - begin_);
    atRestSince_.reset();
    if (now - begin_ >= length_) return loop_.stop();
    comingToRest_ = false;
    gate_.set(Gate::State::open);
    nextRest_ = Clock::now() + interval_;
    startTools();
  }

  void record(Clock::duration since) {
    const Held now = held();
    const double seconds = std::chrono::duration<double>(since).count();
    std::printf("%8.0f %9.0f %9.0f %11td %7td  background %ld, superseding %ld, loop %ld", seconds, now.resident,
                now.heap, now.descriptors, now.threads, launches_, completions_, replies_);
    for (const auto& working : working_) std::printf(", %s %ld", working->actor.name.c_str(), working->rounds.load());
    std::puts(now.children ? ", CHILDREN LEFT" : "");
    std::fflush(stdout);
    records_.emplace_back(since, now);
  }

  [[nodiscard]] bool flat() const {
    const auto warm = std::ranges::find_if(records_, [this](const auto& at) { return at.first * 4 >= length_; });
    const Held& from = warm->second;
    const Held& to = records_.back().second;
    const auto check = [](const char* what, double before, double after, double allowed) {
      const bool good = after <= before + allowed;
      std::printf("%-12s %9.0f -> %9.0f %s\n", what, before, after, good ? "flat" : "GROWS");
      return good;
    };
    bool good = &from != &to;
    if (!good) std::puts("too short to compare anything");
    good &= check("RSS KiB", from.resident, to.resident, kResidentKibibytes);
    good &= check("heap KiB", from.heap, to.heap, kHeapKibibytes);
    good &= check("descriptors", static_cast<double>(from.descriptors), static_cast<double>(to.descriptors), 0);
    good &= check("threads", static_cast<double>(from.threads), static_cast<double>(to.threads), 0);
    for (const auto& [since, now] : records_) good &= !now.children;
    return good;
  }

  JVFoundation::NSRunLoop& loop_ = JVFoundation::NSRunLoop::mainRunLoop();
  JVDispatch search_{"soak"};
  const Clock::time_point begin_;
  const Clock::duration length_;
  const Clock::duration interval_;
  Clock::time_point nextRest_;
  std::optional<Clock::time_point> atRestSince_;
  std::vector<std::pair<Clock::duration, Held>> records_;

  Gate gate_;
  bool comingToRest_ = false;
  std::vector<std::unique_ptr<Working>> working_;

  bool withTools_;
  bool withSearches_;
  long launches_ = 0;
  long tools_ = 0;
  std::atomic<long> searches_{0};
  long completions_ = 0;
  long replies_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  const std::chrono::seconds length(argc > 1 ? std::atoi(argv[1]) : 3600);
  std::string folder = std::filesystem::temp_directory_path() / "jv-soak-XXXXXX";
  if (!mkdtemp(folder.data())) return 2;
  JVUser::sharedUser();
  const std::vector<std::string_view> names(argv + std::min(argc, 2), argv + argc);
  const bool good = Soak(length, names, folder, getenv("JV_TEST_INSIDE") != nullptr).run();
  std::filesystem::remove_all(folder);
  std::puts(good ? "nothing is left behind" : "something is left behind");
  return good ? 0 : 1;
}
