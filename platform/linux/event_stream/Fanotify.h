/// The kernel's other side of watching: a fanotify instance, which tells of whole file systems.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include <sys/fanotify.h>

#include "platform/linux/Descriptor.h"
#include "platform/linux/event_stream/Kernel.h"

namespace jv::watching {

/// Names a folder for good, wherever it moves: bytes of the kernel's, its file system first.
using Handle = std::string;

/// The file system that a handle is of.
std::string_view fileSystemOf(std::string_view handle);

/// Where an open folder is.
struct Identity {
  Handle handle;
  int mount;  ///< the number of the mount through which it was opened
};
/// None where the file system has no handles.
std::optional<Identity> identityOf(int folder) noexcept;

/// Opens the folder with @p handle as seen through the mount of @p folder, which is open for reading, to name other
/// files by. Not open when there is no such folder any more.
Descriptor openByHandle(int folder, std::string_view handle) noexcept;

/// An event as the kernel hands it over.
struct WideEvent {
  std::uint64_t mask = 0;
  std::string_view folder;  ///< the handle of the folder; empty for what has no name
  std::string_view name;    ///< in that folder; "." is the folder itself
  std::string_view object;  ///< the handle of what has that name
};

/// For programs with the right to watch whole file systems. One thread at a time.
class Fanotify {
 public:
  using Buffer = Kernel::Buffer;

  /// Without an instance when the program has not got that right.
  Fanotify() noexcept;

  /// Takes the kernel some milliseconds.
  void close() noexcept { instance_.close(); }
  [[nodiscard]] bool isOpen() const { return instance_.isOpen(); }
  [[nodiscard]] int descriptor() const { return instance_.get(); }

  /// Tells of every change on the file system of @p folder, which is open for reading.
  bool watch(int folder) noexcept;
  void unwatch(int folder) noexcept;
  void unwatchAll() noexcept;

  /// Reads what is there without waiting. @return the bytes in @p buffer
  std::size_t read(Buffer& buffer) noexcept;
  /// Whether a call that read @p size bytes has left nothing behind.
  static bool leftNothing(std::size_t size);

 private:
  Descriptor instance_;
};

/// The event that consists of @p bytes, which are where the kernel put them or in a text of their own. What it points
/// to is there as long as they are.
WideEvent wideEventOf(std::string_view bytes);

/// Calls @p handle with the bytes of each event in the @p size bytes at @p buffer.
template <class Handle>
void forEachWideEvent(const char* buffer, std::size_t size, Handle handle) {
  for (std::size_t at = 0; at < size;) {
    std::uint32_t length = 0;  // it comes first; events lie at multiples of 4 bytes only
    std::memcpy(&length, buffer + at, sizeof length);
    handle(std::string_view(buffer + at, length));
    at += length;
  }
}

}  // namespace jv::watching
