#include "platform/FileContents.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

#include "platform/linux/Descriptor.h"
#include "platform/linux/MappingGuard.h"

namespace jv {
namespace {

int openForReading(const char* path) {
  int descriptor = -1;
  do {
    descriptor = open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY);
  } while (descriptor < 0 && errno == EINTR);
  return descriptor;
}

ssize_t readSome(int descriptor, std::uint8_t* to, std::size_t room) {
  constexpr std::size_t kAtOnce = std::size_t{1} << 30;  // below the most that the kernel reads at once
  ssize_t got = -1;
  do {
    got = read(descriptor, to, std::min(room, kAtOnce));
  } while (got < 0 && errno == EINTR);
  return got;
}

struct FreeBytes {
  void operator()(std::uint8_t* bytes) const { std::free(bytes); }
};

/// Bytes on the heap, never set to zero first.
struct HeapBytes {
  std::unique_ptr<std::uint8_t, FreeBytes> bytes;
  std::size_t size = 0;
  std::size_t room = 0;

  bool growTo(std::size_t newRoom) {
    auto* grown = static_cast<std::uint8_t*>(std::realloc(bytes.get(), newRoom));
    if (grown == nullptr) return false;
    (void)bytes.release();
    bytes.reset(grown);
    room = newRoom;
    return true;
  }
};

/// Reads until the end, wherever that is: the size that a file tells is a hint only (files of the kernel tell 0).
std::optional<HeapBytes> readToEnd(int descriptor, std::uint64_t expected) {
  constexpr std::size_t kLeast = 4096;
  HeapBytes contents;
  if (!contents.growTo(std::max<std::size_t>(expected + 1, kLeast))) return std::nullopt;  // one more, to see the end
  for (;;) {
    if (contents.size == contents.room && !contents.growTo(contents.room * 2)) return std::nullopt;
    const ssize_t got = readSome(descriptor, contents.bytes.get() + contents.size, contents.room - contents.size);
    if (got < 0) return std::nullopt;
    if (got == 0) return contents;
    contents.size += static_cast<std::size_t>(got);
  }
}

/// Puts zero pages of the process's own in place of the file's long holes; to look at a hole would otherwise fill the
/// page cache with zeros. False when the mapping must not be used.
bool coverHoles(int descriptor, std::uint8_t* mapped, off_t size) {
  constexpr off_t kWorthIt = off_t{1} << 20;
  const off_t page = getpagesize();
  for (off_t data = 0; data < size;) {
    const off_t hole = lseek(descriptor, data, SEEK_HOLE);
    if (hole < 0 || hole >= size) return true;
    data = lseek(descriptor, hole, SEEK_DATA);
    if (data < 0) data = size;  // a hole up to the end
    const off_t begin = (hole + page - 1) / page * page;
    const off_t end = data >= size ? size : data / page * page;
    if (end - begin < kWorthIt) continue;
    auto* zeros = mmap(mapped + begin, static_cast<std::size_t>(end - begin), PROT_READ,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED, -1, 0);
    if (zeros == MAP_FAILED) return false;
    madvise(zeros, static_cast<std::size_t>(end - begin), MADV_HUGEPAGE);
  }
  return true;
}

/// Whether the file system keeps fewer bytes than the file has.
bool isSparse(const struct stat& status) {
  constexpr off_t kBlock = 512;  // the unit of st_blocks, whatever the file system's own
  return status.st_blocks * kBlock < status.st_size;
}

}  // namespace

std::optional<FileContents> FileContents::of(std::string_view path, Means means) noexcept try {
  if (path.find('\0') != std::string_view::npos) return std::nullopt;
  const Descriptor file(openForReading(std::string(path).c_str()));
  struct stat status = {};
  if (file.get() < 0 || fstat(file.get(), &status) != 0) return std::nullopt;

  FileContents contents;
  const auto size = static_cast<std::uint64_t>(std::max<off_t>(status.st_size, 0));
  if (means == Means::mappedWhenLarge && S_ISREG(status.st_mode) && size >= kMappedFrom) {
    void* mapped = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file.get(), 0);
    if (mapped != MAP_FAILED) {
      auto* bytes = static_cast<std::uint8_t*>(mapped);
      const bool usable = !isSparse(status) || coverHoles(file.get(), bytes, status.st_size);
      if (const std::optional<int> guard = usable ? guardMapping(mapped, size) : std::nullopt) {
        madvise(mapped, size, MADV_SEQUENTIAL);
        contents.bytes_ = bytes;
        contents.size_ = size;
        contents.guard_ = *guard;
        return contents;
      }
      munmap(mapped, size);
      lseek(file.get(), 0, SEEK_SET);  // the search for holes has moved it
    }
  }

  std::optional<HeapBytes> read = readToEnd(file.get(), S_ISREG(status.st_mode) ? size : 0);
  if (!read) return std::nullopt;
  contents.size_ = read->size;
  contents.bytes_ = read->bytes.release();
  return contents;
} catch (...) {
  return std::nullopt;  // no memory even for the name
}

FileContents::FileContents(FileContents&& other) noexcept
    : bytes_(std::exchange(other.bytes_, nullptr)),
      size_(std::exchange(other.size_, 0)),
      guard_(std::exchange(other.guard_, -1)) {}

FileContents::~FileContents() {
  auto* bytes = const_cast<std::uint8_t*>(bytes_);
  if (guard_ < 0) {
    std::free(bytes);
    return;
  }
  endGuard(guard_);
  munmap(bytes, size_);
}

bool FileContents::shrank() const noexcept { return guard_ >= 0 && mappingShrank(guard_); }

}  // namespace jv
