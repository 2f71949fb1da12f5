// How changes are found that no event tells of.

#include <algorithm>

#include "platform/linux/event_stream/Group.h"
#include "platform/linux/event_stream/Walk.h"

namespace jv::watching {
namespace {

/// Folders that cannot be watched are looked at this often, and less often when that takes long.
constexpr std::chrono::seconds kLookInterval{2};
constexpr int kLookShare = 20;

constexpr std::chrono::milliseconds kFirstStaleDelay{5};
constexpr std::chrono::seconds kLastStaleDelay{1};

}  // namespace

/// The kernel has dropped events. Whatever has changed since nothing was left to read is looked for on the disk.
void Group::overflowed() {
  if (!lostSince_) lostSince_ = lastDrained_;
}

/// While the folders of a stream are still being taken in, all of them would look new.
bool Group::canRecover() const {
  return lostSince_ && !isRecovering_ && std::ranges::all_of(streams_, &Stream::isReady);
}

void Group::recover() {
  const Lock lock(mutex_);
  const auto now = Clock::now();
  if (!canRecover() || now < recoverAt_) return;
  isRecovering_ = true;
  const auto job = newJob(kNoFolder);
  job->since = lostSince_->earliestStamp();
  job->open = 1;
  job->whenDone.emplace_back([this, now] {
    isRecovering_ = false;
    recoverAt_ = Clock::now() + (Clock::now() - now);  // so that it takes half of the time at most
    poll_.wake();
  });
  lostSince_.reset();
  for (const auto& stream : streams_) {
    for (const auto& root : stream->roots) {
      add(*stream, root->given);
      disturbRoot(*root);
    }
  }
  for (const auto& [folder, roots] : rootsAt_) {
    if (!tree_.isConnected(folder) || !tree_.has(folder, kInside) || isCovered(tree_[folder].parent)) continue;
    scan(folder, Mode::sweep, job);
  }
  for (const auto& [folder, wide] : wide_) {
    if (tree_.isConnected(folder)) survey(tree_.pathOf(folder), job->since);
  }
  done(job);
}

/// Looks at what cannot be watched.
void Group::lookAround() {
  const Lock lock(mutex_);
  if (isLooking_ || (unwatched_.empty() && polledRoots_.empty())) return;
  const auto now = Clock::now();
  if (lookAt_ == Clock::time_point()) lookAt_ = now + kLookInterval;
  if (now < lookAt_) return;
  isLooking_ = true;
  const auto job = newJob(kNoFolder);
  job->since = lookedAt_.earliestStamp();
  lookedAt_ = Moment::now();
  job->open = 1;
  job->whenDone.emplace_back([this, now] {
    isLooking_ = false;
    const auto taken = Clock::now() - now;
    lookAt_ = Clock::now() + std::max<Clock::duration>(kLookInterval, taken * kLookShare);
    if (unwatched_.empty() && kernel_.isOpen()) {
      for (const auto& stream : streams_) stream->trouble = Trouble::none;
    }
    poll_.wake();
  });
  for (Root* const root : polledRoots_) disturbRoot(*root);
  for (const FolderId folder : unwatched_) scan(folder, Mode::look, job);
  done(job);
}

/// @p folder was not where the tree has it. Events that say where it is are still to come.
void Group::markStale(FolderId folder) {
  if (stale_.empty()) staleAt_ = Clock::now() + staleDelay_;
  stale_.insert(folder);
}

/// Folders in them may have been missed.
void Group::recheck() {
  if (!isDrained_) return;
  const Lock lock(mutex_);
  if (stale_.empty() || Clock::now() < staleAt_) return;
  staleDelay_ = std::clamp<Clock::duration>(2 * staleDelay_, kFirstStaleDelay, kLastStaleDelay);
  for (const FolderId folder : std::exchange(stale_, {})) {
    if (!tree_.has(folder, kForgotten) && tree_.isConnected(folder)) scan(folder, Mode::check);
  }
}

}  // namespace jv::watching
