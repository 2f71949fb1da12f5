// What is done about each event of a whole file system. It names the folder by a handle, which leads to the path that
// the folder has now: nothing is known of the folders beforehand. Where a folder has moved since, an event that is
// still to come says so, and everything in it is told of then.

#include <algorithm>
#include <utility>

#include <fcntl.h>

#include "platform/linux/event_stream/Group.h"
#include "platform/linux/event_stream/Turns.h"
#include "platform/linux/event_stream/spelling.h"

namespace jv::watching {

/// What is found out while the events of one read are handled. All of them are older than that, and so is nothing that
/// is kept from one to the next.
struct Group::WideReading {
  /// A folder through which those of its mount are opened.
  struct Base {
    std::string fileSystem;
    int mount;
    Descriptor folder;
  };
  struct Grave {
    std::string_view parent;  // a handle
    std::string_view name;
  };

  std::vector<Base> bases;
  std::unordered_map<std::string_view, Grave> graves;  // where the folders were that have been deleted
  std::unordered_map<std::string_view, std::vector<WidePlace>> places;
};

/// @return whether more may be there to be read.
bool Group::readWide() {
  if (!fanotify_.isOpen()) return false;
  const std::size_t size = fanotify_.read(*events_);
  if (size == 0) return false;
  Turns turns(mutex_);
  turns.next();
  std::vector<Orphan> orphans = std::exchange(orphans_, {});
  WideReading reading;
  openBases(reading);
  const auto noteGrave = [&](std::string_view bytes) {
    const WideEvent event = wideEventOf(bytes);
    const bool isGrave = (event.mask & FAN_DELETE) && (event.mask & FAN_ONDIR) && !event.object.empty();
    if (isGrave) reading.graves[event.object] = {event.folder, event.name};
  };
  for (const Orphan& orphan : orphans) noteGrave(orphan.event);
  forEachWideEvent(events_->data(), size, noteGrave);
  for (Orphan& orphan : orphans) {
    turns.next();
    if (!handleWide(wideEventOf(orphan.event), reading) && --orphan.readsLeft > 0) {
      orphans_.push_back({orphan.event, orphan.readsLeft});
    }
  }
  forEachWideEvent(events_->data(), size, [&](std::string_view bytes) {
    turns.next();
    const WideEvent event = wideEventOf(bytes);
    if (event.mask & FAN_Q_OVERFLOW) return overflowedWide();
    if (event.folder.empty() || handleWide(event, reading)) return;
    // Its folder has just been deleted. What says where that was, and the one that it was in, is still to be read.
    orphans_.push_back({std::string(bytes)});
  });
  return !Fanotify::leftNothing(size);
}

void Group::openBases(WideReading& reading) const {
  for (const auto& [folder, wide] : wide_) {
    const auto isSame = [&other = wide](const WideReading::Base& base) {
      return base.fileSystem == other.fileSystem && base.mount == other.mount;
    };
    if (!tree_.isConnected(folder) || std::ranges::any_of(reading.bases, isSame)) continue;
    Descriptor open = openFolder(tree_.pathOf(folder), O_RDONLY);
    const auto identity = open.isOpen() ? identityOf(open.get()) : std::nullopt;
    if (!identity || fileSystemOf(identity->handle) != wide.fileSystem || identity->mount != wide.mount) continue;
    reading.bases.push_back({wide.fileSystem, wide.mount, std::move(open)});
  }
}

/// @return false when the folder of the event cannot be found.
bool Group::handleWide(const WideEvent& event, WideReading& reading) {
  const std::vector<WidePlace>* const places = placesOf(event.folder, reading);
  if (!places) return false;
  for (const WidePlace& place : *places) tellWide(event, place);
  return true;
}

/// The places in watched folders that the folder with @p handle has. Null when it has gone, and from where is not
/// known.
const std::vector<Group::WidePlace>* Group::placesOf(std::string_view handle, WideReading& reading) {
  const auto [known, isNew] = reading.places.try_emplace(handle);
  std::vector<WidePlace>& places = known->second;
  if (!isNew) return &places;
  bool isGone = false;
  for (const WideReading::Base& base : reading.bases) {
    if (fileSystemOf(handle) != base.fileSystem) continue;
    const Descriptor folder = openByHandle(base.folder.get(), handle);
    isGone |= !folder.isOpen();
    const std::string path = folder.isOpen() ? realPathOf(folder.get()) : "";
    std::vector<WideTarget> targets = path.empty() ? std::vector<WideTarget>() : wideTargetsOf(path);
    if (targets.empty()) continue;
    // It may have been deleted and be open somewhere, or something may be mounted over it.
    const auto here = factsOf(folder.get(), "");
    const auto there = factsOf(path);
    if (here && there && here->isSameAs(*there)) {
      places.push_back({path, std::move(targets)});
    } else {
      isGone = true;
    }
  }
  if (!isGone || !places.empty()) return &places;
  const auto grave = reading.graves.find(handle);
  const auto* const parents = grave != reading.graves.end() ? placesOf(grave->second.parent, reading) : nullptr;
  if (!parents) {
    reading.places.erase(handle);
    return nullptr;
  }
  for (const WidePlace& parent : *parents) {
    const std::string path = joined(parent.path, grave->second.name);
    places.push_back({path, wideTargetsOf(path)});
  }
  return &places;
}

/// The watched paths that lead to the folder at @p path, or above it, and that file systems tell of.
std::vector<Group::WideTarget> Group::wideTargetsOf(std::string_view path) const {
  std::vector<WideTarget> targets;
  for (FolderId folder = kTop; folder != kNoFolder;) {
    while (path.starts_with('/')) path.remove_prefix(1);
    if (tree_.has(folder, kRoot) && wide_.contains(folder)) {
      for (const Root* const root : rootsAt_.at(folder)) {
        targets.push_back({{root->stream, path.empty() ? root->given : joined(root->given, path)}, path.empty()});
      }
    }
    if (path.empty()) break;
    const std::string_view part = path.substr(0, path.find('/'));
    path.remove_prefix(part.size());
    folder = tree_.find(folder, part);
  }
  return targets;
}

void Group::tellWide(const WideEvent& event, const WidePlace& place) {
  const bool isItself = event.name == ".";
  const bool isNewFolder = (event.mask & FAN_ONDIR) && (event.mask & (FAN_CREATE | FAN_MOVED_TO)) && !isItself;
  // A file that has been deleted may go on being written to, which is nobody's business.
  const bool isOfName = (event.mask & (FAN_CREATE | FAN_DELETE | FAN_MOVED_FROM | FAN_MOVED_TO)) != 0;
  if (!isOfName && !isItself && !factsOf(joined(place.path, event.name))) return;
  for (const auto& [target, isRoot] : place.targets) {
    Stream& stream = *target.stream;
    if (isItself) {  // a watched path is told of by the folder that it is in
      if (!isRoot) add(stream, stream.wantsFiles ? target.path : folderIn(target.path));
      continue;
    }
    const std::string path = joined(target.path, event.name);
    add(stream, stream.wantsFiles ? path : target.path);
    if (isNewFolder && !stream.wantsFiles) add(stream, path);
  }
  // What is written into a folder that was made here has events of its own.
  if (isNewFolder && (event.mask & FAN_MOVED_TO)) survey(joined(place.path, event.name));
}

/// The kernel has dropped events. Whatever has changed since nothing was left to read is looked for on the disk.
void Group::overflowedWide() {
  for (const auto& [folder, wide] : wide_) {
    const auto roots = rootsAt_.find(folder);
    if (roots == rootsAt_.end() || !tree_.isConnected(folder)) continue;
    for (const Root* const root : roots->second) add(*root->stream, root->given);
    survey(tree_.pathOf(folder), lastDrained_.earliestStamp());
  }
}

}  // namespace jv::watching
