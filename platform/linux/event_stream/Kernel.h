/// The kernel's side of watching: one inotify instance, and the place from which a thread names folders to it.
#pragma once

#include <array>
#include <cstdint>

#include <sys/inotify.h>

#include "platform/linux/Descriptor.h"

namespace jv::watching {

/// What a folder is watched for whose contents are reported. What is written through a mapping shows when the file is
/// closed, and in no other way.
inline constexpr std::uint32_t kContents =
    IN_MODIFY | IN_ATTRIB | IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
/// What a folder is watched for that lies on the way to a watched path.
inline constexpr std::uint32_t kNames = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;

/// An event as the kernel hands it over.
struct Event {
  int watch;
  std::uint32_t mask;
  const char* name;  ///< empty when it is about the folder itself
};

/// An inotify instance. A folder that it watches already keeps its watch, whatever path it is named by: the number of
/// the watch says which folder it is. Any thread.
class Kernel {
 public:
  static constexpr std::size_t kBufferSize = std::size_t{128} << 10;

  /// Without an instance when the system gives none; nothing can be watched then.
  Kernel();

  /// Ends all watches, in about a microsecond for each.
  void close() { instance_.close(); }
  [[nodiscard]] bool isOpen() const { return instance_.isOpen(); }
  [[nodiscard]] int descriptor() const { return instance_.get(); }

  /// Watches the folder at @p path for @p mask as well as for what it is watched for already. A symbolic link at the
  /// end is none. @return the number of the watch, above 0, or an errno, negative.
  [[nodiscard]] int add(const char* path, std::uint32_t mask) noexcept;
  void remove(int watch) noexcept;

  using Buffer = std::array<char, kBufferSize>;

  /// Reads what is there without waiting. @return the bytes in @p buffer
  std::size_t read(Buffer& buffer) noexcept;
  /// Whether a call that read @p size bytes has left nothing behind.
  static bool leftNothing(std::size_t size);

 private:
  Descriptor instance_;
  int error_ = 0;
};

/// Calls @p handle with each event in the @p size bytes at @p buffer.
template <class Handle>
void forEachEvent(const char* buffer, std::size_t size, Handle handle) {
  for (std::size_t at = 0; at < size;) {
    const auto* const event = reinterpret_cast<const inotify_event*>(buffer + at);
    handle(Event{event->wd, event->mask, event->len > 0 ? event->name : ""});
    at += sizeof(inotify_event) + event->len;
  }
}

/// From where the calling thread names folders: inotify takes paths, and only a name relative to a folder at hand means
/// exactly one folder, whatever is renamed meanwhile. For one thread, which must be the library's own: its working
/// directory is made its own and changes.
class Standpoint {
 public:
  Standpoint();

  /// Goes to @p folder, an open folder that stays open as long as this is there.
  void enter(int folder) noexcept;
  /// What @p name in that folder is called from here; "." is the folder itself. Valid until the next call.
  const char* pathOf(const char* name) noexcept;

 private:
  bool own_;
  std::size_t prefix_ = 0;  // length of the part of path_ that leads to the folder
  std::array<char, 320> path_{};
};

}  // namespace jv::watching
