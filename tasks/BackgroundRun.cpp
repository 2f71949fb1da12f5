#include "tasks/BackgroundRun.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

namespace jv {
namespace {

class BackgroundRun;
using RunPointer = std::shared_ptr<BackgroundRun>;

/// Who has a place: the runs that hold descriptors and a process, or are about to. And who waits for one.
///
/// Whoever waits is let in when somebody leaves. A run that was let in and finds too little steps back and waits again;
/// one that finds enough lets in another.
class Places {
 public:
  static Places& shared() {
    static auto& places = *new Places;
    return places;
  }

  /// Gives the run with this number a place, unless others wait already: then it waits as well, and whoever leaves or
  /// comes next sees to it. @return whether it has one.
  bool enter(std::uint64_t number, const RunPointer& run) {
    const std::lock_guard lock(mutex_);
    if (!waiting_.empty()) {
      waiting_.emplace(number, run);
      return false;
    }
    ++taken_;
    return true;
  }

  /// Moves on with every place that is given up.
  std::uint64_t departures() {
    const std::lock_guard lock(mutex_);
    return departures_;
  }

  /// Whether only the caller has a place, and nobody has left since @p before: there is nothing to hope for.
  bool isAlone(std::uint64_t before) {
    const std::lock_guard lock(mutex_);
    return taken_ == 1 && departures_ == before;
  }

  /// Gives the place of a run up, which waits from now on; false when somebody has left since @p before, so that it may
  /// as well try again, and keeps its place.
  bool stepBack(std::uint64_t number, const RunPointer& run, std::uint64_t before) {
    const std::lock_guard lock(mutex_);
    if (departures_ != before) return false;
    --taken_;
    ++departures_;
    waiting_.emplace(number, run);
    return true;
  }

  /// Gives a place up for good. @return who has it now, or none.
  RunPointer leave() {
    const std::lock_guard lock(mutex_);
    --taken_;
    ++departures_;
    return letIn();
  }

  /// One of those who wait, with a place of its own, or none.
  RunPointer next() {
    const std::lock_guard lock(mutex_);
    return letIn();
  }

 private:
  RunPointer letIn() {
    if (waiting_.empty()) return nullptr;
    ++taken_;
    return std::move(waiting_.extract(waiting_.begin()).mapped());
  }

  std::mutex mutex_;
  std::size_t taken_ = 0;
  std::uint64_t departures_ = 0;
  std::map<std::uint64_t, RunPointer> waiting_;  // by number: first come, first served
};

/// Whoever is to call next holds the last reference: the launching thread, then what the run waits for.
class BackgroundRun : public std::enable_shared_from_this<BackgroundRun> {
 public:
  BackgroundRun(OwnedTaskRequest request, std::function<void(TaskResult)> deliver)
      : request_(std::move(request)), deliver_(std::move(deliver)) {}

  void start() {
    try {
      process_->performInBackground([self = shared_from_this()] {
        if (Places::shared().enter(self->number_, self)) self->launch();
      });
    } catch (const JVFoundation::NSException& exception) {  // no thread, no descriptor, no room among those to wait for
      deliver_({kNotLaunched, std::nullopt, exception.reason()});
    }
  }

 private:
  /// Of one that has been let in: the threads are there by now.
  void launchSoon() {
    process_->performInBackground([self = shared_from_this()] { self->launch(); });
  }

  void launch() {
    Places& places = Places::shared();
    for (;;) {
      const std::uint64_t before = places.departures();
      const bool alone = places.isAlone(before);
      if (tryToLaunch(alone)) {
        if (const RunPointer next = places.next()) next->launchSoon();  // where one found room, another may
        break;
      }
      if (places.isAlone(before)) break;  // a failure for good
      run_.reset();
      if (places.stepBack(number_, shared_from_this(), before)) return;
    }
    goOn();
  }

  /// False for want of something that may be there later.
  bool tryToLaunch(bool alone) {
    if (!alone && !process_->hasRoomForAnother()) return false;
    run_.emplace(*process_, TaskRequest{request_.path, request_.arguments, request_.input, request_.directory});
    return run_->launch();
  }

  void goOn() {
    if (JVPlatform::Waitable* const awaited = run_->goOn()) {
      awaited->whenReady([self = shared_from_this()] { self->goOn(); });  // from here on it may go on elsewhere
      return;
    }
    TaskResult result = run_->takeResult();
    run_.reset();
    deliver_(std::move(result));
    if (const RunPointer next = Places::shared().leave()) next->launchSoon();
  }

  static std::uint64_t nextNumber() {
    static std::atomic<std::uint64_t> next{0};
    return next.fetch_add(1, std::memory_order_relaxed);
  }

  const std::uint64_t number_ = nextNumber();
  OwnedTaskRequest request_;
  std::function<void(TaskResult)> deliver_;
  std::shared_ptr<JVPlatform::Process> process_ = JVPlatform::process();
  std::optional<TaskRun> run_;
};

}  // namespace

void runTaskInBackground(OwnedTaskRequest request, std::function<void(TaskResult)> deliver) {
  std::make_shared<BackgroundRun>(std::move(request), std::move(deliver))->start();
}

}  // namespace jv
