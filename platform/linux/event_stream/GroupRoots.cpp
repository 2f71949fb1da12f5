// The ways of watched paths: through folders and symbolic links, each of which may change at any time.

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>

#include <fcntl.h>
#include <unistd.h>

#include "platform/linux/event_stream/Group.h"
#include "platform/linux/event_stream/spelling.h"
#include "platform/linux/event_stream/Walk.h"

namespace jv::watching {
namespace {

/// Puts the parts of @p path on top of @p parts, the first one topmost.
void push(std::vector<std::string>& parts, std::string_view path) {
  while (!path.empty()) {
    const std::size_t slash = path.rfind('/');
    const std::string_view part = slash == std::string_view::npos ? path : path.substr(slash + 1);
    path.remove_suffix(std::min(path.size(), part.size() + 1));
    if (!part.empty() && part != ".") parts.emplace_back(part);
  }
}

std::string targetOf(int folder, const char* link) {
  std::array<char, PATH_MAX> target;
  const ssize_t size = readlinkat(folder, link, target.data(), target.size());
  return {target.data(), size > 0 ? static_cast<std::size_t>(size) : 0};
}

}  // namespace

struct Group::Way {
  Root::Kind kind = Root::Kind::missing;
  FolderId folder = kNoFolder;
  std::vector<std::pair<FolderId, std::string>> chain;
  bool isBlind = false;  // some folder on the way is not watched
  int error = 0;         // why the last one is not
};

/// Goes the way of @p root as it is now. Each folder on it is watched before it is looked at.
void Group::follow(const Root& root, Way& way) {
  constexpr int kMostLinks = 40;
  standing_ = kNoFolder;
  FolderId folder = kTop;
  Descriptor here = openFolder("/", O_PATH);
  standpoint_->enter(here.get());
  const int top = kernel_.add(standpoint_->pathOf("."), kNames);
  if (top > 0 && tree_[kTop].watch == 0) tree_.setWatch(kTop, top);
  way.isBlind = top < 0;

  int links = 0;
  std::vector<std::string> parts;
  push(parts, root.absolute);
  while (!parts.empty()) {
    const std::string name = std::move(parts.back());
    parts.pop_back();
    if (name == "..") {
      here = openFolder(here.get(), "..", O_PATH);
      if (folder != kTop) folder = tree_[folder].parent;
      continue;
    }
    way.chain.emplace_back(folder, name);
    errno = 0;
    const auto facts = name.size() <= NAME_MAX ? factsOf(here.get(), name.c_str()) : std::nullopt;
    if (!facts) {
      way.isBlind |= errno != 0 && errno != ENOENT && errno != ENOTDIR;
      return;
    }
    if (facts->isLink) {
      const std::string target = targetOf(here.get(), name.c_str());
      if (target.empty() || ++links > kMostLinks) return;
      push(parts, target);
      if (target.front() != '/') continue;
      folder = kTop;
      here = openFolder("/", O_PATH);
      continue;
    }
    if (!facts->isFolder) {
      if (!parts.empty()) return;
      standpoint_->enter(here.get());
      way.isBlind |= kernel_.add(standpoint_->pathOf("."), kContents) < 0;
      way.kind = Root::Kind::file;
      way.folder = folder;
      return;
    }
    Descriptor next = openFolder(here.get(), name.c_str(), O_PATH);
    if (!next.isOpen()) {
      way.isBlind = true;
      return;
    }
    standpoint_->enter(next.get());
    const int watch = kernel_.add(standpoint_->pathOf("."), kNames);
    way.isBlind |= watch < 0;
    const Settled settled = settle(folder, name, watch, here.get());
    if (settled.isNew && tree_.has(settled.folder, kInside)) scan(settled.folder, Mode::all);
    folder = settled.folder;
    here = std::move(next);
  }
  standpoint_->enter(here.get());
  const int watch = kernel_.add(standpoint_->pathOf("."), kContents);
  way.isBlind |= watch < 0;
  way.error = std::max(0, -watch);
  way.kind = Root::Kind::folder;
  way.folder = folder;
}

/// Watches what the path of @p root leads to now. With @p first, the stream begins and nothing is reported.
void Group::resolve(Root& root, const std::shared_ptr<Job>& first) {
  root.isDirty = false;
  if (root.absolute.empty()) return;
  Way way;
  follow(root, way);
  const Root before = root;
  const bool isChanged = way.kind != root.kind || way.folder != root.folder ||
                         (way.kind == Root::Kind::file && way.chain.back() != root.chain.back());

  for (const auto& [folder, name] : way.chain) {
    std::vector<Root*>& interested = interests_[{folder, name}];
    if (std::ranges::find(interested, &root) == interested.end()) interested.push_back(&root);
    tree_.set(folder, kChain);
  }
  root.chain = std::move(way.chain);
  if (isChanged) {
    leaveFolder(root);
    root.kind = way.kind;
    root.folder = way.folder;
    if (root.kind == Root::Kind::folder) {
      rootsAt_[root.folder].push_back(&root);
      tree_.set(root.folder, kRoot);
      watchInside(root, way, first);
    }
    ++version_;
    if (!first) reportRoot(root, before.kind);
  } else if (wide_.contains(root.folder)) {
    // It may have been away meanwhile, and what its file system told of could not be placed.
    survey(tree_.pathOf(root.folder), drainedBefore_.earliestStamp());
  }
  if (way.isBlind) {
    polledRoots_.insert(&root);
  } else {
    polledRoots_.erase(&root);
  }
  leaveChain(root, before);
}

/// Watches everything in the folder of @p root.
void Group::watchInside(const Root& root, const Way& way, const std::shared_ptr<Job>& first) {
  const FolderId folder = root.folder;
  const bool isKnown = tree_.has(folder, kInside);
  if (!isKnown && !way.isBlind && widen(folder, *root.stream)) {
    if (!first) survey(tree_.pathOf(folder));
    return;
  }
  tree_.set(folder, kInside);
  if (tree_[folder].watch == 0) {
    unwatched_.insert(folder);
    cannotWatch(folder, way.error);
  }
  if (!first || !isKnown) scan(folder, first ? Mode::quiet : Mode::all, first);
}

/// Takes @p root out of the ways that it has no part in any more.
void Group::leaveChain(Root& root, const Root& before) {
  std::vector<FolderId> left;
  for (const auto& step : before.chain) {
    left.push_back(step.first);
    if (std::ranges::find(root.chain, step) != root.chain.end()) continue;
    const auto interest = interests_.find(step);
    if (interest == interests_.end()) continue;
    std::erase(interest->second, &root);
    if (interest->second.empty()) interests_.erase(interest);
    const auto other = interests_.lower_bound({step.first, {}});
    if (other == interests_.end() || other->first.first != step.first) tree_.clear(step.first, kChain);
  }
  if (before.folder != root.folder) left.push_back(before.folder);
  tidy(left);
}

void Group::leaveFolder(Root& root) {
  const auto at = rootsAt_.find(root.folder);
  if (root.kind != Root::Kind::folder || at == rootsAt_.end()) return;
  std::erase(at->second, &root);
  if (!at->second.empty()) return;
  rootsAt_.erase(at);
  tree_.clear(root.folder, kRoot);
  leaveWide(root.folder);
}

void Group::detachRoot(Root& root) {
  const Root before = root;
  leaveFolder(root);
  root.kind = Root::Kind::missing;
  root.folder = kNoFolder;
  root.chain.clear();
  leaveChain(root, before);
}

/// The ways through @p name in @p folder may lead elsewhere now.
void Group::disturb(FolderId folder, std::string_view name) {
  if (!tree_.has(folder, kChain)) return;
  const auto interest = interests_.find({folder, std::string(name)});
  if (interest == interests_.end()) return;
  for (Root* const root : interest->second) disturbRoot(*root);
}

/// The same for all ways to and through @p folder.
void Group::disturbAll(FolderId folder) {
  if (tree_.has(folder, kRoot)) {
    for (Root* const root : rootsAt_.at(folder)) disturbRoot(*root);
  }
  if (!tree_.has(folder, kChain)) return;
  for (auto at = interests_.lower_bound({folder, {}}); at != interests_.end() && at->first.first == folder; ++at) {
    for (Root* const root : at->second) disturbRoot(*root);
  }
}

void Group::disturbRoot(Root& root) {
  if (root.isDirty) return;
  root.isDirty = true;
  dirty_.push_back(&root);
  if (walkers_ > 0) poll_.wake();
}

void Group::resolveDirty() {
  const Lock lock(mutex_);
  for (Root* const root : std::exchange(dirty_, {})) resolve(*root, nullptr);
}

/// What the path of @p root leads to is another thing than before.
void Group::reportRoot(const Root& root, Root::Kind before) {
  const bool isFile = (root.kind == Root::Kind::missing ? before : root.kind) == Root::Kind::file;
  add(*root.stream, isFile && !root.stream->wantsFiles ? folderIn(root.given) : root.given);
}

}  // namespace jv::watching
