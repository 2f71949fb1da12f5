#include "platform/modules/wayland/DisplaySocket.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace jv {
namespace {

/// False when there is no such path or it is too long for a socket.
bool findSocket(const char* display, sockaddr_un& address) noexcept {
  const char* const folder = std::getenv("XDG_RUNTIME_DIR");
  const bool isAbsolute = display[0] == '/';
  if (!isAbsolute && (!folder || folder[0] != '/')) return false;
  const int length = std::snprintf(address.sun_path, sizeof address.sun_path, "%s%s%s", isAbsolute ? "" : folder,
                                   isAbsolute ? "" : "/", display);
  return length > 0 && static_cast<std::size_t>(length) < sizeof address.sun_path;
}

}  // namespace

int connectToDisplaySocket(const char* display) noexcept {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (!findSocket(display, address)) return -1;
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor < 0) return -1;
  if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return descriptor;
  close(descriptor);
  return -1;
}

}  // namespace jv
