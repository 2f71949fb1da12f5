#include "platform/modules/x11/X11Connection.h"

#include <xcb/xcbext.h>

#include "platform/modules/x11/connect.h"
#include "platform/waiting.h"

namespace jv {

X11Connection::X11Connection(const char* display, std::chrono::milliseconds patience) : patience_(patience) {
  int number = 0;
  connection_ = connectToX11(display, number, patience_);
  if (isLost()) return;
  auto screen = xcb_setup_roots_iterator(xcb_get_setup(connection_));
  while (number-- > 0 && screen.rem > 1) xcb_screen_next(&screen);
  if (screen.rem > 0) root_ = screen.data->root;
}

X11Connection::~X11Connection() {
  if (connection_) xcb_disconnect(connection_);
}

void* X11Connection::await(unsigned sequence) noexcept {
  const auto deadline = std::chrono::steady_clock::now() + patience_;
  void* reply = nullptr;
  xcb_generic_error_t* error = nullptr;
  if (stalled_ || xcb_flush(connection_) <= 0) return nullptr;
  while (xcb_poll_for_reply(connection_, sequence, &reply, &error) == 0) {
    stalled_ = !waitUntilReadable(xcb_get_file_descriptor(connection_), deadline);
    if (stalled_) return nullptr;
  }
  std::free(error);
  return reply;
}

void X11Connection::dropEvents() noexcept {
  while (xcb_generic_event_t* event = xcb_poll_for_queued_event(connection_)) std::free(event);
}

}  // namespace jv
