#include "platform/modules/vault/VaultFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>

#include "platform/FileLock.h"

namespace jv {
namespace {

using namespace JVPlatform;

constexpr off_t kLargest = off_t{1} << 30;

[[noreturn]] void fail(int error) {
  switch (error) {
    case ENOMEM:
      throw KeychainFailure{errSecAllocate};
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      throw KeychainFailure{errSecDiskFull};
    case EACCES:
    case EPERM:
    case EROFS:
      throw KeychainFailure{errSecReadOnly};
    case ELOOP:  // a symbolic link in the file's place
      throw KeychainFailure{errSecWrPerm};
    default:
      throw KeychainFailure{errSecIO};
  }
}

/// Calls @p work until no signal interrupts it.
template <class Work>
auto restarted(Work work) {
  decltype(work()) result;
  do {
    result = work();
  } while (result < 0 && errno == EINTR);
  return result;
}

template <class Work>
auto checked(Work work) {
  const auto result = restarted(work);
  if (result < 0) fail(errno);
  return result;
}

struct stat statusOf(const VaultDescriptor& file) {
  struct stat status {};
  checked([&] { return fstat(file.number(), &status); });
  return status;
}

void checkOwner(const struct stat& status) {
  constexpr mode_t kOthersWrite = S_IWGRP | S_IWOTH;
  if (status.st_uid != geteuid() || (status.st_mode & kOthersWrite) != 0) throw KeychainFailure{errSecWrPerm};
}

}  // namespace

VaultDescriptor::~VaultDescriptor() {
  if (number_ >= 0) close(number_);
}

VaultFolder::VaultFolder(std::string_view path) {
  if (path.find('\0') != std::string_view::npos) throw KeychainFailure{errSecParam};
  std::error_code error;
  const std::filesystem::path whole = std::filesystem::absolute(std::filesystem::path(path), error);
  if (error || !whole.has_filename() || path.empty()) throw KeychainFailure{errSecParam};
  folder_ = whole.parent_path();
  name_ = whole.filename();
}

void VaultFolder::create() const {
  const int result = restarted([&] { return mkdir(folder_.c_str(), 0700); });
  if (result < 0 && errno != EEXIST) fail(errno);
}

VaultDescriptor VaultFolder::openFolder() const {
  VaultDescriptor folder(restarted([&] { return open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
  if (folder.number() < 0) {
    if (errno == ENOENT || errno == ENOTDIR) throw KeychainFailure{errSecNoSuchKeychain};
    fail(errno);
  }
  checkOwner(statusOf(folder));
  return folder;
}

std::optional<std::vector<std::uint8_t>> VaultFolder::read() const {
  const VaultDescriptor folder = openFolder();
  const VaultDescriptor file(restarted([&] {
    return openat(folder.number(), name_.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  }));
  if (file.number() < 0) {
    if (errno == ENOENT) return std::nullopt;
    fail(errno);
  }
  const struct stat status = statusOf(file);
  checkOwner(status);
  if (!S_ISREG(status.st_mode) || status.st_size > kLargest) throw KeychainFailure{errSecInvalidKeychain};

  // The file is never changed, only replaced: what is missing at its end is damage, which the seal finds.
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(status.st_size));
  std::size_t size = 0;
  while (size < bytes.size()) {
    const auto got = checked([&] { return ::read(file.number(), bytes.data() + size, bytes.size() - size); });
    if (got == 0) break;
    size += static_cast<std::size_t>(got);
  }
  bytes.resize(size);
  return bytes;
}

void VaultFolder::replace(std::span<const std::uint8_t> contents) const {
  const VaultDescriptor folder = openFolder();
  const std::string fresh = name_ + ".new";
  unlinkat(folder.number(), fresh.c_str(), 0);  // a crash may have left one
  const VaultDescriptor file(checked([&] {
    return openat(folder.number(), fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  }));
  try {
    while (!contents.empty()) {
      const auto written = checked([&] { return write(file.number(), contents.data(), contents.size()); });
      contents = contents.subspan(static_cast<std::size_t>(written));
    }
    checked([&] { return fsync(file.number()); });
    checked([&] { return renameat(folder.number(), fresh.c_str(), folder.number(), name_.c_str()); });
  } catch (...) {
    unlinkat(folder.number(), fresh.c_str(), 0);
    throw;
  }
  // The new file is in place already, but may not outlive a crash.
  if (restarted([&] { return fsync(folder.number()); }) < 0) throw KeychainFailure{errSecServiceNotAvailable};
}

VaultDescriptor VaultFolder::lock() const {
  const VaultDescriptor folder = openFolder();
  const std::string name = name_ + ".lock";
  VaultDescriptor file(checked([&] {
    return openat(folder.number(), name.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
  }));
  constexpr std::chrono::seconds kPatience{25};
  if (const int error = lockFile(file.number(), kPatience); error != 0) fail(error);
  return file;
}

}  // namespace jv
