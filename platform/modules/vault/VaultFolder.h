/// The file of a vault in its folder.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/KeychainByKey.h"

namespace jv {

/// A descriptor that is closed at the end.
class VaultDescriptor {
 public:
  explicit VaultDescriptor(int number) noexcept : number_(number) {}
  VaultDescriptor(VaultDescriptor&& other) noexcept : number_(other.number_) { other.number_ = -1; }
  VaultDescriptor& operator=(VaultDescriptor&&) = delete;
  ~VaultDescriptor();
  [[nodiscard]] int number() const { return number_; }

 private:
  int number_;
};

/// Reads and replaces the file. Throws `KeychainFailure`; the file is then as it was, unless `replace` says otherwise.
/// Any thread.
class VaultFolder {
 public:
  /// @param path  of the file; a relative one counts from the current folder of this moment.
  explicit VaultFolder(std::string_view path);

  /// Makes the folder, if it is missing.
  void create() const;

  /// All bytes of the file; none when it is missing. @throws when others own or can write to it or its folder.
  [[nodiscard]] std::optional<std::vector<std::uint8_t>> read() const;

  /// Puts a file with @p contents in the place of the old one. When it returns, the new one is on the disk.
  /// @throws with `errSecServiceNotAvailable` when the new one is in place, but a crash may bring back the old one.
  void replace(std::span<const std::uint8_t> contents) const;

  /// Keeps all other processes and threads that call this waiting as long as it lives, but for 25 seconds at most.
  [[nodiscard]] VaultDescriptor lock() const;

  [[nodiscard]] std::string path() const { return folder_ + "/" + name_; }

 private:
  [[nodiscard]] VaultDescriptor openFolder() const;

  std::string folder_, name_;
};

}  // namespace jv
