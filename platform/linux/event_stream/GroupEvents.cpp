// What is done about each event: it is reported, and where it is about a folder, the tree is brought up to date.

#include <cerrno>

#include "platform/linux/event_stream/Group.h"
#include "platform/linux/event_stream/Turns.h"
#include "platform/linux/event_stream/spelling.h"
#include "platform/linux/event_stream/Walk.h"

namespace jv::watching {
namespace {

constexpr std::uint32_t kComesOrGoes = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;

}  // namespace

/// @return whether more may be there to be read.
bool Group::readEvents() {
  const Moment before = Moment::now();
  const std::size_t size = kernel_.isOpen() ? kernel_.read(*events_) : 0;
  {
    Turns turns(mutex_);
    forEachEvent(events_->data(), size, [&](const Event& event) {
      turns.next();
      handle(event);
    });
  }
  if (readWide() || !Kernel::leftNothing(size)) return true;
  lastDrained_ = before;
  return false;
}

void Group::handle(const Event& event) {
  if (event.mask & IN_Q_OVERFLOW) return overflowed();
  if (event.mask & IN_IGNORED) {
    tree_.forEachWatchedBy(event.watch, [this](FolderId folder) {
      tree_.setWatch(folder, 0);
      if (standing_ == folder) standing_ = kNoFolder;
      lost_.push_back(folder);
    });
    return;
  }
  tree_.forEachWatchedBy(event.watch, [&](FolderId folder) { handleIn(folder, event); });
}

void Group::handleIn(FolderId folder, const Event& event) {
  const std::string_view name = event.name;
  if (name.empty()) {
    // The folder that a folder is in has an event about it as well.
    if (tree_.has(folder, kRoot) && (event.mask & IN_ATTRIB)) {
      for (const Root* const root : rootsAt_[folder]) add(*root->stream, root->given);
    }
    return;
  }
  report(folder, name);
  if (!(event.mask & kComesOrGoes)) return;
  if (tree_.has(folder, kChain)) disturb(folder, name);
  if ((event.mask & IN_ISDIR) && tree_.has(folder, kInside)) reconcile(folder, name);
}

/// Looks at what @p name in @p folder is now.
void Group::reconcile(FolderId folder, std::string_view name) {
  if (!tree_.isConnected(folder)) return;  // it is read anew if it turns up
  if (!standIn(folder)) {
    markStale(folder);
    return;
  }
  const std::string text(name);
  const int watch = kernel_.add(standpoint_->pathOf(text.c_str()), kContents);
  if (watch == -ENOENT || watch == -ENOTDIR || watch == -ELOOP) {
    const FolderId gone = tree_.find(folder, text);
    if (gone != kNoFolder) abandon(gone);
    return;
  }
  const Settled found = settle(folder, text, watch, standingIn_.get());
  if (!found.isNew) return;
  for (const Target& target : targetsOf(folder)) add(*target.stream, joined(target.path, text));
  scan(found.folder, Mode::all);
}

std::vector<Group::Target> Group::targetsOf(FolderId folder) const {
  std::vector<Target> targets;
  std::string below;
  for (; folder != kNoFolder; folder = tree_[folder].parent) {
    if (tree_.has(folder, kRoot) && tree_.has(folder, kInside)) {
      for (const Root* const root : rootsAt_.at(folder)) {
        targets.push_back({root->stream, below.empty() ? root->given : joined(root->given, below)});
      }
    }
    if (folder == kTop) return targets;
    below = below.empty() ? std::string(tree_.nameOf(folder)) : joined(std::string(tree_.nameOf(folder)), below);
  }
  return {};  // out of everybody's sight
}

void Group::report(FolderId folder, std::string_view name) {
  if (tree_.has(folder, kInside)) {
    if (targetFolder_ != folder || targetVersion_ != version_) {
      targets_ = targetsOf(folder);
      targetFolder_ = folder;
      targetVersion_ = version_;
    }
    for (const Target& target : targets_) {
      add(*target.stream, target.stream->wantsFiles ? joined(target.path, name) : target.path);
    }
  }
  if (!tree_.has(folder, kChain)) return;
  const auto interest = interests_.find({folder, std::string(name)});
  if (interest == interests_.end()) return;
  for (const Root* const root : interest->second) {
    if (root->kind != Root::Kind::file || root->chain.back().first != folder || root->chain.back().second != name) {
      continue;
    }
    add(*root->stream, root->stream->wantsFiles ? root->given : folderIn(root->given));
  }
}

void Group::add(Stream& stream, std::string_view path) {
  stream.batch.add(path);
  if (stream.isWaiting) return;
  stream.isWaiting = true;
  stream.due = Clock::now() + stream.latency;
  waiting_.push_back(&stream);
  if (walkers_ > 0) poll_.wake();
}

/// Each place where something was mounted or unmounted shows another folder now.
void Group::mountsChanged() {
  for (const std::string& place : mounts_.changes()) {
    const Lock lock(mutex_);
    narrowAround(place);
    lookAtMount(place, false);
  }
}

/// @p isNews: everything there is told of.
void Group::lookAtMount(const std::string& place, bool isNews) {
  const std::size_t slash = place.rfind('/');
  if (slash == std::string::npos || slash + 1 == place.size()) return;
  FolderId folder = kTop;
  for (std::string_view rest(place.data(), slash); !rest.empty() && folder != kNoFolder;) {
    rest.remove_prefix(1);
    const std::string_view part = rest.substr(0, rest.find('/'));
    folder = tree_.find(folder, part);
    rest.remove_prefix(part.size());
  }
  if (folder == kNoFolder) return;
  const std::string name = place.substr(slash + 1);
  if (tree_.has(folder, kChain)) disturb(folder, name);
  if (!tree_.has(folder, kInside)) return;
  report(folder, name);
  reconcile(folder, name);
  const FolderId there = isNews ? tree_.find(folder, name) : kNoFolder;
  if (there != kNoFolder) scan(there, Mode::all);
}

}  // namespace jv::watching
