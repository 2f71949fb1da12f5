/// The socket of the Wayland compositor.
#pragma once

namespace jv {

/// Connects to the socket @p display, in the user's runtime folder unless it is an absolute path, without waiting.
/// libwayland's own way would take the connection that WAYLAND_SOCKET hands to the application, and change the
/// environment under the feet of other threads.
/// @return  a descriptor, or -1 when nobody listens there
int connectToDisplaySocket(const char* display) noexcept;

}  // namespace jv
