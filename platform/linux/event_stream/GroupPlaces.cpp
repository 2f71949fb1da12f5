// How folders get their places in the tree and lose them.

#include <algorithm>
#include <cerrno>

#include <fcntl.h>

#include "platform/linux/event_stream/Group.h"
#include "platform/linux/event_stream/Walk.h"

namespace jv::watching {
namespace {

/// A folder that was taken out of one place turns up in another within this time, or is gone.
constexpr std::chrono::milliseconds kDetachedTime{200};
constexpr int kForgottenAtOnce = 2000;

}  // namespace

/// Goes to @p folder. False when another one is where it is said to be: events about that are still to come.
bool Group::standIn(FolderId folder) {
  if (standing_ == folder && !tree_.has(folder, kForgotten) && tree_[folder].watch != 0) return true;
  standing_ = kNoFolder;
  standingIn_ = openFolder(tree_.pathOf(folder), O_PATH);
  if (!standingIn_.isOpen()) return false;
  standpoint_->enter(standingIn_.get());
  const int known = tree_[folder].watch;
  if (known == 0) return true;
  const int watch = kernel_.add(standpoint_->pathOf("."), kNames);
  if (watch > 0 && watch != known && tree_.watchedBy(watch) == kNoFolder) kernel_.remove(watch);
  if (watch != known) return false;
  standing_ = folder;
  return true;
}

/// Gives the folder @p name in @p parent, an open folder, its place. @p watch is its watch, or says why it has none.
Group::Settled Group::settle(FolderId parent, std::string_view name, int watch, int parentDescriptor) {
  const bool isInside = tree_.has(parent, kInside);
  const FolderId there = tree_.find(parent, name);
  if (there != kNoFolder) {
    const int known = tree_[there].watch;
    const bool isSame = known != 0 ? known == watch || watch < 0 : watch < 0 && tree_.has(there, kUnwatched);
    if (isSame) {
      const bool isNew = isInside && !tree_.has(there, kInside);
      if (isInside) tree_.set(there, kInside);
      if (isInside && known == 0) unwatched_.insert(there);
      return {there, isNew};
    }
    abandon(there);
  }
  ++version_;
  const std::string text(name);
  FolderId folder = watch > 0 ? claim(watch, parent, text, parentDescriptor) : kNoFolder;
  if (folder == kNoFolder) {
    folder = tree_.insert(parent, text);
    if (watch > 0) tree_.setWatch(folder, watch);
  }
  if (isInside) tree_.set(folder, kInside);
  if (!isInside && tree_.has(folder, kInside) && !isCovered(folder)) leaveInside(folder);
  if (watch < 0) {
    tree_.set(folder, kUnwatched);
    if (isInside) unwatched_.insert(folder);
    cannotWatch(folder, -watch);
  }
  return {folder, true};
}

/// Moves the folder with that watch to where it is now, with all that is in it. None when there is no such folder, or
/// when it is still where it was as well: something is mounted twice.
FolderId Group::claim(int watch, FolderId parent, std::string_view name, int parentDescriptor) {
  const FolderId folder = tree_.watchedBy(watch);
  if (folder == kNoFolder || tree_.isWithin(parent, folder)) return kNoFolder;
  if (tree_.isConnected(folder)) {
    const auto here = factsOf(parentDescriptor, std::string(name).c_str());
    const auto before = factsOf(tree_.pathOf(folder));
    if (!here || (before && before->isSameAs(*here))) return kNoFolder;
    disturb(tree_[folder].parent, tree_.nameOf(folder));
  }
  if (tree_[folder].parent != kNoFolder) tree_.detach(folder);
  tree_.clear(folder, kDetached | kDoomed);
  detached_.erase(folder);
  tree_.attach(folder, parent, name);
  return folder;
}

/// Takes @p folder out of its place. It is kept for a while, since it may have moved.
void Group::abandon(FolderId folder) {
  disturb(tree_[folder].parent, tree_.nameOf(folder));
  tree_.detach(folder);
  ++version_;
  if (tree_[folder].watch == 0 && tree_[folder].firstChild == kNoFolder) return forget(folder);
  tree_.set(folder, kDetached);
  const auto until = Clock::now() + kDetachedTime;
  detached_[folder] = until;
  detachedOrder_.emplace_back(until, folder);
}

void Group::expireDetached() {
  if (!isDrained_) return;  // what says where they are now may be among what is still to be read
  const auto now = Clock::now();
  const Lock lock(mutex_);
  while (!detachedOrder_.empty() && detachedOrder_.front().first <= now) {
    const auto [until, folder] = detachedOrder_.front();
    detachedOrder_.pop_front();
    const auto entry = detached_.find(folder);
    if (entry == detached_.end() || entry->second != until) continue;
    detached_.erase(entry);
    tree_.clear(folder, kDetached);
    doom(folder);
  }
}

/// Has a detached folder forgotten, with all that is in it.
void Group::doom(FolderId folder) {
  tree_.set(folder, kDoomed);
  doomed_.push_back(folder);
}

/// A few at a time: the kernel has an event for each watch that ends, and they have to be read.
void Group::forgetSome() {
  const Lock lock(mutex_);
  for (int count = 0; count < kForgottenAtOnce && !doomed_.empty(); ++count) {
    const FolderId folder = doomed_.back();
    doomed_.pop_back();
    if (!tree_.has(folder, kDoomed)) continue;  // it has turned up after all
    while (tree_[folder].firstChild != kNoFolder) {
      const FolderId child = tree_[folder].firstChild;
      tree_.detach(child);
      doom(child);
    }
    forget(folder);
  }
}

void Group::forget(FolderId folder) {
  disturbAll(folder);
  if (standing_ == folder) standing_ = kNoFolder;
  unwatched_.erase(folder);
  unwatch(folder);
  tree_.erase(folder);
}

void Group::unwatch(FolderId folder) {
  const int watch = tree_[folder].watch;
  if (watch == 0) return;
  tree_.setWatch(folder, 0);
  if (tree_.watchedBy(watch) == kNoFolder) kernel_.remove(watch);
}

/// Folders whose watch the kernel has ended: they were deleted or unmounted. Most of them have left the tree by now.
void Group::lookAfterLost() {
  const Lock lock(mutex_);
  for (const FolderId folder : std::exchange(lost_, {})) {
    if (tree_.has(folder, kForgotten) || tree_[folder].watch != 0 || !tree_.isConnected(folder)) continue;
    disturbAll(folder);
    const FolderId parent = tree_[folder].parent;
    if (!tree_.has(parent, kInside)) continue;
    const std::string name(tree_.nameOf(folder));
    report(parent, name);
    reconcile(parent, name);
  }
}

/// Whether what is in @p folder is told of by its watch.
bool Group::isCovered(FolderId folder) const {
  for (; folder != kNoFolder; folder = tree_[folder].parent) {
    if (tree_.has(folder, kRoot) && tree_.has(folder, kInside)) return true;
  }
  return false;
}

/// Gives up what nobody needs any more of @p folders, which are given from the top down. On the way to whatever is
/// needed, every folder is a link of some chain.
void Group::tidy(const std::vector<FolderId>& folders) {
  for (auto folder = folders.rbegin(); folder != folders.rend(); ++folder) {
    if (*folder == kNoFolder || tree_.has(*folder, kForgotten | kDoomed) || isCovered(*folder)) continue;
    if (tree_.has(*folder, kInside)) leaveInside(*folder);
    if (*folder == kTop || tree_.has(*folder, kChain | kRoot) || tree_[*folder].firstChild != kNoFolder) continue;
    if (tree_[*folder].parent == kNoFolder) continue;
    tree_.detach(*folder);
    doom(*folder);
    ++version_;
  }
}

/// The contents of @p folder interest nobody any more, those of watched paths in it excepted.
void Group::leaveInside(FolderId folder) {
  tree_.clear(folder, kInside);
  unwatched_.erase(folder);
  for (FolderId child = tree_[folder].firstChild; child != kNoFolder;) {
    const FolderId next = tree_[child].next;
    if (!tree_.has(child, kRoot | kChain)) {
      tree_.detach(child);
      doom(child);
    } else if (!tree_.has(child, kRoot)) {
      leaveInside(child);
    }
    child = next;
  }
  ++version_;
}

/// Tells the streams concerned that a folder is not watched.
void Group::cannotWatch(FolderId folder, int error) {
  if (error == EACCES) return;  // what may not be read is nobody's trouble
  const Trouble trouble = error == ENOSPC ? Trouble::watchLimit : error == EIO ? Trouble::disk : Trouble::instanceLimit;
  for (; folder != kNoFolder; folder = tree_[folder].parent) {
    if (!tree_.has(folder, kRoot)) continue;
    for (const Root* const root : rootsAt_.at(folder)) root->stream->trouble = trouble;
  }
}

}  // namespace jv::watching
