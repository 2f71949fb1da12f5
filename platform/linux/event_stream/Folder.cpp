#include "platform/linux/event_stream/Folder.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace jv::watching {
namespace {

constexpr long kXfs = 0x58465342;  // the header that has it belongs to another package

// clang-format off
constexpr long kMadeUp[] = {
    BPF_FS_MAGIC, CGROUP_SUPER_MAGIC, CGROUP2_SUPER_MAGIC, DEBUGFS_MAGIC, DEVPTS_SUPER_MAGIC, EFIVARFS_MAGIC, NSFS_MAGIC,
    PROC_SUPER_MAGIC, PSTOREFS_MAGIC, SECURITYFS_MAGIC, SELINUX_MAGIC, SYSFS_MAGIC, TRACEFS_MAGIC,
};
constexpr long kCountFolders[] = {EXT4_SUPER_MAGIC, TMPFS_MAGIC, kXfs};
// clang-format on

bool isOneOf(std::span<const long> types, int folder) {
  struct statfs about {};
  int result;
  do {
    result = fstatfs(folder, &about);
  } while (result < 0 && errno == EINTR);
  return result == 0 && std::ranges::find(types, static_cast<long>(about.f_type)) != types.end();
}

Descriptor open(int folder, const char* name, int flags) {
  int descriptor;
  do {
    descriptor = openat(folder, name, flags | O_DIRECTORY | O_CLOEXEC);
  } while (descriptor < 0 && errno == EINTR);
  return Descriptor(descriptor);
}

/// Where a long path is taken up: the first part of it is gone through, the rest is short enough for one call.
struct Start {
  Descriptor folder;  // not open: the working directory
  std::string rest;
};

std::optional<Start> goDown(const std::string& path) {
  Start start{{}, path};
  while (start.rest.size() >= PATH_MAX) {
    const std::size_t end = start.rest.rfind('/', PATH_MAX - 2);
    if (end == std::string::npos || end == 0) return std::nullopt;
    const std::string part = start.rest.substr(0, end);
    start.folder = open(start.folder.isOpen() ? start.folder.get() : AT_FDCWD, part.c_str(), O_PATH);
    if (!start.folder.isOpen()) return std::nullopt;
    start.rest.erase(0, end + 1);
  }
  return start;
}

int folderOf(const Start& start) { return start.folder.isOpen() ? start.folder.get() : AT_FDCWD; }

/// Sets errno when it is empty.
std::string linkedPathOf(int folder) {
  std::array<char, PATH_MAX> path;
  const ssize_t size = readlink(("/proc/self/fd/" + std::to_string(folder)).c_str(), path.data(), path.size());
  return {path.data(), size > 0 ? static_cast<std::size_t>(size) : 0};
}

/// The name that the open folder @p child has in @p folder, which is open for reading.
std::string nameIn(int folder, int child) {
  const auto facts = factsOf(child, "");
  const auto reader = std::make_unique<Reader>();
  while (facts && reader->readSome(folder)) {
    for (const Entry& entry : reader->entries()) {
      const auto here = entry.isFolder ? factsOf(folder, entry.name) : std::nullopt;
      if (here && here->isSameAs(*facts)) return entry.name;
    }
  }
  return {};
}

}  // namespace

std::optional<Facts> factsOf(int folder, const char* name) noexcept {
  constexpr unsigned kWanted = STATX_TYPE | STATX_NLINK | STATX_INO | STATX_CTIME | STATX_MTIME;
  struct statx about {};
  const int flags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | AT_EMPTY_PATH;
  int result;
  do {
    result = statx(folder, name, flags, kWanted, &about);
  } while (result < 0 && errno == EINTR);
  if (result < 0) return std::nullopt;
  const Stamp attributes{about.stx_ctime.tv_sec, about.stx_ctime.tv_nsec};
  const Stamp contents{about.stx_mtime.tv_sec, about.stx_mtime.tv_nsec};
  // A time of contents can be set to anything, the future included; it only counts where nothing else is kept.
  const bool hasAttributes = (about.stx_mask & STATX_CTIME) != 0;
  return Facts{makedev(about.stx_dev_major, about.stx_dev_minor),
               about.stx_ino,
               about.stx_nlink,
               S_ISDIR(about.stx_mode),
               S_ISLNK(about.stx_mode),
               (about.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0,
               hasAttributes ? attributes : contents};
}

std::optional<Facts> factsOf(const std::string& path) noexcept {
  const auto start = goDown(path);
  return start ? factsOf(folderOf(*start), start->rest.c_str()) : std::nullopt;
}

Descriptor openFolder(int folder, const char* name, int flags) noexcept {
  return open(folder, name, flags | O_NOFOLLOW);
}

Descriptor openFolder(const std::string& path, int flags) noexcept {
  const auto start = goDown(path);
  return start ? openFolder(folderOf(*start), start->rest.c_str(), flags) : Descriptor();
}

std::string realPathOf(int folder) {
  std::string path = linkedPathOf(folder);
  if (!path.empty() || errno != ENAMETOOLONG) return path;
  // The kernel does not give long paths. Go up to a folder with a shorter one.
  std::string below;
  Descriptor at = openFolder(folder, ".", O_PATH);
  while (path.empty()) {
    Descriptor above = openFolder(at.get(), "..", O_RDONLY);
    const std::string name = above.isOpen() ? nameIn(above.get(), at.get()) : "";
    if (name.empty()) return {};
    below.insert(0, '/' + name);
    at = std::move(above);
    path = linkedPathOf(at.get());
    if (path.empty() && errno != ENAMETOOLONG) return {};
  }
  return path == "/" ? below : path + below;
}

bool isMadeUp(int folder) noexcept { return isOneOf(kMadeUp, folder); }
bool countsFolders(int folder) noexcept { return isOneOf(kCountFolders, folder); }

bool Reader::readSome(int folder) {
  count_ = 0;
  ssize_t size;
  do {
    size = getdents64(folder, buffer_.data(), buffer_.size());
  } while (size < 0 && errno == EINTR);
  error_ = size < 0 && errno != ENOENT ? errno : 0;  // a deleted folder is at its end
  for (ssize_t at = 0; at < size;) {
    const auto* const record = reinterpret_cast<const dirent64*>(buffer_.data() + at);
    at += record->d_reclen;
    const char* const name = record->d_name;
    if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) continue;
    bool isFolder = record->d_type == DT_DIR;
    if (record->d_type == DT_UNKNOWN) {
      const auto facts = factsOf(folder, name);
      isFolder = facts && facts->isFolder;
    }
    entries_[count_++] = {name, isFolder};
  }
  return size > 0;
}

}  // namespace jv::watching
