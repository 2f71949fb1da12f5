/// Objects of the Wayland protocol that are given back when their owner goes.
#pragma once

#include <wayland-client.h>
#include <xdg-output-unstable-v1.h>

#include <memory>

namespace jv {

/// Each kind of object has a function of its own that destroys it.
struct WaylandDestroyer {
  void operator()(wl_callback* callback) const noexcept { wl_callback_destroy(callback); }
  void operator()(wl_display* display) const noexcept { wl_display_disconnect(display); }
  void operator()(wl_registry* registry) const noexcept { wl_registry_destroy(registry); }
  void operator()(zxdg_output_manager_v1* manager) const noexcept { zxdg_output_manager_v1_destroy(manager); }
  void operator()(zxdg_output_v1* output) const noexcept { zxdg_output_v1_destroy(output); }
  void operator()(wl_output* output) const noexcept {
    if (wl_output_get_version(output) >= WL_OUTPUT_RELEASE_SINCE_VERSION) {
      wl_output_release(output);
    } else {
      wl_output_destroy(output);
    }
  }
};

template <class Object>
using WaylandObject = std::unique_ptr<Object, WaylandDestroyer>;

}  // namespace jv
