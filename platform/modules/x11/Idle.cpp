#include "platform/modules/x11/Idle.h"

#include <poll.h>
#include <xcb/screensaver.h>
#include <xcb/xcb.h>
#include <xcb/xcbext.h>

#include <chrono>
#include <cstdlib>
#include <memory>

namespace jv {
namespace {

using Clock = std::chrono::steady_clock;

struct Disconnect {
  void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};
using Connection = std::unique_ptr<xcb_connection_t, Disconnect>;

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};

/// The reply to the request @p sequence, which the caller frees; null for an error, or when it does not come in time.
void* replyTo(xcb_connection_t* connection, unsigned sequence, Clock::time_point end) {
  xcb_flush(connection);
  for (;;) {
    void* reply = nullptr;
    xcb_generic_error_t* error = nullptr;
    if (xcb_poll_for_reply(connection, sequence, &reply, &error) != 0) {
      std::free(error);
      return reply;
    }
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
    pollfd wanted{xcb_get_file_descriptor(connection), POLLIN, 0};
    if (left <= 0 || xcb_connection_has_error(connection) != 0) return nullptr;
    poll(&wanted, 1, static_cast<int>(left));
  }
}

}  // namespace

std::optional<std::int64_t> x11Idle(std::uint64_t longestWait) noexcept {
  const Clock::time_point end = Clock::now() + std::chrono::microseconds(longestWait);
  const Connection connection(xcb_connect(nullptr, nullptr));
  if (xcb_connection_has_error(connection.get()) != 0) return std::nullopt;
  const xcb_query_extension_reply_t* const extension = xcb_get_extension_data(connection.get(), &xcb_screensaver_id);
  if (!extension || extension->present == 0) return std::nullopt;
  const xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection.get()));
  if (screens.rem == 0) return std::nullopt;
  const auto asked = xcb_screensaver_query_info(connection.get(), screens.data->root);
  const std::unique_ptr<xcb_screensaver_query_info_reply_t, Free> reply(
      static_cast<xcb_screensaver_query_info_reply_t*>(replyTo(connection.get(), asked.sequence, end)));
  if (!reply) return std::nullopt;
  return std::int64_t{reply->ms_since_user_input} * 1'000'000;
}

}  // namespace jv
