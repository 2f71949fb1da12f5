/// A connection to an X server whose answers are not waited for for ever.
#pragma once

#include <xcb/xcb.h>

#include <chrono>
#include <cstdlib>
#include <memory>

namespace jv {

/// What xcb allocates is given back to the C library.
struct Freed {
  void operator()(void* memory) const noexcept { std::free(memory); }
};
template <class Reply>
using X11Reply = std::unique_ptr<Reply, Freed>;

/// One thread at a time; each of its turns is to be under a `BrokenPipeGuard`.
class X11Connection {
 public:
  /// Connects to @p display; look at `isLost` afterwards.
  /// @param patience  how long the server may take to let the connection in, and for each answer
  explicit X11Connection(const char* display, std::chrono::milliseconds patience = std::chrono::seconds(3));
  X11Connection(const X11Connection&) = delete;
  X11Connection& operator=(const X11Connection&) = delete;
  ~X11Connection();

  [[nodiscard]] xcb_connection_t* get() const noexcept { return connection_; }
  /// The window that fills the screen that the display names.
  [[nodiscard]] xcb_window_t root() const noexcept { return root_; }

  /// Whether the server has gone, never came, or has run out of patience. Final.
  [[nodiscard]] bool isLost() const noexcept {
    return stalled_ || !connection_ || xcb_connection_has_error(connection_) != 0;
  }

  /// The answer to the request of @p cookie; null when the server refuses it or the connection is lost.
  template <class Reply, class Cookie>
  X11Reply<Reply> reply(Cookie cookie) noexcept {
    return X11Reply<Reply>(static_cast<Reply*>(await(cookie.sequence)));
  }

  /// Events that nobody asked for come all the same: each client is told of a new keyboard map.
  void dropEvents() noexcept;

 private:
  void* await(unsigned sequence) noexcept;

  std::chrono::milliseconds patience_;
  xcb_connection_t* connection_ = nullptr;
  xcb_window_t root_ = XCB_NONE;
  bool stalled_ = false;
};

}  // namespace jv
