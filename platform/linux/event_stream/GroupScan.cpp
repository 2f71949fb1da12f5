// Reads folders and what is below them, on the group's thread a little at a time, or on threads of its own.

#include <algorithm>
#include <cerrno>
#include <span>
#include <thread>

#include <fcntl.h>

#include "platform/linux/event_stream/Group.h"
#include "platform/linux/event_stream/spelling.h"
#include "platform/linux/event_stream/Walk.h"
#include "platform/threads.h"

namespace jv::watching {
namespace {

/// What the group's thread reads itself at a time, before it gives the rest to other threads.
constexpr std::chrono::milliseconds kOwnTime{2};
constexpr std::size_t kMostWalkers = 8;
/// Entries that are taken in under one lock.
constexpr std::size_t kTurn = 32;

}  // namespace

std::shared_ptr<Group::Job> Group::newJob(FolderId top) {
  const auto job = std::make_shared<Job>();
  job->top = top;
  job->joined = joined_;
  jobs_.insert(job);
  return job;
}

/// Under the lock. Without a job, it is one of its own.
void Group::scan(FolderId folder, Mode mode, const std::shared_ptr<Job>& job) {
  const auto part = job ? job : newJob(folder);
  ++part->open;
  items_.push_back({folder, mode, part});
  if (walkers_ > 0) changed_.notify_all();
}

void Group::done(const std::shared_ptr<Job>& job) {
  if (--job->open > 0) return;
  const auto held = job;
  jobs_.erase(held);
  for (const auto& call : held->whenDone) call();
}

/// Folders that another scan has in hand count as watched already: @p job is not done before that is. Under the lock.
void Group::waitForOthers(const Root& root, const std::shared_ptr<Job>& job) {
  if (root.kind != Root::Kind::folder || !tree_.has(root.folder, kInside)) return;
  for (const auto& other : jobs_) {
    const bool isApart = other->top != kNoFolder && !tree_.has(other->top, kForgotten) &&
                         !tree_.isWithin(other->top, root.folder) && !tree_.isWithin(root.folder, other->top);
    if (other == job || isApart) continue;
    ++job->open;
    other->whenDone.emplace_back([this, job] { done(job); });
  }
}

/// Takes up the next item. Under the lock.
bool Group::begin(Walk& walk) {
  if (items_.empty()) return false;
  walk.item = std::move(items_.back());
  items_.pop_back();
  walk.hasBegun = false;
  ++walks_;
  return true;
}

/// Under the lock.
void Group::finish(Walk& walk) {
  walk.frames.clear();
  const Item item = std::move(*walk.item);
  walk.item.reset();
  if (--walks_ == 0) changed_.notify_all();
  done(item.job);
}

void Group::scanSome() {
  Lock lock(mutex_);
  if (walkers_ > 0) return;
  const auto end = Clock::now() + kOwnTime;
  own_->standpoint = standpoint_;
  while (own_->isActive() || begin(*own_)) {
    standing_ = kNoFolder;
    lock.unlock();
    const bool goesOn = step(*own_);
    const bool isTime = Clock::now() > end;
    lock.lock();
    if (!goesOn) finish(*own_);
    if (isTime && (goesOn || !items_.empty())) return startWalkers();
  }
}

/// Under the lock. Without threads, the group's own goes on.
void Group::startWalkers() {
  const std::size_t wanted = std::clamp<std::size_t>(2 * std::thread::hardware_concurrency(), 2, kMostWalkers);
  for (std::size_t i = 0; i < wanted; ++i) {
    auto held = std::make_unique<std::shared_ptr<Group>>(shared_from_this());
    const auto entry = [](void* given) {
      const std::unique_ptr<std::shared_ptr<Group>> group(static_cast<std::shared_ptr<Group>*>(given));
      (*group)->walkers();
    };
    if (!startThread("jv-walk", entry, held.get())) break;
    static_cast<void>(held.release());  // the thread's
    ++walkers_;
  }
  if (walkers_ == 0 || !own_->isActive()) return;
  donate(*own_, true);
  finish(*own_);
}

void Group::walkers() {
  Standpoint standpoint;
  Walk walk;
  walk.standpoint = &standpoint;
  Lock lock(mutex_);
  while (!isRetired_) {
    if (begin(walk)) {
      lock.unlock();
      while (step(walk)) {
        if (hungry_ == 0) continue;
        const Lock donating(mutex_);
        donate(walk, false);
      }
      lock.lock();
      finish(walk);
    } else if (walks_ > 0) {
      ++hungry_;
      changed_.wait(lock, [this] { return !items_.empty() || walks_ == 0 || isRetired_; });
      --hungry_;
    } else {
      break;
    }
  }
  --walkers_;
  changed_.notify_all();
  poll_.wake();
}

/// Gives others a part of what @p walk has before it, of the topmost folders. Under the lock.
void Group::donate(Walk& walk, bool everything) {
  for (Frame& frame : walk.frames) {
    std::size_t count = everything ? frame.children.size() : frame.children.size() / 2;
    const bool isEnough = count > 0 && !everything;
    for (; count > 0; --count) {
      scan(frame.children.back().folder, frame.children.back().mode, walk.item->job);
      frame.children.pop_back();
    }
    if (isEnough) return;
  }
}

/// Reads one folder. @return whether there is more to do
bool Group::step(Walk& walk) {
  if (isRetired_) return false;
  if (!std::exchange(walk.hasBegun, true)) {
    visit(walk, {walk.item->folder, walk.item->mode}, nullptr);
  } else if (walk.frames.back().children.empty()) {
    walk.frames.pop_back();
  } else {
    Frame& frame = walk.frames.back();
    const Child child = frame.children.back();
    frame.children.pop_back();
    visit(walk, child, &frame);
  }
  return !walk.frames.empty();
}

Descriptor Group::open(Child child, const Frame* parent) {
  std::string name;
  int watch;
  {
    const Lock lock(mutex_);
    if (tree_.has(child.folder, kForgotten | kDoomed)) return {};
    if (parent ? tree_[child.folder].parent != parent->folder : !tree_.isConnected(child.folder)) return {};
    name = parent ? std::string(tree_.nameOf(child.folder)) : tree_.pathOf(child.folder);
    watch = tree_[child.folder].watch;
  }
  Descriptor descriptor =
      parent ? openFolder(parent->descriptor.get(), name.c_str(), O_RDONLY) : openFolder(name, O_RDONLY);
  if (descriptor.isOpen()) return descriptor;
  const int error = errno;
  const bool isGone = error == ENOENT || error == ENOTDIR || error == ELOOP;
  if (!isGone) {
    readLater(child.folder, error);
    return {};
  }
  const Lock lock(mutex_);
  if (!tree_.has(child.folder, kForgotten) && !parent && watch != 0) markStale(child.folder);
  return {};
}

/// What is in @p folder could not be found out. Descriptors or memory have run out, or the disk is at fault.
void Group::readLater(FolderId folder, int error) {
  const Lock lock(mutex_);
  if (tree_.has(folder, kForgotten) || error == EACCES) return;
  unwatched_.insert(folder);
  cannotWatch(folder, error);
}

/// Whether the open folder @p descriptor, which was found by its path, is @p folder.
bool Group::verify(Walk& walk, FolderId folder, int descriptor) {
  const Lock lock(mutex_);
  if (tree_.has(folder, kForgotten | kDoomed)) return false;
  walk.standpoint->enter(descriptor);
  const int known = tree_[folder].watch;
  if (known == 0 && !tree_.has(folder, kUnwatched)) return false;  // it is lost, and looked after as such
  const int watch = kernel_.add(walk.standpoint->pathOf("."), tree_.has(folder, kInside) ? kContents : kNames);
  if (watch == known || watch < 0) {
    if (watch == known) unwatched_.erase(folder);
    return true;
  }
  if (known == 0) {
    tree_.setWatch(folder, watch);
    tree_.clear(folder, kUnwatched);
    unwatched_.erase(folder);
    return true;
  }
  if (tree_.watchedBy(watch) == kNoFolder) kernel_.remove(watch);
  markStale(folder);
  return false;
}

void Group::visit(Walk& walk, Child child, const Frame* parent) {
  Descriptor descriptor = open(child, parent);
  if (!descriptor.isOpen()) return;
  const int number = descriptor.get();
  if (!parent && !verify(walk, child.folder, number)) return;
  const auto facts = factsOf(number, "");
  if (!facts) return readLater(child.folder, errno);
  if (facts->isMount && isMadeUp(number)) {
    const Lock lock(mutex_);
    if (tree_.has(child.folder, kForgotten | kDoomed | kDetached)) return;
    if (!tree_.has(child.folder, kRoot)) return abandon(child.folder);
  }
  if (facts->device != walk.device) {
    walk.device = facts->device;
    walk.counts = countsFolders(number);
  }
  Visit visit{walk, child, number, *facts, {std::move(descriptor), child.folder, {}}};
  takeEntries(visit);
  if (visit.frame.children.empty()) return;
  if (walk.frames.size() < Walk::kMostLevels) {
    walk.frames.push_back(std::move(visit.frame));
    return;
  }
  const Lock lock(mutex_);
  for (const Child& below : visit.frame.children) scan(below.folder, below.mode, walk.item->job);
}

void Group::takeEntries(Visit& visit) {
  while (visit.walk.reader.readSome(visit.descriptor)) {
    std::span<const Entry> entries = visit.walk.reader.entries();
    for (; !entries.empty(); entries = entries.subspan(std::min(kTurn, entries.size()))) {
      takeSome(visit, entries.first(std::min(kTurn, entries.size())));
    }
  }
  if (const int error = visit.walk.reader.error()) return readLater(visit.at.folder, error);
  if (visit.at.mode != Mode::quiet) takeMissing(visit);
}

void Group::takeSome(Visit& visit, std::span<const Entry> entries) {
  const Mode mode = visit.at.mode;
  if (mode == Mode::quiet && std::ranges::none_of(entries, &Entry::isFolder)) return;
  std::array<std::optional<Facts>, kTurn> facts;
  if (mode == Mode::look || mode == Mode::sweep) {
    for (std::size_t i = 0; i < entries.size(); ++i) facts[i] = factsOf(visit.descriptor, entries[i].name);
  }
  struct Fresh {
    Child child;
    const char* name;
  };
  std::array<Fresh, kTurn> fresh;
  std::size_t count = 0;
  bool needsFiles = false;
  {
    const Lock lock(mutex_);
    if (tree_.has(visit.at.folder, kForgotten | kDoomed)) return;
    if (mode != Mode::quiet) aim(visit);
    needsFiles = std::ranges::any_of(visit.targets, [](const Target& target) { return target.stream->wantsFiles; });
    for (std::size_t i = 0; i < entries.size(); ++i) {
      bool isNew = false;
      if (entries[i].isFolder) {
        const auto child = takeFolder(visit, entries[i].name, isNew);
        if (child) fresh[count++] = {*child, entries[i].name};
      }
      if (mode != Mode::quiet) reportEntry(visit, entries[i], isNew, facts[i]);
    }
  }
  for (const Fresh& found : std::span(fresh).first(count)) {
    if (!isLeaf(visit, found.child, found.name, needsFiles)) visit.frame.children.push_back(found.child);
  }
}

/// Gives the folder @p name its place. Under the lock. @return it, if it is to be read
std::optional<Group::Child> Group::takeFolder(Visit& visit, const char* name, bool& isNew) {
  Standpoint& standpoint = *visit.walk.standpoint;
  if (!std::exchange(visit.hasEntered, true)) standpoint.enter(visit.descriptor);
  const int watch = kernel_.add(standpoint.pathOf(name), kContents);
  if (watch == -ENOENT || watch == -ENOTDIR || watch == -ELOOP) return std::nullopt;  // just gone; there is an event
  const Settled settled = settle(visit.at.folder, name, watch, visit.descriptor);
  isNew = settled.isNew;
  if (visit.at.mode != Mode::quiet) visit.seen.push_back(settled.folder);
  switch (visit.at.mode) {
    case Mode::quiet:
      return isNew ? std::optional(Child{settled.folder, Mode::quiet}) : std::nullopt;
    case Mode::check:
    case Mode::look:
      return isNew ? std::optional(Child{settled.folder, Mode::all}) : std::nullopt;
    case Mode::sweep:
      return Child{settled.folder, isNew ? Mode::all : Mode::sweep};
    case Mode::all:
      break;
  }
  return Child{settled.folder, Mode::all};
}

/// Whether @p child, which is watched, is sure to have no folder in it, and nobody asks for the files in it.
bool Group::isLeaf(const Visit& visit, Child child, const char* name, bool needsFiles) {
  const bool isAsked = child.mode == Mode::sweep || (child.mode == Mode::all && needsFiles);
  if (isAsked || !visit.walk.counts) return false;
  const auto facts = factsOf(visit.descriptor, name);
  return facts && facts->isFolder && facts->links == 2 && facts->device == visit.facts.device && !facts->isMount;
}

/// Finds out where the contents of the folder are reported. Under the lock.
void Group::aim(Visit& visit) {
  if (visit.version == version_ + 1) return;
  const bool isFirst = visit.version == 0;
  visit.version = version_ + 1;
  visit.targets = targetsOf(visit.at.folder);
  std::erase_if(visit.targets, [joined = visit.walk.item->job->joined](const Target& target) {
    return target.stream->number > joined;
  });
  visit.begins.clear();
  for (const Target& target : visit.targets) visit.begins.push_back(target.stream->begin.stamp());
  if (isFirst && (visit.at.mode == Mode::look || visit.at.mode == Mode::sweep)) {
    reportChange(visit, visit.facts.changed, nullptr);
  }
}

/// Something in the folder, or when there is no name the folder itself, was changed at @p changed. Under the lock.
void Group::reportChange(const Visit& visit, Stamp changed, const char* name) {
  if (changed < visit.walk.item->job->since) return;
  for (std::size_t i = 0; i < visit.targets.size(); ++i) {
    const Target& target = visit.targets[i];
    if (changed < visit.begins[i]) continue;
    add(*target.stream, name && target.stream->wantsFiles ? joined(target.path, name) : target.path);
  }
}

void Group::reportEntry(const Visit& visit, const Entry& entry, bool isNew, const std::optional<Facts>& facts) {
  if (visit.at.mode == Mode::all || isNew) {
    for (const Target& target : visit.targets) {
      if (entry.isFolder || target.stream->wantsFiles) add(*target.stream, joined(target.path, entry.name));
      if (isNew && visit.at.mode != Mode::all && !target.stream->wantsFiles) add(*target.stream, target.path);
    }
  } else if (facts) {
    reportChange(visit, facts->changed, entry.name);
  }
}

/// Folders that the tree has and that were not read: they have gone, or have come since.
void Group::takeMissing(Visit& visit) {
  std::ranges::sort(visit.seen);
  const Lock lock(mutex_);
  if (tree_.has(visit.at.folder, kForgotten | kDoomed)) return;
  aim(visit);
  std::vector<std::string> names;
  for (FolderId child = tree_[visit.at.folder].firstChild; child != kNoFolder; child = tree_[child].next) {
    if (!std::ranges::binary_search(visit.seen, child)) names.emplace_back(tree_.nameOf(child));
  }
  for (const std::string& name : names) {
    bool isNew = false;
    const auto child = takeFolder(visit, name.c_str(), isNew);
    if (child) visit.frame.children.push_back(*child);
    const FolderId there = tree_.find(visit.at.folder, name);
    if (!child && there != kNoFolder && !factsOf(visit.descriptor, name.c_str())) abandon(there);
  }
}

}  // namespace jv::watching
