/// Folders on the disk: opening them, reading them, and asking what they are.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>

#include "platform/linux/Descriptor.h"

namespace jv::watching {

/// A time of the system's clock, which stamps changes of files.
struct Stamp {
  std::int64_t seconds = 0;
  std::int64_t nanoseconds = 0;
  /// Later than any.
  static constexpr Stamp last() { return {std::numeric_limits<std::int64_t>::max(), 0}; }
  friend auto operator<=>(const Stamp&, const Stamp&) = default;
};

/// What the disk says about a file or folder.
struct Facts {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::uint32_t links = 0;
  bool isFolder = false;
  bool isLink = false;
  bool isMount = false;  ///< something is mounted here
  Stamp changed;         ///< when contents or attributes changed last

  [[nodiscard]] bool isSameAs(const Facts& other) const { return device == other.device && inode == other.inode; }
};

/// About @p name in the open folder @p folder, or about that itself when it is empty. A symbolic link stands for
/// itself.
std::optional<Facts> factsOf(int folder, const char* name) noexcept;
/// About the file at the absolute path @p path, however long.
std::optional<Facts> factsOf(const std::string& path) noexcept;

/// Opens the folder at the absolute path @p path, however long, for @p flags (O_PATH, or O_RDONLY to read it). The last
/// part may not be a symbolic link. Not open when it fails; errno says why.
Descriptor openFolder(const std::string& path, int flags) noexcept;
/// The same for @p name in @p folder.
Descriptor openFolder(int folder, const char* name, int flags) noexcept;

/// The absolute path of the open folder @p folder, however long, without symbolic links. Empty when there is none.
std::string realPathOf(int folder);

/// Whether the open folder @p folder lies on a file system that the kernel makes up, where folders stand for processes
/// or devices.
bool isMadeUp(int folder) noexcept;
/// Whether a folder there with two links is known to have no folder in it.
bool countsFolders(int folder) noexcept;

/// An entry of a folder.
struct Entry {
  const char* name;
  bool isFolder;
};

/// Reads folders, one at a time, a piece at a time.
class Reader {
 public:
  /// Reads on in @p folder. The entries are valid until the next call; "." and ".." are left out. True when some may
  /// follow; false at the end and when the folder cannot be read.
  bool readSome(int folder);
  /// Why the last call could not read; 0 at the end of the folder.
  [[nodiscard]] int error() const { return error_; }
  [[nodiscard]] std::span<const Entry> entries() const { return {entries_.data(), count_}; }

 private:
  static constexpr std::size_t kBuffer = std::size_t{32} << 10;
  static constexpr std::size_t kSmallestRecord = 24;

  alignas(8) std::array<char, kBuffer> buffer_;
  std::array<Entry, kBuffer / kSmallestRecord> entries_;
  std::size_t count_ = 0;
  int error_ = 0;
};

}  // namespace jv::watching
