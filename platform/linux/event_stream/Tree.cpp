#include "platform/linux/event_stream/Tree.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace jv::watching {
namespace {

std::uint32_t hashOfName(FolderId parent, std::string_view name) {
  std::uint64_t hash = std::hash<std::string_view>()(name) + std::uint64_t{parent} * 0x9E3779B97F4A7C15U;
  hash ^= hash >> 32;
  return static_cast<std::uint32_t>(hash * 0x9E3779B97F4A7C15U >> 32);
}

// Consecutive numbers, which the kernel gives, come out evenly spread.
std::uint32_t hashOfWatch(int watch) { return static_cast<std::uint32_t>(watch) * 0x9E3779B9U; }

}  // namespace

template <bool kTags>
void FolderTable<kTags>::put(std::size_t at, FolderId folder, std::uint32_t hash) {
  places_[at] = folder;
  if (kTags) tags_[at] = static_cast<std::uint8_t>(hash);
}

template <bool kTags>
void FolderTable<kTags>::putAnywhere(FolderId folder, std::uint32_t hash) {
  std::size_t at = homeOf(hash);
  while (places_[at] != kNoFolder) at = nextOf(at);
  put(at, folder, hash);
}

template <bool kTags>
void FolderTable<kTags>::grow(const HashOf& hashOf) {
  constexpr std::size_t kSmallest = 64;
  const std::size_t size = std::max(kSmallest, places_.size() + places_.size() / 2);
  const std::vector<FolderId> before = std::exchange(places_, std::vector<FolderId>(size, kNoFolder));
  if (kTags) tags_ = std::vector<std::uint8_t>(size);
  for (const FolderId folder : before) {
    if (folder != kNoFolder) putAnywhere(folder, hashOf(folder));
  }
}

template <bool kTags>
void FolderTable<kTags>::insert(FolderId folder, std::uint32_t hash, const HashOf& hashOf) {
  if ((count_ + 1) * 5 > places_.size() * 4) grow(hashOf);
  putAnywhere(folder, hash);
  ++count_;
}

template <bool kTags>
void FolderTable<kTags>::erase(FolderId folder, std::uint32_t hash, const HashOf& hashOf) {
  std::size_t gap = homeOf(hash);
  while (places_[gap] != folder) gap = nextOf(gap);
  // What follows without a gap moves up, unless it stands nearer to its home than the gap is.
  const auto distance = [this](std::size_t from, std::size_t to) {
    return to >= from ? to - from : to + places_.size() - from;
  };
  for (std::size_t at = nextOf(gap); places_[at] != kNoFolder; at = nextOf(at)) {
    const std::uint32_t other = hashOf(places_[at]);
    if (distance(homeOf(other), at) < distance(gap, at)) continue;
    put(gap, places_[at], other);
    gap = at;
  }
  places_[gap] = kNoFolder;
  --count_;
}

Tree::Tree() {
  names_.push_back(std::make_unique<char[]>(std::size_t{1} << kNameBits));
  blocks_.push_back(std::make_unique<Folder[]>(kBlock));
  fresh_ = kTop + 1;
  count_ = 1;
}

std::uint32_t Tree::hashOf(FolderId folder) const { return hashOfName((*this)[folder].parent, nameOf(folder)); }

FolderId Tree::find(FolderId parent, std::string_view name) const {
  return byName_.find(hashOfName(parent, name),
                      [&](FolderId folder) { return (*this)[folder].parent == parent && nameOf(folder) == name; });
}

FolderId Tree::insert(FolderId parent, std::string_view name) {
  FolderId folder = free_;
  if (folder != kNoFolder) {
    free_ = (*this)[folder].next;
  } else {
    folder = fresh_++;
    if (folder / kBlock == blocks_.size()) blocks_.push_back(std::make_unique<Folder[]>(kBlock));
  }
  (*this)[folder] = Folder{};
  ++count_;
  attach(folder, parent, name);
  return folder;
}

void Tree::attach(FolderId folder, FolderId parent, std::string_view name) {
  setName(folder, name);
  Folder& f = (*this)[folder];
  f.parent = parent;
  f.previous = kNoFolder;
  f.next = std::exchange((*this)[parent].firstChild, folder);
  if (f.next != kNoFolder) (*this)[f.next].previous = folder;
  byName_.insert(folder, hashOf(folder), [this](FolderId other) { return hashOf(other); });
}

void Tree::detach(FolderId folder) {
  Folder& f = (*this)[folder];
  byName_.erase(folder, hashOf(folder), [this](FolderId other) { return hashOf(other); });
  (f.previous != kNoFolder ? (*this)[f.previous].next : (*this)[f.parent].firstChild) = f.next;
  if (f.next != kNoFolder) (*this)[f.next].previous = f.previous;
  f.parent = f.next = f.previous = kNoFolder;
  dropName(folder);
}

void Tree::erase(FolderId folder) {
  setWatch(folder, 0);
  Folder& f = (*this)[folder];
  f.flags = kForgotten;
  f.next = std::exchange(erased_, folder);
  --count_;
}

void Tree::reuse() {
  while (erased_ != kNoFolder) {
    const FolderId folder = std::exchange(erased_, (*this)[erased_].next);
    (*this)[folder].next = std::exchange(free_, folder);
  }
}

bool Tree::isConnected(FolderId folder) const { return isWithin(folder, kTop); }

bool Tree::isWithin(FolderId folder, FolderId ancestor) const {
  while (folder != ancestor && folder != kNoFolder) folder = (*this)[folder].parent;
  return folder == ancestor;
}

std::string Tree::pathOf(FolderId folder) const {
  if (folder == kTop) return "/";
  std::size_t length = 0;
  for (FolderId at = folder; at != kTop; at = (*this)[at].parent) length += 1U + (*this)[at].nameLength;
  std::string path(length, '/');
  for (FolderId at = folder; at != kTop; at = (*this)[at].parent) {
    const std::string_view name = nameOf(at);
    length -= name.size();
    std::memcpy(path.data() + length, name.data(), name.size());
    --length;
  }
  return path;
}

void Tree::setWatch(FolderId folder, int watch) {
  const int before = std::exchange((*this)[folder].watch, watch);
  const auto hash = [this](FolderId other) { return hashOfWatch((*this)[other].watch); };
  if (before != 0) {
    const auto [begin, end] = others_.equal_range(before);
    const auto other = std::find_if(begin, end, [&](const auto& entry) { return entry.second == folder; });
    if (other != end) {
      others_.erase(other);
    } else {
      byWatch_.erase(folder, hashOfWatch(before), hash);
      if (begin != end) {
        byWatch_.insert(begin->second, hashOfWatch(before), hash);
        others_.erase(begin);
      }
    }
  }
  if (watch == 0) return;
  if (watchedBy(watch) != kNoFolder) {
    others_.emplace(watch, folder);
  } else {
    byWatch_.insert(folder, hashOfWatch(watch), hash);
  }
}

FolderId Tree::watchedBy(int watch) const {
  return byWatch_.find(hashOfWatch(watch), [&](FolderId folder) { return (*this)[folder].watch == watch; });
}

void Tree::setName(FolderId folder, std::string_view name) {
  if (lostNameBytes_ > nameBytes_ + (std::size_t{1} << kNameBits)) compactNames();
  if (nameEnd_ + name.size() > kNameMask) {
    names_.push_back(std::make_unique<char[]>(std::size_t{1} << kNameBits));
    nameEnd_ = 0;
  }
  std::memcpy(names_.back().get() + nameEnd_, name.data(), name.size());
  (*this)[folder].name = static_cast<std::uint32_t>((names_.size() - 1) << kNameBits | nameEnd_);
  (*this)[folder].nameLength = static_cast<std::uint8_t>(name.size());
  nameEnd_ += name.size();
  nameBytes_ += name.size();
}

void Tree::dropName(FolderId folder) {
  Folder& f = (*this)[folder];
  nameBytes_ -= f.nameLength;
  lostNameBytes_ += f.nameLength;
  f.nameLength = 0;
}

void Tree::compactNames() {
  const auto before = std::exchange(names_, {});
  names_.push_back(std::make_unique<char[]>(std::size_t{1} << kNameBits));
  nameEnd_ = nameBytes_ = lostNameBytes_ = 0;
  for (FolderId folder = kTop + 1; folder < fresh_; ++folder) {
    const Folder f = (*this)[folder];
    if (f.nameLength == 0) continue;
    setName(folder, {before[f.name >> kNameBits].get() + (f.name & kNameMask), f.nameLength});
  }
}

}  // namespace jv::watching
