#include "platform/modules/x11/Idle.h"

#include <xcb/screensaver.h>

#include <chrono>
#include <cstdlib>

#include "platform/modules/x11/BrokenPipeGuard.h"
#include "platform/modules/x11/X11Connection.h"

namespace jv {

std::optional<std::int64_t> x11Idle(std::uint64_t longestWait) noexcept try {
  const char* const display = std::getenv("DISPLAY");
  if (!display) return std::nullopt;
  const BrokenPipeGuard guard;
  X11Connection server(display, std::chrono::ceil<std::chrono::milliseconds>(std::chrono::microseconds(longestWait)));
  if (server.isLost()) return std::nullopt;
  const xcb_query_extension_reply_t* const extension = xcb_get_extension_data(server.get(), &xcb_screensaver_id);
  if (!extension || extension->present == 0) return std::nullopt;
  const auto reply =
      server.reply<xcb_screensaver_query_info_reply_t>(xcb_screensaver_query_info(server.get(), server.root()));
  if (!reply) return std::nullopt;
  return std::int64_t{reply->ms_since_user_input} * 1'000'000;
} catch (...) {
  return std::nullopt;
}

}  // namespace jv
