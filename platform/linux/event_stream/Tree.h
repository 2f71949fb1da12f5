/// What is known of the folders: a tree of names that leads from a folder to its path and to its watch, and back.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace jv::watching {

/// Names a folder of the tree.
using FolderId = std::uint32_t;
inline constexpr FolderId kNoFolder = 0;
inline constexpr FolderId kTop = 1;  ///< the folder "/"

enum FolderFlag : std::uint8_t {
  kInside = 1,      ///< its contents are reported, and every folder in it belongs into the tree
  kRoot = 2,        ///< a watched path leads to it
  kChain = 4,       ///< the way of a watched path leads through it
  kUnwatched = 8,   ///< it cannot be watched and is looked at from time to time
  kDetached = 16,   ///< it was taken out of the folder that it was in, and may turn up in another one
  kDoomed = 32,     ///< it is about to be forgotten
  kForgotten = 64,  ///< it is not in use
};

/// 28 bytes: there may be millions.
struct Folder {
  FolderId parent = kNoFolder;
  FolderId firstChild = kNoFolder;
  FolderId next = kNoFolder;
  FolderId previous = kNoFolder;
  std::int32_t watch = 0;  ///< the number of its watch; 0: it has none
  std::uint32_t name = 0;  ///< where its name begins
  std::uint8_t nameLength = 0;
  std::uint8_t flags = 0;
};

/// Places for folders that are found by a hash. Linear probing; at most 4/5 full. Of the hash no more is kept than a
/// byte, and that only with @p kTags: it spares a look at nearly all folders that are not meant.
template <bool kTags>
class FolderTable {
 public:
  using HashOf = std::function<std::uint32_t(FolderId)>;

  void insert(FolderId folder, std::uint32_t hash, const HashOf& hashOf);
  void erase(FolderId folder, std::uint32_t hash, const HashOf& hashOf);
  template <class Is>
  [[nodiscard]] FolderId find(std::uint32_t hash, Is is) const {
    if (places_.empty()) return kNoFolder;
    for (std::size_t at = homeOf(hash); places_[at] != kNoFolder; at = nextOf(at)) {
      if (hasTag(at, hash) && is(places_[at])) return places_[at];
    }
    return kNoFolder;
  }

 private:
  [[nodiscard]] std::size_t homeOf(std::uint32_t hash) const { return std::uint64_t{hash} * places_.size() >> 32; }
  [[nodiscard]] std::size_t nextOf(std::size_t at) const { return at + 1 == places_.size() ? 0 : at + 1; }
  // The highest bits of a hash lead to its place, so the lowest say something new.
  [[nodiscard]] bool hasTag(std::size_t at, std::uint32_t hash) const {
    return !kTags || tags_[at] == static_cast<std::uint8_t>(hash);
  }
  void put(std::size_t at, FolderId folder, std::uint32_t hash);
  void putAnywhere(FolderId folder, std::uint32_t hash);
  void grow(const HashOf& hashOf);

  std::vector<FolderId> places_;
  std::vector<std::uint8_t> tags_;  // of the same places
  std::size_t count_ = 0;
};

/// One thread at a time.
class Tree {
 public:
  Tree();

  Folder& operator[](FolderId folder) { return blocks_[folder / kBlock][folder % kBlock]; }
  const Folder& operator[](FolderId folder) const { return blocks_[folder / kBlock][folder % kBlock]; }
  [[nodiscard]] bool has(FolderId folder, std::uint8_t flags) const { return ((*this)[folder].flags & flags) != 0; }
  void set(FolderId folder, std::uint8_t flags) { (*this)[folder].flags |= flags; }
  void clear(FolderId folder, std::uint8_t flags) { (*this)[folder].flags &= static_cast<std::uint8_t>(~flags); }

  [[nodiscard]] FolderId find(FolderId parent, std::string_view name) const;
  /// A new folder without a watch.
  FolderId insert(FolderId parent, std::string_view name);
  /// Takes @p folder, with all that is in it, out of its parent.
  void detach(FolderId folder);
  /// Puts a detached folder into @p parent.
  void attach(FolderId folder, FolderId parent, std::string_view name);
  /// Forgets a detached folder with nothing in it. Its identifier is not used again before `reuse`.
  void erase(FolderId folder);
  void reuse();

  /// Valid until the tree changes.
  [[nodiscard]] std::string_view nameOf(FolderId folder) const {
    const Folder& f = (*this)[folder];
    return {names_[f.name >> kNameBits].get() + (f.name & kNameMask), f.nameLength};
  }
  /// Whether @p folder hangs on the top, and so has a path.
  [[nodiscard]] bool isConnected(FolderId folder) const;
  /// Whether @p folder is @p ancestor or below it.
  [[nodiscard]] bool isWithin(FolderId folder, FolderId ancestor) const;
  /// The path of a connected folder.
  [[nodiscard]] std::string pathOf(FolderId folder) const;

  /// 0: it has none.
  void setWatch(FolderId folder, int watch);
  /// Some folder with this watch. Several names can lead to one folder: where it is mounted twice.
  [[nodiscard]] FolderId watchedBy(int watch) const;
  /// Calls @p use with each folder that has this watch. The tree may change meanwhile.
  template <class Use>
  void forEachWatchedBy(int watch, Use use) const {
    const FolderId first = watchedBy(watch);
    if (first == kNoFolder) return;
    if (others_.empty()) return use(first);
    std::vector<FolderId> all{first};
    for (auto [at, end] = others_.equal_range(watch); at != end; ++at) all.push_back(at->second);
    for (const FolderId folder : all) use(folder);
  }

  [[nodiscard]] std::size_t size() const { return count_; }

 private:
  static constexpr std::size_t kBlock = 4096;
  static constexpr unsigned kNameBits = 16;
  static constexpr std::uint32_t kNameMask = (1U << kNameBits) - 1;

  [[nodiscard]] std::uint32_t hashOf(FolderId folder) const;
  void setName(FolderId folder, std::string_view name);
  void dropName(FolderId folder);
  void compactNames();

  std::vector<std::unique_ptr<Folder[]>> blocks_;
  FolderId fresh_ = kTop;  // the first identifier that was never used
  FolderId free_ = kNoFolder;
  FolderId erased_ = kNoFolder;
  std::size_t count_ = 0;

  std::vector<std::unique_ptr<char[]>> names_;
  std::size_t nameEnd_ = 0;  // in the last block
  std::size_t nameBytes_ = 0;
  std::size_t lostNameBytes_ = 0;

  FolderTable<true> byName_;
  FolderTable<false> byWatch_;  // the kernel's numbers come out evenly spread
  std::unordered_multimap<int, FolderId> others_;  // that share a watch with one in byWatch_
};

}  // namespace jv::watching
