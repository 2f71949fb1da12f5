#include "platform/modules/wayland/WaylandDisplay.h"

#include <unistd.h>

#include "platform/modules/wayland/DisplaySocket.h"
#include "platform/waiting.h"

namespace jv {
namespace {

constexpr wl_callback_listener kSetFlag = {
    .done = [](void* flag, wl_callback*, std::uint32_t) { *static_cast<bool*>(flag) = true; },
};

}  // namespace

WaylandDisplay::WaylandDisplay(const char* display) noexcept {
  const int socket = connectToDisplaySocket(display);
  if (socket >= 0) display_.reset(wl_display_connect_to_fd(socket));  // which closes it when it fails
}

bool WaylandDisplay::roundTrip() noexcept {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  bool answered = false;
  const WaylandObject<wl_callback> callback(wl_display_sync(get()));
  if (!callback || wl_callback_add_listener(callback.get(), &kSetFlag, &answered) != 0) return false;
  while (!answered) {
    if (!hearMore(deadline)) return false;
  }
  return true;
}

bool WaylandDisplay::hearMore(std::chrono::steady_clock::time_point deadline) noexcept {
  // What is there already is heard first, and only without any may the socket be read.
  if (wl_display_prepare_read(get()) != 0) return wl_display_dispatch_pending(get()) >= 0;
  if (wl_display_flush(get()) < 0 || !waitUntilReadable(wl_display_get_fd(get()), deadline)) {
    wl_display_cancel_read(get());
    return false;
  }
  return wl_display_read_events(get()) == 0 && wl_display_dispatch_pending(get()) >= 0;
}

}  // namespace jv
