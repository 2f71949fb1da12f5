#include "platform/linux/event_stream/Group.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <system_error>

#include "platform/linux/event_stream/Walk.h"
#include "platform/threads.h"

namespace jv::watching {
namespace {

/// The group that streams join now. It goes when its last stream leaves; the next one makes another.
struct Process {
  std::mutex mutex;
  std::shared_ptr<Group> group;
};

Process& process() {
  static auto& only = *new Process;  // never torn down: the group's thread may outlive main
  return only;
}

Stamp systemTime() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME_COARSE, &now);  // the one that files are stamped with
  return {now.tv_sec, now.tv_nsec};
}

}  // namespace

Moment Moment::now() { return {systemTime(), Clock::now()}; }

Stamp Moment::stamp() const {
  constexpr std::int64_t kNanoseconds = 1'000'000'000;
  constexpr std::int64_t kInexact = kNanoseconds / 20;
  const std::int64_t passed = std::chrono::nanoseconds(Clock::now() - steady).count();
  const Stamp now = systemTime();
  const std::int64_t passedBySystem =
      (now.seconds - system.seconds) * kNanoseconds + now.nanoseconds - system.nanoseconds;
  const std::int64_t setBack = passed - passedBySystem;
  if (setBack < kInexact) return system;
  Stamp stamp{system.seconds - setBack / kNanoseconds, system.nanoseconds - setBack % kNanoseconds};
  if (stamp.nanoseconds < 0) stamp = {stamp.seconds - 1, stamp.nanoseconds + kNanoseconds};
  return stamp;
}

Stamp Moment::earliestStamp() const {
  constexpr std::int64_t kCoarsestTick = 2;  // seconds
  const Stamp own = stamp();
  return {own.seconds - kCoarsestTick, own.nanoseconds};
}

Group::Group() : own_(std::make_unique_for_overwrite<Walk>()) {
  if (kernel_.isOpen()) poll_.watch(kernel_.descriptor(), kKernelToken);
  if (mounts_.descriptor() >= 0) poll_.watchExceptions(mounts_.descriptor(), kMountsToken);
  if (fanotify_.isOpen()) poll_.watch(fanotify_.descriptor(), kWideToken);
  lastDrained_ = drainedBefore_ = lookedAt_ = Moment::now();
}

Group::~Group() = default;

bool Group::join(const std::shared_ptr<Stream>& stream) {
  static const bool watched = [] {
    watchForks([] {});  // the child has no event thread and leaves the descriptors that it shares alone
    return true;
  }();
  static_cast<void>(watched);
  std::shared_ptr<Group> group;
  try {
    const std::lock_guard lock(process().mutex);
    if (!process().group) {
      auto fresh = std::make_shared<Group>();
      auto held = std::make_unique<std::shared_ptr<Group>>(fresh);
      const auto entry = [](void* given) {
        const std::unique_ptr<std::shared_ptr<Group>> own(static_cast<std::shared_ptr<Group>*>(given));
        (*own)->run();
      };
      if (!startThread("jv-files", entry, held.get())) {
        stream->trouble = Trouble::noThread;
        return false;
      }
      static_cast<void>(held.release());  // the thread's
      process().group = std::move(fresh);
    }
    group = process().group;
    ++group->members_;
  } catch (const std::system_error&) {
    stream->trouble = Trouble::noDescriptors;
    return false;
  }
  stream->group = group;
  Lock lock(group->mutex_);
  group->orders_.push_back({stream, true});
  group->poll_.wake();
  group->changed_.wait(lock, [&] { return stream->isReady; });
  return true;
}

void Group::leave(const std::shared_ptr<Stream>& stream) {
  const std::shared_ptr<Group> group = std::exchange(stream->group, nullptr);
  if (!group) return;
  {
    const std::lock_guard lock(process().mutex);
    if (--group->members_ == 0) {
      process().group = nullptr;
      group->isRetired_ = true;
    }
  }
  if (!group->isRetired_) {
    const std::lock_guard lock(group->mutex_);
    group->orders_.push_back({stream, false});
  }
  group->poll_.wake();
}

void Group::run() {
  Standpoint standpoint;
  standpoint_ = &standpoint;
  while (!isRetired_) round();
  // Closing takes as long as the kernel needs to give up each watch, and that is why it is done here.
  Lock lock(mutex_);
  changed_.notify_all();
  changed_.wait(lock, [this] { return walkers_ == 0; });
  kernel_.close();
  fanotify_.close();
  tree_ = Tree();
}

void Group::round() {
  std::uint64_t tokens[5];
  const std::size_t count = poll_.wait(tokens, !isHurried_);
  drainedBefore_ = lastDrained_;
  const std::vector<FolderId> narrowed = takeNarrowed();
  isDrained_ = !readEvents();
  if (!narrowed.empty()) finishNarrowing(narrowed);
  if (std::find(tokens, tokens + count, kMountsToken) != tokens + count) mountsChanged();
  takeOrders();
  if (isDrained_) lookAfterLost();
  resolveDirty();
  recheck();
  expireDetached();
  forgetSome();
  recover();
  lookAround();
  scanSome();
  surveySome();
  deliver();
  planNextRound();
}

void Group::takeOrders() {
  std::vector<Order> orders;
  {
    const std::lock_guard lock(mutex_);
    orders.swap(orders_);
  }
  // What happened before a stream joined is not its business, and so has to be read before it is taken in.
  constexpr int kEnough = 64;
  if (!orders.empty()) {
    for (int count = 0; count < kEnough && readEvents(); ++count) {
    }
  }
  for (const Order& order : orders) {
    const std::lock_guard lock(mutex_);
    order.joins ? takeIn(order.stream) : letGo(order.stream);
  }
}

void Group::takeIn(const std::shared_ptr<Stream>& stream) {
  streams_.push_back(stream);
  orphans_.clear();  // they are of the time before
  stream->begin = Moment::now();
  if (!kernel_.isOpen()) stream->trouble = Trouble::instanceLimit;
  stream->number = ++joined_;
  const auto job = newJob(kNoFolder);
  job->open = 1;
  job->whenDone.emplace_back([this, stream] {
    stream->isReady = true;
    changed_.notify_all();
    poll_.wake();
  });
  for (const std::string& path : stream->paths) {
    auto root = std::make_unique<Root>(Root{stream.get(), path, {}});
    if (!path.empty() && path.find('\0') == std::string::npos) {
      root->absolute = path.front() == '/' ? path : stream->workingFolder + "/" + path;
    }
    stream->roots.push_back(std::move(root));
    resolve(*stream->roots.back(), job);
    waitForOthers(*stream->roots.back(), job);
    if (stream->paths.size() == 1) job->top = stream->roots.back()->folder;
  }
  done(job);
}

void Group::letGo(const std::shared_ptr<Stream>& stream) {
  std::erase_if(dirty_, [&](const Root* root) { return root->stream == stream.get(); });
  for (const auto& root : stream->roots) root->isDirty = true;  // so that nobody lists it again
  for (const auto& root : stream->roots) {
    polledRoots_.erase(root.get());
    detachRoot(*root);
  }
  stream->roots.clear();
  std::erase(waiting_, stream.get());
  std::erase(streams_, stream);
  ++version_;
}

void Group::deliver() {
  const auto now = Clock::now();
  std::vector<std::pair<std::shared_ptr<Stream>, std::vector<std::string>>> ready;
  {
    const std::lock_guard lock(mutex_);
    std::erase_if(waiting_, [&](Stream* stream) {
      if (stream->isBusy || stream->due > now) return false;
      stream->isWaiting = false;
      stream->isBusy = true;
      const auto shared = std::ranges::find(streams_, stream, &std::shared_ptr<Stream>::get);
      ready.emplace_back(*shared, stream->batch.take(stream->paths));
      return true;
    });
  }
  for (auto& [stream, batch] : ready) {
    if (stream->isStopped || !stream->queue) continue;
    stream->queue([group = shared_from_this(), to = stream, paths = std::move(batch)] { call(group, to, paths); });
  }
}

void Group::call(const std::shared_ptr<Group>& group, const std::shared_ptr<Stream>& stream,
                 const std::vector<std::string>& paths) {
  if (stream->gate.enter()) {
    stream->callback(paths);
    stream->gate.leave();
  }
  stream->isBusy = false;
  if (stream->isWaiting) group->poll_.wake();
}

void Group::wakeAt(Clock::time_point time) { nextRound_ = nextRound_ ? std::min(*nextRound_, time) : time; }

void Group::planNextRound() {
  const std::lock_guard lock(mutex_);
  for (const Stream* const stream : waiting_) {
    if (!stream->isBusy) wakeAt(stream->due);
  }
  if (!detachedOrder_.empty()) wakeAt(detachedOrder_.front().first);
  if (!stale_.empty()) wakeAt(staleAt_);
  if (canRecover()) wakeAt(recoverAt_);
  if ((!unwatched_.empty() || !polledRoots_.empty()) && !isLooking_) wakeAt(lookAt_);
  const bool surveys = !surveys_.empty() && surveyAt_ <= Clock::now();
  if (!surveys_.empty()) wakeAt(surveyAt_);
  isHurried_ = surveys || !orders_.empty() || !doomed_.empty() || !dirty_.empty() ||
               (walkers_ == 0 && (own_->isActive() || !items_.empty()));
  if (doomed_.empty() && narrowed_.empty() && items_.empty() && walks_ == 0 && lost_.empty() && stale_.empty() &&
      dirty_.empty()) {
    tree_.reuse();
    staleDelay_ = {};
  }
  if (nextRound_ != alarm_) poll_.setAlarm(nextRound_);
  alarm_ = std::exchange(nextRound_, std::nullopt);
}

}  // namespace jv::watching
