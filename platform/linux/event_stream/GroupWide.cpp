// Folders that are watched by the file system that they are on, for programs with the right to it: nothing need be
// known of what is in them. That costs nothing to begin with, but every change on that file system wakes the thread,
// and so only large trees are watched in this way.

#include <algorithm>
#include <cerrno>
#include <deque>
#include <utility>

#include <fcntl.h>

#include "platform/linux/event_stream/Group.h"
#include "platform/linux/event_stream/Walk.h"
#include "platform/linux/event_stream/spelling.h"

namespace jv::watching {
namespace {

/// What is read at a time, between events.
constexpr std::chrono::milliseconds kSurveyTime{2};
/// When descriptors have run out.
constexpr std::chrono::milliseconds kSurveyPause{100};

// So much of a tree is looked at to see whether it is large, which takes a few milliseconds at most.
constexpr int kMostRead = 256;
constexpr std::size_t kMostEntries = 8192;

/// How many folders are in one. Those that have too many to count have one link.
std::size_t foldersIn(const Facts& facts) { return facts.links >= 2 ? facts.links - 2 : kMostEntries; }

/// Whether the tree at the open folder @p top, on a file system that counts folders, is seen to have @p many folders.
bool isLarge(int top, std::size_t many, Reader& reader) {
  const auto about = factsOf(top, "");
  std::size_t found = about ? foldersIn(*about) : 0;
  std::size_t entries = 0;
  std::deque<std::string> open{"."};
  for (int read = 0; found < many && read < kMostRead && entries < kMostEntries && !open.empty(); ++read) {
    const std::string name = std::move(open.front());
    open.pop_front();
    const Descriptor folder = openFolder(top, name.c_str(), O_RDONLY);
    while (folder.isOpen() && found < many && entries < kMostEntries && reader.readSome(folder.get())) {
      entries += reader.entries().size();
      for (const Entry& entry : reader.entries()) {
        const auto facts = entry.isFolder ? factsOf(folder.get(), entry.name) : std::nullopt;
        if (!facts || foldersIn(*facts) == 0) continue;
        found += foldersIn(*facts);
        open.push_back(joined(name, entry.name));
      }
    }
  }
  return found >= many;
}

}  // namespace

/// Has @p folder watched by its file system. False when that may not be, or would not pay.
bool Group::widen(FolderId folder, const Stream& stream) {
  if (wide_.contains(folder)) return true;
  const std::string path = tree_.pathOf(folder);
  if (mounts_.hasBelow(path) || !fanotify_.isOpen()) return false;
  const Descriptor open = openFolder(path, O_RDONLY);
  // Where folders are counted, handles are known to be good for all folders as well.
  const auto identity = open.isOpen() && countsFolders(open.get()) ? identityOf(open.get()) : std::nullopt;
  const bool canFind =
      identity && openByHandle(open.get(), identity->handle).isOpen() && realPathOf(open.get()) == path;
  const bool pays = canFind && (!wideTargetsOf(path).empty() || isLarge(open.get(), stream.largeTree, own_->reader));
  if (!pays || !fanotify_.watch(open.get())) return false;
  wide_[folder] = {std::string(fileSystemOf(identity->handle)), identity->mount};
  return true;
}

void Group::leaveWide(FolderId folder) {
  const auto entry = wide_.find(folder);
  if (entry == wide_.end()) return;
  const std::string fileSystem = entry->second.fileSystem;
  wide_.erase(entry);
  if (wide_.empty()) return fanotify_.unwatchAll();
  const auto isThere = [&](const auto& other) { return other.second.fileSystem == fileSystem; };
  if (std::ranges::any_of(wide_, isThere) || !tree_.isConnected(folder)) return;
  const Descriptor open = openFolder(tree_.pathOf(folder), O_RDONLY);
  const auto identity = open.isOpen() ? identityOf(open.get()) : std::nullopt;
  if (identity && fileSystemOf(identity->handle) == fileSystem) fanotify_.unwatch(open.get());
}

/// Something was mounted or unmounted at @p place. Another file system is nothing that the one above tells of: its
/// folders are watched one by one from now on. Until that stands, both ways tell.
void Group::narrowAround(const std::string& place) {
  for (auto& [folder, wide] : wide_) {
    if (!tree_.isConnected(folder) || !isBelow(place, tree_.pathOf(folder))) continue;
    for (const auto& [target, isRoot] : wideTargetsOf(place)) {
      add(*target.stream, target.stream->wantsFiles ? target.path : folderIn(target.path));
    }
    wide.mounts.push_back(place);
    if (wide.mounts.size() > 1) continue;
    tree_.set(folder, kInside);
    const auto job = newJob(folder);
    job->whenDone.emplace_back([this, only = folder] {
      narrowed_.push_back(only);
      poll_.wake();
    });
    scan(folder, Mode::quiet, job);
  }
}

std::vector<FolderId> Group::takeNarrowed() {
  const Lock lock(mutex_);
  return std::exchange(narrowed_, {});
}

/// All events before the folders were watched one by one have been read.
void Group::finishNarrowing(const std::vector<FolderId>& folders) {
  const Lock lock(mutex_);
  if (!isDrained_) {
    narrowed_.insert(narrowed_.end(), folders.begin(), folders.end());
    return;
  }
  for (const FolderId folder : folders) {
    const auto wide = wide_.find(folder);
    if (wide == wide_.end() || wide->second.mounts.empty()) continue;
    const std::vector<std::string> mounts = std::move(wide->second.mounts);
    leaveWide(folder);
    for (const std::string& place : mounts) lookAtMount(place, true);
  }
}

/// Has everything at @p path that changed at @p since or later told of. @p since of none is everything.
void Group::survey(const std::string& path, std::optional<Stamp> since) {
  const Stamp from = since.value_or(Stamp{});
  const Stamp changed = since ? Stamp{} : Stamp::last();
  const bool isThere = !surveys_.empty() && surveys_.back().path == path && surveys_.back().joined == joined_ &&
                       surveys_.back().since <= from && surveys_.back().changed >= changed;
  if (!isThere) surveys_.push_back({path, joined_, from, changed});
}

void Group::surveySome() {
  if (Clock::now() < surveyAt_) return;
  const auto end = Clock::now() + kSurveyTime;
  while (!surveys_.empty() && Clock::now() < end) {
    const Survey next = std::move(surveys_.back());
    surveys_.pop_back();
    if (surveyOne(next)) continue;
    surveys_.push_back(next);
    surveyAt_ = Clock::now() + kSurveyPause;
    return;
  }
}

/// @return false when it has to be tried again.
bool Group::surveyOne(const Survey& survey) {
  const Descriptor folder = openFolder(survey.path, O_RDONLY);
  if (!folder.isOpen()) return errno != EMFILE && errno != ENFILE && errno != ENOMEM;
  // Where it is not, it has moved, and there is an event about that.
  const auto about = factsOf(folder.get(), "");
  if (!about || (about->isMount && isMadeUp(folder.get())) || realPathOf(folder.get()) != survey.path) return true;
  const bool isWhole = survey.changed == Stamp::last();
  const auto report = [&](const Target& target, Stamp changed, const Entry* entry) {
    Stream& stream = *target.stream;
    if (stream.number > survey.joined || changed < survey.since || changed < stream.begin.stamp()) return;
    if (entry && (stream.wantsFiles || entry->isFolder)) add(stream, joined(target.path, entry->name));
    if (!isWhole && (!entry || !stream.wantsFiles)) add(stream, target.path);
  };
  if (!isWhole) {
    const Lock lock(mutex_);
    for (const WideTarget& wide : wideTargetsOf(survey.path)) report(wide.target, about->changed, nullptr);
  }
  Reader& reader = own_->reader;
  while (reader.readSome(folder.get())) {
    std::vector<Stamp> stamps;
    for (const Entry& entry : reader.entries()) {
      const auto facts = isWhole ? std::nullopt : factsOf(folder.get(), entry.name);
      stamps.push_back(std::max(survey.changed, facts ? facts->changed : Stamp{}));
    }
    const Lock lock(mutex_);
    const std::vector<WideTarget> targets = wideTargetsOf(survey.path);
    for (std::size_t i = 0; i < stamps.size() && !targets.empty(); ++i) {
      const Entry& entry = reader.entries()[i];
      for (const WideTarget& wide : targets) report(wide.target, stamps[i], &entry);
      if (!entry.isFolder) continue;
      // A folder that has changed may have come from elsewhere, with all that is in it.
      const bool isNews = stamps[i] >= survey.since;
      surveys_.push_back({joined(survey.path, entry.name), survey.joined, survey.since, isNews ? stamps[i] : Stamp{}});
    }
  }
  return true;
}

}  // namespace jv::watching
