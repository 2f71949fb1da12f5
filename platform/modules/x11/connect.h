/// Connects to an X server without waiting for it for ever.
#pragma once

#include <xcb/xcb.h>

#include <chrono>

namespace jv {

/// Connects to @p display and gives the number of its screen. The way to the server may lie through a network, and the
/// server may be stopped; xcb itself would wait.
/// @return  a connection that works, or null when there is none within @p patience. A thread may then go on waiting;
///          while it does, further calls give null at once.
xcb_connection_t* connectToX11(const char* display, int& screen, std::chrono::milliseconds patience);

}  // namespace jv
