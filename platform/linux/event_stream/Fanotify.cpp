#include "platform/linux/event_stream/Fanotify.h"

#include <cerrno>
#include <cstring>

#include <sys/vfs.h>

namespace jv::watching {
namespace {

// A folder is not told of when it is read, nor a file before it is closed or written.
constexpr std::uint64_t kChanges =
    FAN_MODIFY | FAN_ATTRIB | FAN_CLOSE_WRITE | FAN_CREATE | FAN_DELETE | FAN_MOVED_FROM | FAN_MOVED_TO | FAN_ONDIR;

constexpr std::size_t kFileSystemSize = sizeof(__kernel_fsid_t);
constexpr std::size_t kLargestEvent = 1024;  // two handles and a name

/// A handle in an event stands there as it does in ours: the file system, and behind it what the kernel made.
std::string_view handleAt(const fanotify_event_info_fid& info) {
  const auto* const start = reinterpret_cast<const char*>(&info.fsid);
  file_handle header{};
  std::memcpy(&header, info.handle, sizeof header);
  return {start, kFileSystemSize + sizeof(file_handle) + header.handle_bytes};
}

}  // namespace

std::string_view fileSystemOf(std::string_view handle) { return handle.substr(0, kFileSystemSize); }

std::optional<Identity> identityOf(int folder) noexcept {
  struct statfs about {};
  int result;
  do {
    result = fstatfs(folder, &about);
  } while (result < 0 && errno == EINTR);
  static_assert(sizeof about.f_fsid == kFileSystemSize);
  if (result < 0) return std::nullopt;
  alignas(file_handle) std::array<char, sizeof(file_handle) + MAX_HANDLE_SZ> bytes{};
  auto* const handle = reinterpret_cast<file_handle*>(bytes.data());
  handle->handle_bytes = MAX_HANDLE_SZ;
  int mount = 0;
  if (name_to_handle_at(folder, "", handle, &mount, AT_EMPTY_PATH) < 0) return std::nullopt;
  Handle all(reinterpret_cast<const char*>(&about.f_fsid), kFileSystemSize);
  all.append(bytes.data(), sizeof(file_handle) + handle->handle_bytes);
  return Identity{std::move(all), mount};
}

Descriptor openByHandle(int folder, std::string_view handle) noexcept {
  alignas(file_handle) std::array<char, sizeof(file_handle) + MAX_HANDLE_SZ> bytes;
  const std::string_view own = handle.substr(kFileSystemSize);
  if (own.size() > bytes.size()) return {};
  std::memcpy(bytes.data(), own.data(), own.size());
  int descriptor;
  do {
    descriptor = open_by_handle_at(folder, reinterpret_cast<file_handle*>(bytes.data()), O_PATH | O_CLOEXEC);
  } while (descriptor < 0 && errno == EINTR);
  return Descriptor(descriptor);
}

Fanotify::Fanotify() noexcept {
  constexpr unsigned kKind = FAN_CLASS_NOTIF | FAN_REPORT_FID | FAN_REPORT_DFID_NAME | FAN_REPORT_TARGET_FID;
  instance_ = Descriptor(fanotify_init(kKind | FAN_UNLIMITED_QUEUE | FAN_CLOEXEC | FAN_NONBLOCK, 0));
  instance_.leaveStandardStreams();
}

bool Fanotify::watch(int folder) noexcept {
  return fanotify_mark(instance_.get(), FAN_MARK_ADD | FAN_MARK_FILESYSTEM, kChanges, folder, nullptr) == 0;
}

void Fanotify::unwatch(int folder) noexcept {
  fanotify_mark(instance_.get(), FAN_MARK_REMOVE | FAN_MARK_FILESYSTEM, kChanges, folder, nullptr);
}

void Fanotify::unwatchAll() noexcept {
  fanotify_mark(instance_.get(), FAN_MARK_FLUSH | FAN_MARK_FILESYSTEM, 0, AT_FDCWD, nullptr);
}

std::size_t Fanotify::read(Buffer& buffer) noexcept {
  ssize_t size;
  do {
    size = ::read(instance_.get(), buffer.data(), buffer.size());
  } while (size < 0 && errno == EINTR);
  return size < 0 ? 0 : static_cast<std::size_t>(size);
}

bool Fanotify::leftNothing(std::size_t size) { return size + kLargestEvent <= Kernel::kBufferSize; }

WideEvent wideEventOf(std::string_view bytes) {
  fanotify_event_metadata metadata;
  std::memcpy(&metadata, bytes.data(), sizeof metadata);
  WideEvent event;
  event.mask = metadata.mask;
  for (std::size_t at = metadata.metadata_len; at < bytes.size();) {
    const auto& info = *reinterpret_cast<const fanotify_event_info_fid*>(bytes.data() + at);
    if (info.hdr.info_type == FAN_EVENT_INFO_TYPE_DFID_NAME) {
      event.folder = handleAt(info);
      event.name = event.folder.data() + event.folder.size();  // it ends in a zero byte
    } else if (info.hdr.info_type == FAN_EVENT_INFO_TYPE_FID) {
      event.object = handleAt(info);
    }
    at += info.hdr.len;
  }
  return event;
}

}  // namespace jv::watching
